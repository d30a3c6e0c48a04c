#pragma once

#include <QByteArray>
#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

// A real SNMP agent for tests and benchmarks, on 127.0.0.1 at a free UDP port,
// with its configuration, data and persistent state in a temporary folder.
// startSnmpd() runs net-snmp's snmpd (communities "public" read-only and
// "private" read-write, and one v3 user per authentication/privacy pair of
// v3Users()); startSnmpsim() runs snmpsimd over recordings (community = file
// name without ".snmprec"). Both return once the agent answers. The agent is
// stopped by stop() or the destructor.
class SnmpAgent
{
public:
    struct V3User
    {
        QString name;
        QString authProtocol; // empty: noAuthNoPriv
        QString authPassword;
        QString privProtocol; // empty: no privacy
        QString privPassword;
    };

    SnmpAgent();
    ~SnmpAgent();
    SnmpAgent(const SnmpAgent &) = delete;
    SnmpAgent &operator=(const SnmpAgent &) = delete;

    // The v3 users that startSnmpd() creates.
    static QList<V3User> v3Users();
    // A UDP port on 127.0.0.1 that nobody listens on right now.
    static quint16 freeUdpPort();
    // The .snmprec lines of a system group and an ifTable of the given rows (22 columns).
    static QByteArray ifTableRecording(int rows);

    bool startSnmpd(QString *error = nullptr);
    // files: .snmprec file name -> content; gzipped examples from snmpsim's documentation
    // folder are given by name in examples (for instance "linux-full-walk").
    bool startSnmpsim(const QStringList &examples, const QList<QPair<QString, QByteArray>> &files = {},
                      int maxVarBinds = 0, QString *error = nullptr);
    // net-snmp's trap receiver snmptrapd with the given configuration lines,
    // reading every MIB file of mibDirectory, printing values without their
    // type names (-OQ) to its log (log()). Returns once it logs that it runs.
    bool startSnmptrapd(const QByteArray &config, const QString &mibDirectory, QString *error = nullptr);
    // What snmptrapd has logged so far.
    QString log() const;
    // Runs a net-snmp tool (snmptrap, snmpinform, ...) in toolEnvironment(); its exit status.
    int runTool(const QString &program, const QStringList &arguments, QByteArray *output = nullptr) const;
    // Ends the agent; killed, it dies at once without answering what it has received.
    void stop(bool kill = false);

    bool isRunning() const;
    qint64 processId() const { return m_process ? m_process->processId() : 0; }
    quint16 port() const { return m_port; }
    // "127.0.0.1:port"
    QString target() const;
    QString folder() const { return m_dir.path(); }
    // Environment that keeps net-snmp command line tools away from the user's configuration.
    QStringList toolEnvironment() const;

private:
    bool waitUntilAnswering(const QString &community, QString *error);

    QTemporaryDir m_dir;
    std::unique_ptr<QProcess> m_process;
    quint16 m_port = 0;
};
