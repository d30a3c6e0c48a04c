#include "core/oidtext.h"

#include "core/qxmiboid.h"

#include <QRegularExpression>

namespace OidText {

bool isNumeric(const QString &text)
{
    static const QRegularExpression numeric(QStringLiteral("^\\.?\\d+(\\.\\d+)*$"));
    return numeric.match(text.trimmed()).hasMatch();
}

QString indexSuffix(const QString &text)
{
    QString suffix;
    for (qsizetype i = 0; i < text.size();) {
        const QChar c = text.at(i);
        if (c == u'"' || c == u'\'') {
            const qsizetype close = text.indexOf(c, i + 1);
            if (close < 0)
                return QString();
            const QByteArray octets = text.mid(i + 1, close - i - 1).toUtf8();
            if (c == u'"')
                suffix += u'.' + QString::number(octets.size());
            for (const char octet : octets)
                suffix += u'.' + QString::number(quint8(octet));
            i = close + 1;
        } else {
            qsizetype end = i;
            while (end < text.size() && text.at(end).isDigit())
                ++end;
            if (end == i)
                return QString();
            suffix += u'.' + text.mid(i, end - i);
            i = end;
        }
        if (i < text.size()) {
            if (text.at(i) != u'.' || i + 1 == text.size())
                return QString();
            ++i;
        }
    }
    return suffix;
}

bool resolve(QXMibOID &record, const QString &text)
{
    QString t = text.trimmed();
    if (isNumeric(t)) {
        record.setOID(t.startsWith(u'.') ? t.mid(1) : t);
        return !record.OID().isEmpty();
    }
    t.replace(QStringLiteral("::"), QStringLiteral(":"));
    if (t.isEmpty())
        return false;
    // Names never hold quotes, and the look-up by name cannot take them.
    if (!t.contains(u'"') && !t.contains(u'\'')) {
        record.setFullName(t);
        if (!record.OID().isEmpty())
            return true;
    }
    // A descriptor with an instance: the descriptor ends at the first dot that
    // is not inside quotes, and the rest is the index.
    const qsizetype dot = t.indexOf(u'.');
    if (dot <= 0)
        return false;
    const QString suffix = indexSuffix(t.mid(dot + 1));
    if (suffix.isEmpty())
        return false;
    record.setFullName(t.left(dot));
    if (record.OID().isEmpty())
        return false;
    record.setOID(record.BaseOID() + suffix);
    return !record.OID().isEmpty();
}

} // namespace OidText
