#include "snmp/trapreceiver.h"

#include "core/objectfactory.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "snmp/bindingtext.h"
#include "snmp/snmpengine.h"

#include <QLoggingCategory>
#include <QPointer>
#include <QSocketNotifier>
#include <QThread>

#include "snmp/snmpvalues_p.h"
#include "snmp/usmuser_p.h"

// net-snmp names a prefix of OIDs MIB; here it is QXMibOID::MIB.
#undef MIB

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

QXMIB_REGISTER_CLASS(TrapReceiver, TrapReceiver)

Q_DECLARE_LOGGING_CATEGORY(lcSnmp)

namespace {

using LibraryLock = std::lock_guard<std::recursive_mutex>;

const QString kSysUpTime0 = QStringLiteral("1.3.6.1.2.1.1.3.0");
const QString kSnmpTrapOid0 = QStringLiteral("1.3.6.1.6.3.1.1.4.1.0");
// snmpTraps: the SNMPv2 notifications that SNMPv1's generic traps 0..5 become.
const QString kSnmpTraps = QStringLiteral("1.3.6.1.6.3.1.1.5.");

// Datagrams taken per wake-up of the socket notifier before the event loop
// gets its turn again.
constexpr int kReadsPerWakeUp = 256;
// Room for a burst in the socket before the event loop comes back to it.
constexpr int kReceiveBuffer = 4 * 1024 * 1024;

// net-snmp's counters of what its message processing refused.
struct Counters
{
    u_int parseErrors = 0;
    u_int badVersions = 0;
    u_int unknownModels = 0;
    u_int unsupportedLevels = 0;
    u_int unknownUsers = 0;
    u_int wrongDigests = 0;
    u_int decryptionErrors = 0;

    static Counters now()
    {
        Counters c;
        c.parseErrors = snmp_get_statistic(STAT_SNMPINASNPARSEERRS);
        c.badVersions = snmp_get_statistic(STAT_SNMPINBADVERSIONS);
        c.unknownModels = snmp_get_statistic(STAT_SNMPUNKNOWNSECURITYMODELS);
        c.unsupportedLevels = snmp_get_statistic(STAT_USMSTATSUNSUPPORTEDSECLEVELS);
        c.unknownUsers = snmp_get_statistic(STAT_USMSTATSUNKNOWNUSERNAMES);
        c.wrongDigests = snmp_get_statistic(STAT_USMSTATSWRONGDIGESTS);
        c.decryptionErrors = snmp_get_statistic(STAT_USMSTATSDECRYPTIONERRORS);
        return c;
    }
};

QString hexText(const u_char *bytes, size_t length)
{
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char *>(bytes), int(length)).toHex().toUpper());
}

QString sourceText(const QString &address, int port)
{
    if (address.isEmpty())
        return QString();
    return (address.contains(QLatin1Char(':')) ? QLatin1Char('[') + address + QLatin1Char(']') : address)
        + QLatin1Char(':') + QString::number(port);
}

extern "C" int receiverCallback(int op, netsnmp_session *library, int, netsnmp_pdu *pdu, void *magic);
extern "C" int receiverPreParse(netsnmp_session *library, netsnmp_transport *, void *data, int length);

} // namespace

class TrapReceiverPrivate
{
public:
    explicit TrapReceiverPrivate(TrapReceiver *owner)
        : q(owner)
    {
    }

    struct User
    {
        Usm::Credentials credentials;
        QStringList engineIds;
        std::vector<std::unique_ptr<Usm::User>> keys; // ours, then one per engine id
    };

    struct Rejection
    {
        int reason;
        QString source;
    };

    void listen();
    void close();
    void readable();
    int message(int op, netsnmp_pdu *pdu);
    void reject(int reason, const QString &source);
    void localizeKeys(User &user);
    void name(Notification &notification);
    QXMibOID *lookUp(const QString &oid);
    QString upTimeText(quint32 ticks);
    void assertThread() const { Q_ASSERT(QThread::currentThread() == q->thread()); }

    TrapReceiver *q;
    QString address = QStringLiteral("0.0.0.0");
    int port = 162;
    QStringList communities;
    std::vector<User> users;
    void *handle = nullptr;
    int socket = -1;
    QSocketNotifier *notifier = nullptr;
    quint64 serial = 0;
    int received = 0;
    int informs = 0;
    int communityRejected = 0;
    int malformed = 0;
    int unknownUsers = 0;
    int wrongKeys = 0;
    int otherRejected = 0;
    // Collected while net-snmp has control, raised once it has returned.
    bool handled = false;
    bool stray = false;
    QString preParsedSource;
    std::vector<Notification> arrived;
    std::vector<Rejection> refused;
    std::unique_ptr<QXMibOID> record;
    QString recordOid;
    bool useDatabase = true;
};

namespace {

extern "C" int receiverCallback(int op, netsnmp_session *, int, netsnmp_pdu *pdu, void *magic)
{
    return static_cast<TrapReceiverPrivate *>(magic)->message(op, pdu);
}

// Every datagram passes here before parsing: its sender is the one to name
// should net-snmp refuse it.
extern "C" int receiverPreParse(netsnmp_session *library, netsnmp_transport *, void *data, int length)
{
    auto *d = static_cast<TrapReceiverPrivate *>(library->callback_magic);
    netsnmp_pdu probe = {};
    probe.transport_data = data;
    probe.transport_data_length = length;
    int port = 0;
    const QString address = SnmpValues::peerAddress(&probe, &port);
    d->preParsedSource = sourceText(address, port);
    return 1;
}

} // namespace

void TrapReceiverPrivate::listen()
{
    assertThread();
    close();
    // The engine sets the library up; our keys need its local engine id.
    SnmpEngine::threadEngine();
    const bool ipv6 = address.contains(QLatin1Char(':'));
    const QByteArray spec = (ipv6 ? QStringLiteral("udp6:[%1]:%2") : QStringLiteral("udp:%1:%2"))
                                .arg(address.isEmpty() ? QStringLiteral("0.0.0.0") : address)
                                .arg(port)
                                .toLatin1();
    LibraryLock lock(Usm::libraryMutex());
    errno = 0;
    netsnmp_transport *transport = netsnmp_transport_open_server("snmptrap", spec.constData());
    if (transport == nullptr) {
        const int error = errno;
        throw QXMibError(QXMibError::SnmpError,
                         QStringLiteral("Cannot listen on %1: %2")
                             .arg(QString::fromLatin1(spec),
                                  error != 0 ? QString::fromLocal8Bit(strerror(error))
                                             : QStringLiteral("the address is not valid here")));
    }
    const int buffer = kReceiveBuffer;
    setsockopt(transport->sock, SOL_SOCKET, SO_RCVBUF, &buffer, sizeof(buffer));
    netsnmp_session setup;
    snmp_sess_init(&setup);
    setup.peername = nullptr;
    setup.version = SNMP_DEFAULT_VERSION;
    setup.callback = receiverCallback;
    setup.callback_magic = this;
    setup.isAuthoritative = SNMP_SESS_UNKNOWNAUTH;
    handle = snmp_sess_add(&setup, transport, receiverPreParse, nullptr);
    if (handle == nullptr)
        throw QXMibError(QXMibError::SnmpError,
                         QStringLiteral("Cannot listen on %1: %2")
                             .arg(QString::fromLatin1(spec), QString::fromLocal8Bit(snmp_api_errstring(snmp_errno))));
    socket = transport->sock;
    notifier = new QSocketNotifier(socket, QSocketNotifier::Read);
    QObject::connect(notifier, &QSocketNotifier::activated, q, [this] { readable(); });
    for (User &user : users)
        localizeKeys(user);
}

void TrapReceiverPrivate::close()
{
    if (notifier != nullptr) {
        notifier->setEnabled(false);
        notifier->deleteLater();
        notifier = nullptr;
    }
    if (handle != nullptr) {
        LibraryLock lock(Usm::libraryMutex());
        snmp_sess_close(handle);
        handle = nullptr;
    }
    socket = -1;
}

void TrapReceiverPrivate::localizeKeys(User &user)
{
    SnmpEngine::threadEngine();
    u_char local[SNMP_MAXBUF_SMALL];
    size_t localLength = 0;
    {
        LibraryLock lock(Usm::libraryMutex());
        localLength = snmpv3_get_engineID(local, sizeof(local));
    }
    QList<QByteArray> engines{QByteArray(reinterpret_cast<const char *>(local), int(localLength))};
    for (const QString &hex : std::as_const(user.engineIds))
        engines.append(QByteArray::fromHex(hex.toLatin1()));
    user.keys.clear();
    for (const QByteArray &engine : std::as_const(engines)) {
        auto key = std::make_unique<Usm::User>();
        QString error;
        const int code = key->localize(user.credentials, engine, &error);
        if (code != SNMPERR_SUCCESS)
            throw QXMibError(QXMibError::SnmpError, error);
        user.keys.push_back(std::move(key));
    }
}

void TrapReceiverPrivate::readable()
{
    assertThread();
    for (int i = 0; i < kReadsPerWakeUp && handle != nullptr; ++i) {
        Counters before;
        {
            LibraryLock lock(Usm::libraryMutex());
            for (User &user : users) {
                for (auto &key : user.keys)
                    key->install();
            }
            handled = false;
            stray = false;
            preParsedSource.clear();
            before = Counters::now();
            netsnmp_large_fd_set fds;
            netsnmp_large_fd_set_init(&fds, socket + 1);
            NETSNMP_LARGE_FD_SET(socket, &fds);
            snmp_sess_read2(handle, &fds);
            netsnmp_large_fd_set_cleanup(&fds);
            if (!handled) {
                // Refused inside the library: its counters tell why. Discovery
                // probes and time-window reports of SNMPv3 senders count nowhere.
                const Counters after = Counters::now();
                if (after.unknownUsers != before.unknownUsers)
                    reject(TrapReceiver::UnknownUser, preParsedSource);
                else if (after.wrongDigests != before.wrongDigests
                         || after.decryptionErrors != before.decryptionErrors
                         || after.unsupportedLevels != before.unsupportedLevels)
                    reject(TrapReceiver::WrongKey, preParsedSource);
                else if (after.parseErrors != before.parseErrors || after.badVersions != before.badVersions
                         || after.unknownModels != before.unknownModels)
                    reject(TrapReceiver::Malformed, preParsedSource);
                else if (stray)
                    reject(TrapReceiver::NotANotification, preParsedSource);
            }
        }
        pollfd more = {socket, POLLIN, 0};
        if (poll(&more, 1, 0) <= 0 || (more.revents & POLLIN) == 0)
            break;
    }

    // Raised after the library has returned: handlers may do anything, even close us.
    std::vector<Notification> notifications;
    notifications.swap(arrived);
    std::vector<Rejection> rejections;
    rejections.swap(refused);
    QPointer<TrapReceiver> alive(q);
    for (Notification &n : notifications) {
        try {
            name(n);
        } catch (const QXMibError &e) {
            qCWarning(lcSnmp) << "naming a notification failed:" << e.number() << e.description();
        }
    }
    // A handler's error must not cross the event loop.
    try {
        if (!notifications.empty() || !rejections.empty())
            Q_EMIT q->CountsChanged();
        for (const Rejection &r : rejections) {
            if (!alive)
                return;
            Q_EMIT q->Rejected(r.reason, TrapReceiver::rejectionText(TrapReceiver::Rejection(r.reason)), r.source);
        }
        for (const Notification &n : notifications) {
            if (!alive)
                return;
            Q_EMIT q->Received(n);
        }
    } catch (const QXMibError &e) {
        qCWarning(lcSnmp) << "notification handler failed:" << e.number() << e.description();
    } catch (const std::exception &e) {
        qCWarning(lcSnmp) << "notification handler failed:" << e.what();
    }
}

void TrapReceiverPrivate::reject(int reason, const QString &source)
{
    switch (reason) {
    case TrapReceiver::CommunityRejected:
        ++communityRejected;
        break;
    case TrapReceiver::Malformed:
        ++malformed;
        break;
    case TrapReceiver::UnknownUser:
        ++unknownUsers;
        break;
    case TrapReceiver::WrongKey:
        ++wrongKeys;
        break;
    default:
        ++otherRejected;
        break;
    }
    refused.push_back({reason, source});
}

int TrapReceiverPrivate::message(int op, netsnmp_pdu *pdu)
{
    assertThread();
    if (op != NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE || pdu == nullptr)
        return 1;
    handled = true;
    int sourcePort = 0;
    const QString source = SnmpValues::peerAddress(pdu, &sourcePort);
    if (pdu->command != SNMP_MSG_TRAP && pdu->command != SNMP_MSG_TRAP2 && pdu->command != SNMP_MSG_INFORM) {
        // Requests, responses, and what failed its security checks (handed over
        // with no command): the library's counters tell them apart.
        handled = false;
        stray = true;
        return 1;
    }
    Notification n;
    n.Received = QDateTime::currentDateTime();
    n.SourceAddress = source;
    n.SourcePort = sourcePort;
    n.Version = pdu->version == SNMP_VERSION_1 ? 1 : pdu->version == SNMP_VERSION_3 ? 3 : 2;
    n.Inform = pdu->command == SNMP_MSG_INFORM;
    if (n.Version == 3) {
        n.UserName = QString::fromUtf8(pdu->securityName, int(pdu->securityNameLen));
        n.EngineID = hexText(pdu->securityEngineID, pdu->securityEngineIDLen);
        n.ContextName = QString::fromUtf8(pdu->contextName, int(pdu->contextNameLen));
    } else {
        n.Community = QString::fromUtf8(reinterpret_cast<const char *>(pdu->community), int(pdu->community_len));
        if (!communities.isEmpty() && !communities.contains(n.Community)) {
            reject(TrapReceiver::CommunityRejected, sourceText(source, sourcePort));
            return 1;
        }
    }
    if (netsnmp_transport *transport = snmp_sess_transport(handle)) {
        if (transport->f_fmtaddr != nullptr) {
            char *text = transport->f_fmtaddr(transport, pdu->transport_data, pdu->transport_data_length);
            n.Transport = QString::fromLocal8Bit(text);
            SNMP_FREE(text);
        }
    }

    if (pdu->command == SNMP_MSG_TRAP) {
        n.Enterprise = SnmpValues::oidText(pdu->enterprise, pdu->enterprise_length);
        n.AgentAddress = QStringLiteral("%1.%2.%3.%4")
                             .arg(pdu->agent_addr[0])
                             .arg(pdu->agent_addr[1])
                             .arg(pdu->agent_addr[2])
                             .arg(pdu->agent_addr[3]);
        n.GenericTrap = int(pdu->trap_type);
        n.SpecificTrap = int(pdu->specific_type);
        n.UpTime = quint32(pdu->time);
        n.NotificationOID = n.GenericTrap >= 0 && n.GenericTrap < SNMP_TRAP_ENTERPRISESPECIFIC
            ? kSnmpTraps + QString::number(n.GenericTrap + 1)
            : n.Enterprise + QStringLiteral(".0.") + QString::number(n.SpecificTrap);
    }
    for (netsnmp_variable_list *v = pdu->variables; v != nullptr; v = v->next_variable) {
        VarBind raw;
        SnmpValues::fromVariable(v, raw);
        if (pdu->command != SNMP_MSG_TRAP && raw.OID == kSysUpTime0 && n.NotificationOID.isEmpty()) {
            n.UpTime = raw.Value.toUInt();
            continue;
        }
        if (pdu->command != SNMP_MSG_TRAP && raw.OID == kSnmpTrapOid0 && n.NotificationOID.isEmpty()) {
            n.NotificationOID = raw.Value;
            continue;
        }
        NotificationBinding b;
        b.OID = raw.OID;
        b.ValueType = raw.ValueType;
        b.Value = raw.Value;
        b.HexValue = raw.HexValue;
        b.TypeName = BindingText::typeName(raw.ValueType);
        n.Bindings.append(b);
    }

    if (n.Inform) {
        netsnmp_pdu *reply = snmp_clone_pdu(pdu);
        if (reply != nullptr) {
            reply->command = SNMP_MSG_RESPONSE;
            reply->errstat = 0;
            reply->errindex = 0;
            if (snmp_sess_send(handle, reply) == 0)
                snmp_free_pdu(reply);
        }
        ++informs;
    }
    ++received;
    n.Serial = ++serial;
    arrived.push_back(std::move(n));
    return 1;
}

QXMibOID *TrapReceiverPrivate::lookUp(const QString &oid)
{
    if (!useDatabase)
        return nullptr;
    if (oid != recordOid) {
        try {
            if (!record)
                record = std::make_unique<QXMibOID>();
            recordOid = oid;
            record->setOID(oid);
        } catch (const QXMibError &e) {
            // No database: OIDs and plain values from now on.
            qCWarning(lcSnmp) << "notifications are shown without names:" << e.description();
            useDatabase = false;
            return nullptr;
        }
    }
    return record->BaseName().isEmpty() ? nullptr : record.get();
}

QString TrapReceiverPrivate::upTimeText(quint32 ticks)
{
    VarBind upTime;
    upTime.OID = kSysUpTime0;
    upTime.ValueType = 67;
    upTime.Value = QString::number(ticks);
    upTime.HexValue = QString::number(ticks, 16).toUpper();
    QXMibOID *r = lookUp(kSysUpTime0);
    const QString text = BindingText::rendered(upTime, r);
    if (r != nullptr && text != upTime.Value)
        return text;
    // net-snmp's form: days:hours:minutes:seconds.hundredths
    const quint32 seconds = ticks / 100;
    return QStringLiteral("%1:%2:%3:%4.%5")
        .arg(seconds / 86400)
        .arg((seconds / 3600) % 24, 2, 10, QLatin1Char('0'))
        .arg((seconds / 60) % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'))
        .arg(ticks % 100, 2, 10, QLatin1Char('0'));
}

void TrapReceiverPrivate::name(Notification &n)
{
    n.UpTimeText = upTimeText(n.UpTime);
    n.NotificationName = n.NotificationOID;
    if (QXMibOID *r = lookUp(n.NotificationOID)) {
        n.NotificationName = r->MIB() + QLatin1Char(':') + r->Name();
        if (r->Index().isEmpty())
            n.Description = r->Description();
    }
    for (NotificationBinding &b : n.Bindings) {
        VarBind raw;
        raw.OID = b.OID;
        raw.ValueType = b.ValueType;
        raw.Value = b.Value;
        raw.HexValue = b.HexValue;
        QXMibOID *r = lookUp(b.OID);
        if (r != nullptr) {
            b.Name = r->BaseName();
            b.Module = r->MIB();
            b.Instance = r->Index();
        }
        b.Rendered = BindingText::rendered(raw, r);
    }
}

TrapReceiver::TrapReceiver(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<TrapReceiverPrivate>(this))
{
}

TrapReceiver::~TrapReceiver()
{
    d->close();
}

QString TrapReceiver::Address() const
{
    return d->address;
}

void TrapReceiver::setAddress(const QString &address)
{
    QString a = address.trimmed();
    if (a.startsWith(QLatin1Char('[')) && a.endsWith(QLatin1Char(']')))
        a = a.mid(1, a.size() - 2);
    d->address = a;
}

int TrapReceiver::Port() const
{
    return d->port;
}

void TrapReceiver::setPort(int port)
{
    if (port < 0 || port > 65535)
        throw QXMibError(QXMibError::Overflow, QStringLiteral("Overflow"));
    d->port = port;
}

QStringList TrapReceiver::Communities() const
{
    return d->communities;
}

void TrapReceiver::setCommunities(const QStringList &communities)
{
    d->communities = communities;
}

bool TrapReceiver::Listening() const
{
    return d->handle != nullptr;
}

QString TrapReceiver::EngineID() const
{
    SnmpEngine::threadEngine();
    u_char local[SNMP_MAXBUF_SMALL];
    LibraryLock lock(Usm::libraryMutex());
    const size_t length = snmpv3_get_engineID(local, sizeof(local));
    return hexText(local, length);
}

int TrapReceiver::ReceivedCount() const
{
    return d->received;
}

int TrapReceiver::InformCount() const
{
    return d->informs;
}

int TrapReceiver::CommunityRejectedCount() const
{
    return d->communityRejected;
}

int TrapReceiver::MalformedCount() const
{
    return d->malformed;
}

int TrapReceiver::UnknownUserCount() const
{
    return d->unknownUsers;
}

int TrapReceiver::WrongKeyCount() const
{
    return d->wrongKeys;
}

int TrapReceiver::RejectedCount() const
{
    return d->communityRejected + d->malformed + d->unknownUsers + d->wrongKeys + d->otherRejected;
}

void TrapReceiver::Listen()
{
    try {
        d->listen();
    } catch (...) {
        d->close();
        Q_EMIT ListeningChanged(false);
        throw;
    }
    Q_EMIT ListeningChanged(true);
}

void TrapReceiver::Close()
{
    const bool was = d->handle != nullptr;
    d->close();
    if (was)
        Q_EMIT ListeningChanged(false);
}

void TrapReceiver::AddUser(const QString &userName, int level, const QString &authProtocol,
                           const QString &authPassword, const QString &privProtocol, const QString &privPassword,
                           const QStringList &engineIds)
{
    TrapReceiverPrivate::User user;
    user.credentials = {userName, level, authProtocol, authPassword, privProtocol, privPassword};
    QString error;
    if (Usm::check(user.credentials, &error) != SNMPERR_SUCCESS)
        throw QXMibError(QXMibError::SnmpError, error);
    for (const QString &id : engineIds) {
        QString hex = id.trimmed();
        if (hex.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
            hex = hex.mid(2);
        if (hex.isEmpty() || hex.size() % 2 != 0 || QByteArray::fromHex(hex.toLatin1()).toHex().size() != hex.size())
            throw QXMibError(QXMibError::SnmpError, QStringLiteral("Bad engine ID value: ") + id);
        user.engineIds.append(hex);
    }
    d->localizeKeys(user);
    // A user added again replaces the one of the same name.
    for (auto it = d->users.begin(); it != d->users.end(); ++it) {
        if (it->credentials.userName == userName) {
            d->users.erase(it);
            break;
        }
    }
    d->users.push_back(std::move(user));
}

void TrapReceiver::ClearUsers()
{
    d->users.clear();
}

void TrapReceiver::ResetCounts()
{
    d->received = d->informs = d->communityRejected = d->malformed = d->unknownUsers = d->wrongKeys =
        d->otherRejected = 0;
    Q_EMIT CountsChanged();
}

QString TrapReceiver::rejectionText(Rejection reason)
{
    switch (reason) {
    case CommunityRejected:
        return QStringLiteral("Community not accepted");
    case Malformed:
        return QStringLiteral("Malformed message");
    case UnknownUser:
        return QStringLiteral("Unknown SNMPv3 user or engine");
    case WrongKey:
        return QStringLiteral("Wrong SNMPv3 key or security level");
    case NotANotification:
        return QStringLiteral("Not a notification");
    }
    return QString();
}
