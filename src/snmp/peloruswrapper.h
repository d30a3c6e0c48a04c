#pragma once

#include "qxmibtreecore_export.h"

#include <QObject>
#include <QString>
#include <QVariant>

class SNMPReply;
class SnmpEngine;
class SnmpQuery;
class SnmpSession;
class VarBindList;

// The one place where the component talks SNMP: builds one query per request,
// hands it to the thread's engine for sending, and exposes the engine's
// outstanding-query count, cancel, default time-out and retries, host-name
// look-up, and the response being delivered now. It keeps no per-request
// state; replies reach the CallbackObject given with each request.
//
// One wrapper and one default session object per thread: instance() and
// defaultSession(). The Response* properties describe the reply being
// delivered at the moment and mean nothing outside a reply handler.
class QXMIBTREECORE_EXPORT PelorusWrapper : public QObject
{
    Q_OBJECT
    Q_MOC_INCLUDE("snmp/varbindlist.h")
    Q_MOC_INCLUDE("snmp/snmpsession.h")
    Q_MOC_INCLUDE("snmp/snmpquery.h")
    Q_MOC_INCLUDE("snmp/snmpreply.h")
    Q_PROPERTY(QString ResponseNodeID READ ResponseNodeID)
    Q_PROPERTY(int SNMPOutstandingQueries READ SNMPOutstandingQueries)
    Q_PROPERTY(int SNMPTimeout READ SNMPTimeout WRITE setSNMPTimeout)
    Q_PROPERTY(short SNMPRetries READ SNMPRetries WRITE setSNMPRetries)
    Q_PROPERTY(int ResponseErrorNumber READ ResponseErrorNumber)
    Q_PROPERTY(QString ResponseErrorDescription READ ResponseErrorDescription)
    Q_PROPERTY(VarBindList *ResponseOIDs READ ResponseOIDs)
    Q_PROPERTY(QString ResponseIPAddress READ ResponseIPAddress)
    Q_PROPERTY(QString ResponseCommunity READ ResponseCommunity)

public:
    explicit PelorusWrapper(QObject *parent = nullptr);
    ~PelorusWrapper() override;

    // The calling thread's wrapper and default session object, created on first use.
    static PelorusWrapper *instance();
    static SnmpSession *defaultSession();

    // Sends the given query (typically a response received earlier) again.
    Q_INVOKABLE void SNMPQueryResponse(SnmpQuery *Response);
    QString ResponseNodeID() const;
    int SNMPOutstandingQueries() const;
    // The engine's default time-out in milliseconds. Callers set it; reading
    // gives what the engine uses now.
    int SNMPTimeout() const;
    void setSNMPTimeout(int milliseconds);
    // The engine's default number of retries, likewise.
    short SNMPRetries() const;
    void setSNMPRetries(short retries);
    // 0: no error. 1..18: the error status of the agent's response (tooBig ..
    // inconsistentName). Negative: net-snmp's library error code (-24 time-out,
    // -35 authentication failure, -33 unknown user name, -3 unknown host, ...).
    int ResponseErrorNumber() const;
    // net-snmp's own text for the error number.
    QString ResponseErrorDescription() const;
    VarBindList *ResponseOIDs() const;
    // The address that answered, dotted IPv4 or IPv6 text; for a time-out the
    // address the request went to.
    QString ResponseIPAddress() const;
    QString ResponseCommunity() const;
    // The address a host name resolves to; empty when it does not resolve.
    Q_INVOKABLE QString LookupAddress(const QString &HostName);
    // Ends every outstanding query of the thread, every caller's.
    Q_INVOKABLE void Cancel();
    // MaxReps and NonRepeaters of -1 leave the engine's defaults.
    Q_INVOKABLE void SNMPQueryGetBulk(const QString &IPAddress, const QString &Community, const QString &OID,
                                      int SNMPVersion, SNMPReply *CallbackObject, short MaxReps,
                                      SnmpSession *SessionHandle, int NonRepeaters, bool Multithreaded,
                                      const QString &NodeID);
    Q_INVOKABLE void SNMPQueryGet(const QString &IPAddress, const QString &Community, const QString &OID,
                                  int SNMPVersion, SNMPReply *CallbackObject, SnmpSession *SessionHandle,
                                  bool Multithreaded, const QString &NodeID);
    Q_INVOKABLE void SNMPQueryGetNext(const QString &IPAddress, const QString &Community, const QString &OID,
                                      int SNMPVersion, SNMPReply *CallbackObject, SnmpSession *SessionHandle,
                                      bool Multithreaded, const QString &NodeID);
    // ValueType is the BER tag of the value (2 INTEGER, 4 OCTET STRING, ...).
    Q_INVOKABLE void SNMPQuerySet(const QString &IPAddress, const QString &Community, const QString &OID,
                                  int SNMPVersion, SNMPReply *CallbackObject, const QVariant &OIDValue,
                                  int ValueType, SnmpSession *SessionHandle, bool Multithreaded,
                                  const QString &NodeID);

    SnmpEngine *engine() const { return m_engine; }

private:
    void sendQuery(bool multithreaded, const QString &nodeId, const QString &community, const QString &address,
                   const QString &oid, int requestKind, int snmpVersion, SNMPReply *callback,
                   SnmpSession *session, short maxRepetitions, int nonRepeaters, bool hasValue,
                   const QVariant &value, int valueType);

    SnmpEngine *m_engine;
};
