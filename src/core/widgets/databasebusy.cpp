// While a statement waits for another program's lock on the MIB database, the
// controls say so: a busy cursor, and in the active (or a shown) main window's status bar
// "The MIB database is busy ..." with the seconds waited and the time-out. The
// wait blocks the event loop, so the status bar is painted at once; the first
// turn of the event loop after the wait takes both away again.

#include "core/database.h"

#include <QApplication>
#include <QFileInfo>
#include <QMainWindow>
#include <QPointer>
#include <QStatusBar>
#include <QThread>
#include <QTimer>

namespace {

QPointer<QStatusBar> shownIn;
bool waiting = false;

void waitOver()
{
    if (!waiting)
        return;
    waiting = false;
    QApplication::restoreOverrideCursor();
    if (shownIn != nullptr)
        shownIn->clearMessage();
    shownIn = nullptr;
}

void showWait(const Database &database, int waitedMs, int timeoutMs)
{
    auto *app = qobject_cast<QApplication *>(QCoreApplication::instance());
    if (app == nullptr || QThread::currentThread() != app->thread())
        return;
    if (!waiting) {
        waiting = true;
        QApplication::setOverrideCursor(Qt::BusyCursor);
        QTimer::singleShot(0, app, waitOver);
        shownIn = nullptr;
        auto *window = qobject_cast<QMainWindow *>(QApplication::activeWindow());
        // Without a window manager nothing is active: any main window on screen will do.
        for (QWidget *top : QApplication::topLevelWidgets()) {
            if (window != nullptr)
                break;
            if (top->isVisible())
                window = qobject_cast<QMainWindow *>(top);
        }
        if (window != nullptr)
            shownIn = window->statusBar();
    }
    if (shownIn == nullptr)
        return;
    shownIn->showMessage(QStringLiteral("The MIB database is busy: another program is using %1. Waiting %2 of %3 s ...")
                             .arg(QFileInfo(database.path()).fileName())
                             .arg(waitedMs / 1000)
                             .arg((timeoutMs + 999) / 1000));
    shownIn->repaint();
}

const bool installed = (Database::setBusyWaitHandler(showWait), true);

} // namespace
