// qxmib table: an SNMP table retrieved by a real MIBTable and printed as its
// grid shows it: a caption line, then one line per row, the row's index first.

#include "command.h"
#include "liveviewcli.h"

#include "snmp/widgets/mibtable.h"
#include "snmp/widgets/mibtablemodel.h"

#include <QEventLoop>
#include <QLabel>

#include <unistd.h>

namespace {

const char kUsage[] = "Usage: qxmib [--db PATH] table [SNMP options] [--mode 0|1] [--columns NAME,...] [--csv]\n"
                      "       TARGET TABLE\n\n"
                      "Retrieves TABLE (a name, MODULE:name or OID) from the agent and prints it tab-separated,\n"
                      "or as CSV with --csv. --mode 0 walks the table in one walk, 1 (default) its columns side\n"
                      "by side. --columns retrieves only the columns named.\n";

int cmdTable(const QStringList &args)
{
    if (args.isEmpty() || args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))) {
        printOut(QString::fromLatin1(kUsage) + QLatin1Char('\n') + LiveViewOptions::usage());
        return args.isEmpty() ? 2 : 0;
    }
    LiveViewOptions o;
    QString error;
    if (!o.parse(args, {QStringLiteral("--csv")}, {QStringLiteral("--mode"), QStringLiteral("--columns")}, &error)) {
        printErr(QStringLiteral("qxmib table: %1\n").arg(error));
        return 2;
    }
    MIBTable table;
    o.applyTo(&table);
    table.setDownloadMode(short(o.snmp.value(QStringLiteral("--mode"), QStringLiteral("1")).toInt()));
    if (o.snmp.has(QStringLiteral("--columns")))
        table.GetOIDList({o.snmp.value(QStringLiteral("--columns"))});

    QEventLoop loop;
    QObject::connect(&table, &MIBTable::Complete, &loop, &QEventLoop::quit);
    if (isatty(STDERR_FILENO)) {
        QObject::connect(&table, &MIBTable::Progress, &table, [&table](bool &) {
            static int shown = -1;
            const int rows = table.model()->tableRows();
            if (rows / 100 != shown / 100) {
                shown = rows;
                printErr(QStringLiteral("\r%1 rows").arg(rows));
            }
        });
    }
    table.GetTable(o.object());
    if (table.Busy())
        loop.exec();
    if (isatty(STDERR_FILENO))
        printErr(QStringLiteral("\r"));

    const QString message = table.findChild<QLabel *>(QStringLiteral("Message"))->text();
    if (!message.isEmpty())
        printErr(message + QLatin1Char('\n'));
    if (table.model()->tableColumns() == 0)
        return 1;
    printOut(table.TableText(o.snmp.has(QStringLiteral("--csv"))));
    return message.isEmpty() ? 0 : 1;
}

} // namespace

QXMIB_COMMAND("table", nullptr, cmdTable)
