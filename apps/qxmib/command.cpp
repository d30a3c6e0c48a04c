#include "command.h"

#include <QList>

#include <algorithm>

namespace {
QList<Command> &registry()
{
    static QList<Command> commands;
    return commands;
}
} // namespace

bool CommandRegistry::add(const Command &command)
{
    registry().append(command);
    return true;
}

const Command *CommandRegistry::find(const QString &name)
{
    for (const Command &c : registry()) {
        if (name == QLatin1String(c.name))
            return &c;
    }
    return nullptr;
}

QList<Command> CommandRegistry::all()
{
    QList<Command> sorted = registry();
    std::sort(sorted.begin(), sorted.end(),
              [](const Command &a, const Command &b) { return qstrcmp(a.name, b.name) < 0; });
    return sorted;
}

void printOut(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
}

void printErr(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
}
