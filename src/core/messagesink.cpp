#include "messagesink.h"

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

MessageSink::Handler &defaultHandler()
{
    static MessageSink::Handler h;
    return h;
}

} // namespace

void MessageSink::show(const QString &text, const QString &caption, Icon icon)
{
    Handler h;
    {
        std::lock_guard<std::mutex> lock(handlerMutex());
        h = currentHandler() ? currentHandler() : defaultHandler();
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
        print(text);
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

void MessageSink::setDefaultHandler(Handler handler)
{
    std::lock_guard<std::mutex> lock(handlerMutex());
    defaultHandler() = std::move(handler);
}

void MessageSink::print(const QString &text)
{
    QString shown = text;
    shown.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    shown.replace(QChar(13), QLatin1Char('\n'));
    std::fprintf(stderr, "%s\n", qPrintable(shown));
}
