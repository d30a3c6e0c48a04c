#pragma once

#include "qxmibtreecore_export.h"

#include <QString>

class QXMibOID;

// Turns a raw SNMP value into the text a user reads, by the object's
// enumeration, rendering hint or type name.
class QXMIBTREECORE_EXPORT Parser
{
public:
    // value: the printable form (decimal numbers, one character per octet, dotted OIDs).
    // hexValue: the same octets as hex digits; the rate-set rendering consumes it.
    // Throws QXMibError(Overflow) when a formatter overflows.
    static QString RenderValue(QXMibOID &object, const QString &value, QString &hexValue);
};
