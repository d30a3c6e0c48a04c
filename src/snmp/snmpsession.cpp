#include "snmp/snmpsession.h"

#include "core/objectfactory.h"

QXMIB_REGISTER_CLASS(SNMPSession, SnmpSession)

SnmpSession::SnmpSession(QObject *parent)
    : QObject(parent)
{
}

SnmpSession::~SnmpSession() = default;

void SnmpSession::copyFrom(const SnmpSession *other)
{
    if (other == nullptr || other == this)
        return;
    setUserName(other->UserName());
    setSecurityLevel(other->SecurityLevel());
    setAuthProtocol(other->AuthProtocol());
    setAuthPassword(other->AuthPassword());
    setPrivProtocol(other->PrivProtocol());
    setPrivPassword(other->PrivPassword());
    setContextName(other->ContextName());
    setContextEngineID(other->ContextEngineID());
}
