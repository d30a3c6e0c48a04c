#pragma once

#include "qxmibtreecore_export.h"

#include <QString>
#include <QStringView>

class PelorusWrapper;
class QXMibOID;
struct VarBind;

// Helpers the live views share for OID text and for turning a binding into
// the text a grid cell shows.
namespace LiveValues {

// Compares two dotted decimal OIDs arc by arc as numbers: <0, 0 or >0.
// Arcs too long to be numbers compare by length, then as text.
QXMIBTREECORE_EXPORT int compareOids(QStringView a, QStringView b);

// True when oid lies below root: root followed by a dot.
inline bool isBelow(QStringView oid, QStringView root)
{
    return oid.size() > root.size() && oid.at(root.size()) == u'.' && oid.startsWith(root);
}

// The SNMP name of a BER value tag ("OCTET STRING", "Counter32", "noSuchObject", ...).
QXMIBTREECORE_EXPORT QString typeName(int valueType);

// The text a cell shows for a binding: its rendering through the object when
// that is readable; octets that are not printable as hexadecimal pairs, an
// IpAddress as dotted decimals, numbers wrapped in Opaque as numbers; the
// exception texts as delivered.
QXMIBTREECORE_EXPORT QString cellText(QXMibOID &object, const VarBind &binding);

// The value as delivered when it is printable text, else the readable form
// that cellText uses for raw octets.
QXMIBTREECORE_EXPORT QString rawText(const VarBind &binding);

// Adds ":port" to an address that carries none (IPv6 addresses in brackets);
// text that is no address as it stands, for the engine to report.
QXMIBTREECORE_EXPORT QString withPort(const QString &address, int port);

// What a view sends to for the Target a host gives it: the host looked up
// through the wrapper, and *port set when the text names one; text that is no
// agent address as it stands, so that the view's requests report what is wrong.
QXMIBTREECORE_EXPORT QString targetAddress(PelorusWrapper *wrapper, const QString &target, int *port);

} // namespace LiveValues
