#pragma once

#include "qxmibtreecore_export.h"

#include <QString>

class QXMibOID;

// What a user types for an object, read the same way by every host: a numeric
// OID with or without a leading dot, a descriptor, MODULE:descriptor or
// net-snmp's MODULE::descriptor, each optionally followed by an instance in
// net-snmp's index forms: numbers (ifDescr.3), a string in double quotes
// encoded with its length (nsExtendOutputFull."hello"), a string in single
// quotes encoded without it (name.'x'), or several of these.
namespace OidText {

// True for a dotted decimal OID, with or without a leading dot.
QXMIBTREECORE_EXPORT bool isNumeric(const QString &text);

// Points record at what text names (its OID() the full OID, instance included).
// False when nothing matches; the record is then cleared.
QXMIBTREECORE_EXPORT bool resolve(QXMibOID &record, const QString &text);

// The index suffix ".3", ".5.104.101.108.108.111" for the text after a name
// ("3", "\"hello\""); empty for text that is no index.
QXMIBTREECORE_EXPORT QString indexSuffix(const QString &text);

} // namespace OidText
