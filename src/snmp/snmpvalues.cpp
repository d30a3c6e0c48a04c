#include "snmp/snmpvalues_p.h"

#include <QList>
#include <QVarLengthArray>

#include <arpa/inet.h>

#include <cstring>

namespace SnmpValues {

namespace {

const char kHexDigits[] = "0123456789ABCDEF";

QString hexOf(const unsigned char *bytes, size_t length)
{
    QString hex(qsizetype(length * 2), Qt::Uninitialized);
    QChar *out = hex.data();
    for (size_t i = 0; i < length; ++i) {
        *out++ = QLatin1Char(kHexDigits[bytes[i] >> 4]);
        *out++ = QLatin1Char(kHexDigits[bytes[i] & 0x0F]);
    }
    return hex;
}

// The content octets of an unsigned number as the wire carries them, without
// the sign octet BER adds in front of a set high bit.
QString hexOfUnsigned(quint64 value)
{
    unsigned char bytes[8];
    int n = 0;
    do {
        bytes[7 - n] = static_cast<unsigned char>(value & 0xFF);
        value >>= 8;
        ++n;
    } while (value != 0 && n < 8);
    return hexOf(bytes + 8 - n, size_t(n));
}

// Two's complement content octets of a signed 32-bit number, shortest form.
QString hexOfSigned(qint32 value)
{
    unsigned char bytes[4];
    const quint32 bits = quint32(value);
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<unsigned char>(bits >> (24 - 8 * i));
    int start = 0;
    while (start < 3
           && ((bytes[start] == 0x00 && !(bytes[start + 1] & 0x80))
               || (bytes[start] == 0xFF && (bytes[start + 1] & 0x80))))
        ++start;
    return hexOf(bytes + start, size_t(4 - start));
}

// The BER content octets of an object identifier.
QString hexOfOid(const oid *arcs, size_t length)
{
    QByteArray out;
    auto put = [&out](quint64 arc) {
        unsigned char buffer[10];
        int n = 0;
        do {
            buffer[n++] = static_cast<unsigned char>(arc & 0x7F);
            arc >>= 7;
        } while (arc != 0);
        while (n > 0) {
            --n;
            out.append(char(buffer[n] | (n > 0 ? 0x80 : 0x00)));
        }
    };
    if (length >= 2) {
        put(quint64(arcs[0]) * 40 + arcs[1]);
        for (size_t i = 2; i < length; ++i)
            put(arcs[i]);
    } else if (length == 1) {
        put(quint64(arcs[0]) * 40);
    }
    return hexOf(reinterpret_cast<const unsigned char *>(out.constData()), size_t(out.size()));
}

QString octets(const unsigned char *bytes, size_t length)
{
    return QString::fromLatin1(reinterpret_cast<const char *>(bytes), qsizetype(length));
}

// Printable text back to octets: one octet per character up to code 255;
// text with wider characters can only have been typed, so it goes as UTF-8.
QByteArray toOctets(const QString &text)
{
    for (const QChar c : text) {
        if (c.unicode() > 0xFF)
            return text.toUtf8();
    }
    return text.toLatin1();
}

bool toSigned(const QString &text, long *value)
{
    bool ok = false;
    const qlonglong v = text.trimmed().toLongLong(&ok);
    if (!ok || v < -2147483648LL || v > 2147483647LL)
        return false;
    *value = long(v);
    return true;
}

bool toUnsigned(const QString &text, quint64 max, quint64 *value)
{
    bool ok = false;
    const qulonglong v = text.trimmed().toULongLong(&ok);
    if (!ok || v > max)
        return false;
    *value = v;
    return true;
}

int badValue(const VarBind &binding, QString *error)
{
    *error = QString::fromLatin1(snmp_api_errstring(SNMPERR_VAR_TYPE)) + QStringLiteral(" (")
        + QString::number(binding.ValueType) + QStringLiteral(": ") + binding.Value + QLatin1Char(')');
    return SNMPERR_VAR_TYPE;
}

} // namespace

bool parseOid(const QString &text, oid *arcs, size_t *length)
{
    QStringView rest = QStringView(text).trimmed();
    if (rest.startsWith(QLatin1Char('.')))
        rest = rest.mid(1);
    if (rest.isEmpty())
        return false;
    size_t n = 0;
    quint64 arc = 0;
    qsizetype digits = 0;
    for (const QChar c : rest) {
        if (c == QLatin1Char('.')) {
            if (digits == 0 || n >= MAX_OID_LEN)
                return false;
            arcs[n++] = oid(arc);
            arc = 0;
            digits = 0;
            continue;
        }
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return false;
        arc = arc * 10 + quint64(c.unicode() - u'0');
        if (arc > 0xFFFFFFFFULL)
            return false;
        ++digits;
    }
    if (digits == 0 || n >= MAX_OID_LEN)
        return false;
    arcs[n++] = oid(arc);
    *length = n;
    return true;
}

QString oidText(const oid *arcs, size_t length)
{
    // Digits written backwards in one pass: a walk converts one OID per value.
    // Up to 20 digits and a dot per arc.
    QVarLengthArray<char16_t, 21 * 32> text(qsizetype(length) * 21);
    char16_t *const end = text.data() + text.size();
    char16_t *at = end;
    for (size_t i = length; i-- > 0;) {
        unsigned long long v = arcs[i];
        do {
            *--at = char16_t(u'0' + v % 10);
            v /= 10;
        } while (v != 0);
        if (i > 0)
            *--at = u'.';
    }
    return QString(reinterpret_cast<const QChar *>(at), end - at);
}

void fromVariable(const netsnmp_variable_list *v, VarBind &b)
{
    b.OID = oidText(v->name, v->name_length);
    b.ValueType = v->type;
    b.Status = 0;
    switch (v->type) {
    case ASN_INTEGER: {
        const qint32 value = qint32(*v->val.integer);
        b.Value = QString::number(value);
        b.HexValue = hexOfSigned(value);
        break;
    }
    case ASN_COUNTER:
    case ASN_GAUGE:
    case ASN_TIMETICKS:
    case ASN_UINTEGER: {
        const quint32 value = quint32(*v->val.integer & 0xFFFFFFFFUL);
        b.Value = QString::number(value);
        b.HexValue = hexOfUnsigned(value);
        break;
    }
#ifdef NETSNMP_WITH_OPAQUE_SPECIAL_TYPES
    // net-snmp unwraps floats and 64-bit numbers carried in Opaque; callers get the
    // Opaque back as it came over the wire: 9F, the inner tag, length, content.
    case ASN_OPAQUE_FLOAT:
    case ASN_OPAQUE_DOUBLE:
    case ASN_OPAQUE_COUNTER64:
    case ASN_OPAQUE_U64:
    case ASN_OPAQUE_I64: {
        QByteArray content;
        if (v->type == ASN_OPAQUE_FLOAT || v->type == ASN_OPAQUE_DOUBLE) {
            union {
                float f;
                double d;
                unsigned char bytes[8];
            } number;
            const int size = v->type == ASN_OPAQUE_FLOAT ? 4 : 8;
            if (size == 4)
                number.f = *v->val.floatVal;
            else
                number.d = *v->val.doubleVal;
            for (int i = size - 1; i >= 0; --i)
                content.append(char(number.bytes[i]));
        } else {
            const quint64 value = (quint64(v->val.counter64->high & 0xFFFFFFFFUL) << 32)
                | quint64(v->val.counter64->low & 0xFFFFFFFFUL);
            content = QByteArray::fromHex(hexOfUnsigned(value).toLatin1());
        }
        QByteArray wrapped;
        wrapped.append(char(0x9F));
        wrapped.append(char(v->type));
        wrapped.append(char(content.size()));
        wrapped.append(content);
        b.ValueType = ASN_OPAQUE;
        b.Value = QString::fromLatin1(wrapped);
        b.HexValue = hexOf(reinterpret_cast<const unsigned char *>(wrapped.constData()), size_t(wrapped.size()));
        break;
    }
#endif
    case ASN_COUNTER64: {
        const quint64 value = (quint64(v->val.counter64->high & 0xFFFFFFFFUL) << 32)
            | quint64(v->val.counter64->low & 0xFFFFFFFFUL);
        b.Value = QString::number(value);
        b.HexValue = hexOfUnsigned(value);
        break;
    }
    case ASN_OBJECT_ID: {
        const size_t length = v->val_len / sizeof(oid);
        b.Value = oidText(v->val.objid, length);
        b.HexValue = hexOfOid(v->val.objid, length);
        break;
    }
    case ASN_NULL:
        b.Value.clear();
        b.HexValue.clear();
        break;
    case SNMP_NOSUCHOBJECT:
        b.Value = QStringLiteral("No Such Object available on this agent at this OID");
        b.HexValue.clear();
        b.Status = v->type;
        break;
    case SNMP_NOSUCHINSTANCE:
        b.Value = QStringLiteral("No Such Instance currently exists at this OID");
        b.HexValue.clear();
        b.Status = v->type;
        break;
    case SNMP_ENDOFMIBVIEW:
        b.Value = QStringLiteral("No more variables left in this MIB View (It is past the end of the MIB tree)");
        b.HexValue.clear();
        b.Status = v->type;
        break;
    default:
        // Octet strings, addresses, opaque and bit strings: the octets themselves.
        b.Value = octets(v->val.string, v->val_len);
        b.HexValue = hexOf(v->val.string, v->val_len);
        break;
    }
}

int addBinding(netsnmp_pdu *pdu, const VarBind &b, bool withValue, QString *error)
{
    oid name[MAX_OID_LEN];
    size_t nameLength = 0;
    if (!parseOid(b.OID, name, &nameLength)) {
        *error = QString::fromLatin1(snmp_api_errstring(SNMPERR_UNKNOWN_OBJID)) + QStringLiteral(" (")
            + b.OID + QLatin1Char(')');
        return SNMPERR_UNKNOWN_OBJID;
    }
    if (!withValue) {
        snmp_add_null_var(pdu, name, nameLength);
        return SNMPERR_SUCCESS;
    }

    const u_char type = u_char(b.ValueType);
    switch (b.ValueType) {
    case ASN_INTEGER: {
        long value = 0;
        if (!toSigned(b.Value, &value))
            return badValue(b, error);
        snmp_pdu_add_variable(pdu, name, nameLength, type, &value, sizeof(value));
        break;
    }
    case ASN_COUNTER:
    case ASN_GAUGE:
    case ASN_TIMETICKS:
    case ASN_UINTEGER: {
        quint64 parsed = 0;
        if (!toUnsigned(b.Value, 0xFFFFFFFFULL, &parsed))
            return badValue(b, error);
        const u_long value = u_long(parsed);
        snmp_pdu_add_variable(pdu, name, nameLength, type, &value, sizeof(value));
        break;
    }
    case ASN_COUNTER64: {
        quint64 parsed = 0;
        if (!toUnsigned(b.Value, ~0ULL, &parsed))
            return badValue(b, error);
        struct counter64 value;
        value.high = u_long(parsed >> 32);
        value.low = u_long(parsed & 0xFFFFFFFFULL);
        snmp_pdu_add_variable(pdu, name, nameLength, type, &value, sizeof(value));
        break;
    }
    case ASN_IPADDRESS: {
        // Dotted text as typed, or the four octets as delivered.
        in_addr address;
        QByteArray bytes;
        if (inet_pton(AF_INET, b.Value.trimmed().toLatin1().constData(), &address) == 1)
            bytes = QByteArray(reinterpret_cast<const char *>(&address), 4);
        else
            bytes = toOctets(b.Value);
        if (bytes.size() != 4)
            return badValue(b, error);
        snmp_pdu_add_variable(pdu, name, nameLength, type, bytes.constData(), 4);
        break;
    }
    case ASN_OBJECT_ID: {
        oid value[MAX_OID_LEN];
        size_t valueLength = 0;
        if (!parseOid(b.Value, value, &valueLength))
            return badValue(b, error);
        snmp_pdu_add_variable(pdu, name, nameLength, type, value, valueLength * sizeof(oid));
        break;
    }
    case ASN_NULL:
        snmp_add_null_var(pdu, name, nameLength);
        break;
    case ASN_OCTET_STR:
    case ASN_OPAQUE:
    case ASN_BIT_STR: {
        const QByteArray bytes = toOctets(b.Value);
        snmp_pdu_add_variable(pdu, name, nameLength, type, bytes.constData(), size_t(bytes.size()));
        break;
    }
    default:
        return badValue(b, error);
    }
    return SNMPERR_SUCCESS;
}

QString peerAddress(const netsnmp_pdu *pdu, int *port)
{
    if (pdu == nullptr || pdu->transport_data == nullptr || pdu->transport_data_length < int(sizeof(sockaddr_in)))
        return QString();
    // UDP transports put the remote address first in their address pair.
    const auto *address = static_cast<const sockaddr *>(pdu->transport_data);
    char text[INET6_ADDRSTRLEN] = {};
    int number = 0;
    if (address->sa_family == AF_INET) {
        const auto *v4 = reinterpret_cast<const sockaddr_in *>(address);
        inet_ntop(AF_INET, &v4->sin_addr, text, sizeof(text));
        number = ntohs(v4->sin_port);
    } else if (address->sa_family == AF_INET6 && pdu->transport_data_length >= int(sizeof(sockaddr_in6))) {
        const auto *v6 = reinterpret_cast<const sockaddr_in6 *>(address);
        inet_ntop(AF_INET6, &v6->sin6_addr, text, sizeof(text));
        number = ntohs(v6->sin6_port);
    }
    if (port != nullptr)
        *port = number;
    return QString::fromLatin1(text);
}

} // namespace SnmpValues
