#pragma once

#include "qxmibtreecore_export.h"

#include <QString>
#include <QVariant>

#include <memory>

class Database;
class RecordsetPrivate;

// One statement's rows on a Database, read forward only (the component's every
// reader), or selected by key to be changed: open "Select * From T Where ...",
// AddNew when at EOF, put the columns, Update. Column names compare without
// regard to case. All failures throw QXMibError.
class QXMIBTREECORE_EXPORT Recordset
{
public:
    enum class Mode { ReadOnly, Updatable };

    Recordset(Database *db, const QString &jetStatement, Mode mode = Mode::ReadOnly);
    ~Recordset();
    Recordset(const Recordset &) = delete;
    Recordset &operator=(const Recordset &) = delete;

    bool eof() const;
    void moveNext();

    int fieldCount() const;
    QString fieldName(int index) const;
    bool hasField(const QString &name) const;

    // The column's value in the current row; a Null column gives an invalid QVariant.
    // Throws ItemNotFound for an unknown column and NoCurrentRecord at EOF.
    QVariant value(const QString &name) const;
    QVariant value(int index) const;
    // The column read "with an empty text appended": Null becomes empty text.
    QString text(const QString &name) const;

    // Updatable recordsets only.
    void addNew();
    void setValue(const QString &name, const QVariant &value);
    void update();

    // Releases the statement; the destructor calls it too.
    void close();

private:
    std::unique_ptr<RecordsetPrivate> d;
};
