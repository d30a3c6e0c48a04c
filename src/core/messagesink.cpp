#include "messagesink.h"

#include <QApplication>
#include <QMessageBox>

#include <cstdio>
#include <mutex>

namespace {

std::mutex &handlerMutex()
{
    static std::mutex m;
    return m;
}

MessageSink::Handler &currentHandler()
{
    static MessageSink::Handler h;
    return h;
}

thread_local MessageSink::Icon shownIcon = MessageSink::Icon::None;

QMessageBox::Icon boxIcon(MessageSink::Icon icon)
{
    switch (icon) {
    case MessageSink::Icon::Exclamation:
        return QMessageBox::Warning;
    case MessageSink::Icon::Critical:
        return QMessageBox::Critical;
    case MessageSink::Icon::Information:
        return QMessageBox::Information;
    case MessageSink::Icon::None:
        break;
    }
    return QMessageBox::NoIcon;
}

void defaultShow(const QString &text, const QString &caption, MessageSink::Icon icon)
{
    // Without a widget application there is nobody to click OK: say it on stderr.
    if (qobject_cast<QApplication *>(QCoreApplication::instance()) == nullptr) {
        QString shown = text;
        shown.replace(QChar(13), QLatin1Char('\n'));
        std::fprintf(stderr, "%s\n", qPrintable(shown));
        return;
    }
    // Message texts break lines with a bare CR, which Qt's labels do not honour.
    QString shown = text;
    shown.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    shown.replace(QChar(13), QLatin1Char('\n'));
    QMessageBox box(boxIcon(icon), caption, shown, QMessageBox::Ok);
    box.exec();
}

} // namespace

void MessageSink::show(const QString &text, const QString &caption, Icon icon)
{
    Handler h;
    {
        std::lock_guard<std::mutex> lock(handlerMutex());
        h = currentHandler();
    }
    const Icon outer = shownIcon;
    shownIcon = icon;
    struct Restore
    {
        Icon icon;
        ~Restore() { shownIcon = icon; }
    } restore{outer};
    if (h)
        h(text, caption);
    else
        defaultShow(text, caption, icon);
}

MessageSink::Icon MessageSink::currentIcon()
{
    return shownIcon;
}

MessageSink::Handler MessageSink::setHandler(Handler handler)
{
    std::lock_guard<std::mutex> lock(handlerMutex());
    Handler previous = std::move(currentHandler());
    currentHandler() = std::move(handler);
    return previous;
}
