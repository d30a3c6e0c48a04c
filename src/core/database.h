#pragma once

#include "qxmibtreecore_export.h"

#include <QObject>
#include <QString>
#include <QVariant>

#include <memory>

struct sqlite3;
class DatabasePrivate;
class Recordset;

// A connection to one MIB database file (SQLite). Statements are written in
// the Jet dialect the component has always used (TOP n, double-quoted strings,
// [bracketed names], TRUE/FALSE, Index/Primary/Value as column names) and are
// translated once per statement shape; every literal travels to SQLite as a
// bound value, never as SQL. Errors are thrown as QXMibError.
//
// The component shares one connection per thread (Globals::database());
// Application.MIBDatabase hands that same object to hosts.
class QXMIBTREECORE_EXPORT Database : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString Path READ path CONSTANT)
    Q_PROPERTY(bool IsOpen READ isOpen CONSTANT)

public:
    enum class OpenMode {
        ExistingOnly,   // the component's way: the file must be there
        CreateIfMissing // host tools that build a database
    };

    explicit Database(QObject *parent = nullptr);
    ~Database() override;

    // Opens the file; throws QXMibError(DatabaseError) with SQLite's text when it cannot.
    // A file created here is put in WAL mode; one that exists keeps its journal mode.
    // Where the file or its folder is not writable it is opened read-only, and
    // writes throw DatabaseReadOnly.
    void open(const QString &path, OpenMode mode = OpenMode::ExistingOnly);
    bool isOpen() const;
    QString path() const;

    // Runs one Jet statement that returns no rows (Insert, Update, Delete); returns the rows changed.
    Q_INVOKABLE int execute(const QString &jetStatement);
    // Runs one Jet Select and returns its rows as maps of column name to value, for hosts.
    Q_INVOKABLE QVariantList select(const QString &jetStatement);

    // Runs native SQLite text, several statements allowed (schema scripts of host tools only).
    void executeScript(const QString &sqliteScript);

    // The raw handle, for host tools and benchmarks that go below the dialect layer.
    sqlite3 *handle() const;

private:
    friend class Recordset;
    friend class DefinitionCache;
    friend class DurableBatch;
    std::unique_ptr<DatabasePrivate> d;
};
