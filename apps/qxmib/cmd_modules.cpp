// qxmib modules: the modules of the MIB database, as the MIB manager lists them.

#include "command.h"

#include "mibx/mibmodules.h"

#include <algorithm>

namespace {

int modules(const QStringList &args)
{
    if (!args.isEmpty()) {
        const bool help = args.first() == QLatin1String("--help") || args.first() == QLatin1String("-h");
        (help ? printOut : printErr)(QStringLiteral(
            "Usage: qxmib [--db PATH] modules\n\n"
            "Lists the MIB modules of the database in name order, each with the number of\n"
            "object definitions it holds and the time it was imported, then the totals.\n"));
        return help ? 0 : 2;
    }

    const QList<MIBModules::Module> modules = MIBModules::list();
    // The captions of the MIB manager's columns.
    const QString nameCaption = QStringLiteral("MIB");
    int width = int(nameCaption.size());
    for (const MIBModules::Module &module : modules)
        width = std::max(width, int(module.name.size()));

    // Name, object count and import time in aligned columns; a module never imported has no time.
    const auto line = [width](const QString &name, const QString &count, const QString &time) {
        return QStringLiteral("%1 %2  %3").arg(name, -width).arg(count, 7).arg(time).trimmed() + u'\n';
    };
    QString out = line(nameCaption, QStringLiteral("OIDs"), QStringLiteral("Last Update"));
    for (const MIBModules::Module &module : modules)
        out += line(module.name, QString::number(MIBModules::objectCount(module.name)), module.imported);
    out += QStringLiteral("%1 modules, %2 OIDs\n").arg(modules.size()).arg(MIBModules::totalObjectCount());
    printOut(out);
    return 0;
}

} // namespace

QXMIB_COMMAND("modules", "list the modules with their object counts and import times", modules)
