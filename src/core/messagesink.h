#pragma once

#include "qxmibtreecore_export.h"

#include <QString>

#include <functional>

// Every message box of the component goes through here. Hosts of the controls
// get a modal QMessageBox with an OK button (the controls library installs it as
// the default); without the controls the text goes to stderr. Tests and command
// line hosts install their own handler to capture or print the text.
class QXMIBTREECORE_EXPORT MessageSink
{
public:
    using Handler = std::function<void(const QString &text, const QString &caption)>;

    enum class Icon { None, Exclamation, Critical, Information };

    // Shows a message with only an OK button. An empty caption means none.
    static void show(const QString &text, const QString &caption = QString(), Icon icon = Icon::None);
    // Shorthand for a message with the exclamation icon and no caption.
    static void warn(const QString &text) { show(text, QString(), Icon::Exclamation); }

    // The icon of the message being shown now, for handlers that care; None outside show().
    static Icon currentIcon();

    // Replaces the handler and returns the previous one; an empty handler restores the default.
    static Handler setHandler(Handler handler);
    // Replaces what shows a message while no handler is set (stderr when empty).
    static void setDefaultHandler(Handler handler);
    // Writes a message to stderr, its CR line breaks as newlines.
    static void print(const QString &text);
};
