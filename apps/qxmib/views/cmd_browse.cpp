// qxmib browse: a walk through a real MIBBrowser, printed as its grid shows it.

#include "command.h"
#include "liveviewcli.h"

#include "snmp/widgets/mibbrowser.h"

#include <QEventLoop>

namespace {

const char kUsage[] = "Usage: qxmib [--db PATH] browse [SNMP options] [--rows N] [--fields CODES] [--csv]\n"
                      "       TARGET OID\n\n"
                      "Walks the subtree under OID (a name, MODULE:name or OID) and prints one line per object,\n"
                      "tab-separated, or as CSV with --csv. With --rows N it lists N objects from OID on\n"
                      "instead, wherever they are. CODES chooses the columns (default 1,10,5,0):\n"
                      "0 OID, 1 OID Name, 2 Full OID Name, 3 MIB, 4 Index, 5 Type, 6 Status, 7 Access,\n"
                      "8 Raw Type, 9 Raw Value, 10 Value, 11 Description.\n";

int cmdBrowse(const QStringList &args)
{
    if (args.isEmpty() || args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))) {
        printOut(QString::fromLatin1(kUsage) + QLatin1Char('\n') + LiveViewOptions::usage());
        return args.isEmpty() ? 2 : 0;
    }
    LiveViewOptions o;
    QString error;
    bool rowsOk = true;
    if (!o.parse(args, {QStringLiteral("--csv")}, {QStringLiteral("--rows"), QStringLiteral("--fields")}, &error)) {
        printErr(QStringLiteral("qxmib browse: %1\n").arg(error));
        return 2;
    }
    const int rows = o.snmp.value(QStringLiteral("--rows"), QStringLiteral("0")).toInt(&rowsOk);
    if (!rowsOk || rows < 0) {
        printErr(QStringLiteral("qxmib browse: bad value for --rows\n"));
        return 2;
    }
    MIBBrowser browser;
    o.applyTo(&browser);
    if (o.snmp.has(QStringLiteral("--fields")))
        browser.setFields(o.snmp.value(QStringLiteral("--fields")));

    QEventLoop loop;
    QObject::connect(&browser, &MIBBrowser::Complete, &loop, &QEventLoop::quit);
    if (rows > 0) {
        browser.setCurrentOID(o.object());
        const QString start = browser.CurrentOID();
        browser.setCurrentOID(QString());
        browser.GetNextOID(rows - 1, start);
    } else {
        browser.setCurrentOID(o.object());
        browser.Activate();
    }
    if (browser.Busy())
        loop.exec();
    printOut(browser.TableText(o.snmp.has(QStringLiteral("--csv"))));
    return 0;
}

} // namespace

QXMIB_COMMAND("browse", nullptr, cmdBrowse)
