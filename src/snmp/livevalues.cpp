#include "snmp/livevalues_p.h"

#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "snmp/agentaddress.h"
#include "snmp/peloruswrapper.h"
#include "snmp/varbind.h"

#include <QStringDecoder>

#include <cstring>

namespace LiveValues {

namespace {

bool printable(QStringView text)
{
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u < 0x20 || (u >= 0x7F && u < 0xA0))
            return false;
    }
    return true;
}

bool hasHighOctets(QStringView text)
{
    for (const QChar c : text) {
        if (c.unicode() >= 0x80)
            return true;
    }
    return false;
}

QString spacedHex(const QString &hex)
{
    QString out;
    out.reserve(hex.size() * 3 / 2);
    for (qsizetype i = 0; i < hex.size(); i += 2) {
        if (i > 0)
            out += u' ';
        out += QStringView(hex).mid(i, 2);
    }
    return out;
}

// Octets that spell valid UTF-8 (agents put it into SnmpAdminString and plenty of
// DisplayStrings) read as that; null when they do not.
QString utf8Text(const QString &octets)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QByteArray bytes = octets.toLatin1();
    QString text = decoder(bytes);
    if (decoder.hasError() || !printable(text))
        return QString();
    return text;
}

// Numbers that net-snmp agents wrap in Opaque (float, double, 64-bit integers):
// 9F, the inner tag, the length, the big-endian content.
QString opaqueNumber(const QString &value)
{
    if (value.size() < 4 || value.at(0).unicode() != 0x9F || value.at(2).unicode() != value.size() - 3)
        return QString();
    const int tag = value.at(1).unicode();
    quint64 bits = 0;
    for (qsizetype i = 3; i < value.size(); ++i)
        bits = (bits << 8) | (value.at(i).unicode() & 0xFF);
    const qsizetype length = value.size() - 3;
    if (tag == 0x78 && length == 4) {
        const quint32 word = quint32(bits);
        float f = 0;
        std::memcpy(&f, &word, sizeof f);
        return QString::number(double(f), 'g', 7);
    }
    if (tag == 0x79 && length == 8) {
        double f = 0;
        std::memcpy(&f, &bits, sizeof f);
        return QString::number(f, 'g', 15);
    }
    if ((tag == 0x76 || tag == 0x7B) && length <= 8)
        return QString::number(bits);
    if (tag == 0x7A && length <= 8) {
        const int shift = int(64 - 8 * length);
        return QString::number(qint64(bits << shift) >> shift);
    }
    return QString();
}

} // namespace

int compareOids(QStringView a, QStringView b)
{
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        qsizetype ie = i;
        while (ie < a.size() && a.at(ie) != u'.')
            ++ie;
        qsizetype je = j;
        while (je < b.size() && b.at(je) != u'.')
            ++je;
        // Decimal arcs without leading zeros: the longer is the greater.
        if (ie - i != je - j)
            return ie - i < je - j ? -1 : 1;
        const int c = a.mid(i, ie - i).compare(b.mid(j, je - j));
        if (c != 0)
            return c < 0 ? -1 : 1;
        i = ie + 1;
        j = je + 1;
    }
    const bool aEnded = i >= a.size();
    const bool bEnded = j >= b.size();
    if (aEnded && bEnded)
        return 0;
    return aEnded ? -1 : 1;
}

QString typeName(int valueType)
{
    switch (valueType) {
    case 2: return QStringLiteral("INTEGER");
    case 3: return QStringLiteral("BIT STRING");
    case 4: return QStringLiteral("OCTET STRING");
    case 5: return QStringLiteral("NULL");
    case 6: return QStringLiteral("OBJECT IDENTIFIER");
    case 64: return QStringLiteral("IpAddress");
    case 65: return QStringLiteral("Counter32");
    case 66: return QStringLiteral("Gauge32");
    case 67: return QStringLiteral("TimeTicks");
    case 68: return QStringLiteral("Opaque");
    case 70: return QStringLiteral("Counter64");
    case 128: return QStringLiteral("noSuchObject");
    case 129: return QStringLiteral("noSuchInstance");
    case 130: return QStringLiteral("endOfMibView");
    default: return QString::number(valueType);
    }
}

QString rawText(const VarBind &binding)
{
    if (binding.Status != 0 || printable(binding.Value))
        return binding.Value;
    return spacedHex(binding.HexValue);
}

QString cellText(QXMibOID &object, const VarBind &binding)
{
    if (binding.Status != 0)
        return binding.Value;
    QString hex = binding.HexValue;
    QString shown;
    try {
        shown = object.ParseValue(binding.Value, hex);
    } catch (const QXMibError &) {
        shown = binding.Value;
    }
    if (printable(shown)) {
        if (binding.ValueType == 4 && shown == binding.Value && hasHighOctets(shown)) {
            const QString text = utf8Text(shown);
            if (!text.isNull())
                return text;
        }
        return shown;
    }
    if (binding.ValueType == 64 && binding.Value.size() == 4) {
        return QStringLiteral("%1.%2.%3.%4")
            .arg(binding.Value.at(0).unicode())
            .arg(binding.Value.at(1).unicode())
            .arg(binding.Value.at(2).unicode())
            .arg(binding.Value.at(3).unicode());
    }
    if (binding.ValueType == 68) {
        const QString number = opaqueNumber(binding.Value);
        if (!number.isNull())
            return number;
    }
    if (binding.ValueType == 4) {
        const QString text = utf8Text(binding.Value);
        if (!text.isNull())
            return text;
    }
    return spacedHex(binding.HexValue);
}

QString withPort(const QString &address, int port)
{
    AgentAddress parsed;
    if (!AgentAddress::parse(address, &parsed) || parsed.port != 0)
        return address.trimmed();
    return parsed.text(port);
}

QString targetAddress(PelorusWrapper *wrapper, const QString &target, int *port)
{
    AgentAddress parsed;
    if (!AgentAddress::parse(target, &parsed))
        return target.trimmed();
    if (parsed.port > 0)
        *port = parsed.port;
    const QString address = wrapper->LookupAddress(parsed.host);
    return address.isEmpty() ? parsed.host : address;
}

} // namespace LiveValues
