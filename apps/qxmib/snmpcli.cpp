#include "snmpcli.h"

#include "core/oidtext.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "snmp/bindingtext.h"

#include <QRegularExpression>

#include <arpa/inet.h>

namespace SnmpCli {

Names::Names() = default;
Names::~Names() = default;

QString Names::resolve(const QString &text)
{
    const QString t = text.trimmed();
    if (OidText::isNumeric(t))
        return t.startsWith(QLatin1Char('.')) ? t.mid(1) : t;
    if (!m_useDatabase || t.isEmpty())
        return QString();
    try {
        if (!m_record)
            m_record = std::make_unique<QXMibOID>();
        m_recordOid.clear();
        m_recordName.clear();
        if (OidText::resolve(*m_record, t))
            return m_record->OID();
    } catch (const QXMibError &) {
        m_useDatabase = false;
    }
    return QString();
}

QXMibOID *Names::record(const QString &oid)
{
    if (!m_useDatabase)
        return nullptr;
    // Printing a binding asks for its name and then its rendering: one look-up.
    if (oid != m_recordOid) {
        try {
            if (!m_record)
                m_record = std::make_unique<QXMibOID>();
            m_record->setOID(oid);
            m_recordOid = oid;
            m_recordName = m_record->Name();
        } catch (const QXMibError &) {
            m_useDatabase = false;
            return nullptr;
        }
    }
    return m_recordName.isEmpty() ? nullptr : m_record.get();
}

QString Names::nameOf(const QString &oid)
{
    return record(oid) != nullptr ? m_recordName : oid;
}

QString valueText(const VarBind &b)
{
    return BindingText::plain(b);
}

QString renderedValue(const VarBind &b, Names &names)
{
    return BindingText::rendered(b, b.Status != 0 ? nullptr : names.record(b.OID));
}

bool encodeValue(const QString &oid, const QString &type, const QString &value, Names &names, QVariant *encoded,
                 int *berType, QString *error)
{
    auto bad = [&](const char *what) {
        *error = oid + QStringLiteral(": ") + QLatin1String(what) + QStringLiteral(" (") + value + QLatin1Char(')');
        return false;
    };
    QString t = type;
    if (t == QLatin1String("=")) {
        const QXMibOID *r = names.record(oid);
        const int ber = r != nullptr ? r->TypeInteger() : 0;
        const QHash<int, QString> letters = {{2, QStringLiteral("i")},  {4, QStringLiteral("s")},
                                             {6, QStringLiteral("o")},  {64, QStringLiteral("a")},
                                             {65, QStringLiteral("c")}, {66, QStringLiteral("u")},
                                             {67, QStringLiteral("t")}, {70, QStringLiteral("C")}};
        if (!letters.contains(ber)) {
            *error = oid + QStringLiteral(": Unknown Object Identifier");
            return false;
        }
        t = letters.value(ber);
    }
    bool ok = false;
    const QString v = value.trimmed();
    if (t == QLatin1String("i")) {
        *berType = 2;
        const qlonglong n = v.toLongLong(&ok);
        if (ok && n >= -2147483648LL && n <= 2147483647LL) {
            *encoded = QString::number(n);
            return true;
        }
        // An enumeration label, as the database knows it: "#1;up(1)|#2;down(2)".
        const QXMibOID *r = names.record(oid);
        for (const QString &item : (r != nullptr ? r->EnumList() : QString()).split(QLatin1Char('|'))) {
            const QString label = item.section(QLatin1Char(';'), 1).section(QLatin1Char('('), 0, 0);
            if (!label.isEmpty() && label == v) {
                *encoded = item.mid(1).section(QLatin1Char(';'), 0, 0);
                return true;
            }
        }
        return bad("Value out of range");
    }
    const QHash<QString, int> unsignedTypes = {
        {QStringLiteral("u"), 66}, {QStringLiteral("c"), 65}, {QStringLiteral("t"), 67}, {QStringLiteral("C"), 70}};
    if (unsignedTypes.contains(t)) {
        *berType = unsignedTypes.value(t);
        const qulonglong n = v.toULongLong(&ok);
        if (!ok || v.startsWith(QLatin1Char('-')) || (*berType != 70 && n > 0xFFFFFFFFULL))
            return bad("Value out of range");
        *encoded = QString::number(n);
        return true;
    }
    if (t == QLatin1String("a")) {
        *berType = 64;
        in_addr address;
        if (inet_pton(AF_INET, v.toLatin1().constData(), &address) != 1)
            return bad("Bad value notation");
        *encoded = v;
        return true;
    }
    if (t == QLatin1String("o")) {
        *berType = 6;
        const QString resolved = names.resolve(v);
        if (resolved.isEmpty())
            return bad("Unknown Object Identifier");
        *encoded = resolved;
        return true;
    }
    if (t == QLatin1String("s")) {
        *berType = 4;
        *encoded = value.toUtf8();
        return true;
    }
    if (t == QLatin1String("x")) {
        *berType = 4;
        QString digits = value;
        digits.remove(QRegularExpression(QStringLiteral("\\s")));
        static const QRegularExpression hex(QStringLiteral("^([0-9A-Fa-f]{2})*$"));
        if (!hex.match(digits).hasMatch())
            return bad("Bad value notation");
        *encoded = QByteArray::fromHex(digits.toLatin1());
        return true;
    }
    if (t == QLatin1String("d") || t == QLatin1String("b")) {
        *berType = 4;
        QByteArray octets;
        for (const QString &part : v.split(QRegularExpression(QStringLiteral("[.,\\s]+")), Qt::SkipEmptyParts)) {
            const uint n = part.toUInt(&ok);
            if (!ok || (t == QLatin1String("d") && n > 255) || n > 65535)
                return bad("Bad value notation");
            if (t == QLatin1String("d")) {
                octets.append(char(n));
                continue;
            }
            // BITS: bit 0 is the high bit of the first octet.
            if (octets.size() <= int(n / 8))
                octets.resize(int(n / 8) + 1, '\0');
            octets[int(n / 8)] = char(quint8(octets[int(n / 8)]) | (0x80 >> (n % 8)));
        }
        *encoded = octets;
        return true;
    }
    if (t == QLatin1String("n")) {
        *berType = 5;
        *encoded = QString();
        return true;
    }
    // A BER tag number: the engine reads the value by its type.
    const int tag = t.toInt(&ok);
    if (!ok || tag <= 0) {
        *error = oid + QStringLiteral(": Bad object type: ") + type;
        return false;
    }
    *berType = tag;
    *encoded = tag == 4 ? QVariant(value.toUtf8()) : QVariant(value);
    return true;
}

} // namespace SnmpCli
