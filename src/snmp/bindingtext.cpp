#include "snmp/bindingtext.h"

#include "core/qxmiboid.h"

#include <QStringDecoder>

namespace BindingText {

namespace {

bool printableLine(const QString &text)
{
    for (const QChar c : text) {
        if (!c.isPrint() && c != QLatin1Char(' '))
            return false;
    }
    return true;
}

QString hexOctets(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

} // namespace

QString plain(const VarBind &b)
{
    if (b.Status != 0 || (b.ValueType != 4 && b.ValueType != 64 && b.ValueType != 68))
        return b.Value;
    const QByteArray octets = b.Value.toLatin1();
    switch (b.ValueType) {
    case 4: {
        QStringDecoder utf8(QStringDecoder::Utf8);
        const QString text = utf8.decode(octets);
        return !utf8.hasError() && printableLine(text) ? text : hexOctets(octets);
    }
    case 64:
        if (octets.size() == 4)
            return QStringLiteral("%1.%2.%3.%4")
                .arg(quint8(octets[0]))
                .arg(quint8(octets[1]))
                .arg(quint8(octets[2]))
                .arg(quint8(octets[3]));
        return hexOctets(octets);
    default:
        return hexOctets(octets);
    }
}

QString rendered(const VarBind &b, QXMibOID *record)
{
    const QString text = plain(b);
    if (b.Status != 0 || record == nullptr)
        return text;
    QString hex = b.HexValue;
    const QString parsed = record->ParseValue(b.Value, hex);
    // Passed through as received (perhaps with units behind): our own text of it.
    if (parsed.startsWith(b.Value))
        return text + parsed.mid(b.Value.size());
    return printableLine(parsed) ? parsed : text;
}

QString typeName(int berType)
{
    switch (berType) {
    case 2:
        return QStringLiteral("INTEGER");
    case 3:
        return QStringLiteral("BITS");
    case 4:
        return QStringLiteral("STRING");
    case 5:
        return QStringLiteral("NULL");
    case 6:
        return QStringLiteral("OID");
    case 64:
        return QStringLiteral("IpAddress");
    case 65:
        return QStringLiteral("Counter32");
    case 66:
        return QStringLiteral("Gauge32");
    case 67:
        return QStringLiteral("Timeticks");
    case 68:
        return QStringLiteral("Opaque");
    case 70:
        return QStringLiteral("Counter64");
    case 128:
        return QStringLiteral("noSuchObject");
    case 129:
        return QStringLiteral("noSuchInstance");
    case 130:
        return QStringLiteral("endOfMibView");
    default:
        return QStringLiteral("Unknown");
    }
}

} // namespace BindingText
