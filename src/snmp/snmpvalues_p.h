#pragma once

// Conversions between the engine's printable values and net-snmp's variables
// and PDUs. Used by the engine; kept apart so the C library's headers
// stay out of every other file.

#include "snmp/varbind.h"

#include <QString>

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/library/large_fd_set.h>

namespace SnmpValues {

// Dotted text (a leading dot allowed) to arcs. False for anything else.
bool parseOid(const QString &text, oid *arcs, size_t *length);
QString oidText(const oid *arcs, size_t length);

// A received variable as printable text, hex octets, type and status.
void fromVariable(const netsnmp_variable_list *variable, VarBind &binding);

// The sender of a received message from its transport data (IPv4 or IPv6);
// empty when there is none. *port gets the sender's port when given.
QString peerAddress(const netsnmp_pdu *pdu, int *port = nullptr);

// Appends one binding to a request: a NULL value for the reading kinds, the
// binding's value encoded by its type for Set. On failure returns a net-snmp
// error code and its description in *error.
int addBinding(netsnmp_pdu *pdu, const VarBind &binding, bool withValue, QString *error);

} // namespace SnmpValues
