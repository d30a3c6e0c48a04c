// qxmib-browser: the desktop MIB browser hosting the QXMIBTree controls.

#include "browseroptions.h"
#include "localagent.h"
#include "notificationspane.h"
#include "mainwindow.h"

#include "core/globals.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QTimer>

#include <csignal>
#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char c = 1;
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[0], &c, 1);
}

// Ctrl+C or a kill closes the window the ordinary way, which stops the private agent.
void closeOnSignals(QWidget *window)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, window);
    QObject::connect(notifier, &QSocketNotifier::activated, window, [window] {
        char c;
        [[maybe_unused]] const ssize_t got = ::read(signalPipe[1], &c, 1);
        window->close();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
}

void say(const QString &text)
{
    std::fputs(qPrintable(text + u'\n'), stdout);
    std::fflush(stdout);
}

// Saves the window once no view is busy any more and closes it, or closes it
// at a given time (saving it first if it was not saved yet).
class Screenshot : public QObject
{
public:
    Screenshot(MainWindow *window, const QString &file, int quitAfterMs)
        : QObject(window)
        , m_window(window)
        , m_file(file)
        , m_closeWhenSaved(quitAfterMs < 0)
    {
        connect(&m_poll, &QTimer::timeout, this, [this] { poll(); });
        m_poll.start(200);
        if (quitAfterMs >= 0)
            QTimer::singleShot(quitAfterMs, this, [this] {
                save();
                m_window->close();
            });
    }

private:
    void poll()
    {
        const bool busy = m_window->table()->property("Busy").toBool()
            || m_window->browser()->property("Busy").toBool() || m_window->importer()->isBusy();
        m_idleTicks = busy ? 0 : m_idleTicks + 1;
        // A moment for the last rows and the column widths to settle.
        if (m_idleTicks >= 4) {
            save();
            if (m_closeWhenSaved)
                m_window->close();
        }
    }
    void save()
    {
        if (m_saved || m_file.isEmpty())
            return;
        m_saved = true;
        m_poll.stop();
        QDir().mkpath(QFileInfo(m_file).absolutePath());
        if (m_window->grab().save(m_file, "PNG"))
            say(QStringLiteral("Screenshot: ") + QFileInfo(m_file).absoluteFilePath());
        else
            std::fprintf(stderr, "qxmib-browser: cannot save %s\n", qPrintable(m_file));
    }

    MainWindow *m_window;
    QString m_file;
    QTimer m_poll;
    bool m_closeWhenSaved;
    int m_idleTicks = 0;
    bool m_saved = false;
};

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("qxmib-browser"));
    QApplication::setApplicationVersion(Globals::versionText());

    BrowserOptions options;
    QString error;
    if (!options.parse(app.arguments().mid(1), &error)) {
        std::fprintf(stderr, "qxmib-browser: %s\n\n%s", qPrintable(error), qPrintable(BrowserOptions::usage()));
        return 2;
    }
    if (options.help) {
        std::fputs(qPrintable(BrowserOptions::usage()), stdout);
        return 0;
    }
    if (!options.database.isEmpty())
        Globals::setDatabasePath(QFileInfo(options.database).absoluteFilePath());

    MainWindow window;
    window.restoreLayout();
    if (options.haveTarget)
        window.targetBar()->setTarget(options.target);
    if (options.trapPort > 0)
        window.notifications()->listen(options.trapPort);
    if (options.localAgent) {
        if (!window.startLocalAgent(&error)) {
            std::fprintf(stderr, "qxmib-browser: %s\n", qPrintable(error));
            return 1;
        }
        if (options.snmpOptions) {
            SnmpTarget target = options.target;
            target.host = QStringLiteral("127.0.0.1");
            target.port = window.localAgent()->port();
            window.targetBar()->setTarget(target);
        }
        say(QStringLiteral("Local agent: 127.0.0.1:%1 (community public, snmpd process %2)")
                .arg(window.localAgent()->port())
                .arg(window.localAgent()->processId()));
    }
    closeOnSignals(&window);
    QObject::connect(&window, &MainWindow::closed, &app, &QCoreApplication::quit, Qt::QueuedConnection);
    window.show();

    QTimer::singleShot(0, &window, [&window, &options] {
        if (options.showNotifications)
            window.showNotifications();
        if (!options.importFiles.isEmpty())
            window.importFiles(options.importFiles);
        if (!options.mibxFile.isEmpty())
            window.openMibxFile(options.mibxFile);
        if (!options.walk.isEmpty())
            window.walk(options.walk);
        if (!options.table.isEmpty())
            window.openTable(options.table);
    });
    if (!options.screenshot.isEmpty() || options.quitAfterMs >= 0)
        new Screenshot(&window, options.screenshot, options.quitAfterMs);
    return app.exec();
}
