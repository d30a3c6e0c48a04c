#include "resolvetext.h"

#include "core/qxmiboid.h"

#include <QRegularExpression>

bool resolveUserText(QXMibOID &record, const QString &text)
{
    const QString t = text.trimmed();
    if (!t.isEmpty() && (t.at(0).isDigit() || t.at(0) == u'.')) {
        record.setOID(t.startsWith(u'.') ? t.mid(1) : t);
        return !record.OID().isEmpty();
    }
    record.setFullName(t);
    if (!record.OID().isEmpty())
        return true;
    // A descriptor with an instance suffix: resolve the descriptor, then the instance OID.
    static const QRegularExpression withSuffix(QStringLiteral("^([^.]+)((?:\\.\\d+)+)$"));
    const QRegularExpressionMatch m = withSuffix.match(t);
    if (!m.hasMatch())
        return false;
    record.setFullName(m.captured(1));
    if (record.OID().isEmpty())
        return false;
    record.setOID(record.BaseOID() + m.captured(2));
    return !record.OID().isEmpty();
}
