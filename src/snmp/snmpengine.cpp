#include "snmp/snmpengine.h"

#include "core/qxmiberror.h"
#include "snmp/snmpquery.h"
#include "snmp/snmpreply.h"
#include "snmp/snmpsession.h"
#include "snmp/varbindlist.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QHash>
#include <QLoggingCategory>
#include <QSet>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>

#include "snmp/snmpvalues_p.h"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <deque>
#include <mutex>

Q_LOGGING_CATEGORY(lcSnmp, "qxmib.snmp", QtWarningMsg)

namespace {

constexpr int kDefaultTimeoutMs = 1000;
constexpr int kDefaultRetries = 5;
constexpr int kDefaultMaxRepetitions = 10;
constexpr qint64 kGraceMs = 1000;

extern "C" int forwardLibraryLog(int, int, void *serverArg, void *)
{
    const auto *message = static_cast<const snmp_log_message *>(serverArg);
    if (message != nullptr && message->msg != nullptr)
        qCDebug(lcSnmp, "net-snmp: %s", message->msg);
    return 0;
}

// The library is set up once per process: no configuration files, no MIB
// files (our own database names and renders everything), no persistent state
// under /var/lib/snmp, and its log lines go to our logging category unless the
// host has set up net-snmp logging itself.
void initLibrary()
{
    static std::once_flag once;
    std::call_once(once, [] {
        setenv("MIBS", "", 0);
        setenv("MIBDIRS", "", 0);
        netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
        netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
        netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, 1);
        netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE, 1);
        netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_MIB_WARNINGS, 0);
        const QByteArray persistent =
            QDir::toNativeSeparators(QDir::tempPath() + QStringLiteral("/qxmibtree-snmp-")
                                     + QString::number(qulonglong(getuid())))
                .toLocal8Bit();
        netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_PERSISTENT_DIR, persistent.constData());
        if (!snmp_get_do_logging()) {
            snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, forwardLibraryLog, nullptr);
            netsnmp_register_loghandler(NETSNMP_LOGHANDLER_CALLBACK, LOG_DEBUG);
        }
        init_snmp("qxmibtree");
    });
}

QString libraryError(int code)
{
    return QString::fromLocal8Bit(snmp_api_errstring(code));
}

struct Protocol
{
    const char *name;
    const oid *arcs;
    size_t length;
};

const Protocol *authProtocol(const QString &name)
{
    static const Protocol protocols[] = {
        {"MD5", usmHMACMD5AuthProtocol, OID_LENGTH(usmHMACMD5AuthProtocol)},
        {"SHA", usmHMACSHA1AuthProtocol, OID_LENGTH(usmHMACSHA1AuthProtocol)},
        {"SHA1", usmHMACSHA1AuthProtocol, OID_LENGTH(usmHMACSHA1AuthProtocol)},
        {"SHA-1", usmHMACSHA1AuthProtocol, OID_LENGTH(usmHMACSHA1AuthProtocol)},
        {"SHA-224", usmHMAC128SHA224AuthProtocol, OID_LENGTH(usmHMAC128SHA224AuthProtocol)},
        {"SHA-256", usmHMAC192SHA256AuthProtocol, OID_LENGTH(usmHMAC192SHA256AuthProtocol)},
        {"SHA-384", usmHMAC256SHA384AuthProtocol, OID_LENGTH(usmHMAC256SHA384AuthProtocol)},
        {"SHA-512", usmHMAC384SHA512AuthProtocol, OID_LENGTH(usmHMAC384SHA512AuthProtocol)},
    };
    for (const Protocol &p : protocols) {
        if (name.trimmed().compare(QLatin1String(p.name), Qt::CaseInsensitive) == 0)
            return &p;
    }
    return nullptr;
}

const Protocol *privProtocol(const QString &name)
{
    static const Protocol protocols[] = {
#ifndef NETSNMP_DISABLE_DES
        {"DES", usmDESPrivProtocol, OID_LENGTH(usmDESPrivProtocol)},
#endif
        {"AES", usmAESPrivProtocol, OID_LENGTH(usmAESPrivProtocol)},
        {"AES-128", usmAESPrivProtocol, OID_LENGTH(usmAESPrivProtocol)},
#ifdef NETSNMP_DRAFT_BLUMENTHAL_AES_04
        {"AES-192", usmAES192PrivProtocol, OID_LENGTH(usmAES192PrivProtocol)},
        {"AES-256", usmAES256PrivProtocol, OID_LENGTH(usmAES256PrivProtocol)},
        {"AES-192-C", usmAES192CiscoPrivProtocol, OID_LENGTH(usmAES192CiscoPrivProtocol)},
        {"AES-256-C", usmAES256CiscoPrivProtocol, OID_LENGTH(usmAES256CiscoPrivProtocol)},
#endif
    };
    for (const Protocol &p : protocols) {
        if (name.trimmed().compare(QLatin1String(p.name), Qt::CaseInsensitive) == 0)
            return &p;
    }
    return nullptr;
}

struct Failure
{
    int number = 0;
    QString description;
};

} // namespace

// One net-snmp single session, kept open for every query to the same target
// with the same version and credentials.
struct EngineSession
{
    void *handle = nullptr;
    int socket = -1;
    QSocketNotifier *notifier = nullptr;
    int pending = 0;
};

struct PendingQuery
{
    SnmpQuery *query = nullptr;
    EngineSession *session = nullptr;
    // Beyond this the request has outlived all its retries; should net-snmp
    // have dropped it without a word, it ends here as a time-out.
    QDeadlineTimer deadline;
};

class SnmpEnginePrivate
{
public:
    explicit SnmpEnginePrivate(SnmpEngine *owner);
    ~SnmpEnginePrivate();

    void send(SnmpQuery *query);
    void cancelAll();
    void forget(SNMPReply *callback);

    EngineSession *sessionFor(const SnmpQuery *query, Failure *failure);
    netsnmp_pdu *buildPdu(const SnmpQuery *query, Failure *failure);
    void fail(SnmpQuery *query, int number, const QString &description);
    void completed(int op, int requestId, netsnmp_pdu *pdu);
    void readable(EngineSession *session);
    void timedOut();
    void deliver();
    void armTimer();
    void closeSessions();
    void release(SnmpQuery *query);
    void assertThread() const { Q_ASSERT(QThread::currentThread() == q->thread()); }

    SnmpEngine *q;
    QHash<QByteArray, EngineSession *> sessions;
    QHash<int, PendingQuery> pending;       // by net-snmp request id
    std::deque<SnmpQuery *> done;           // completed, reply not yet delivered
    QSet<SnmpQuery *> inFlight;             // pending or done
    QTimer timeoutTimer;
    QTimer deliverTimer;
    SnmpQuery *current = nullptr;
    int defaultTimeout = kDefaultTimeoutMs;
    int defaultRetries = kDefaultRetries;
    SnmpEnginePrivate *nextOnThread = nullptr;
};

namespace {

// The engines living on this thread, linked through nextOnThread. A plain
// pointer: it must outlive every thread-local engine at thread exit.
thread_local SnmpEnginePrivate *tlEngines = nullptr;

extern "C" int engineCallback(int op, netsnmp_session *, int requestId, netsnmp_pdu *pdu, void *magic)
{
    // Never calls out of the engine: replies are delivered after net-snmp has returned.
    static_cast<SnmpEnginePrivate *>(magic)->completed(op, requestId, pdu);
    return 1;
}

} // namespace

SnmpEnginePrivate::SnmpEnginePrivate(SnmpEngine *owner)
    : q(owner)
{
    initLibrary();
    timeoutTimer.setSingleShot(true);
    timeoutTimer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timeoutTimer, &QTimer::timeout, q, [this] { timedOut(); });
    deliverTimer.setSingleShot(true);
    deliverTimer.setInterval(0);
    QObject::connect(&deliverTimer, &QTimer::timeout, q, [this] { deliver(); });
    nextOnThread = tlEngines;
    tlEngines = this;
}

SnmpEnginePrivate::~SnmpEnginePrivate()
{
    for (SnmpEnginePrivate **link = &tlEngines; *link != nullptr; link = &(*link)->nextOnThread) {
        if (*link == this) {
            *link = nextOnThread;
            break;
        }
    }
    cancelAll();
}

void SnmpEnginePrivate::send(SnmpQuery *query)
{
    assertThread();
    if (query == nullptr)
        throw QXMibError(QXMibError::ObjectRequired, QStringLiteral("Object required"));
    if (inFlight.contains(query))
        throw QXMibError(QXMibError::InvalidCall, QStringLiteral("The query has been sent already"));
    query->setError(0, QString());
    inFlight.insert(query);

    Failure failure;
    EngineSession *session = sessionFor(query, &failure);
    if (session == nullptr) {
        fail(query, failure.number, failure.description);
        return;
    }
    netsnmp_pdu *pdu = buildPdu(query, &failure);
    if (pdu == nullptr) {
        fail(query, failure.number, failure.description);
        return;
    }

    // Time-out and retries are read from the session when a request is queued.
    netsnmp_session *settings = snmp_sess_session(session->handle);
    settings->timeout = long(query->Timeout() >= 0 ? query->Timeout() : defaultTimeout) * 1000L;
    settings->retries = query->Retries() >= 0 ? query->Retries() : defaultRetries;
    const qint64 lifetime = qint64(settings->timeout / 1000L) * (settings->retries + 1) + kGraceMs;

    const int requestId = snmp_sess_async_send(session->handle, pdu, engineCallback, this);
    if (requestId == 0) {
        int libraryCode = 0;
        int systemCode = 0;
        char *text = nullptr;
        snmp_sess_error(session->handle, &libraryCode, &systemCode, &text);
        const QString description = QString::fromLocal8Bit(text);
        SNMP_FREE(text);
        snmp_free_pdu(pdu);
        fail(query, libraryCode != 0 ? libraryCode : SNMPERR_GENERR, description);
        return;
    }
    pending.insert(requestId, PendingQuery{query, session, QDeadlineTimer(lifetime, Qt::PreciseTimer)});
    ++session->pending;
    armTimer();
}

EngineSession *SnmpEnginePrivate::sessionFor(const SnmpQuery *query, Failure *failure)
{
    long version = 0;
    switch (query->SNMPVersion()) {
    case 1:
        version = SNMP_VERSION_1;
        break;
    case 2:
        version = SNMP_VERSION_2c;
        break;
    case 3:
        version = SNMP_VERSION_3;
        break;
    default:
        failure->number = SNMPERR_BAD_VERSION;
        failure->description = libraryError(SNMPERR_BAD_VERSION);
        return nullptr;
    }
    const QByteArray peer = SnmpEngine::peerName(query->IPAddress()).toUtf8();
    if (peer.isEmpty()) {
        failure->number = SNMPERR_BAD_ADDRESS;
        failure->description = libraryError(SNMPERR_BAD_ADDRESS) + QStringLiteral(" (") + query->IPAddress()
            + QLatin1Char(')');
        return nullptr;
    }

    const SnmpSession *v3 = query->V3Settings();
    // Pass phrases take part in the key only through a hash.
    QCryptographicHash key(QCryptographicHash::Sha256);
    key.addData(peer);
    key.addData(QByteArray::number(int(version)));
    if (version == SNMP_VERSION_3) {
        for (const QString &part : {v3->UserName(), QString::number(v3->SecurityLevel()), v3->AuthProtocol(),
                                    v3->AuthPassword(), v3->PrivProtocol(), v3->PrivPassword(),
                                    v3->ContextName(), v3->ContextEngineID()}) {
            key.addData(QByteArray::number(part.size()));
            key.addData(part.toUtf8());
        }
    } else {
        key.addData(query->Community().toUtf8());
    }
    const QByteArray id = key.result();
    if (EngineSession *existing = sessions.value(id))
        return existing;

    netsnmp_session setup;
    snmp_sess_init(&setup);
    QByteArray peerCopy = peer;
    setup.peername = peerCopy.data();
    setup.version = version;
    setup.timeout = long(query->Timeout() >= 0 ? query->Timeout() : defaultTimeout) * 1000L;
    setup.retries = query->Retries() >= 0 ? query->Retries() : defaultRetries;
    // Answers that net-snmp cannot match to a request's own callback (reports) come here.
    setup.callback = engineCallback;
    setup.callback_magic = this;

    QByteArray community = query->Community().toLatin1();
    QByteArray user;
    QByteArray context;
    QByteArray contextEngine;
    if (version != SNMP_VERSION_3) {
        setup.community = reinterpret_cast<u_char *>(community.data());
        setup.community_len = size_t(community.size());
    } else {
        user = v3->UserName().toUtf8();
        setup.securityName = user.data();
        setup.securityNameLen = size_t(user.size());
        const int level = v3->SecurityLevel();
        setup.securityLevel = level == SnmpSession::AuthPriv ? SNMP_SEC_LEVEL_AUTHPRIV
            : level == SnmpSession::AuthNoPriv                ? SNMP_SEC_LEVEL_AUTHNOPRIV
                                                              : SNMP_SEC_LEVEL_NOAUTH;
        if (setup.securityLevel != SNMP_SEC_LEVEL_NOAUTH) {
            const Protocol *auth = authProtocol(v3->AuthProtocol());
            if (auth == nullptr) {
                failure->number = SNMPERR_UNSUPPORTED_SEC_LEVEL;
                failure->description = QStringLiteral("Unknown authentication protocol: ") + v3->AuthProtocol();
                return nullptr;
            }
            setup.securityAuthProto = snmp_duplicate_objid(auth->arcs, auth->length);
            setup.securityAuthProtoLen = auth->length;
            setup.securityAuthKeyLen = USM_AUTH_KU_LEN;
            const QByteArray phrase = v3->AuthPassword().toUtf8();
            if (generate_Ku(setup.securityAuthProto, u_int(setup.securityAuthProtoLen),
                            reinterpret_cast<const u_char *>(phrase.constData()), size_t(phrase.size()),
                            setup.securityAuthKey, &setup.securityAuthKeyLen)
                != SNMPERR_SUCCESS) {
                SNMP_FREE(setup.securityAuthProto);
                failure->number = SNMPERR_AUTHENTICATION_FAILURE;
                failure->description =
                    QStringLiteral("Error generating a key from the authentication pass phrase");
                return nullptr;
            }
        }
        if (setup.securityLevel == SNMP_SEC_LEVEL_AUTHPRIV) {
            const Protocol *priv = privProtocol(v3->PrivProtocol());
            if (priv == nullptr) {
                SNMP_FREE(setup.securityAuthProto);
                failure->number = SNMPERR_UNSUPPORTED_SEC_LEVEL;
                failure->description = QStringLiteral("Unknown privacy protocol: ") + v3->PrivProtocol();
                return nullptr;
            }
            setup.securityPrivProto = snmp_duplicate_objid(priv->arcs, priv->length);
            setup.securityPrivProtoLen = priv->length;
            setup.securityPrivKeyLen = USM_PRIV_KU_LEN;
            const QByteArray phrase = v3->PrivPassword().toUtf8();
            if (generate_Ku(setup.securityAuthProto, u_int(setup.securityAuthProtoLen),
                            reinterpret_cast<const u_char *>(phrase.constData()), size_t(phrase.size()),
                            setup.securityPrivKey, &setup.securityPrivKeyLen)
                != SNMPERR_SUCCESS) {
                SNMP_FREE(setup.securityAuthProto);
                SNMP_FREE(setup.securityPrivProto);
                failure->number = SNMPERR_AUTHENTICATION_FAILURE;
                failure->description = QStringLiteral("Error generating a key from the privacy pass phrase");
                return nullptr;
            }
        }
        context = v3->ContextName().toUtf8();
        if (!context.isEmpty()) {
            setup.contextName = context.data();
            setup.contextNameLen = size_t(context.size());
        }
        contextEngine = QByteArray::fromHex(v3->ContextEngineID().toLatin1());
        if (!contextEngine.isEmpty()) {
            setup.contextEngineID = reinterpret_cast<u_char *>(contextEngine.data());
            setup.contextEngineIDLen = size_t(contextEngine.size());
        }
    }

    // Opening copies everything it needs. For version 3 it also discovers the
    // agent's engine id, which waits for the agent once per session.
    void *handle = snmp_sess_open(&setup);
    SNMP_FREE(setup.securityAuthProto);
    SNMP_FREE(setup.securityPrivProto);
    if (handle == nullptr) {
        int libraryCode = 0;
        int systemCode = 0;
        char *text = nullptr;
        snmp_error(&setup, &libraryCode, &systemCode, &text);
        failure->number = libraryCode != 0 ? libraryCode : SNMPERR_GENERR;
        failure->description = QString::fromLocal8Bit(text);
        SNMP_FREE(text);
        return nullptr;
    }

    auto *session = new EngineSession;
    session->handle = handle;
    netsnmp_transport *transport = snmp_sess_transport(handle);
    session->socket = transport != nullptr ? transport->sock : -1;
    if (session->socket >= 0) {
        session->notifier = new QSocketNotifier(session->socket, QSocketNotifier::Read);
        QObject::connect(session->notifier, &QSocketNotifier::activated, q,
                         [this, session] { readable(session); });
    }
    sessions.insert(id, session);
    return session;
}

netsnmp_pdu *SnmpEnginePrivate::buildPdu(const SnmpQuery *query, Failure *failure)
{
    int command = 0;
    switch (query->RequestType()) {
    case SnmpQuery::Get:
        command = SNMP_MSG_GET;
        break;
    case SnmpQuery::GetNext:
        command = SNMP_MSG_GETNEXT;
        break;
    case SnmpQuery::Set:
        command = SNMP_MSG_SET;
        break;
    case SnmpQuery::GetBulk:
        command = SNMP_MSG_GETBULK;
        break;
    default:
        failure->number = SNMPERR_UNKNOWN_PDU;
        failure->description = libraryError(SNMPERR_UNKNOWN_PDU);
        return nullptr;
    }
    netsnmp_pdu *pdu = snmp_pdu_create(command);
    if (command == SNMP_MSG_GETBULK) {
        pdu->max_repetitions = query->MaxRepetitions() >= 0 ? query->MaxRepetitions() : kDefaultMaxRepetitions;
        pdu->non_repeaters = query->NonRepeaters() >= 0 ? query->NonRepeaters() : 0;
    }
    for (const VarBind &binding : query->VarBinds()->items()) {
        QString error;
        const int code = SnmpValues::addBinding(pdu, binding, command == SNMP_MSG_SET, &error);
        if (code != SNMPERR_SUCCESS) {
            snmp_free_pdu(pdu);
            failure->number = code;
            failure->description = error;
            return nullptr;
        }
    }
    return pdu;
}

void SnmpEnginePrivate::fail(SnmpQuery *query, int number, const QString &description)
{
    query->setError(number, description);
    done.push_back(query);
    deliverTimer.start();
}

void SnmpEnginePrivate::completed(int op, int requestId, netsnmp_pdu *pdu)
{
    assertThread();
    // Retransmissions and connections are announced too; only the end of a request counts.
    if (op == NETSNMP_CALLBACK_OP_RESEND || op == NETSNMP_CALLBACK_OP_CONNECT)
        return;
    const auto it = pending.find(requestId);
    if (it == pending.end())
        return;
    const PendingQuery entry = it.value();
    pending.erase(it);
    --entry.session->pending;
    SnmpQuery *query = entry.query;

    if (op == NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE && pdu != nullptr) {
        qCDebug(lcSnmp) << "request" << requestId << "answered by PDU type" << pdu->command << "status"
                        << pdu->errstat;
        if (pdu->command == SNMP_MSG_REPORT) {
            const int code = snmpv3_get_report_type(pdu);
            query->setError(code, libraryError(code));
        } else {
            VarBindList *list = query->VarBinds();
            list->Clear();
            for (netsnmp_variable_list *v = pdu->variables; v != nullptr; v = v->next_variable) {
                VarBind binding;
                SnmpValues::fromVariable(v, binding);
                list->append(binding);
            }
            if (pdu->errstat != SNMP_ERR_NOERROR) {
                const int index = int(pdu->errindex);
                query->setError(int(pdu->errstat), QString::fromLocal8Bit(snmp_errstring(int(pdu->errstat))),
                                index);
                if (index >= 1 && index <= list->Count())
                    (*list)[index - 1].Status = int(pdu->errstat);
            }
        }
    } else if (op == NETSNMP_CALLBACK_OP_TIMED_OUT) {
        query->setError(SNMPERR_TIMEOUT, libraryError(SNMPERR_TIMEOUT));
    } else {
        // A failed send or a refused port: the session knows what went wrong.
        int libraryCode = 0;
        int systemCode = 0;
        char *text = nullptr;
        snmp_sess_error(entry.session->handle, &libraryCode, &systemCode, &text);
        const QString description = QString::fromLocal8Bit(text);
        SNMP_FREE(text);
        if (libraryCode == SNMPERR_SUCCESS)
            libraryCode = op == NETSNMP_CALLBACK_OP_SEND_FAILED ? SNMPERR_BAD_SENDTO : SNMPERR_GENERR;
        query->setError(libraryCode, description.isEmpty() ? libraryError(libraryCode) : description);
        qCDebug(lcSnmp) << "request" << requestId << "ended by net-snmp event" << op << description;
    }
    done.push_back(query);
}

void SnmpEnginePrivate::readable(EngineSession *session)
{
    assertThread();
    netsnmp_large_fd_set fds;
    netsnmp_large_fd_set_init(&fds, session->socket + 1);
    NETSNMP_LARGE_FD_SET(session->socket, &fds);
    snmp_sess_read2(session->handle, &fds);
    netsnmp_large_fd_set_cleanup(&fds);
    armTimer();
    deliver();
}

void SnmpEnginePrivate::timedOut()
{
    assertThread();
    for (EngineSession *session : std::as_const(sessions)) {
        if (session->pending > 0)
            snmp_sess_timeout(session->handle);
    }
    QList<int> lost;
    for (auto it = pending.cbegin(); it != pending.cend(); ++it) {
        if (it.value().deadline.hasExpired())
            lost.append(it.key());
    }
    for (const int requestId : std::as_const(lost))
        completed(NETSNMP_CALLBACK_OP_TIMED_OUT, requestId, nullptr);
    armTimer();
    deliver();
}

void SnmpEnginePrivate::armTimer()
{
    long earliest = -1;
    for (EngineSession *session : std::as_const(sessions)) {
        if (session->pending <= 0)
            continue;
        int fdCount = 0;
        netsnmp_large_fd_set fds;
        netsnmp_large_fd_set_init(&fds, FD_SETSIZE);
        struct timeval wait = {0, 0};
        int block = 1;
        snmp_sess_select_info2(session->handle, &fdCount, &fds, &wait, &block);
        netsnmp_large_fd_set_cleanup(&fds);
        if (block)
            continue;
        const long ms = long(wait.tv_sec) * 1000L + (long(wait.tv_usec) + 999L) / 1000L;
        if (earliest < 0 || ms < earliest)
            earliest = ms;
    }
    for (const PendingQuery &entry : std::as_const(pending)) {
        const long ms = long(qMax<qint64>(0, entry.deadline.remainingTime()));
        if (earliest < 0 || ms < earliest)
            earliest = ms;
    }
    if (earliest < 0)
        timeoutTimer.stop();
    else
        timeoutTimer.start(int(qMin(earliest, 24L * 3600L * 1000L)));
}

void SnmpEnginePrivate::deliver()
{
    assertThread();
    while (!done.empty()) {
        SnmpQuery *query = done.front();
        done.pop_front();
        inFlight.remove(query);
        SnmpQuery *previous = current;
        current = query;
        if (SNMPReply *callback = query->Callback()) {
            // A reply handler's error must not cross the event loop.
            try {
                callback->Reply(query);
            } catch (const QXMibError &e) {
                qCWarning(lcSnmp) << "reply handler failed:" << e.number() << e.description();
            } catch (const std::exception &e) {
                qCWarning(lcSnmp) << "reply handler failed:" << e.what();
            } catch (...) {
                qCWarning(lcSnmp) << "reply handler failed";
            }
        }
        current = previous;
        release(query);
    }
}

// The engine owns a query from its sending to the end of its reply, unless
// somebody has sent it again meanwhile or given it a parent to keep it.
void SnmpEnginePrivate::release(SnmpQuery *query)
{
    if (!inFlight.contains(query) && query->parent() == nullptr && query != current)
        delete query;
}

void SnmpEnginePrivate::cancelAll()
{
    QList<SnmpQuery *> dropped;
    for (const PendingQuery &entry : std::as_const(pending))
        dropped.append(entry.query);
    for (SnmpQuery *query : done)
        dropped.append(query);
    pending.clear();
    done.clear();
    inFlight.clear();
    deliverTimer.stop();
    // Closing the sessions drops their retransmissions too; they reopen on the next send.
    closeSessions();
    timeoutTimer.stop();
    for (SnmpQuery *query : std::as_const(dropped))
        release(query);
}

void SnmpEnginePrivate::closeSessions()
{
    const QList<EngineSession *> all = sessions.values();
    sessions.clear();
    for (EngineSession *session : all) {
        if (session->notifier != nullptr) {
            session->notifier->setEnabled(false);
            // The notifier may be the one whose signal is being handled right now.
            session->notifier->deleteLater();
        }
        snmp_sess_close(session->handle);
        delete session;
    }
}

void SnmpEnginePrivate::forget(SNMPReply *callback)
{
    for (const PendingQuery &entry : std::as_const(pending)) {
        if (entry.query->Callback() == callback)
            entry.query->setCallback(nullptr);
    }
    for (SnmpQuery *query : done) {
        if (query->Callback() == callback)
            query->setCallback(nullptr);
    }
}

SnmpEngine::SnmpEngine(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<SnmpEnginePrivate>(this))
{
}

SnmpEngine::~SnmpEngine() = default;

SnmpEngine *SnmpEngine::threadEngine()
{
    thread_local std::unique_ptr<SnmpEngine> engine;
    if (!engine)
        engine = std::make_unique<SnmpEngine>();
    return engine.get();
}

void SnmpEngine::forgetCallback(SNMPReply *callback)
{
    for (SnmpEnginePrivate *engine = tlEngines; engine != nullptr; engine = engine->nextOnThread)
        engine->forget(callback);
}

int SnmpEngine::Send(SnmpQuery *query, bool asynchronous)
{
    Q_UNUSED(asynchronous);
    d->send(query);
    return 0;
}

void SnmpEngine::CancelAll()
{
    d->cancelAll();
}

int SnmpEngine::OutstandingQueries() const
{
    return int(d->inFlight.size());
}

SnmpQuery *SnmpEngine::CurrentResponse() const
{
    return d->current;
}

int SnmpEngine::DefaultTimeout() const
{
    return d->defaultTimeout;
}

void SnmpEngine::setDefaultTimeout(int milliseconds)
{
    d->defaultTimeout = qMax(1, milliseconds);
}

int SnmpEngine::DefaultRetries() const
{
    return d->defaultRetries;
}

void SnmpEngine::setDefaultRetries(int retries)
{
    d->defaultRetries = qMax(0, retries);
}

QString SnmpEngine::ResolveHostName(const QString &hostName)
{
    QString name = hostName.trimmed();
    if (name.startsWith(QLatin1Char('[')) && name.endsWith(QLatin1Char(']')))
        name = name.mid(1, name.size() - 2);
    if (name.isEmpty())
        return QString();
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo *result = nullptr;
    if (getaddrinfo(name.toUtf8().constData(), nullptr, &hints, &result) != 0 || result == nullptr)
        return QString();
    char text[NI_MAXHOST] = {};
    QString address;
    if (getnameinfo(result->ai_addr, result->ai_addrlen, text, sizeof(text), nullptr, 0, NI_NUMERICHOST) == 0)
        address = QString::fromLatin1(text);
    freeaddrinfo(result);
    return address;
}

QString SnmpEngine::peerName(const QString &target)
{
    const QString text = target.trimmed();
    if (text.isEmpty())
        return QString();
    QString host;
    QString port = QStringLiteral("161");
    bool ipv6 = false;
    if (text.startsWith(QLatin1Char('['))) {
        const int close = text.indexOf(QLatin1Char(']'));
        if (close < 2)
            return QString();
        host = text.mid(1, close - 1);
        const QString rest = text.mid(close + 1);
        if (!rest.isEmpty()) {
            if (!rest.startsWith(QLatin1Char(':')))
                return QString();
            port = rest.mid(1);
        }
        ipv6 = true;
    } else if (text.count(QLatin1Char(':')) > 1) {
        host = text;
        ipv6 = true;
    } else {
        const int colon = text.indexOf(QLatin1Char(':'));
        host = colon < 0 ? text : text.left(colon);
        if (colon >= 0)
            port = text.mid(colon + 1);
    }
    bool ok = false;
    const int number = port.toInt(&ok);
    if (host.isEmpty() || !ok || number < 1 || number > 65535 || host.contains(QLatin1Char(' ')))
        return QString();
    return ipv6 ? QStringLiteral("udp6:[%1]:%2").arg(host).arg(number)
                : QStringLiteral("udp:%1:%2").arg(host).arg(number);
}
