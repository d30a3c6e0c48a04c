#pragma once

#include "qxmibtreecore_export.h"

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>

// A private net-snmp agent (snmpd) on 127.0.0.1 at a free UDP port, with its
// configuration, log and persistent state in a temporary folder: for trying a
// host without an agent of one's own, and for tests and benchmarks. It stops
// with this object, and with the process that started it.
class QXMIBTREECORE_EXPORT LocalAgent
{
public:
    LocalAgent();
    ~LocalAgent();
    LocalAgent(const LocalAgent &) = delete;
    LocalAgent &operator=(const LocalAgent &) = delete;

    // The private agent of qxmib-browser --local-agent: communities "public"
    // (read-only) and "private" (read-write), and the SNMPv3
    // users "demo" (SHA/AES, pass phrases "demo-auth-pass" and "demo-priv-pass")
    // and "demoauth" (SHA, "demo-auth-pass", no privacy). With a trap port the
    // agent sends its SNMPv2c traps (community "public") to 127.0.0.1 there, the
    // first, coldStart, as it starts.
    static QByteArray demoConfiguration(quint16 trapPort = 0);

    // Starts snmpd with the snmpd.conf lines given and waits until it answers
    // community "public"; false with *error set when it does not. environment
    // adds to the process's own (MIBS= keeps snmpd from reading MIB files).
    bool start(const QByteArray &configuration, QString *error, const QProcessEnvironment &environment = {});
    // Ends the agent; killed, it dies at once without answering what it has received.
    void stop(bool kill = false);

    bool isRunning() const;
    quint16 port() const { return m_port; }
    // "127.0.0.1:port"
    QString target() const;
    qint64 processId() const;

    static QString program();
    // A UDP port on 127.0.0.1 that nobody listens on right now.
    static quint16 freeUdpPort();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<QProcess> m_process;
    quint16 m_port = 0;
};
