#include "globals.h"

#include "database.h"
#include "messagesink.h"
#include "qxmiberror.h"
#include "qxmibtree_version.h"

#include <QDir>
#include <QFileInfo>

#include <atomic>
#include <memory>
#include <mutex>

#include <dlfcn.h>

namespace {

struct ProcessState
{
    std::mutex mutex;
    QString folderOverride;
    QString pathOverride;
    QString helpFile;
    std::atomic<bool> failureReported{false};
};

ProcessState &process()
{
    static ProcessState state;
    return state;
}

// The shared connection belongs to the thread that uses it, as the component's
// objects do: a host with two UI threads gets two connections.
struct ThreadState
{
    std::unique_ptr<Database> connection;
};

ThreadState &thread()
{
    thread_local ThreadState state;
    return state;
}

QString libraryFolder()
{
    Dl_info info{};
    if (dladdr(reinterpret_cast<void *>(&libraryFolder), &info) != 0 && info.dli_fname != nullptr)
        return QFileInfo(QFile::decodeName(info.dli_fname)).absolutePath();
    return QDir::currentPath();
}

QString quoted(const QString &value, QChar quote)
{
    if (value.contains(quote))
        throw QXMibError(QXMibError::StatementError,
                         QStringLiteral("Syntax error in query expression: the value %1 holds the quote character that "
                                        "encloses it.")
                             .arg(value));
    return quote + value + quote;
}

// Runs when the library is loaded.
struct StartUp
{
    StartUp() { Globals::Main(); }
};
const StartUp startUp;

} // namespace

void Globals::Main()
{
    const QString help = componentFolder() + QStringLiteral("/Help/Tarnbrooke.chm");
    std::lock_guard<std::mutex> lock(process().mutex);
    process().helpFile = help;
}

QString Globals::componentFolder()
{
    {
        std::lock_guard<std::mutex> lock(process().mutex);
        if (!process().folderOverride.isEmpty())
            return process().folderOverride;
    }
    static const QString folder = libraryFolder();
    return folder;
}

void Globals::setComponentFolder(const QString &folder)
{
    QString f = folder;
    while (f.size() > 1 && f.endsWith(u'/'))
        f.chop(1);
    std::lock_guard<std::mutex> lock(process().mutex);
    process().folderOverride = f;
}

void Globals::setDatabasePath(const QString &path)
{
    std::lock_guard<std::mutex> lock(process().mutex);
    process().pathOverride = path;
}

QString Globals::databasePath()
{
    {
        std::lock_guard<std::mutex> lock(process().mutex);
        if (!process().pathOverride.isEmpty())
            return process().pathOverride;
    }
    return componentFolder() + QStringLiteral("/MIBs.cfg");
}

void Globals::OpenDatabase()
{
    ThreadState &t = thread();
    if (t.connection)
        return;
    const QString path = databasePath();
    // The object stays even when the open fails: later users find it, skip
    // opening and see their statements fail. A failure is reported once.
    t.connection = std::make_unique<Database>();
    try {
        t.connection->open(path);
    } catch (const QXMibError &e) {
        if (!process().failureReported.exchange(true))
            MessageSink::show(QStringLiteral("Cannot open MIB Database (") + path + QStringLiteral(")") + QChar(13)
                              + QChar(13) + e.description());
    }
}

Database *Globals::database()
{
    OpenDatabase();
    return thread().connection.get();
}

Database *Globals::sharedConnection()
{
    return thread().connection.get();
}

void Globals::resetForTesting()
{
    thread().connection.reset();
    process().failureReported = false;
}

QString Globals::helpFile()
{
    std::lock_guard<std::mutex> lock(process().mutex);
    return process().helpFile;
}

QString Globals::applicationTitle()
{
    return QStringLiteral(QXMIB_APPLICATION_TITLE);
}

QString Globals::versionText()
{
    return QStringLiteral("%1.%2.%3").arg(QXMIB_VERSION_MAJOR).arg(QXMIB_VERSION_MINOR).arg(QXMIB_VERSION_REVISION);
}

QString Globals::CollapseBlanks(const QString &text)
{
    QString out;
    out.reserve(text.size());
    bool inRun = false;
    for (const QChar c : text) {
        if (c == u' ' || c == u'\t') {
            if (!inRun)
                out += u' ';
            inRun = true;
        } else {
            out += c;
            inRun = false;
        }
    }
    return out;
}

QString Globals::dq(const QString &value)
{
    return quoted(value, u'"');
}

QString Globals::sq(const QString &value)
{
    return quoted(value, u'\'');
}
