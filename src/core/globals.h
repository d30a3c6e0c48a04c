#pragma once

#include "qxmibtreecore_export.h"

#include <QString>

class Database;

// The component's module-wide state and start-up: where it lives, the one shared
// database connection of the calling thread (opened on first need, never closed,
// a failed open reported once and never retried), the help file, and the small
// text helpers every subsystem shares.
class QXMIBTREECORE_EXPORT Globals
{
public:
    // The start-up routine; runs once when the library is loaded.
    static void Main();

    // Folder of the library file (no trailing separator), as the dynamic loader reports it.
    static QString componentFolder();
    // Points the component at another folder (hosts, tools and tests); call before the first open.
    static void setComponentFolder(const QString &folder);
    // Opens this exact file instead of componentFolder() + "/MIBs.cfg" (the command line's --db).
    static void setDatabasePath(const QString &path);
    // The path the shared connection was (or will be) opened from.
    static QString databasePath();

    // Opens the shared connection when the thread has none. A failure shows
    // "Cannot open MIB Database (" + path + ")" CR CR + the error's text once;
    // the connection object stays, and later statements on it fail.
    static void OpenDatabase();
    // The shared connection, opening it first when missing. Never null.
    static Database *database();
    // The shared connection or null when it was never opened on this thread.
    static Database *sharedConnection();
    // Drops the thread's connection so that the next user opens again (tests only).
    static void resetForTesting();

    static QString helpFile();
    static QString applicationTitle();
    // major.minor.revision of the component
    static QString versionText();

    // Every run of tabs and blanks becomes one blank; nothing is trimmed.
    static QString CollapseBlanks(const QString &text);

    // Puts a value between quotes for a statement built by concatenation. A value
    // that holds the quote character itself would end the literal early; it is
    // refused with a StatementError instead of reaching the database as SQL.
    static QString dq(const QString &value);
    static QString sq(const QString &value);
};
