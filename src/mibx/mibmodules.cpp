#include "mibx/mibmodules.h"

#include "core/database.h"
#include "core/globals.h"
#include "core/recordset.h"

#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>
#include <QVariant>

namespace {

// A date and time the way the user's locale writes them in full (the date alone
// at midnight); without a locale, the database's own form.
QString generalDate(const QDateTime &dt)
{
    const QLocale locale;
    const bool midnight = dt.time() == QTime(0, 0);
    if (locale.language() == QLocale::C)
        return dt.toString(midnight ? QStringLiteral("yyyy-MM-dd") : QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    const QString date = locale.toString(dt.date(), QLocale::ShortFormat);
    if (midnight)
        return date;
    // The long time form with seconds, but without a time zone the stored time does not carry.
    QString timeFormat = locale.timeFormat(QLocale::LongFormat);
    static const QRegularExpression zone(QStringLiteral("\\s*t+\\s*"));
    timeFormat = timeFormat.replace(zone, QString()).trimmed();
    return date + u' ' + locale.toString(dt.time(), timeFormat);
}

QString shownTime(const QVariant &value)
{
    if (value.isNull())
        return {};
    if (value.typeId() == QMetaType::QDateTime)
        return generalDate(value.toDateTime());
    const QString text = value.toString().trimmed();
    QDateTime dt = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    if (!dt.isValid())
        dt = QDateTime::fromString(text, Qt::ISODate);
    return dt.isValid() ? generalDate(dt) : text;
}

int total(const QString &statement)
{
    Recordset rs(Globals::database(), statement);
    return rs.eof() ? 0 : rs.value(QStringLiteral("Total")).toInt();
}

} // namespace

QList<MIBModules::Module> MIBModules::list()
{
    QList<Module> modules;
    Recordset rs(Globals::database(), QStringLiteral("Select * From MIBs Order By Name"));
    for (; !rs.eof(); rs.moveNext())
        modules.append({rs.text(QStringLiteral("Name")).trimmed(), shownTime(rs.value(QStringLiteral("Imported")))});
    return modules;
}

int MIBModules::objectCount(const QString &name)
{
    return total(QStringLiteral("Select Count(*) as Total From Tree Where MIB=") + Globals::sq(name));
}

int MIBModules::totalObjectCount()
{
    return total(QStringLiteral("Select Count(*) as Total From Tree"));
}

void MIBModules::remove(const QString &name)
{
    Database *db = Globals::database();
    db->execute(QStringLiteral("Delete From Tree Where MIB=") + Globals::sq(name));
    db->execute(QStringLiteral("Delete From MIBs Where Name=") + Globals::sq(name));
}
