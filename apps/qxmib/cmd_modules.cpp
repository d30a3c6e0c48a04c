// qxmib modules: the modules of the MIB database, as the MIB manager lists them.

#include "command.h"

#include "mibx/managemibs.h"

#include <QAbstractItemModel>

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

    ManageMIBs manager;
    manager.Refresh();
    const QAbstractItemModel *model = manager.TableObject()->model();
    const QString nameCaption = model->headerData(0, Qt::Horizontal).toString();
    int width = int(nameCaption.size());
    for (int row = 0; row < model->rowCount(); ++row)
        width = std::max(width, int(model->index(row, 0).data().toString().size()));

    // Name, object count and import time in aligned columns; a module never imported has no time.
    const auto line = [width](const QString &name, const QString &count, const QString &time) {
        return QStringLiteral("%1 %2  %3").arg(name, -width).arg(count, 7).arg(time).trimmed() + u'\n';
    };
    QString out = line(nameCaption, QStringLiteral("OIDs"), model->headerData(1, Qt::Horizontal).toString());
    for (int row = 0; row < model->rowCount(); ++row) {
        const QString name = model->index(row, 0).data().toString();
        out += line(name, QString::number(manager.objectCount(name)), model->index(row, 1).data().toString());
    }
    out += QStringLiteral("%1 modules, %2 OIDs\n").arg(manager.MIBCount()).arg(manager.OIDCount());
    printOut(out);
    return 0;
}

} // namespace

QXMIB_WIDGET_COMMAND("modules", "list the modules with their object counts and import times", modules)
