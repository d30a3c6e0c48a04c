// qxmib view: a MIB-X file's objects at their place in the registration tree, as the viewer shows them.

#include "command.h"

#include "core/messagesink.h"
#include "mibx/widgets/mibxtree.h"

namespace {

int view(const QStringList &args)
{
    if (args.size() != 1 || args.first().startsWith(u'-')) {
        const bool help = !args.isEmpty() && (args.first() == QLatin1String("--help") || args.first() == QLatin1String("-h"));
        (help ? printOut : printErr)(QStringLiteral(
            "Usage: qxmib [--db PATH] view FILE.mibx\n\n"
            "Shows the objects of a MIB-X file without importing them, hung into the\n"
            "registration tree that the database knows: one row per line, indented by\n"
            "level, its caption and its OID. Objects that cannot be placed are reported\n"
            "on stderr and the status is 1.\n"));
        return help ? 0 : 2;
    }

    int problems = 0;
    MessageSink::Handler previous;
    previous = MessageSink::setHandler([&](const QString &text, const QString &caption) {
        ++problems;
        if (previous)
            previous(text, caption);
    });
    MIBXTree tree;
    try {
        tree.setMIBXFilename(args.first());
    } catch (...) {
        MessageSink::setHandler(previous);
        throw;
    }
    MessageSink::setHandler(previous);

    QString out;
    for (int row = 1; row < tree.rowCountWithHeader(); ++row) {
        const MIBTreeModel::Node *node = tree.nodeAtRow(row);
        if (!node->isPlaceholder())
            out += QString(node->level * 2, u' ') + node->caption + QStringLiteral("  ") + node->oid + u'\n';
    }
    printOut(out);
    return problems == 0 ? 0 : 1;
}

} // namespace

QXMIB_COMMAND("view", nullptr, view)
