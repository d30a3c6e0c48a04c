#include "snmpagent.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QThread>

#include <arpa/inet.h>
#include <grp.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const char kExamples[] = "/usr/share/doc/snmpsim/examples/data/recorded/";

bool writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return file.write(content) == content.size();
}

void setError(QString *error, const QString &text)
{
    if (error != nullptr)
        *error = text;
}

} // namespace

SnmpAgent::SnmpAgent() = default;

SnmpAgent::~SnmpAgent()
{
    stop();
}

QList<SnmpAgent::V3User> SnmpAgent::v3Users()
{
    QList<V3User> users;
    users.append({QStringLiteral("plainuser"), QString(), QString(), QString(), QString()});
    const QStringList auths = {QStringLiteral("MD5"),     QStringLiteral("SHA"),     QStringLiteral("SHA-224"),
                               QStringLiteral("SHA-256"), QStringLiteral("SHA-384"), QStringLiteral("SHA-512")};
    const QStringList privs = {QString(), QStringLiteral("DES"), QStringLiteral("AES"), QStringLiteral("AES-192"),
                               QStringLiteral("AES-256")};
    for (const QString &auth : auths) {
        for (const QString &priv : privs) {
            QString name = QStringLiteral("u") + auth + (priv.isEmpty() ? QStringLiteral("nopriv") : priv);
            name.remove(QLatin1Char('-'));
            users.append({name.toLower(), auth, QStringLiteral("authpass-") + auth, priv,
                          priv.isEmpty() ? QString() : QStringLiteral("privpass-") + priv});
        }
    }
    return users;
}

quint16 SnmpAgent::freeUdpPort()
{
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0)
        return 0;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof(address);
    quint16 port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0
        && ::getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    ::close(fd);
    return port;
}

QByteArray SnmpAgent::ifTableRecording(int rows)
{
    QByteArray out;
    out += "1.3.6.1.2.1.1.1.0|4|Generated interface table\n";
    out += "1.3.6.1.2.1.1.2.0|6|1.3.6.1.4.1.8072.3.2.10\n";
    out += "1.3.6.1.2.1.1.3.0|67|123456\n";
    out += "1.3.6.1.2.1.1.5.0|4|generated\n";
    out += "1.3.6.1.2.1.2.1.0|2|" + QByteArray::number(rows) + "\n";
    // Column by column, rows in ascending order: the file is in OID order.
    const int types[22] = {2, 4, 2, 2, 66, 4, 2, 2, 67, 65, 65, 65, 65, 65, 65, 65, 65, 65, 65, 65, 66, 6};
    for (int column = 1; column <= 22; ++column) {
        const QByteArray prefix = "1.3.6.1.2.1.2.2.1." + QByteArray::number(column) + '.';
        for (int row = 1; row <= rows; ++row) {
            QByteArray value;
            int type = types[column - 1];
            switch (column) {
            case 1: value = QByteArray::number(row); break;
            case 2: value = "eth" + QByteArray::number(row - 1); break;
            case 3: value = "6"; break;
            case 4: value = "1500"; break;
            case 5: value = "1000000000"; break;
            case 6:
                value = "0000" + QByteArray::number(0x5e000000 + row, 16).rightJustified(8, '0');
                out += prefix + QByteArray::number(row) + "|4x|" + value + '\n';
                continue;
            case 7: value = "1"; break;
            case 8: value = row % 7 == 0 ? "2" : "1"; break;
            case 22: value = "0.0"; break;
            default: value = QByteArray::number(quint64(row) * 1000 + column); break;
            }
            out += prefix + QByteArray::number(row) + '|' + QByteArray::number(type) + '|' + value + '\n';
        }
    }
    return out;
}

bool SnmpAgent::startSnmpd(QString *error)
{
    stop();
    if (!m_dir.isValid()) {
        setError(error, QStringLiteral("no temporary folder"));
        return false;
    }
    m_port = freeUdpPort();
    QByteArray config = "rocommunity public 127.0.0.1\n"
                        "rwcommunity private 127.0.0.1\n"
                        "dontLogTCPWrappersConnects yes\n"
                        "rouser plainuser noauth\n"
                        "createUser plainuser\n";
    for (const V3User &user : v3Users()) {
        if (user.authProtocol.isEmpty())
            continue;
        config += "createUser " + user.name.toLatin1() + ' ' + user.authProtocol.toLatin1() + ' '
            + user.authPassword.toLatin1();
        if (!user.privProtocol.isEmpty())
            config += ' ' + user.privProtocol.toLatin1() + ' ' + user.privPassword.toLatin1();
        config += '\n';
        config += "rwuser " + user.name.toLatin1() + (user.privProtocol.isEmpty() ? " auth\n" : " priv\n");
    }
    const QString conf = m_dir.filePath(QStringLiteral("snmpd.conf"));
    QDir(m_dir.path()).mkpath(QStringLiteral("persist"));
    if (!writeFile(conf, config)) {
        setError(error, QStringLiteral("cannot write the snmpd configuration"));
        return false;
    }
    m_process = std::make_unique<QProcess>();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("SNMP_PERSISTENT_DIR"), m_dir.filePath(QStringLiteral("persist")));
    env.insert(QStringLiteral("SNMPCONFPATH"), m_dir.path());
    env.insert(QStringLiteral("MIBS"), QString());
    env.insert(QStringLiteral("MIBDIRS"), QString());
    m_process->setProcessEnvironment(env);
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process->setStandardOutputFile(QProcess::nullDevice());
    m_process->start(QStringLiteral("/usr/sbin/snmpd"),
                     {QStringLiteral("-f"), QStringLiteral("-C"), QStringLiteral("-c"), conf, QStringLiteral("-Lf"),
                      m_dir.filePath(QStringLiteral("snmpd.log")), QStringLiteral("-p"),
                      m_dir.filePath(QStringLiteral("snmpd.pid")),
                      QStringLiteral("udp:127.0.0.1:%1").arg(m_port)});
    if (!m_process->waitForStarted(5000)) {
        setError(error, QStringLiteral("snmpd did not start: ") + m_process->errorString());
        m_process.reset();
        return false;
    }
    return waitUntilAnswering(QStringLiteral("public"), error);
}

bool SnmpAgent::startSnmpsim(const QStringList &examples, const QList<QPair<QString, QByteArray>> &files,
                             int maxVarBinds, QString *error)
{
    stop();
    if (!m_dir.isValid()) {
        setError(error, QStringLiteral("no temporary folder"));
        return false;
    }
    m_port = freeUdpPort();
    const QString data = m_dir.filePath(QStringLiteral("data"));
    const QString cache = m_dir.filePath(QStringLiteral("cache"));
    QDir(m_dir.path()).mkpath(QStringLiteral("data"));
    QDir(m_dir.path()).mkpath(QStringLiteral("cache"));
    QString community;
    for (const QString &example : examples) {
        const QString plain = QLatin1String(kExamples) + example + QStringLiteral(".snmprec");
        QByteArray content;
        if (QFileInfo::exists(plain)) {
            QFile file(plain);
            if (file.open(QIODevice::ReadOnly))
                content = file.readAll();
        } else {
            QProcess gunzip;
            gunzip.start(QStringLiteral("gunzip"), {QStringLiteral("-c"), plain + QStringLiteral(".gz")});
            gunzip.waitForFinished(30000);
            content = gunzip.readAllStandardOutput();
        }
        if (content.isEmpty()) {
            setError(error, QStringLiteral("recording not found: ") + example);
            return false;
        }
        writeFile(data + QLatin1Char('/') + example + QStringLiteral(".snmprec"), content);
        if (community.isEmpty())
            community = example;
    }
    for (const auto &file : files) {
        writeFile(data + QLatin1Char('/') + file.first, file.second);
        if (community.isEmpty())
            community = QFileInfo(file.first).completeBaseName();
    }

    QStringList arguments = {QStringLiteral("--data-dir=") + data, QStringLiteral("--cache-dir=") + cache,
                             QStringLiteral("--agent-udpv4-endpoint=127.0.0.1:%1").arg(m_port),
                             QStringLiteral("--logging-method=null")};
    if (maxVarBinds > 0)
        arguments.append(QStringLiteral("--max-varbinds=%1").arg(maxVarBinds));
    if (geteuid() == 0) {
        // It refuses to run as root and drops to nobody before it reads its data.
        const passwd *nobody = getpwnam("nobody");
        const group *nogroup = getgrnam("nogroup");
        if (nobody == nullptr || nogroup == nullptr) {
            setError(error, QStringLiteral("no user nobody / group nogroup"));
            return false;
        }
        for (const QString &path : {m_dir.path(), data})
            QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
                                            | QFileDevice::ReadOther | QFileDevice::ExeOther
                                            | QFileDevice::ReadGroup | QFileDevice::ExeGroup);
        const QByteArray cachePath = QFile::encodeName(cache);
        if (::chown(cachePath.constData(), nobody->pw_uid, nogroup->gr_gid) != 0) {
            setError(error, QStringLiteral("cannot hand the cache folder to nobody"));
            return false;
        }
        arguments.append(QStringLiteral("--process-user=nobody"));
        arguments.append(QStringLiteral("--process-group=nogroup"));
    }
    m_process = std::make_unique<QProcess>();
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process->setStandardOutputFile(QProcess::nullDevice());
    m_process->start(QStringLiteral("snmpsimd"), arguments);
    if (!m_process->waitForStarted(5000)) {
        setError(error, QStringLiteral("snmpsimd did not start: ") + m_process->errorString());
        m_process.reset();
        return false;
    }
    return waitUntilAnswering(community, error);
}

bool SnmpAgent::waitUntilAnswering(const QString &community, QString *error)
{
    // Indexing a large recording takes a while; the agent answers once it is done.
    QDeadlineTimer deadline(120000);
    while (!deadline.hasExpired()) {
        if (m_process->state() != QProcess::Running) {
            setError(error, QStringLiteral("the agent exited with status %1").arg(m_process->exitCode()));
            m_process.reset();
            return false;
        }
        QProcess probe;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const QString &line : toolEnvironment())
            env.insert(line.section(QLatin1Char('='), 0, 0), line.section(QLatin1Char('='), 1));
        probe.setProcessEnvironment(env);
        probe.start(QStringLiteral("snmpgetnext"),
                    {QStringLiteral("-v2c"), QStringLiteral("-c"), community, QStringLiteral("-t"),
                     QStringLiteral("0.3"), QStringLiteral("-r"), QStringLiteral("0"), QStringLiteral("-On"),
                     target(), QStringLiteral("1.3.6")});
        probe.waitForFinished(5000);
        if (probe.exitStatus() == QProcess::NormalExit && probe.exitCode() == 0)
            return true;
        QThread::msleep(100);
    }
    setError(error, QStringLiteral("the agent did not answer"));
    stop();
    return false;
}

void SnmpAgent::stop()
{
    if (!m_process)
        return;
    if (m_process->state() != QProcess::NotRunning) {
        m_process->terminate();
        if (!m_process->waitForFinished(5000)) {
            m_process->kill();
            m_process->waitForFinished(2000);
        }
    }
    m_process.reset();
}

bool SnmpAgent::isRunning() const
{
    return m_process && m_process->state() == QProcess::Running;
}

QString SnmpAgent::target() const
{
    return QStringLiteral("127.0.0.1:%1").arg(m_port);
}

QStringList SnmpAgent::toolEnvironment() const
{
    return {QStringLiteral("SNMPCONFPATH=") + m_dir.path(),
            QStringLiteral("SNMP_PERSISTENT_DIR=") + m_dir.filePath(QStringLiteral("toolstate")),
            QStringLiteral("MIBS="), QStringLiteral("MIBDIRS=")};
}
