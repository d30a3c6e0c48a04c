#include "snmp/peloruswrapper.h"

#include "core/qxmiberror.h"
#include "snmp/snmpengine.h"
#include "snmp/snmpquery.h"
#include "snmp/snmpsession.h"
#include "snmp/varbindlist.h"

#include <memory>

namespace {

constexpr int kNullType = 5;

} // namespace

PelorusWrapper::PelorusWrapper(QObject *parent)
    : QObject(parent)
    , m_engine(SnmpEngine::threadEngine())
{
}

PelorusWrapper::~PelorusWrapper() = default;

PelorusWrapper *PelorusWrapper::instance()
{
    // The wrapper first, then the session object, as the start-up routine creates them.
    thread_local std::unique_ptr<PelorusWrapper> wrapper;
    if (!wrapper) {
        wrapper = std::make_unique<PelorusWrapper>();
        defaultSession();
    }
    return wrapper.get();
}

SnmpSession *PelorusWrapper::defaultSession()
{
    thread_local std::unique_ptr<SnmpSession> session;
    if (!session)
        session = std::make_unique<SnmpSession>();
    return session.get();
}

void PelorusWrapper::SNMPQueryResponse(SnmpQuery *Response)
{
    m_engine->Send(Response, true);
}

QString PelorusWrapper::ResponseNodeID() const
{
    const SnmpQuery *response = m_engine->CurrentResponse();
    return response != nullptr ? response->NodeID() : QString();
}

int PelorusWrapper::SNMPOutstandingQueries() const
{
    return m_engine->OutstandingQueries();
}

int PelorusWrapper::SNMPTimeout() const
{
    return m_engine->DefaultTimeout();
}

void PelorusWrapper::setSNMPTimeout(int milliseconds)
{
    m_engine->setDefaultTimeout(milliseconds);
}

short PelorusWrapper::SNMPRetries() const
{
    return short(m_engine->DefaultRetries());
}

void PelorusWrapper::setSNMPRetries(short retries)
{
    m_engine->setDefaultRetries(retries);
}

int PelorusWrapper::ResponseErrorNumber() const
{
    const SnmpQuery *response = m_engine->CurrentResponse();
    return response != nullptr ? response->ErrorNumber() : 0;
}

QString PelorusWrapper::ResponseErrorDescription() const
{
    const SnmpQuery *response = m_engine->CurrentResponse();
    return response != nullptr ? response->ErrorDescription() : QString();
}

VarBindList *PelorusWrapper::ResponseOIDs() const
{
    const SnmpQuery *response = m_engine->CurrentResponse();
    return response != nullptr ? response->VarBinds() : nullptr;
}

QString PelorusWrapper::ResponseIPAddress() const
{
    const SnmpQuery *response = m_engine->CurrentResponse();
    return response != nullptr ? response->ResponseAddress() : QString();
}

QString PelorusWrapper::ResponseCommunity() const
{
    const SnmpQuery *response = m_engine->CurrentResponse();
    return response != nullptr ? response->Community() : QString();
}

QString PelorusWrapper::LookupAddress(const QString &HostName)
{
    return SnmpEngine::ResolveHostName(HostName);
}

void PelorusWrapper::Cancel()
{
    m_engine->CancelAll();
}

void PelorusWrapper::SNMPQueryGetBulk(const QString &IPAddress, const QString &Community, const QString &OID,
                                      int SNMPVersion, SNMPReply *CallbackObject, short MaxReps,
                                      SnmpSession *SessionHandle, int NonRepeaters, bool Multithreaded,
                                      const QString &NodeID)
{
    sendQuery(Multithreaded, NodeID, Community, IPAddress, OID, SnmpQuery::GetBulk, SNMPVersion, CallbackObject,
              SessionHandle, MaxReps, NonRepeaters, false, QVariant(), kNullType);
}

void PelorusWrapper::SNMPQueryGet(const QString &IPAddress, const QString &Community, const QString &OID,
                                  int SNMPVersion, SNMPReply *CallbackObject, SnmpSession *SessionHandle,
                                  bool Multithreaded, const QString &NodeID)
{
    sendQuery(Multithreaded, NodeID, Community, IPAddress, OID, SnmpQuery::Get, SNMPVersion, CallbackObject,
              SessionHandle, -1, -1, false, QVariant(), kNullType);
}

void PelorusWrapper::SNMPQueryGetNext(const QString &IPAddress, const QString &Community, const QString &OID,
                                      int SNMPVersion, SNMPReply *CallbackObject, SnmpSession *SessionHandle,
                                      bool Multithreaded, const QString &NodeID)
{
    sendQuery(Multithreaded, NodeID, Community, IPAddress, OID, SnmpQuery::GetNext, SNMPVersion, CallbackObject,
              SessionHandle, -1, -1, false, QVariant(), kNullType);
}

void PelorusWrapper::SNMPQuerySet(const QString &IPAddress, const QString &Community, const QString &OID,
                                  int SNMPVersion, SNMPReply *CallbackObject, const QVariant &OIDValue,
                                  int ValueType, SnmpSession *SessionHandle, bool Multithreaded,
                                  const QString &NodeID)
{
    sendQuery(Multithreaded, NodeID, Community, IPAddress, OID, SnmpQuery::Set, SNMPVersion, CallbackObject,
              SessionHandle, -1, -1, true, OIDValue, ValueType);
}

void PelorusWrapper::sendQuery(bool multithreaded, const QString &nodeId, const QString &community,
                               const QString &address, const QString &oid, int requestKind, int snmpVersion,
                               SNMPReply *callback, SnmpSession *session, short maxRepetitions, int nonRepeaters,
                               bool hasValue, const QVariant &value, int valueType)
{
    auto query = std::make_unique<SnmpQuery>();
    query->setMultithreaded(multithreaded);
    query->setNodeID(nodeId);
    query->setCommunity(community);
    query->setIPAddress(address);
    if (hasValue)
        query->VarBinds()->Add(oid, value, valueType);
    else
        query->VarBinds()->Add(oid, QString(), kNullType);
    query->setRequestType(requestKind);
    if (maxRepetitions != -1)
        query->setMaxRepetitions(maxRepetitions);
    if (nonRepeaters != -1)
        query->setNonRepeaters(nonRepeaters);
    query->setCallback(callback);
    query->setSNMPVersion(snmpVersion);
    if (snmpVersion == 3) {
        if (session == nullptr)
            throw QXMibError(QXMibError::ObjectRequired, QStringLiteral("Object required: SessionHandle"));
        query->V3Settings()->copyFrom(session);
    }
    // From here on the engine owns the query until its reply has been delivered.
    m_engine->Send(query.release(), true);
}
