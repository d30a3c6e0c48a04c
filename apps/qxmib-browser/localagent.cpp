#include "localagent.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QThread>
#include <QUdpSocket>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

quint16 freeUdpPort()
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

// A GetNext of 1.3.6 with community "public", encoded by hand: the agent is up
// when anything comes back.
bool answers(quint16 port)
{
    const QByteArray getNext =
        QByteArray::fromHex("302002010104067075626c6963a1130201010201000201003008300606022b060500");
    QUdpSocket socket;
    if (socket.writeDatagram(getNext, QHostAddress::LocalHost, port) < 0)
        return false;
    return socket.waitForReadyRead(300) && socket.hasPendingDatagrams();
}

} // namespace

LocalAgent::LocalAgent() = default;

LocalAgent::~LocalAgent()
{
    stop();
}

QString LocalAgent::program()
{
    const QString found = QStandardPaths::findExecutable(QStringLiteral("snmpd"), {QStringLiteral("/usr/sbin"),
                                                                                    QStringLiteral("/usr/local/sbin")});
    return found.isEmpty() ? QStandardPaths::findExecutable(QStringLiteral("snmpd")) : found;
}

bool LocalAgent::start(QString *error, quint16 trapPort)
{
    stop();
    const QString snmpd = program();
    if (snmpd.isEmpty()) {
        *error = QStringLiteral("snmpd is not installed (Debian package snmpd)");
        return false;
    }
    m_port = freeUdpPort();
    QByteArray config = "rocommunity public 127.0.0.1\n"
                              "rwcommunity private 127.0.0.1\n"
                              "dontLogTCPWrappersConnects yes\n"
                              "sysLocation on this machine, started by qxmib-browser\n"
                              "createUser demo SHA demo-auth-pass AES demo-priv-pass\n"
                              "rwuser demo priv\n"
                              "createUser demoauth SHA demo-auth-pass\n"
                              "rouser demoauth auth\n";
    if (trapPort != 0)
        config += "trap2sink 127.0.0.1:" + QByteArray::number(trapPort) + " public\n";
    const QString conf = m_dir.filePath(QStringLiteral("snmpd.conf"));
    QFile file(conf);
    if (!m_dir.isValid() || !QDir(m_dir.path()).mkpath(QStringLiteral("persist"))
        || !file.open(QIODevice::WriteOnly) || file.write(config) != config.size()) {
        *error = QStringLiteral("cannot write the agent's configuration in ") + m_dir.path();
        return false;
    }
    file.close();

    m_process = std::make_unique<QProcess>();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("SNMP_PERSISTENT_DIR"), m_dir.filePath(QStringLiteral("persist")));
    env.insert(QStringLiteral("SNMPCONFPATH"), m_dir.path());
    m_process->setProcessEnvironment(env);
    m_process->setStandardOutputFile(QProcess::nullDevice());
    m_process->setStandardErrorFile(m_dir.filePath(QStringLiteral("snmpd.err")));
    // Should this process die without stopping it, the agent goes too.
    m_process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_process->start(snmpd, {QStringLiteral("-f"), QStringLiteral("-C"), QStringLiteral("-c"), conf,
                             QStringLiteral("-Lf"), m_dir.filePath(QStringLiteral("snmpd.log")), QStringLiteral("-p"),
                             m_dir.filePath(QStringLiteral("snmpd.pid")),
                             QStringLiteral("udp:127.0.0.1:%1").arg(m_port)});
    if (!m_process->waitForStarted(5000)) {
        *error = QStringLiteral("snmpd did not start: ") + m_process->errorString();
        m_process.reset();
        return false;
    }
    for (QDeadlineTimer deadline(20000); !deadline.hasExpired(); QThread::msleep(50)) {
        if (m_process->state() != QProcess::Running)
            break;
        if (answers(m_port))
            return true;
    }
    QFile log(m_dir.filePath(QStringLiteral("snmpd.log")));
    const QString said = log.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(log.readAll()).trimmed() : QString();
    *error = QStringLiteral("snmpd did not answer on 127.0.0.1:%1").arg(m_port)
        + (said.isEmpty() ? QString() : QStringLiteral(": ") + said.section(u'\n', -1));
    stop();
    return false;
}

void LocalAgent::stop()
{
    if (m_process && m_process->state() != QProcess::NotRunning) {
        m_process->terminate();
        if (!m_process->waitForFinished(5000)) {
            m_process->kill();
            m_process->waitForFinished(2000);
        }
    }
    m_process.reset();
}

bool LocalAgent::isRunning() const
{
    return m_process && m_process->state() == QProcess::Running;
}

qint64 LocalAgent::processId() const
{
    return m_process ? m_process->processId() : 0;
}
