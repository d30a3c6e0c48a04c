#include "snmpcli.h"

#include "resolvetext.h"

#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "snmp/bindingtext.h"

#include <QRegularExpression>

#include <arpa/inet.h>

namespace SnmpCli {

namespace {

bool isNegativeNumber(const QString &text)
{
    static const QRegularExpression number(QStringLiteral("^-\\d+(\\.\\d+)?$"));
    return number.match(text).hasMatch();
}

bool oneOf(const QString &value, const char *const *names)
{
    for (; *names != nullptr; ++names) {
        if (value.compare(QLatin1String(*names), Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

} // namespace

bool parseOptions(const QStringList &args, Options *o, QString *error, bool needsTarget)
{
    static const char *const authNames[] = {"MD5", "SHA", "SHA1", "SHA-1", "SHA-224", "SHA-256", "SHA-384", "SHA-512",
                                            nullptr};
    static const char *const privNames[] = {"DES",     "AES",       "AES-128",   "AES-192",
                                            "AES-256", "AES-192-C", "AES-256-C", nullptr};
    bool positional = false;
    for (int i = 0; i < args.size(); ++i) {
        const QString a = args.at(i);
        if (positional || a.size() < 2 || !a.startsWith(QLatin1Char('-')) || isNegativeNumber(a)) {
            o->rest.append(a);
            continue;
        }
        if (a == QLatin1String("--")) {
            positional = true;
            continue;
        }
        const QChar letter = a.at(1);
        if (a.startsWith(QLatin1String("--")) || !QStringLiteral("vctrulaAxXnEeC").contains(letter)) {
            *error = QStringLiteral("Unknown option: ") + a;
            return false;
        }
        auto next = [&](QString *value) {
            if (i + 1 >= args.size()) {
                *error = QStringLiteral("Option %1 needs a value").arg(a.left(2));
                return false;
            }
            *value = args.at(++i);
            return true;
        };
        QString v = a.mid(2);
        if (v.isEmpty() && !next(&v))
            return false;
        bool ok = true;
        switch (letter.unicode()) {
        case 'v':
            o->version = v == QLatin1String("1") ? 1 : v == QLatin1String("2c") || v == QLatin1String("2") ? 2
                : v == QLatin1String("3")                                                              ? 3
                                                                                                        : 0;
            if (o->version == 0) {
                *error = QStringLiteral("Invalid version specified after -v flag: ") + v;
                return false;
            }
            break;
        case 'c':
            o->community = v;
            o->communities.append(v);
            break;
        case 't': {
            const double seconds = v.toDouble(&ok);
            if (!ok || seconds <= 0 || seconds > 86400) {
                *error = QStringLiteral("Invalid timeout in seconds after -t flag.");
                return false;
            }
            o->timeoutMs = qMax(1, qRound(seconds * 1000));
            break;
        }
        case 'r':
            o->retries = v.toInt(&ok);
            if (!ok || o->retries < 0) {
                *error = QStringLiteral("Invalid number of retries after -r flag.");
                return false;
            }
            break;
        case 'u':
            o->v3.setUserName(v);
            break;
        case 'l': {
            const QString l = v.toLower();
            const int level = l == QLatin1String("noauthnopriv") || l == QLatin1String("noauth") || l == QLatin1String("1")
                ? 1
                : l == QLatin1String("authnopriv") || l == QLatin1String("auth") || l == QLatin1String("2")
                ? 2
                : l == QLatin1String("authpriv") || l == QLatin1String("priv") || l == QLatin1String("3") ? 3
                                                                                                          : 0;
            if (level == 0) {
                *error = QStringLiteral("Invalid security level specified after -l flag: ") + v;
                return false;
            }
            o->v3.setSecurityLevel(level);
            break;
        }
        case 'a':
            if (!oneOf(v, authNames)) {
                *error = QStringLiteral("Invalid authentication protocol specified after -a flag: ") + v;
                return false;
            }
            o->v3.setAuthProtocol(v);
            break;
        case 'A':
            o->v3.setAuthPassword(v);
            break;
        case 'x':
            if (!oneOf(v, privNames)) {
                *error = QStringLiteral("Invalid privacy protocol specified after -x flag: ") + v;
                return false;
            }
            o->v3.setPrivProtocol(v);
            break;
        case 'X':
            o->v3.setPrivPassword(v);
            break;
        case 'n':
            o->v3.setContextName(v);
            break;
        case 'E':
        case 'e': {
            QString hex = v.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? v.mid(2) : v;
            static const QRegularExpression hexDigits(QStringLiteral("^([0-9A-Fa-f]{2})+$"));
            if (!hexDigits.match(hex).hasMatch()) {
                *error = QStringLiteral("Bad engine ID value after -%1 flag.").arg(letter);
                return false;
            }
            if (letter == QLatin1Char('E'))
                o->v3.setContextEngineID(hex);
            else
                o->securityEngineIds.append(hex);
            break;
        }
        case 'C': {
            // -Cr<N> or -Cr N: repetitions per GetBulk request.
            if (!v.startsWith(QLatin1Char('r'))) {
                *error = QStringLiteral("Unknown flag passed to -C: ") + v;
                return false;
            }
            QString count = v.mid(1);
            if (count.isEmpty() && !next(&count))
                return false;
            o->maxRepetitions = count.toShort(&ok);
            if (!ok || o->maxRepetitions < 1) {
                *error = QStringLiteral("Bad number of repetitions after -Cr: ") + count;
                return false;
            }
            break;
        }
        }
    }
    if (!needsTarget)
        return true;
    if (o->rest.isEmpty()) {
        *error = QStringLiteral("No hostname specified.");
        return false;
    }
    o->target = o->rest.takeFirst();
    return true;
}

Names::Names() = default;
Names::~Names() = default;

QString Names::resolve(const QString &text)
{
    QString t = text.trimmed();
    static const QRegularExpression numeric(QStringLiteral("^\\.?\\d+(\\.\\d+)*$"));
    if (numeric.match(t).hasMatch())
        return t.startsWith(QLatin1Char('.')) ? t.mid(1) : t;
    t.replace(QStringLiteral("::"), QStringLiteral(":"));
    if (!m_useDatabase || t.isEmpty())
        return QString();
    try {
        if (!m_record)
            m_record = std::make_unique<QXMibOID>();
        m_recordOid.clear();
        m_recordName.clear();
        if (resolveUserText(*m_record, t))
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
