#include "snmpagent.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QEventLoop>
#include <QTimer>
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

bool writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(content) == content.size();
}

bool fail(QString *error, const QString &text)
{
    if (error != nullptr)
        *error = text;
    return false;
}

bool launch(std::unique_ptr<QProcess> &process, const QString &program, const QStringList &arguments,
            const QProcessEnvironment &env, QString *error)
{
    process = std::make_unique<QProcess>();
    process->setProcessEnvironment(env);
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->start(program, arguments);
    if (process->waitForStarted(5000))
        return true;
    const QString text = program + QStringLiteral(" did not start: ") + process->errorString();
    process.reset();
    return fail(error, text);
}

} // namespace

SnmpAgent::SnmpAgent() = default;

SnmpAgent::~SnmpAgent()
{
    stop();
}

QList<SnmpAgent::V3User> SnmpAgent::v3Users()
{
    QList<V3User> users = {{QStringLiteral("plainuser"), QString(), QString(), QString(), QString()}};
    for (const char *auth : {"MD5", "SHA", "SHA-224", "SHA-256", "SHA-384", "SHA-512"}) {
        for (const char *priv : {"", "DES", "AES", "AES-192", "AES-256"}) {
            const QString a = QLatin1String(auth), p = QLatin1String(priv);
            const QString name = QString(u'u' + a + (p.isEmpty() ? QStringLiteral("nopriv") : p)).remove(u'-').toLower();
            users.append({name, a, QStringLiteral("authpass-") + a, p, p.isEmpty() ? QString() : "privpass-" + p});
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
    QByteArray out = "1.3.6.1.2.1.1.1.0|4|Generated interface table\n"
                     "1.3.6.1.2.1.1.2.0|6|1.3.6.1.4.1.8072.3.2.10\n"
                     "1.3.6.1.2.1.1.3.0|67|123456\n"
                     "1.3.6.1.2.1.1.5.0|4|generated\n"
                     "1.3.6.1.2.1.2.1.0|2|"
        + QByteArray::number(rows) + "\n";
    // Column by column, rows in ascending order: the file is in OID order.
    const int types[22] = {2, 4, 2, 2, 66, 4, 2, 2, 67, 65, 65, 65, 65, 65, 65, 65, 65, 65, 65, 65, 66, 6};
    for (int column = 1; column <= 22; ++column) {
        for (int row = 1; row <= rows; ++row) {
            QByteArray type = QByteArray::number(types[column - 1]), value;
            switch (column) {
            case 1: value = QByteArray::number(row); break;
            case 2: value = "eth" + QByteArray::number(row - 1); break;
            case 3: value = "6"; break;
            case 4: value = "1500"; break;
            case 5: value = "1000000000"; break;
            case 6:
                type = "4x";
                value = "0000" + QByteArray::number(0x5e000000 + row, 16).rightJustified(8, '0');
                break;
            case 7: value = "1"; break;
            case 8: value = row % 7 == 0 ? "2" : "1"; break;
            case 22: value = "0.0"; break;
            default: value = QByteArray::number(quint64(row) * 1000 + column); break;
            }
            out += "1.3.6.1.2.1.2.2.1." + QByteArray::number(column) + '.' + QByteArray::number(row) + '|' + type + '|'
                + value + '\n';
        }
    }
    return out;
}

bool SnmpAgent::startSnmpd(QString *error)
{
    stop();
    m_port = freeUdpPort();
    QByteArray config = "rocommunity public 127.0.0.1\nrwcommunity private 127.0.0.1\n"
                        "dontLogTCPWrappersConnects yes\nrouser plainuser noauth\ncreateUser plainuser\n";
    for (const V3User &user : v3Users()) {
        if (user.authProtocol.isEmpty())
            continue;
        const QString line = QStringLiteral("createUser %1 %2 %3 %4 %5")
                                 .arg(user.name, user.authProtocol, user.authPassword, user.privProtocol,
                                      user.privPassword)
                                 .trimmed();
        config += (line + QStringLiteral("\nrwuser ") + user.name
                   + (user.privProtocol.isEmpty() ? QStringLiteral(" auth\n") : QStringLiteral(" priv\n")))
                      .toLatin1();
    }
    const QString conf = m_dir.filePath(QStringLiteral("snmpd.conf"));
    if (!m_dir.isValid() || !QDir(m_dir.path()).mkpath(QStringLiteral("persist")) || !writeFile(conf, config))
        return fail(error, QStringLiteral("cannot write the snmpd configuration"));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("SNMP_PERSISTENT_DIR"), m_dir.filePath(QStringLiteral("persist")));
    env.insert(QStringLiteral("SNMPCONFPATH"), m_dir.path());
    env.insert(QStringLiteral("MIBS"), QString());
    env.insert(QStringLiteral("MIBDIRS"), QString());
    return launch(m_process, QStringLiteral("/usr/sbin/snmpd"),
                  {QStringLiteral("-f"), QStringLiteral("-C"), QStringLiteral("-c"), conf, QStringLiteral("-Lf"),
                   m_dir.filePath(QStringLiteral("snmpd.log")), QStringLiteral("-p"),
                   m_dir.filePath(QStringLiteral("snmpd.pid")), QStringLiteral("udp:127.0.0.1:%1").arg(m_port)},
                  env, error)
        && waitUntilAnswering(QStringLiteral("public"), error);
}

bool SnmpAgent::startSnmpsim(const QStringList &examples, const QList<QPair<QString, QByteArray>> &files,
                             int maxVarBinds, QString *error)
{
    stop();
    m_port = freeUdpPort();
    const QString data = m_dir.filePath(QStringLiteral("data"));
    const QString cache = m_dir.filePath(QStringLiteral("cache"));
    if (!m_dir.isValid() || !QDir().mkpath(data) || !QDir().mkpath(cache))
        return fail(error, QStringLiteral("no temporary folder"));
    QList<QPair<QString, QByteArray>> recordings;
    for (const QString &example : examples) {
        // Some of snmpsim's examples are gzipped, some are not.
        const QString plain = QStringLiteral("/usr/share/doc/snmpsim/examples/data/recorded/") + example + ".snmprec";
        QProcess gunzip;
        gunzip.start(QStringLiteral("gzip"), {QStringLiteral("-dcf"), QFileInfo::exists(plain) ? plain : plain + ".gz"});
        gunzip.waitForFinished(30000);
        recordings.append({example + QStringLiteral(".snmprec"), gunzip.readAllStandardOutput()});
        if (recordings.last().second.isEmpty())
            return fail(error, QStringLiteral("recording not found: ") + example);
    }
    recordings += files;
    for (const auto &file : recordings)
        writeFile(data + u'/' + file.first, file.second);
    const QString community = recordings.isEmpty() ? QString() : QFileInfo(recordings.first().first).completeBaseName();

    QStringList arguments = {QStringLiteral("--data-dir=") + data, QStringLiteral("--cache-dir=") + cache,
                             QStringLiteral("--agent-udpv4-endpoint=127.0.0.1:%1").arg(m_port),
                             QStringLiteral("--logging-method=null")};
    if (maxVarBinds > 0)
        arguments.append(QStringLiteral("--max-varbinds=%1").arg(maxVarBinds));
    if (geteuid() == 0) {
        // It refuses to run as root and drops to nobody before it reads its data.
        const passwd *nobody = getpwnam("nobody");
        const group *nogroup = getgrnam("nogroup");
        if (nobody == nullptr || nogroup == nullptr)
            return fail(error, QStringLiteral("no user nobody / group nogroup"));
        for (const QString &path : {m_dir.path(), data})
            QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
                                            | QFileDevice::ReadOther | QFileDevice::ExeOther
                                            | QFileDevice::ReadGroup | QFileDevice::ExeGroup);
        if (::chown(QFile::encodeName(cache).constData(), nobody->pw_uid, nogroup->gr_gid) != 0)
            return fail(error, QStringLiteral("cannot hand the cache folder to nobody"));
        arguments << QStringLiteral("--process-user=nobody") << QStringLiteral("--process-group=nogroup");
    }
    return launch(m_process, QStringLiteral("snmpsimd"), arguments, QProcessEnvironment::systemEnvironment(), error)
        && waitUntilAnswering(community, error);
}

bool SnmpAgent::startSnmptrapd(const QByteArray &config, const QString &mibDirectory, QString *error)
{
    stop();
    m_port = freeUdpPort();
    const QString conf = m_dir.filePath(QStringLiteral("snmptrapd.conf"));
    const QString log = m_dir.filePath(QStringLiteral("snmptrapd.log"));
    QFile::remove(log);
    if (!m_dir.isValid() || !QDir(m_dir.path()).mkpath(QStringLiteral("persist")) || !writeFile(conf, config))
        return fail(error, QStringLiteral("cannot write the snmptrapd configuration"));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("SNMP_PERSISTENT_DIR"), m_dir.filePath(QStringLiteral("persist")));
    env.insert(QStringLiteral("SNMPCONFPATH"), m_dir.path());
    env.insert(QStringLiteral("MIBS"), QStringLiteral("ALL"));
    env.insert(QStringLiteral("MIBDIRS"), mibDirectory);
    if (!launch(m_process, QStringLiteral("/usr/sbin/snmptrapd"),
                {QStringLiteral("-f"), QStringLiteral("-C"), QStringLiteral("-c"), conf, QStringLiteral("-Lf"), log,
                 QStringLiteral("-OQ"), QStringLiteral("--doNotRetainNotificationLogs=yes"),
                 QStringLiteral("udp:127.0.0.1:%1").arg(m_port)},
                env, error))
        return false;
    for (QDeadlineTimer deadline(30000); !deadline.hasExpired(); QThread::msleep(50)) {
        if (m_process->state() != QProcess::Running) {
            m_process.reset();
            return fail(error, QStringLiteral("snmptrapd exited: ") + this->log());
        }
        if (this->log().contains(QLatin1String("NET-SNMP version")))
            return true;
    }
    stop();
    return fail(error, QStringLiteral("snmptrapd did not start"));
}

QString SnmpAgent::log() const
{
    QFile file(m_dir.filePath(QStringLiteral("snmptrapd.log")));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

int SnmpAgent::runTool(const QString &program, const QStringList &arguments, QByteArray *output) const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString &line : toolEnvironment())
        env.insert(line.section(u'=', 0, 0), line.section(u'=', 1));
    QProcess tool;
    tool.setProcessEnvironment(env);
    // The event loop runs meanwhile: a receiver in this process answers informs.
    QEventLoop loop;
    QObject::connect(&tool, &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(&tool, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    QTimer::singleShot(30000, &loop, &QEventLoop::quit);
    tool.start(program, arguments);
    loop.exec();
    if (tool.state() != QProcess::NotRunning) {
        tool.kill();
        tool.waitForFinished(2000);
        return -1;
    }
    if (output != nullptr)
        *output = tool.readAllStandardOutput() + tool.readAllStandardError();
    return tool.exitStatus() == QProcess::NormalExit ? tool.exitCode() : -1;
}

bool SnmpAgent::waitUntilAnswering(const QString &community, QString *error)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString &line : toolEnvironment())
        env.insert(line.section(u'=', 0, 0), line.section(u'=', 1));
    // Indexing a large recording takes a while; the agent answers once it is done.
    for (QDeadlineTimer deadline(120000); !deadline.hasExpired(); QThread::msleep(100)) {
        if (m_process->state() != QProcess::Running) {
            const int status = m_process->exitCode();
            m_process.reset();
            return fail(error, QStringLiteral("the agent exited with status %1").arg(status));
        }
        QProcess probe;
        probe.setProcessEnvironment(env);
        probe.start(QStringLiteral("snmpgetnext"), {QStringLiteral("-v2c"), QStringLiteral("-c"), community,
                                                    QStringLiteral("-t"), QStringLiteral("0.3"), QStringLiteral("-r"),
                                                    QStringLiteral("0"), QStringLiteral("-On"), target(),
                                                    QStringLiteral("1.3.6")});
        probe.waitForFinished(5000);
        if (probe.exitStatus() == QProcess::NormalExit && probe.exitCode() == 0)
            return true;
    }
    stop();
    return fail(error, QStringLiteral("the agent did not answer"));
}

void SnmpAgent::stop(bool kill)
{
    if (m_process && m_process->state() != QProcess::NotRunning) {
        if (kill)
            m_process->kill();
        else
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
