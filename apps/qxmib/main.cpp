// qxmib: the command line host of the QXMIBTree component.

#include "command.h"

#include "core/globals.h"
#include "core/messagesink.h"
#include "core/qxmiberror.h"

#include <QCoreApplication>
#include <QFile>
#ifdef QXMIB_VIEWS_HOST
#include <QApplication>
#endif

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include <unistd.h>

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

#ifdef QXMIB_VIEWS_HOST
// The commands here drive the component's controls: a widget application, drawn
// nowhere when there is no display.
std::unique_ptr<QCoreApplication> makeApplication(int &argc, char *argv[])
{
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
#else
std::unique_ptr<QCoreApplication> makeApplication(int &argc, char *argv[])
{
    return std::make_unique<QCoreApplication>(argc, argv);
}

// Hands the whole command line to qxmib-views beside this program; returns only when
// that fails.
int runInViewsHost(char *argv[])
{
    const QByteArray path = QFile::encodeName(QCoreApplication::applicationDirPath() + QStringLiteral("/qxmib-views"));
    ::execv(path.constData(), argv);
    printErr(QStringLiteral("qxmib: cannot start %1: %2\n").arg(QFile::decodeName(path), QString::fromLocal8Bit(std::strerror(errno))));
    return 1;
}
#endif

} // namespace

int main(int argc, char *argv[])
{
    // The application may take its own options out of argv; qxmib-views gets them all.
    std::vector<char *> arguments(argv, argv + argc + 1);
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
#ifndef QXMIB_VIEWS_HOST
    if (command->run == nullptr)
        return runInViewsHost(arguments.data());
#endif
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
