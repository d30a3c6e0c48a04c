#pragma once

#include "qxmibtreecore_export.h"

#include <QMetaType>
#include <QString>

// One variable binding of a request or a response. Values travel in printable
// form: integers, counters, gauges and time ticks as decimal text, octet
// strings, opaque values and IP addresses as one character per octet (code
// 0..255), object identifiers dotted without a leading dot; HexValue holds the
// same octets as hexadecimal digits.
struct QXMIBTREECORE_EXPORT VarBind
{
    Q_GADGET
    Q_PROPERTY(QString OID MEMBER OID)
    Q_PROPERTY(QString Value MEMBER Value)
    Q_PROPERTY(QString HexValue MEMBER HexValue)
    Q_PROPERTY(int ValueType MEMBER ValueType)
    Q_PROPERTY(int Status MEMBER Status)

public:
    QString OID;
    QString Value;
    QString HexValue;
    // The BER tag of the value: 2 INTEGER, 4 OCTET STRING, 5 NULL, 6 OID, 64 IpAddress,
    // 65 Counter32, 66 Gauge32, 67 TimeTicks, 68 Opaque, 70 Counter64; 128 noSuchObject,
    // 129 noSuchInstance, 130 endOfMibView.
    int ValueType = 5;
    // 0 for an ordinary value. Otherwise the binding ends a walk: the exception tag
    // (128..130) or, for the binding an SNMP error names, the error status.
    int Status = 0;
};

Q_DECLARE_METATYPE(VarBind)
