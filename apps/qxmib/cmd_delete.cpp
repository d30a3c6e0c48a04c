// qxmib delete: taking modules out of the MIB database.

#include "command.h"

#include "core/qxmiberror.h"
#include "mibx/mibmodules.h"

namespace {

int deleteModules(const QStringList &args)
{
    if (args.isEmpty() || args.first() == QLatin1String("--help") || args.first() == QLatin1String("-h")) {
        (args.isEmpty() ? printErr : printOut)(QStringLiteral(
            "Usage: qxmib [--db PATH] delete MODULE...\n\n"
            "Deletes each module with all its object definitions from the database. The\n"
            "named values of its objects stay (other modules' objects may share them).\n"
            "An OID that another module defines too stays resolvable: that module's\n"
            "definition takes over, and the modules whose definitions remain are named.\n"
            "A module is named with its case; another case is taken when none matches.\n"
            "Exit status 1 when a module was not there or could not be deleted.\n"));
        return args.isEmpty() ? 2 : 0;
    }

    int status = 0;
    for (const QString &module : args) {
        try {
            // The module spelled so, else one spelled so but for letter case.
            const QString listed = MIBModules::find(module);
            const QString name = listed.isEmpty() ? module : listed;
            const int objects = MIBModules::objectCount(name);
            if (listed.isEmpty() && objects == 0) {
                printErr(QStringLiteral("qxmib delete: no module named '%1'\n").arg(module));
                status = 1;
                continue;
            }
            const QStringList kept = MIBModules::remove(name);
            printOut(QStringLiteral("Deleted %1: %2 objects\n").arg(name).arg(objects));
            if (!kept.isEmpty())
                printOut(QStringLiteral("    definitions of the same OIDs remain in %1\n").arg(kept.join(QStringLiteral(", "))));
        } catch (const QXMibError &e) {
            printErr(QStringLiteral("qxmib delete: %1: error %2: %3\n").arg(module).arg(e.number()).arg(e.description()));
            status = 1;
        }
    }
    return status;
}

} // namespace

QXMIB_COMMAND("delete", "delete modules with their objects (delete MODULE...)", deleteModules)
