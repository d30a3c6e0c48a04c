#pragma once

#include "qxmibtreecore_export.h"

#include <QObject>
#include <QString>

class SNMPReply;
class SnmpSession;
class VarBindList;

// One SNMP request and, once the engine has completed it, its response: the
// target, community, the caller's node id (returned unchanged), request kind,
// version, bulk parameters, the reply object, the variable bindings, and the
// error number and text of the outcome.
class QXMIBTREECORE_EXPORT SnmpQuery : public QObject
{
    Q_OBJECT
    Q_MOC_INCLUDE("snmp/varbindlist.h")
    Q_MOC_INCLUDE("snmp/snmpsession.h")
    Q_MOC_INCLUDE("snmp/snmpreply.h")
    Q_PROPERTY(QString IPAddress READ IPAddress WRITE setIPAddress)
    Q_PROPERTY(QString Community READ Community WRITE setCommunity)
    Q_PROPERTY(QString NodeID READ NodeID WRITE setNodeID)
    Q_PROPERTY(bool Multithreaded READ Multithreaded WRITE setMultithreaded)
    Q_PROPERTY(int RequestType READ RequestType WRITE setRequestType)
    Q_PROPERTY(int SNMPVersion READ SNMPVersion WRITE setSNMPVersion)
    Q_PROPERTY(short MaxRepetitions READ MaxRepetitions WRITE setMaxRepetitions)
    Q_PROPERTY(int NonRepeaters READ NonRepeaters WRITE setNonRepeaters)
    Q_PROPERTY(VarBindList *VarBinds READ VarBinds CONSTANT)
    Q_PROPERTY(int ErrorNumber READ ErrorNumber)
    Q_PROPERTY(QString ErrorDescription READ ErrorDescription)
    Q_PROPERTY(int ErrorIndex READ ErrorIndex)
    Q_PROPERTY(SnmpSession *V3Settings READ V3Settings CONSTANT)
    Q_PROPERTY(int Timeout READ Timeout WRITE setTimeout)
    Q_PROPERTY(int Retries READ Retries WRITE setRetries)
    Q_PROPERTY(QString ResponseAddress READ ResponseAddress)

public:
    // Request kinds as the engine numbers them.
    enum Kind { Get = 0, GetNext = 1, Set = 2, GetBulk = 4 };
    Q_ENUM(Kind)

    Q_INVOKABLE explicit SnmpQuery(QObject *parent = nullptr);
    ~SnmpQuery() override;

    // An address or host name, optionally with ":port"; IPv6 addresses bare or as "[addr]:port".
    QString IPAddress() const { return m_ipAddress; }
    void setIPAddress(const QString &value) { m_ipAddress = value; }
    QString Community() const { return m_community; }
    void setCommunity(const QString &value) { m_community = value; }
    QString NodeID() const { return m_nodeID; }
    void setNodeID(const QString &value) { m_nodeID = value; }
    // Kept for the callers that set it; the engine always works on the owner's thread.
    bool Multithreaded() const { return m_multithreaded; }
    void setMultithreaded(bool value) { m_multithreaded = value; }
    int RequestType() const { return m_requestType; }
    void setRequestType(int value) { m_requestType = value; }
    // 1, 2 (v2c) or 3
    int SNMPVersion() const { return m_snmpVersion; }
    void setSNMPVersion(int value) { m_snmpVersion = value; }
    // GetBulk only; -1 leaves the engine's default (10).
    short MaxRepetitions() const { return m_maxRepetitions; }
    void setMaxRepetitions(short value) { m_maxRepetitions = value; }
    // GetBulk only; -1 leaves the engine's default (0).
    int NonRepeaters() const { return m_nonRepeaters; }
    void setNonRepeaters(int value) { m_nonRepeaters = value; }
    SNMPReply *Callback() const { return m_callback; }
    void setCallback(SNMPReply *value) { m_callback = value; }
    VarBindList *VarBinds() const { return m_varBinds; }
    // 0 when the agent answered without error. Positive: the error status of the
    // agent's response (1 tooBig .. 18 inconsistentName), ErrorIndex names the
    // binding. Negative: net-snmp's library error code (its snmp_errno: -3 unknown
    // host, -24 time-out, -32 unknown engine id, -33 unknown user name, -35
    // authentication failure, -61 bad value for the type, ...) with net-snmp's
    // own text. Never a system errno.
    int ErrorNumber() const { return m_errorNumber; }
    QString ErrorDescription() const { return m_errorDescription; }
    // Position (from 1) of the binding an SNMP error names; 0 when none.
    int ErrorIndex() const { return m_errorIndex; }
    // Read only for version 3.
    SnmpSession *V3Settings() const { return m_v3; }
    // Milliseconds and retries of this query; -1 takes the engine's defaults.
    int Timeout() const { return m_timeout; }
    void setTimeout(int value) { m_timeout = value; }
    int Retries() const { return m_retries; }
    void setRetries(int value) { m_retries = value; }
    // The address that answered (dotted IPv4 or IPv6 text); for a request nobody
    // answered, the address it went to; empty when the target never resolved.
    QString ResponseAddress() const { return m_responseAddress; }
    void setResponseAddress(const QString &value) { m_responseAddress = value; }

    void setError(int number, const QString &description, int index = 0)
    {
        m_errorNumber = number;
        m_errorDescription = description;
        m_errorIndex = index;
    }

private:
    QString m_ipAddress;
    QString m_community;
    QString m_nodeID;
    bool m_multithreaded = false;
    int m_requestType = Get;
    int m_snmpVersion = 1;
    short m_maxRepetitions = -1;
    int m_nonRepeaters = -1;
    SNMPReply *m_callback = nullptr;
    VarBindList *m_varBinds;
    int m_errorNumber = 0;
    QString m_errorDescription;
    int m_errorIndex = 0;
    SnmpSession *m_v3;
    int m_timeout = -1;
    int m_retries = -1;
    QString m_responseAddress;
};
