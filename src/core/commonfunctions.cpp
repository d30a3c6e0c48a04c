#include "commonfunctions.h"

#include "qxmiberror.h"

#include <QLocale>

#include <cmath>
#include <limits>

namespace {

[[noreturn]] void overflow()
{
    throw QXMibError(QXMibError::Overflow, QStringLiteral("Overflow"));
}

qint64 checkedProduct(qint32 a, qint32 b)
{
    const qint64 p = qint64(a) * qint64(b);
    if (p > std::numeric_limits<qint32>::max() || p < std::numeric_limits<qint32>::min())
        overflow();
    return p;
}

// Rounds half away from zero at the pattern's decimals. The rounding works on the
// number's decimal digits (15 significant, as a double is handed to a number
// pattern), not on the binary double: 1.005 is 1.00499999... in binary and still
// gives "1.01".
QString fixed(double value, int decimals)
{
    const QString scientific = QString::number(std::fabs(value), 'e', 14); // d.dddddddddddddde+x
    const qsizetype e = scientific.indexOf(u'e');
    const qint64 mantissa = (scientific.left(1) + scientific.mid(2, e - 2)).toLongLong();
    const int shift = scientific.mid(e + 1).toInt() - 14 + decimals; // value * 10^decimals = mantissa * 10^shift

    QString digits;
    if (shift >= 0) {
        digits = QString::number(mantissa) + QString(shift, u'0');
    } else if (shift >= -18) {
        qint64 divisor = 1;
        for (int i = 0; i < -shift; ++i)
            divisor *= 10;
        digits = QString::number((mantissa + divisor / 2) / divisor);
    } else {
        digits = QStringLiteral("0");
    }
    if (digits.size() <= decimals)
        digits.prepend(QString(decimals + 1 - digits.size(), u'0'));
    if (decimals > 0)
        digits.insert(digits.size() - decimals, u'.');
    const bool zero = digits.count(u'0') + digits.count(u'.') == digits.size();
    return (value < 0 && !zero) ? u'-' + digits : digits;
}

} // namespace

QString CommonFunctions::FormatNumber(double value, int decimals)
{
    if (!std::isfinite(value))
        overflow();
    return fixed(value, decimals);
}

QString CommonFunctions::ShortestNumber(double value)
{
    if (!std::isfinite(value))
        overflow();
    if (value == 0.0)
        return QStringLiteral("0");
    // Up to 15 significant digits, no trailing zeros, exponent only for very large or small numbers.
    const double a = std::fabs(value);
    if (a >= 1e15 || a < 1e-4) {
        QString s = QString::number(value, 'E', 14);
        // 1.00000000000000E+20 -> 1E+20
        const qsizetype e = s.indexOf(u'E');
        QString mantissa = s.left(e);
        QString exponent = s.mid(e + 1);
        if (mantissa.contains(u'.')) {
            while (mantissa.endsWith(u'0'))
                mantissa.chop(1);
            if (mantissa.endsWith(u'.'))
                mantissa.chop(1);
        }
        const QChar sign = exponent.at(0);
        exponent = exponent.mid(1);
        while (exponent.size() > 2 && exponent.startsWith(u'0'))
            exponent.remove(0, 1);
        return mantissa + u'E' + sign + exponent;
    }
    return QString::number(value, 'g', 15);
}

double CommonFunctions::LeadingNumber(const QString &text)
{
    qsizetype i = 0;
    const qsizetype n = text.size();
    while (i < n && (text.at(i) == u' ' || text.at(i) == u'\t' || text.at(i) == u'\n' || text.at(i) == u'\r'))
        ++i;
    // &H and &O prefixes read hexadecimal and octal numbers.
    if (i + 1 < n && text.at(i) == u'&') {
        const QChar kind = text.at(i + 1).toUpper();
        const int base = kind == u'H' ? 16 : (kind == u'O' ? 8 : 0);
        if (base != 0) {
            double v = 0;
            for (qsizetype j = i + 2; j < n; ++j) {
                const int digit = text.at(j).isDigit() ? text.at(j).digitValue()
                                                       : (base == 16 && QStringLiteral("ABCDEF").contains(text.at(j).toUpper())
                                                              ? 10 + int(QStringLiteral("ABCDEF").indexOf(text.at(j).toUpper()))
                                                              : -1);
                if (digit < 0 || digit >= base)
                    break;
                v = v * base + digit;
            }
            return v;
        }
    }
    qsizetype start = i;
    if (i < n && (text.at(i) == u'+' || text.at(i) == u'-'))
        ++i;
    const qsizetype digitsStart = i;
    while (i < n && text.at(i).isDigit())
        ++i;
    bool any = i > digitsStart;
    if (i < n && text.at(i) == u'.') {
        ++i;
        const qsizetype frac = i;
        while (i < n && text.at(i).isDigit())
            ++i;
        any = any || i > frac;
    }
    if (!any)
        return 0.0;
    if (i < n && (text.at(i) == u'e' || text.at(i) == u'E')) {
        qsizetype j = i + 1;
        if (j < n && (text.at(j) == u'+' || text.at(j) == u'-'))
            ++j;
        if (j < n && text.at(j).isDigit()) {
            while (j < n && text.at(j).isDigit())
                ++j;
            i = j;
        }
    }
    bool ok = false;
    const double v = QStringView(text).mid(start, i - start).toDouble(&ok);
    return ok ? v : 0.0;
}

QString CommonFunctions::FormatScaled(double value, const QString &unit, bool binary)
{
    const double a = std::fabs(value);
    const double b = binary ? 1024.0 : 1000.0;
    if (a >= 1e15)
        return FormatNumber(value / std::pow(b, 5), 1) + QStringLiteral(" Peta") + unit;
    if (a >= 1e12)
        return FormatNumber(value / std::pow(b, 4), 1) + QStringLiteral(" T") + unit;
    if (a >= 1e9)
        return FormatNumber(value / std::pow(b, 3), 1) + QStringLiteral(" G") + unit;
    if (a > 9000000.0)
        return FormatNumber(value / (b * b), 0) + QStringLiteral(" M") + unit;
    if (a >= 1000000.0)
        return FormatNumber(value / (b * b), 2) + QStringLiteral(" M") + unit;
    if (a > 50000.0)
        return FormatNumber(value / b, 0) + QStringLiteral(" K") + unit;
    if (a > 9600.0)
        return FormatNumber(value / b, 1) + QStringLiteral(" K") + unit;
    return FormatNumber(value, 0) + u' ' + unit;
}

QString CommonFunctions::FormatDuration(qint32 days, qint32 hours, qint32 minutes, qint32 seconds)
{
    double total = double(checkedProduct(days, 86400)) + double(checkedProduct(hours, 3600))
        + double(checkedProduct(minutes, 60)) + double(seconds);
    QString text;
    QString separator;
    auto roundedModulo = [](double t, double m) {
        return std::fmod(std::nearbyint(t), m);
    };
    if (total > 86400) {
        text = QString::number(qint64(std::floor(total / 86400))) + QStringLiteral(" days");
        separator = QStringLiteral(", ");
        total = roundedModulo(total, 86400);
    }
    if (total > 3600) {
        text += separator + QString::number(qint64(std::floor(total / 3600))) + QStringLiteral(" hours");
        separator = QStringLiteral(", ");
        total = roundedModulo(total, 3600);
    }
    if (total > 60) {
        text += separator + QString::number(qint64(std::floor(total / 60))) + QStringLiteral(" minutes");
        separator = QStringLiteral(", ");
        total = roundedModulo(total, 60);
    }
    if (total > 0)
        text += separator + ShortestNumber(total) + QStringLiteral(" seconds");
    return text;
}

QString CommonFunctions::FileNamePart(const QString &path, bool stripExtension)
{
    QString s = path;
    s.replace(u'/', u'\\');
    const qsizetype slash = s.lastIndexOf(u'\\');
    if (slash >= 0)
        s = s.mid(slash + 1);
    const qsizetype colon = s.lastIndexOf(u':');
    if (colon >= 0)
        s = s.mid(colon + 1);
    if (stripExtension) {
        const qsizetype dot = s.lastIndexOf(u'.');
        if (dot >= 0)
            s = s.left(dot);
    }
    return s;
}
