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
#include <QThreadPool>
#include <QLoggingCategory>
#include <QPointer>
#include <QRegularExpression>
#include <QSet>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>
#include <QVarLengthArray>

#include "snmp/snmpvalues_p.h"
#include "snmp/usmuser_p.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <vector>

Q_LOGGING_CATEGORY(lcSnmp, "qxmib.snmp", QtWarningMsg)

namespace {

constexpr int kDefaultTimeoutMs = 1000;
constexpr int kDefaultRetries = 5;
constexpr int kDefaultMaxRepetitions = 10;
constexpr qint64 kGraceMs = 1000;

using LibraryLock = std::lock_guard<std::recursive_mutex>;

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
        LibraryLock lock(Usm::libraryMutex());
        init_snmp("qxmibtree");
    });
}

QString libraryError(int code)
{
    return QString::fromLocal8Bit(snmp_api_errstring(code));
}

struct Target
{
    QString host;
    int port = 161;
    bool ipv6 = false;
};

// "host", "host:port", "udp:host:port", bare IPv6, "[v6addr]:port", "udp6:[v6addr]:port".
bool parseTarget(const QString &target, Target *out)
{
    QString text = target.trimmed();
    if (text.startsWith(QLatin1String("udp6:"), Qt::CaseInsensitive)) {
        text = text.mid(5);
        out->ipv6 = true;
    } else if (text.startsWith(QLatin1String("udp:"), Qt::CaseInsensitive)) {
        text = text.mid(4);
    }
    QString port = QStringLiteral("161");
    if (text.startsWith(QLatin1Char('['))) {
        const int close = text.indexOf(QLatin1Char(']'));
        if (close < 2)
            return false;
        out->host = text.mid(1, close - 1);
        const QString rest = text.mid(close + 1);
        if (!rest.isEmpty()) {
            if (!rest.startsWith(QLatin1Char(':')))
                return false;
            port = rest.mid(1);
        }
        out->ipv6 = true;
    } else if (text.count(QLatin1Char(':')) > 1) {
        out->host = text;
        out->ipv6 = true;
    } else {
        const int colon = text.indexOf(QLatin1Char(':'));
        out->host = colon < 0 ? text : text.left(colon);
        if (colon >= 0)
            port = text.mid(colon + 1);
    }
    static const QRegularExpression v6(QStringLiteral("^[0-9A-Fa-f:.]+(%[^\\s]+)?$"));
    if (out->ipv6 && out->host.contains(QLatin1Char(':')) && !v6.match(out->host).hasMatch())
        return false;
    bool ok = false;
    out->port = port.toInt(&ok);
    return ok && !out->host.isEmpty() && out->port >= 1 && out->port <= 65535
        && !out->host.contains(QLatin1Char(' '));
}

bool isNumericAddress(const QString &host, bool *ipv6)
{
    const QByteArray text = host.toLatin1();
    unsigned char buffer[sizeof(in6_addr)];
    if (inet_pton(AF_INET, text.constData(), buffer) == 1) {
        *ipv6 = false;
        return true;
    }
    if (inet_pton(AF_INET6, text.constData(), buffer) == 1) {
        *ipv6 = true;
        return true;
    }
    return false;
}

struct ResolvedAddress
{
    QString address; // numeric, without a scope
    bool ipv6 = false;
};

// The addresses of a host name, in the resolver's order; empty when it has none.
// Blocks: runs on a pool thread.
QList<ResolvedAddress> resolveHost(const QByteArray &host)
{
    QList<ResolvedAddress> out;
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo *list = nullptr;
    if (getaddrinfo(host.constData(), nullptr, &hints, &list) != 0)
        return out;
    for (const addrinfo *a = list; a != nullptr; a = a->ai_next) {
        char text[NI_MAXHOST] = {};
        if ((a->ai_family != AF_INET && a->ai_family != AF_INET6)
            || getnameinfo(a->ai_addr, a->ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST) != 0)
            continue;
        QString address = QString::fromLatin1(text);
        address.truncate(address.indexOf(QLatin1Char('%')) >= 0 ? address.indexOf(QLatin1Char('%')) : address.size());
        out.append({address, a->ai_family == AF_INET6});
    }
    freeaddrinfo(list);
    return out;
}

QString senderAddress(const netsnmp_pdu *pdu)
{
    return SnmpValues::peerAddress(pdu);
}

struct Failure
{
    int number = 0;
    QString description;
};

// What picks a query's session, as the query gives it: compared before the
// session key is worked out again for every request of a walk.
struct QueryIdentity
{
    QString address;
    QString community;
    int version = 0;
    QString userName;
    int level = 0;
    QString authProtocol;
    QString authPassword;
    QString privProtocol;
    QString privPassword;
    QString contextName;
    QString contextEngineId;

    static QueryIdentity of(const SnmpQuery *query)
    {
        QueryIdentity id;
        id.address = query->IPAddress();
        id.version = query->SNMPVersion();
        if (id.version != 3) {
            id.community = query->Community();
            return id;
        }
        const SnmpSession *v3 = query->V3Settings();
        id.userName = v3->UserName();
        id.level = v3->SecurityLevel();
        id.authProtocol = v3->AuthProtocol();
        id.authPassword = v3->AuthPassword();
        id.privProtocol = v3->PrivProtocol();
        id.privPassword = v3->PrivPassword();
        id.contextName = v3->ContextName();
        id.contextEngineId = v3->ContextEngineID();
        return id;
    }
    bool operator==(const QueryIdentity &o) const
    {
        return version == o.version && level == o.level && address == o.address && community == o.community
            && userName == o.userName && authProtocol == o.authProtocol && authPassword == o.authPassword
            && privProtocol == o.privProtocol && privPassword == o.privPassword && contextName == o.contextName
            && contextEngineId == o.contextEngineId;
    }
};

} // namespace

class SnmpEnginePrivate;
struct EngineSession;

// One request that net-snmp holds: a query, or the engine id discovery of a
// session. It is net-snmp's callback data, so it lives until net-snmp has let
// go of the request, even when its query has ended earlier.
struct Ticket
{
    // net-snmp's report handling may take callback data for its own synchronous
    // waiting state and write into it after the callback: room for that first.
    char libraryScratch[32] = {};
    SnmpEnginePrivate *engine = nullptr;
    EngineSession *session = nullptr;
    SnmpQuery *query = nullptr;
    netsnmp_pdu *request = nullptr; // net-snmp's while it holds the request
    QDeadlineTimer deadline;
    int retries = 0;
    int resends = 0;
    const netsnmp_pdu *report = nullptr; // the last report seen, with its message id
    long reportMessageId = 0;
    bool probe = false;
    bool finished = false;
};

// One net-snmp single session, kept open for every query to the same target
// with the same version and credentials. A new session resolves its host name
// and, for version 3, discovers the agent's engine id before it sends the
// queries waiting for it; none of that waits on the caller's thread.
struct EngineSession
{
    char libraryScratch[32] = {}; // as in Ticket: the session's callback data
    enum State { Resolving, Discovering, Ready, Failed, Retired };
    State state = Resolving;
    SnmpEnginePrivate *engine = nullptr;
    quint64 serial = 0;
    QByteArray key;
    long version = SNMP_VERSION_2c;
    QByteArray community;
    Target target;
    Usm::Credentials credentials;
    QByteArray contextName;
    QByteArray contextEngineId;
    QString address; // the numeric address the session sends to
    void *handle = nullptr;
    int socket = -1;
    QSocketNotifier *notifier = nullptr;
    std::deque<SnmpQuery *> waiting;
    std::vector<Ticket *> tickets;
    Usm::User user;
    bool closing = false;
    // The last sender's address and its text: replies come from one address.
    QByteArray senderBytes;
    QString sender;
    // The outcome of the engine id discovery, acted on once net-snmp has returned.
    bool discoveryEnded = false;
    QByteArray engineId;
    Failure failure;
};

class SnmpEnginePrivate
{
public:
    explicit SnmpEnginePrivate(SnmpEngine *owner);
    ~SnmpEnginePrivate();

    void send(SnmpQuery *query);
    void cancelAll();
    void forget(SNMPReply *callback);

    EngineSession *sessionFor(SnmpQuery *query, Failure *failure);
    void open(EngineSession *session, const QString &address, bool ipv6, const SnmpQuery *trigger);
    void resolved(quint64 serial, const QList<ResolvedAddress> &addresses);
    void startDiscovery(EngineSession *session, const SnmpQuery *trigger);
    void transmit(EngineSession *session, SnmpQuery *query);
    bool issue(EngineSession *session, Ticket *ticket, netsnmp_pdu *pdu, const SnmpQuery *settingsFrom);
    netsnmp_pdu *buildPdu(const SnmpQuery *query, Failure *failure);

    int requestEvent(Ticket *ticket, int op, netsnmp_session *library, netsnmp_pdu *pdu);
    int sessionEvent(EngineSession *session, int op, netsnmp_session *library, netsnmp_pdu *pdu);
    void endTicket(Ticket *ticket, int number, const QString &description, netsnmp_pdu *pdu);
    void complete(SnmpQuery *query, EngineSession *session, int number, const QString &description,
                  netsnmp_pdu *pdu);
    void fail(SnmpQuery *query, int number, const QString &description, const QString &address = QString());
    static QString senderOf(EngineSession *session, const netsnmp_pdu *pdu);

    void readable(EngineSession *session);
    void timedOut();
    void settle();
    void retire(EngineSession *session);
    void close(EngineSession *session);
    void deliver();
    void armTimer();
    void release(SnmpQuery *query);
    // Open sessions, then retired ones: a copy, as acting on them may retire some.
    QVarLengthArray<EngineSession *, 8> allSessions() const;
    int timeoutOf(const SnmpQuery *query) const
    {
        return query != nullptr && query->Timeout() >= 0 ? query->Timeout() : defaultTimeout;
    }
    int retriesOf(const SnmpQuery *query) const
    {
        return query != nullptr && query->Retries() >= 0 ? query->Retries() : defaultRetries;
    }
    void assertThread() const { Q_ASSERT(QThread::currentThread() == q->thread()); }

    SnmpEngine *q;
    QHash<QByteArray, EngineSession *> sessions; // by target, version and credentials
    std::vector<EngineSession *> openSessions;   // the same, in the order they were opened
    QueryIdentity lastIdentity;                  // the last query given a session, and its key
    QByteArray lastKey;
    std::vector<EngineSession *> retired;        // closed once net-snmp is done with them
    std::deque<SnmpQuery *> done;                // completed, reply not yet delivered
    QSet<SnmpQuery *> inFlight;                  // waiting, sent or done
    QTimer timeoutTimer;
    QTimer deliverTimer;
    SnmpQuery *current = nullptr;
    int defaultTimeout = kDefaultTimeoutMs;
    int defaultRetries = kDefaultRetries;
    quint64 nextSerial = 1;
    SnmpEnginePrivate *nextOnThread = nullptr;
};

namespace {

// The engines living on this thread, linked through nextOnThread. A plain
// pointer: it must outlive every thread-local engine at thread exit.
thread_local SnmpEnginePrivate *tlEngines = nullptr;

// Never call out of the engine: replies are delivered after net-snmp has returned.
extern "C" int requestCallback(int op, netsnmp_session *library, int, netsnmp_pdu *pdu, void *magic)
{
    auto *ticket = static_cast<Ticket *>(magic);
    return ticket->engine->requestEvent(ticket, op, library, pdu);
}

// Messages net-snmp cannot give to a request's own callback: security
// failures of incoming messages, strays.
extern "C" int sessionCallback(int op, netsnmp_session *library, int, netsnmp_pdu *pdu, void *magic)
{
    auto *session = static_cast<EngineSession *>(magic);
    return session->engine->sessionEvent(session, op, library, pdu);
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

QVarLengthArray<EngineSession *, 8> SnmpEnginePrivate::allSessions() const
{
    QVarLengthArray<EngineSession *, 8> all;
    all.append(openSessions.data(), qsizetype(openSessions.size()));
    all.append(retired.data(), qsizetype(retired.size()));
    return all;
}

void SnmpEnginePrivate::send(SnmpQuery *query)
{
    assertThread();
    if (query == nullptr)
        throw QXMibError(QXMibError::ObjectRequired, QStringLiteral("Object required"));
    if (inFlight.contains(query))
        throw QXMibError(QXMibError::InvalidCall, QStringLiteral("The query has been sent already"));
    query->setError(0, QString());
    query->setResponseAddress(QString());
    inFlight.insert(query);

    Failure failure;
    EngineSession *session = sessionFor(query, &failure);
    if (session == nullptr) {
        fail(query, failure.number, failure.description);
        return;
    }
    if (session->state == EngineSession::Ready)
        transmit(session, query);
    else
        session->waiting.push_back(query);
    settle();
    armTimer();
    if (!done.empty())
        deliverTimer.start();
}

EngineSession *SnmpEnginePrivate::sessionFor(SnmpQuery *query, Failure *failure)
{
    QueryIdentity identity = QueryIdentity::of(query);
    if (!lastKey.isEmpty() && identity == lastIdentity) {
        if (EngineSession *existing = sessions.value(lastKey))
            return existing;
    }
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
    Target target;
    if (!parseTarget(query->IPAddress(), &target)) {
        failure->number = SNMPERR_BAD_ADDRESS;
        failure->description = libraryError(SNMPERR_BAD_ADDRESS) + QStringLiteral(" (") + query->IPAddress()
            + QLatin1Char(')');
        return nullptr;
    }

    Usm::Credentials credentials;
    const SnmpSession *v3 = query->V3Settings();
    if (version == SNMP_VERSION_3) {
        credentials = {v3->UserName(),    v3->SecurityLevel(), v3->AuthProtocol(),
                       v3->AuthPassword(), v3->PrivProtocol(),  v3->PrivPassword()};
        failure->number = Usm::check(credentials, &failure->description);
        if (failure->number != SNMPERR_SUCCESS)
            return nullptr;
    }

    // Pass phrases take part in the key only through a hash.
    QCryptographicHash hash(QCryptographicHash::Sha256);
    const QStringList parts = version == SNMP_VERSION_3
        ? QStringList{v3->UserName(),     QString::number(v3->SecurityLevel()), v3->AuthProtocol(),
                      v3->AuthPassword(), v3->PrivProtocol(),                   v3->PrivPassword(),
                      v3->ContextName(),  v3->ContextEngineID()}
        : QStringList{query->Community()};
    for (const QString &part : QStringList{target.host, QString::number(target.port),
                                           QString::number(int(target.ipv6)), QString::number(version)}
             + parts) {
        hash.addData(QByteArray::number(part.size()));
        hash.addData(part.toUtf8());
    }
    const QByteArray key = hash.result();
    lastIdentity = std::move(identity);
    lastKey = key;
    if (EngineSession *existing = sessions.value(key))
        return existing;

    auto *session = new EngineSession;
    session->engine = this;
    session->serial = nextSerial++;
    session->key = key;
    session->version = version;
    session->target = target;
    session->community = query->Community().toLatin1();
    if (version == SNMP_VERSION_3) {
        session->credentials = credentials;
        session->contextName = v3->ContextName().toUtf8();
        session->contextEngineId = QByteArray::fromHex(v3->ContextEngineID().toLatin1());
    }
    sessions.insert(key, session);
    openSessions.push_back(session);

    bool ipv6 = false;
    if (isNumericAddress(target.host, &ipv6)) {
        open(session, target.host, ipv6, query);
    } else {
        // Name look-ups run on a pool thread and come back through the event loop; a session
        // closed meanwhile is no longer Resolving and ignores the answer.
        const quint64 serial = session->serial;
        const QByteArray host = target.host.toUtf8();
        QThreadPool::globalInstance()->start([this, serial, host, engine = QPointer<SnmpEngine>(q)] {
            QList<ResolvedAddress> addresses = resolveHost(host);
            if (engine)
                QMetaObject::invokeMethod(engine, [this, serial, addresses] { resolved(serial, addresses); },
                                          Qt::QueuedConnection);
        });
    }
    return session;
}

void SnmpEnginePrivate::resolved(quint64 serial, const QList<ResolvedAddress> &addresses)
{
    assertThread();
    EngineSession *session = nullptr;
    for (EngineSession *s : std::as_const(sessions)) {
        if (s->serial == serial)
            session = s;
    }
    if (session == nullptr || session->state != EngineSession::Resolving)
        return;
    const ResolvedAddress *chosen = nullptr;
    for (const ResolvedAddress &address : addresses) {
        if (address.ipv6 == session->target.ipv6) {
            chosen = &address;
            break;
        }
        if (chosen == nullptr && address.ipv6)
            chosen = &address;
    }
    if (chosen == nullptr) {
        session->state = EngineSession::Failed;
        session->failure = {SNMPERR_BAD_ADDRESS, libraryError(SNMPERR_BAD_ADDRESS) + QStringLiteral(" (")
                                                     + session->target.host + QLatin1Char(')')};
    } else {
        open(session, chosen->address, chosen->ipv6, session->waiting.empty() ? nullptr : session->waiting.front());
    }
    settle();
    armTimer();
    if (!done.empty())
        deliverTimer.start();
}

void SnmpEnginePrivate::open(EngineSession *session, const QString &address, bool ipv6, const SnmpQuery *trigger)
{
    session->address = address;
    const QByteArray peer = (ipv6 ? QStringLiteral("udp6:[%1]:%2") : QStringLiteral("udp:%1:%2"))
                                .arg(address)
                                .arg(session->target.port)
                                .toLatin1();
    netsnmp_session setup;
    snmp_sess_init(&setup);
    setup.peername = const_cast<char *>(peer.constData());
    setup.version = session->version;
    setup.timeout = long(timeoutOf(trigger)) * 1000L;
    setup.retries = retriesOf(trigger);
    setup.callback = sessionCallback;
    setup.callback_magic = session;
    QByteArray user;
    if (session->version != SNMP_VERSION_3) {
        setup.community = reinterpret_cast<u_char *>(session->community.data());
        setup.community_len = size_t(session->community.size());
    } else {
        // The engine id is discovered on the event loop, never inside the open.
        setup.flags |= SNMP_FLAGS_DONT_PROBE;
        setup.securityModel = SNMP_SEC_MODEL_USM;
        user = session->credentials.userName.toUtf8();
        setup.securityName = user.data();
        setup.securityNameLen = size_t(user.size());
        const int level = session->credentials.level;
        setup.securityLevel = level == SnmpSession::AuthPriv ? SNMP_SEC_LEVEL_AUTHPRIV
            : level == SnmpSession::AuthNoPriv                ? SNMP_SEC_LEVEL_AUTHNOPRIV
                                                              : SNMP_SEC_LEVEL_NOAUTH;
        size_t length = 0;
        if (const oid *auth = Usm::authProtocol(session->credentials.authProtocol, &length)) {
            setup.securityAuthProto = const_cast<oid *>(auth);
            setup.securityAuthProtoLen = length;
        }
        if (const oid *priv = Usm::privProtocol(session->credentials.privProtocol, &length)) {
            setup.securityPrivProto = const_cast<oid *>(priv);
            setup.securityPrivProtoLen = length;
        }
        if (!session->contextName.isEmpty()) {
            setup.contextName = session->contextName.data();
            setup.contextNameLen = size_t(session->contextName.size());
        }
        if (!session->contextEngineId.isEmpty()) {
            setup.contextEngineID = reinterpret_cast<u_char *>(session->contextEngineId.data());
            setup.contextEngineIDLen = size_t(session->contextEngineId.size());
        }
    }

    {
        LibraryLock lock(Usm::libraryMutex());
        session->handle = snmp_sess_open(&setup);
    }
    if (session->handle == nullptr) {
        int libraryCode = 0;
        int systemCode = 0;
        char *text = nullptr;
        snmp_error(&setup, &libraryCode, &systemCode, &text);
        session->state = EngineSession::Failed;
        session->failure = {libraryCode != 0 ? libraryCode : SNMPERR_GENERR, QString::fromLocal8Bit(text)};
        SNMP_FREE(text);
        return;
    }
    // Opening clears the flag; without it the first send would discover the engine
    // id itself, waiting for the agent.
    if (session->version == SNMP_VERSION_3)
        snmp_sess_session(session->handle)->flags |= SNMP_FLAGS_DONT_PROBE;
    netsnmp_transport *transport = snmp_sess_transport(session->handle);
    session->socket = transport != nullptr ? transport->sock : -1;
    if (session->socket >= 0) {
        session->notifier = new QSocketNotifier(session->socket, QSocketNotifier::Read);
        QObject::connect(session->notifier, &QSocketNotifier::activated, q, [this, session] { readable(session); });
    }
    if (session->version == SNMP_VERSION_3)
        startDiscovery(session, trigger);
    else
        session->state = EngineSession::Ready;
}

// Asks the agent for its engine id as net-snmp's tools do: an empty Get from
// the nameless user, answered with a report that names the engine.
void SnmpEnginePrivate::startDiscovery(EngineSession *session, const SnmpQuery *trigger)
{
    session->state = EngineSession::Discovering;
    {
        LibraryLock lock(Usm::libraryMutex());
        Usm::ensureProbeUser();
    }
    netsnmp_pdu *pdu = snmp_pdu_create(SNMP_MSG_GET);
    pdu->version = SNMP_VERSION_3;
    pdu->securityName = strdup("");
    pdu->securityNameLen = 0;
    pdu->securityLevel = SNMP_SEC_LEVEL_NOAUTH;
    pdu->securityModel = SNMP_SEC_MODEL_USM;
    auto *ticket = new Ticket;
    ticket->probe = true;
    issue(session, ticket, pdu, trigger);
}

void SnmpEnginePrivate::transmit(EngineSession *session, SnmpQuery *query)
{
    Failure failure;
    netsnmp_pdu *pdu = buildPdu(query, &failure);
    if (pdu == nullptr) {
        fail(query, failure.number, failure.description, session->address);
        return;
    }
    auto *ticket = new Ticket;
    ticket->query = query;
    issue(session, ticket, pdu, query);
}

bool SnmpEnginePrivate::issue(EngineSession *session, Ticket *ticket, netsnmp_pdu *pdu, const SnmpQuery *settingsFrom)
{
    // Time-out and retries are read from the session when a request is queued.
    netsnmp_session *settings = snmp_sess_session(session->handle);
    const int timeout = timeoutOf(settingsFrom);
    settings->timeout = long(timeout) * 1000L;
    settings->retries = retriesOf(settingsFrom);
    ticket->engine = this;
    ticket->session = session;
    ticket->retries = settings->retries;
    // Beyond this the request has outlived all its retries; should net-snmp
    // have dropped it without a word, it ends here as a time-out.
    ticket->deadline = QDeadlineTimer(qint64(timeout) * (settings->retries + 1) + kGraceMs, Qt::PreciseTimer);
    session->tickets.push_back(ticket);

    int requestId = 0;
    {
        LibraryLock lock(Usm::libraryMutex());
        session->user.install();
        requestId = snmp_sess_async_send(session->handle, pdu, requestCallback, ticket);
    }
    if (requestId == 0) {
        int libraryCode = 0;
        int systemCode = 0;
        char *text = nullptr;
        snmp_sess_error(session->handle, &libraryCode, &systemCode, &text);
        const QString description = QString::fromLocal8Bit(text);
        SNMP_FREE(text);
        snmp_free_pdu(pdu);
        if (!ticket->finished) {
            ticket->finished = true;
            if (libraryCode == SNMPERR_SUCCESS)
                libraryCode = SNMPERR_GENERR;
            endTicket(ticket, libraryCode, description.isEmpty() ? libraryError(libraryCode) : description, nullptr);
        }
        return false;
    }
    if (!ticket->finished)
        ticket->request = pdu;
    return true;
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

int SnmpEnginePrivate::requestEvent(Ticket *ticket, int op, netsnmp_session *library, netsnmp_pdu *pdu)
{
    assertThread();
    EngineSession *session = ticket->session;
    qCDebug(lcSnmp) << "request event" << op << "probe" << ticket->probe << "PDU type"
                    << (pdu != nullptr ? pdu->command : -1) << "resends" << ticket->resends;
    if (ticket->finished || op == NETSNMP_CALLBACK_OP_CONNECT)
        return 1;
    if (op == NETSNMP_CALLBACK_OP_RESEND) {
        ++ticket->resends;
        return 1;
    }
    if (session->closing) {
        ticket->finished = true;
        return 1;
    }
    const bool message = op == NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE || op == NETSNMP_CALLBACK_OP_SEC_ERROR;
    if (message && pdu != nullptr && pdu->command == SNMP_MSG_REPORT) {
        // net-snmp hands a report over twice, as a security error and as a message.
        if (pdu == ticket->report && pdu->msgid == ticket->reportMessageId)
            return 1;
        ticket->report = pdu;
        ticket->reportMessageId = pdu->msgid;
        const int code = snmpv3_get_report_type(pdu);
        // net-snmp answers a time window report (the agent telling its boots and
        // time) by sending the request again while its retries last.
        if (!ticket->probe && code == SNMPERR_NOT_IN_TIME_WINDOW && ticket->resends <= ticket->retries) {
            ++ticket->resends;
            return 1;
        }
        // An agent with a new engine id needs a new discovery; credentials the agent
        // refused are not kept open for the next request.
        if (!ticket->probe && session->state == EngineSession::Ready)
            session->state = EngineSession::Retired;
        ticket->finished = true;
        endTicket(ticket, code, libraryError(code), pdu);
        return 1;
    }
    if (op == NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE && pdu != nullptr) {
        ticket->finished = true;
        endTicket(ticket, SNMPERR_SUCCESS, QString(), pdu);
        return 1;
    }
    ticket->finished = true;
    int code = SNMPERR_GENERR;
    QString description;
    if (op == NETSNMP_CALLBACK_OP_TIMED_OUT) {
        code = SNMPERR_TIMEOUT;
    } else if (op == NETSNMP_CALLBACK_OP_SEC_ERROR && library != nullptr && library->s_snmp_errno < 0) {
        code = library->s_snmp_errno;
    } else {
        // A failed send or a refused port: the session knows what went wrong.
        int systemCode = 0;
        char *text = nullptr;
        snmp_sess_error(session->handle, &code, &systemCode, &text);
        description = QString::fromLocal8Bit(text);
        SNMP_FREE(text);
        if (code == SNMPERR_SUCCESS)
            code = op == NETSNMP_CALLBACK_OP_SEND_FAILED ? SNMPERR_BAD_SENDTO : SNMPERR_GENERR;
    }
    endTicket(ticket, code, description.isEmpty() ? libraryError(code) : description, nullptr);
    return 1;
}

int SnmpEnginePrivate::sessionEvent(EngineSession *session, int op, netsnmp_session *library, netsnmp_pdu *pdu)
{
    assertThread();
    const int code = library != nullptr ? library->s_snmp_errno : 0;
    qCDebug(lcSnmp) << "session event" << op << "error" << code << "command" << (pdu != nullptr ? pdu->command : -1);
    if (session->closing || pdu == nullptr || code >= 0)
        return 1;
    // A message that failed its security checks here: it belongs to the request
    // with its message id, which ends now with net-snmp's error.
    for (Ticket *ticket : session->tickets) {
        if (ticket->finished || ticket->request == nullptr || ticket->request->msgid != pdu->msgid)
            continue;
        endTicket(ticket, code, libraryError(code), nullptr);
        break;
    }
    return 1;
}

// The request's outcome. net-snmp may still hold the request (a security error
// seen before its retries ran out): the ticket stays until it lets go.
void SnmpEnginePrivate::endTicket(Ticket *ticket, int number, const QString &description, netsnmp_pdu *pdu)
{
    EngineSession *session = ticket->session;
    if (ticket->probe) {
        ticket->probe = false;
        session->discoveryEnded = true;
        if (pdu != nullptr && pdu->securityEngineIDLen > 0) {
            session->engineId = QByteArray(reinterpret_cast<const char *>(pdu->securityEngineID),
                                           int(pdu->securityEngineIDLen));
        } else if (number != SNMPERR_SUCCESS) {
            session->failure = {number, description};
        } else {
            session->failure = {SNMPERR_INVALID_MSG, libraryError(SNMPERR_INVALID_MSG)};
        }
        return;
    }
    SnmpQuery *query = ticket->query;
    ticket->query = nullptr;
    if (query != nullptr)
        complete(query, session, number, description, pdu);
}

void SnmpEnginePrivate::complete(SnmpQuery *query, EngineSession *session, int number, const QString &description,
                                 netsnmp_pdu *pdu)
{
    query->setResponseAddress(senderOf(session, pdu));
    if (pdu != nullptr && pdu->command != SNMP_MSG_REPORT) {
        VarBindList *list = query->VarBinds();
        list->Clear();
        for (netsnmp_variable_list *v = pdu->variables; v != nullptr; v = v->next_variable) {
            VarBind binding;
            SnmpValues::fromVariable(v, binding);
            list->append(binding);
        }
        if (pdu->errstat != SNMP_ERR_NOERROR) {
            const int index = int(pdu->errindex);
            query->setError(int(pdu->errstat), QString::fromLocal8Bit(snmp_errstring(int(pdu->errstat))), index);
            if (index >= 1 && index <= list->Count())
                (*list)[index - 1].Status = int(pdu->errstat);
        }
    } else {
        query->setError(number, description);
    }
    done.push_back(query);
}

QString SnmpEnginePrivate::senderOf(EngineSession *session, const netsnmp_pdu *pdu)
{
    QByteArrayView bytes;
    if (pdu != nullptr && pdu->transport_data != nullptr && pdu->transport_data_length > 0)
        bytes = QByteArrayView(static_cast<const char *>(pdu->transport_data), pdu->transport_data_length);
    if (bytes.isEmpty() || bytes != QByteArrayView(session->senderBytes)) {
        const QString sender = senderAddress(pdu);
        session->senderBytes = bytes.toByteArray();
        session->sender = sender.isEmpty() ? session->address : sender;
    }
    return session->sender;
}

void SnmpEnginePrivate::fail(SnmpQuery *query, int number, const QString &description, const QString &address)
{
    query->setError(number, description);
    query->setResponseAddress(address);
    done.push_back(query);
    deliverTimer.start();
}

void SnmpEnginePrivate::readable(EngineSession *session)
{
    assertThread();
    {
        LibraryLock lock(Usm::libraryMutex());
        session->user.install();
        netsnmp_large_fd_set fds;
        netsnmp_large_fd_set_init(&fds, session->socket + 1);
        NETSNMP_LARGE_FD_SET(session->socket, &fds);
        snmp_sess_read2(session->handle, &fds);
        netsnmp_large_fd_set_cleanup(&fds);
    }
    settle();
    armTimer();
    deliver();
}

void SnmpEnginePrivate::timedOut()
{
    assertThread();
    const auto all = allSessions();
    for (EngineSession *session : all) {
        if (session->handle == nullptr || session->tickets.empty())
            continue;
        LibraryLock lock(Usm::libraryMutex());
        session->user.install();
        snmp_sess_timeout(session->handle);
    }
    for (EngineSession *session : all) {
        for (Ticket *ticket : session->tickets) {
            if (!ticket->finished && (ticket->query != nullptr || ticket->probe) && ticket->deadline.hasExpired())
                endTicket(ticket, SNMPERR_TIMEOUT, libraryError(SNMPERR_TIMEOUT), nullptr);
        }
    }
    settle();
    armTimer();
    deliver();
}

// Acts on what happened while net-snmp had control: drops the tickets it has
// let go of, finishes discoveries, sends what waited for them or fails it,
// and closes retired sessions that nothing depends on any more.
void SnmpEnginePrivate::settle()
{
    for (EngineSession *session : allSessions()) {
        auto &tickets = session->tickets;
        for (auto it = tickets.begin(); it != tickets.end();) {
            if ((*it)->finished) {
                delete *it;
                it = tickets.erase(it);
            } else {
                ++it;
            }
        }
        if (session->state == EngineSession::Discovering && session->discoveryEnded) {
            session->discoveryEnded = false;
            if (session->engineId.isEmpty()) {
                session->state = EngineSession::Failed;
            } else if ((session->failure.number =
                            session->user.localize(session->credentials, session->engineId,
                                                   &session->failure.description))
                       != SNMPERR_SUCCESS) {
                session->state = EngineSession::Failed;
            } else {
                netsnmp_session *library = snmp_sess_session(session->handle);
                if (library->securityEngineIDLen == 0) {
                    library->securityEngineID = static_cast<u_char *>(
                        netsnmp_memdup(session->engineId.constData(), size_t(session->engineId.size())));
                    library->securityEngineIDLen = size_t(session->engineId.size());
                }
                session->state = EngineSession::Ready;
            }
        }
        if (session->state == EngineSession::Ready) {
            while (!session->waiting.empty()) {
                SnmpQuery *query = session->waiting.front();
                session->waiting.pop_front();
                transmit(session, query);
            }
        } else if (session->state == EngineSession::Failed) {
            while (!session->waiting.empty()) {
                SnmpQuery *query = session->waiting.front();
                session->waiting.pop_front();
                fail(query, session->failure.number, session->failure.description, session->address);
            }
            retire(session);
        } else if (session->state == EngineSession::Retired) {
            retire(session);
        }
    }
    for (auto it = retired.begin(); it != retired.end();) {
        EngineSession *session = *it;
        const bool busy = std::any_of(session->tickets.begin(), session->tickets.end(),
                                      [](const Ticket *t) { return t->query != nullptr; });
        if (busy || !session->waiting.empty()) {
            ++it;
            continue;
        }
        it = retired.erase(it);
        close(session);
    }
}

// Out of the table for new queries; closed once its requests are over.
void SnmpEnginePrivate::retire(EngineSession *session)
{
    session->state = EngineSession::Retired;
    if (sessions.value(session->key) == session) {
        sessions.remove(session->key);
        openSessions.erase(std::find(openSessions.begin(), openSessions.end(), session));
        retired.push_back(session);
    }
}

void SnmpEnginePrivate::close(EngineSession *session)
{
    session->closing = true;
    if (session->notifier != nullptr) {
        session->notifier->setEnabled(false);
        // The notifier may be the one whose signal is being handled right now.
        session->notifier->deleteLater();
    }
    if (session->handle != nullptr) {
        // Closing calls back for every request still open; those find the session closing.
        LibraryLock lock(Usm::libraryMutex());
        snmp_sess_close(session->handle);
    }
    for (Ticket *ticket : session->tickets)
        delete ticket;
    delete session;
}

void SnmpEnginePrivate::armTimer()
{
    long earliest = -1;
    for (EngineSession *session : allSessions()) {
        if (session->handle == nullptr || session->tickets.empty())
            continue;
        int fdCount = 0;
        netsnmp_large_fd_set fds;
        netsnmp_large_fd_set_init(&fds, FD_SETSIZE);
        struct timeval wait = {0, 0};
        int block = 1;
        snmp_sess_select_info2(session->handle, &fdCount, &fds, &wait, &block);
        netsnmp_large_fd_set_cleanup(&fds);
        if (!block) {
            const long ms = long(wait.tv_sec) * 1000L + (long(wait.tv_usec) + 999L) / 1000L;
            if (earliest < 0 || ms < earliest)
                earliest = ms;
        }
        for (const Ticket *ticket : session->tickets) {
            if (ticket->finished || (ticket->query == nullptr && !ticket->probe))
                continue;
            const long ms = long(qMax<qint64>(0, ticket->deadline.remainingTime()));
            if (earliest < 0 || ms < earliest)
                earliest = ms;
        }
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
    const auto all = allSessions();
    for (EngineSession *session : all) {
        for (const Ticket *ticket : session->tickets) {
            if (ticket->query != nullptr)
                dropped.append(ticket->query);
        }
        dropped.append(QList<SnmpQuery *>(session->waiting.begin(), session->waiting.end()));
    }
    for (SnmpQuery *query : done)
        dropped.append(query);
    sessions.clear();
    openSessions.clear();
    retired.clear();
    done.clear();
    inFlight.clear();
    deliverTimer.stop();
    // Closing the sessions drops their retransmissions too; they reopen on the next send.
    for (EngineSession *session : all)
        close(session);
    timeoutTimer.stop();
    for (SnmpQuery *query : std::as_const(dropped))
        release(query);
}

void SnmpEnginePrivate::forget(SNMPReply *callback)
{
    for (EngineSession *session : allSessions()) {
        for (const Ticket *ticket : session->tickets) {
            if (ticket->query != nullptr && ticket->query->Callback() == callback)
                ticket->query->setCallback(nullptr);
        }
        for (SnmpQuery *query : session->waiting) {
            if (query->Callback() == callback)
                query->setCallback(nullptr);
        }
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
    Target parsed;
    if (!parseTarget(target, &parsed))
        return QString();
    return parsed.ipv6 ? QStringLiteral("udp6:[%1]:%2").arg(parsed.host).arg(parsed.port)
                       : QStringLiteral("udp:%1:%2").arg(parsed.host).arg(parsed.port);
}
