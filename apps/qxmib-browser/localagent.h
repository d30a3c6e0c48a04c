#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>

// A private net-snmp agent on 127.0.0.1 at a free UDP port, for trying the
// browser without an agent of one's own. Its configuration and state live in a
// temporary folder: community "public" read-only, "private" read-write, and the
// SNMPv3 users "demo" (SHA/AES, pass phrases "demo-auth-pass" and
// "demo-priv-pass") and "demoauth" (SHA, "demo-auth-pass", no privacy).
// It stops with this object, and with the process that started it.
class LocalAgent
{
public:
    LocalAgent();
    ~LocalAgent();
    LocalAgent(const LocalAgent &) = delete;
    LocalAgent &operator=(const LocalAgent &) = delete;

    // Starts snmpd and waits until it answers; false with *error set when it does not.
    // With a trap port the agent sends its SNMPv2c traps (community "public") to
    // 127.0.0.1 there, the first, coldStart, as it starts.
    bool start(QString *error, quint16 trapPort = 0);
    void stop();

    bool isRunning() const;
    quint16 port() const { return m_port; }
    qint64 processId() const;

    static QString program();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<QProcess> m_process;
    quint16 m_port = 0;
};
