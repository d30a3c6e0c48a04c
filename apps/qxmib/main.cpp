// qxmib: the command line host of the QXMIBTree component.

#include "command.h"

#include "core/globals.h"
#include "core/messagesink.h"
#include "core/qxmiberror.h"

#include <QApplication>
#include <QCoreApplication>

#include <cstdio>
#include <cstring>
#include <memory>

namespace {

void printUsage()
{
    QString text = QStringLiteral("Usage: qxmib [--db PATH] COMMAND [ARGS...]\n\n"
                                  "Answers questions about SNMP MIB objects from a MIB database.\n"
                                  "The database is MIBs.cfg beside the QXMIBTree library unless --db names another.\n\n"
                                  "Commands:\n");
    for (const Command &c : CommandRegistry::all())
        text += QStringLiteral("  %1%2\n").arg(QLatin1String(c.name), -12).arg(QLatin1String(c.summary));
    text += QStringLiteral("\nRun 'qxmib COMMAND --help' for the options of one command.\n");
    printOut(text);
}

// Commands that drive the component's controls need a QApplication; the others
// stay free of any display.
bool needsWidgets(int argc, char *argv[])
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--db") == 0) {
            ++i;
            continue;
        }
        if (std::strncmp(argv[i], "--db=", 5) == 0)
            continue;
        const Command *command = CommandRegistry::find(QString::fromLocal8Bit(argv[i]));
        return command != nullptr && command->widgets;
    }
    return false;
}

std::unique_ptr<QCoreApplication> makeApplication(int &argc, char *argv[])
{
    if (!needsWidgets(argc, argv))
        return std::make_unique<QCoreApplication>(argc, argv);
    // Without a display the controls still work, drawn nowhere.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY")
        && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Qt's note that it picked a runtime folder itself is no news on a command line.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &context, const QString &message) {
        if (type == QtWarningMsg && message.startsWith(QLatin1String("QStandardPaths:")))
            return;
        std::fprintf(stderr, "%s\n", qPrintable(qFormatLogMessage(type, context, message)));
    });
    return std::make_unique<QApplication>(argc, argv);
}

} // namespace

int main(int argc, char *argv[])
{
    const std::unique_ptr<QCoreApplication> app = makeApplication(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("qxmib"));
    QCoreApplication::setApplicationVersion(Globals::versionText());

    // A message box has nobody to answer it here: say it on stderr.
    MessageSink::setHandler([](const QString &text, const QString &) {
        QString t = text;
        t.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
        t.replace(QChar(13), QLatin1Char('\n'));
        printErr(t + QLatin1Char('\n'));
    });

    // --db is global and may stand anywhere before "--".
    QStringList args = app->arguments().mid(1);
    for (int i = 0; i < args.size(); ++i) {
        if (args.at(i) == QLatin1String("--"))
            break;
        if (args.at(i) == QLatin1String("--db")) {
            if (i + 1 >= args.size()) {
                printErr(QStringLiteral("qxmib: --db needs a path\n"));
                return 2;
            }
            Globals::setDatabasePath(args.at(i + 1));
            args.remove(i, 2);
            --i;
        } else if (args.at(i).startsWith(QLatin1String("--db="))) {
            Globals::setDatabasePath(args.at(i).mid(5));
            args.remove(i);
            --i;
        }
    }

    if (args.isEmpty() || args.first() == QLatin1String("--help") || args.first() == QLatin1String("-h")
        || args.first() == QLatin1String("help")) {
        printUsage();
        return args.isEmpty() ? 2 : 0;
    }
    if (args.first() == QLatin1String("--version")) {
        printOut(QStringLiteral("qxmib %1 (%2)\n").arg(Globals::versionText(), Globals::applicationTitle()));
        return 0;
    }

    const Command *command = CommandRegistry::find(args.first());
    if (command == nullptr) {
        printErr(QStringLiteral("qxmib: unknown command '%1' (see qxmib --help)\n").arg(args.first()));
        return 2;
    }
    try {
        return command->run(args.mid(1));
    } catch (const QXMibError &e) {
        printErr(QStringLiteral("qxmib %1: error %2: %3\n")
                     .arg(QLatin1String(command->name))
                     .arg(e.number())
                     .arg(e.description()));
        return 1;
    }
}
