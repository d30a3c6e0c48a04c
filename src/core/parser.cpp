#include "parser.h"

#include "commonfunctions.h"
#include "qxmiberror.h"
#include "qxmiboid.h"

#include <QDateTime>
#include <QLocale>

#include <cmath>
#include <limits>

namespace {

[[noreturn]] void overflow()
{
    throw QXMibError(QXMibError::Overflow, QStringLiteral("Overflow"));
}

// Rounds to the nearest integer, halves to even, as the runtime's integer conversions do.
qint64 roundEven(double v, qint64 lo, qint64 hi)
{
    if (!std::isfinite(v))
        overflow();
    const double r = std::nearbyint(v);
    if (r < double(lo) || r > double(hi))
        overflow();
    return qint64(r);
}

qint32 toLong(double v)
{
    return qint32(roundEven(v, std::numeric_limits<qint32>::min(), std::numeric_limits<qint32>::max()));
}

qint16 toShort(double v)
{
    return qint16(roundEven(v, std::numeric_limits<qint16>::min(), std::numeric_limits<qint16>::max()));
}

// A run of hex digits as one number; stops at the first non-digit (none gives 0).
qint64 hexNumber(QStringView digits)
{
    qint64 v = 0;
    for (const QChar c : digits) {
        const int d = c.isDigit() ? c.digitValue()
                                  : ((c.toUpper() >= u'A' && c.toUpper() <= u'F') ? c.toUpper().unicode() - 'A' + 10 : -1);
        if (d < 0)
            break;
        v = v * 16 + d;
    }
    return v;
}

QString macForm(const QString &hex)
{
    QString out;
    for (qsizetype pos = 0; pos < hex.size(); pos += 4) {
        if (pos > 0)
            out += u'.';
        out += hex.mid(pos, 4);
    }
    return out;
}

QString objectName(const QString &value)
{
    QXMibOID oid;
    oid.setOID(value);
    return oid.Name();
}

QString services(double numeric)
{
    static const char *const words[] = {"physical", "data link", "network", "transport",
                                        "session", "presentaion", "applications"};
    const int n = toShort(numeric);
    QString out;
    for (int bit = 0; bit < 7; ++bit) {
        if (n & (1 << bit)) {
            if (!out.isEmpty())
                out += QStringLiteral(", ");
            out += QLatin1String(words[bit]);
        }
    }
    return out;
}

QString ipv4(const QString &value, const QString &hex)
{
    if (value.size() >= 4) {
        return QStringLiteral("%1.%2.%3.%4")
            .arg(value.at(0).unicode())
            .arg(value.at(1).unicode())
            .arg(value.at(2).unicode())
            .arg(value.at(3).unicode());
    }
    if (hex.size() >= 8) {
        return QStringLiteral("%1.%2.%3.%4")
            .arg(hexNumber(QStringView(hex).mid(0, 2)))
            .arg(hexNumber(QStringView(hex).mid(2, 2)))
            .arg(hexNumber(QStringView(hex).mid(4, 2)))
            .arg(hexNumber(QStringView(hex).mid(6, 2)));
    }
    return QString();
}

QString addressList(const QString &value)
{
    QString out;
    QString separator;
    for (qsizetype i = 0; i < value.size(); ++i) {
        out += separator + QString::number(value.at(i).unicode());
        separator = QStringLiteral(".");
        if ((i + 1) % 4 == 0 && i + 1 < value.size()) {
            out += QStringLiteral(", ");
            separator.clear();
        }
    }
    return out;
}

QString rateSet(QString &hex)
{
    QString out;
    QString separator;
    while (!hex.isEmpty()) {
        const double r = double(hexNumber(QStringView(hex).left(2))) / 2.0;
        out += separator + CommonFunctions::ShortestNumber(r);
        separator = QStringLiteral(", ");
        hex.remove(0, 2);
    }
    if (!out.isEmpty())
        out += QStringLiteral(" Mbps");
    return out;
}

// Year, month and day as a date serial does: out-of-range months and days roll over,
// two-digit years fall into 1930..2029.
QDate dateSerial(qint64 year, qint64 month, qint64 day)
{
    if (year >= 0 && year < 30)
        year += 2000;
    else if (year >= 30 && year < 100)
        year += 1900;
    if (year < 100 || year > 9999)
        throw QXMibError(QXMibError::InvalidCall, QStringLiteral("Invalid procedure call or argument"));
    return QDate(int(year), 1, 1).addMonths(int(month - 1)).addDays(day - 1);
}

// The locale's long time form less its zone name: the value carries no zone, so
// the viewer's own zone would be a false claim.
QString longTimeWithoutZone(const QLocale &locale)
{
    QString format;
    bool literal = false;
    for (const QChar c : locale.timeFormat(QLocale::LongFormat)) {
        if (c == u'\'')
            literal = !literal;
        if (literal || c != u't')
            format += c;
    }
    return format.trimmed();
}

QString dateAndTime(const QString &value, const QString &hex)
{
    if (hex.size() != 16)
        return value;
    const QStringView h(hex);
    const QDate date = dateSerial(hexNumber(h.mid(0, 4)), hexNumber(h.mid(4, 2)), hexNumber(h.mid(6, 2)));
    const qint64 hours = hexNumber(h.mid(8, 2));
    const qint64 minutes = hexNumber(h.mid(10, 2));
    const qint64 seconds = hexNumber(h.mid(12, 2));
    const qint64 deciSeconds = hexNumber(h.mid(14, 2));
    const QDateTime dt = QDateTime(date, QTime(0, 0), Qt::UTC)
                             .addSecs(hours * 3600 + minutes * 60 + seconds)
                             .addMSecs(deciSeconds * 100);
    const QDateTime shown = dt.addMSecs(dt.time().msec() >= 500 ? 1000 - dt.time().msec() : -dt.time().msec());
    const bool midnight = shown.time() == QTime(0, 0);
    // The user's locale when there is one; otherwise a clear fixed form.
    const QLocale locale;
    if (locale.language() == QLocale::C) {
        return midnight ? shown.date().toString(QStringLiteral("yyyy-MM-dd"))
                        : shown.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    }
    const QString d = locale.toString(shown.date(), QLocale::ShortFormat);
    return midnight ? d : d + u' ' + locale.toString(shown.time(), longTimeWithoutZone(locale));
}

enum class Rendering {
    Plain,
    TruthValue,
    Mbps,
    KBytes,
    Mac,
    Object,
    TimeSpan,
    TimeTicks,
    Services,
    Ipv4,
    AddressList,
    CiscoLoad,
    RateSet,
    DateAndTime,
    Octet,
};

// The rendering a Parse hint or type names, in any case.
Rendering renderingOf(const QString &selector)
{
    static const struct
    {
        QLatin1String name;
        Rendering rendering;
    } names[] = {
        {QLatin1String("TRUTHVALUE"), Rendering::TruthValue},
        {QLatin1String("MBPS"), Rendering::Mbps},
        {QLatin1String("KBYTES"), Rendering::KBytes},
        {QLatin1String("PHYSADDRESS"), Rendering::Mac},
        {QLatin1String("MACADDRESS"), Rendering::Mac},
        {QLatin1String("OBJECT"), Rendering::Object},
        {QLatin1String("OBJECT-IDENTIFIER"), Rendering::Object},
        {QLatin1String("TIMESPAN"), Rendering::TimeSpan},
        {QLatin1String("TIMETICKS"), Rendering::TimeTicks},
        {QLatin1String("SERVICES"), Rendering::Services},
        {QLatin1String("CISCONETWORKADDRESS"), Rendering::Ipv4},
        {QLatin1String("INETADDRESS"), Rendering::Ipv4},
        {QLatin1String("IPADDRESSLIST"), Rendering::AddressList},
        {QLatin1String("CISCO%LOAD"), Rendering::CiscoLoad},
        {QLatin1String("WIRELESSRATESET"), Rendering::RateSet},
        {QLatin1String("DATEANDTIME"), Rendering::DateAndTime},
        {QLatin1String("OCTET"), Rendering::Octet},
    };
    // Plain ASCII compares letter by letter; anything else as its capitals
    // (whose length may differ from its own).
    bool ascii = true;
    for (const QChar c : selector)
        ascii = ascii && c.unicode() < 0x80;
    const QString upper = ascii ? QString() : selector.toUpper();
    const QStringView text = ascii ? QStringView(selector) : QStringView(upper);
    for (const auto &n : names) {
        if (n.name.size() == text.size() && text.compare(n.name, ascii ? Qt::CaseInsensitive : Qt::CaseSensitive) == 0)
            return n.rendering;
    }
    return Rendering::Plain;
}

} // namespace

QString Parser::RenderValue(QXMibOID &object, const QString &value, QString &hexValue)
{
    if (!object.Enumerated().isEmpty())
        return object.EnumString(toLong(CommonFunctions::LeadingNumber(value)));

    QString selector = object.Parse();
    if (selector.isEmpty())
        selector = object.TypeString();

    switch (renderingOf(selector)) {
    case Rendering::TruthValue:
        if (value == u"1")
            return QStringLiteral("True");
        if (value == u"2")
            return QStringLiteral("False");
        return QStringLiteral("Unknown");
    case Rendering::Mbps:
        return CommonFunctions::FormatScaled(CommonFunctions::LeadingNumber(value), QStringLiteral("bps"), false);
    case Rendering::KBytes:
        return CommonFunctions::FormatScaled(CommonFunctions::LeadingNumber(value) * 1024, QStringLiteral("bytes"), true);
    case Rendering::Mac:
        return macForm(hexValue);
    case Rendering::Object:
        return objectName(value);
    case Rendering::TimeSpan:
        return CommonFunctions::FormatDuration(0, 0, 0, toLong(CommonFunctions::LeadingNumber(value) / 100));
    case Rendering::TimeTicks: {
        const double n = CommonFunctions::LeadingNumber(value);
        if (n < 100)
            return CommonFunctions::FormatNumber(n / 100, 2) + QStringLiteral(" seconds");
        return CommonFunctions::FormatDuration(0, 0, 0, toLong(n / 100));
    }
    case Rendering::Services:
        return services(CommonFunctions::LeadingNumber(value));
    case Rendering::Ipv4:
        return ipv4(value, hexValue);
    case Rendering::AddressList:
        return addressList(value);
    case Rendering::CiscoLoad:
        return CommonFunctions::ShortestNumber(CommonFunctions::LeadingNumber(value)) + QStringLiteral(" %");
    case Rendering::RateSet:
        return rateSet(hexValue);
    case Rendering::DateAndTime:
        return dateAndTime(value, hexValue);
    case Rendering::Octet:
        return value.isEmpty() ? hexValue : value;
    case Rendering::Plain:
        break;
    }

    const QString units = object.Units();
    if (units.isEmpty())
        return value;
    return value + u' ' + units.section(u',', 0, 0);
}
