// The controls' message boxes: while a widget application runs, the component's
// messages come up as modal QMessageBoxes with an OK button.

#include "core/messagesink.h"

#include <QApplication>
#include <QMessageBox>

namespace {

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

void showBox(const QString &text, const QString &caption)
{
    // Without a widget application there is nobody to click OK: say it on stderr.
    if (qobject_cast<QApplication *>(QCoreApplication::instance()) == nullptr) {
        MessageSink::print(text);
        return;
    }
    // Message texts break lines with a bare CR, which Qt's labels do not honour.
    QString shown = text;
    shown.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    shown.replace(QChar(13), QLatin1Char('\n'));
    QMessageBox box(boxIcon(MessageSink::currentIcon()), caption, shown, QMessageBox::Ok);
    box.exec();
}

const bool installed = (MessageSink::setDefaultHandler(showBox), true);

} // namespace
