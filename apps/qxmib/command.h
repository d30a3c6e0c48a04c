#pragma once

#include <QString>
#include <QStringList>

#include <cstdio>

// One sub-command of the qxmib command line host. Each lives in a cmd_*.cpp file
// and registers itself with QXMIB_COMMAND; main() strips the global --db option,
// points the component at that database and hands the rest of the arguments over.
struct Command
{
    const char *name;
    const char *summary;
    // args: the arguments after the command's name. Returns the process exit status.
    // Null for the commands that drive the controls: qxmib hands those to qxmib-views.
    int (*run)(const QStringList &args);
};

class CommandRegistry
{
public:
    static bool add(const Command &command);
    static const Command *find(const QString &name);
    static QList<Command> all();
};

// Writing to stdout/stderr as UTF-8, the way every command prints.
void printOut(const QString &text);
void printErr(const QString &text);

#define QXMIB_COMMAND(Name, Summary, Function)                                                     \
    namespace {                                                                                   \
    const bool qxmibCommand_##Function = CommandRegistry::add(Command{Name, Summary, &Function});  \
    }

// A command of qxmib-views, the program beside qxmib that runs the commands driving the
// controls (offscreen without a display). qxmib lists them and starts qxmib-views for them.
#define QXMIB_VIEWS_COMMAND(Name, Summary)                                                         \
    namespace {                                                                                   \
    const bool qxmibViewsCommand_##Name = CommandRegistry::add(Command{#Name, Summary, nullptr}); \
    }
