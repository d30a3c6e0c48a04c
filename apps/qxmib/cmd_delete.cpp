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
            "Exit status 1 when a module was not there or could not be deleted.\n"));
        return args.isEmpty() ? 2 : 0;
    }

    const QList<MIBModules::Module> modules = MIBModules::list();
    int status = 0;
    for (const QString &module : args) {
        try {
            // Names compare without regard to case, as the database does.
            QString listed;
            for (const MIBModules::Module &m : modules) {
                if (listed.isEmpty() && m.name.compare(module, Qt::CaseInsensitive) == 0)
                    listed = m.name;
            }
            const int objects = MIBModules::objectCount(module);
            if (listed.isEmpty() && objects == 0) {
                printErr(QStringLiteral("qxmib delete: no module named '%1'\n").arg(module));
                status = 1;
                continue;
            }
            MIBModules::remove(module);
            printOut(QStringLiteral("Deleted %1: %2 objects\n").arg(listed.isEmpty() ? module : listed).arg(objects));
        } catch (const QXMibError &e) {
            printErr(QStringLiteral("qxmib delete: %1: error %2: %3\n").arg(module).arg(e.number()).arg(e.description()));
            status = 1;
        }
    }
    return status;
}

} // namespace

QXMIB_COMMAND("delete", "delete modules with their objects (delete MODULE...)", deleteModules)
