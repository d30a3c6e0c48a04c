#include "snmp/snmpquery.h"

#include "snmp/snmpsession.h"
#include "snmp/varbindlist.h"

SnmpQuery::SnmpQuery(QObject *parent)
    : QObject(parent)
    , m_varBinds(new VarBindList(this))
    , m_v3(new SnmpSession(this))
{
}

SnmpQuery::~SnmpQuery() = default;
