#pragma once

#include "qxmibtreecore_export.h"

#include "snmp/varbind.h"

#include <QString>

class QXMibOID;

// The one-line text of a received value, shared by everything that prints or
// lists bindings (the command line host, the notification receiver).
namespace BindingText {

// Printable UTF-8 octet strings as text, other octets as hex ("00 A0 C9"),
// IpAddress dotted, Opaque in hex, numbers as they came.
QXMIBTREECORE_EXPORT QString plain(const VarBind &binding);
// The same through the object's rendering (enumeration, hint, type) when the
// record holds its definition; record may be null.
QXMIBTREECORE_EXPORT QString rendered(const VarBind &binding, QXMibOID *record);
// net-snmp's word for a BER tag: "INTEGER", "STRING", "OID", "Timeticks", ...
QXMIBTREECORE_EXPORT QString typeName(int berType);

} // namespace BindingText
