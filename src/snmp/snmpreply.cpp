#include "snmp/snmpreply.h"

#include "snmp/snmpengine.h"

SNMPReply::~SNMPReply()
{
    SnmpEngine::forgetCallback(this);
}
