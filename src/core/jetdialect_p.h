#pragma once

// Translation of the component's Jet SQL into SQLite. Qt-free but for QString.

#include <QByteArray>
#include <QString>
#include <QVarLengthArray>

#include <cstdint>

namespace JetDialect {

// One literal lifted out of a statement; it is bound, never pasted.
struct Parameter
{
    enum class Kind : std::uint8_t { Text, Integer, Real };
    Kind kind = Kind::Text;
    QString text;
    QByteArray utf8; // text as SQLite stores it, bound without a copy
    qint64 integer = 0;
    double real = 0.0;
};

// Construct Statements rather than move-assign over one: Qt 6.4 leaks the heap
// buffer of a QVarLengthArray that another one is moved into.
using Parameters = QVarLengthArray<Parameter, 4>;

struct Statement
{
    enum class Kind : std::uint8_t { Select, Insert, Update, Delete, Other };

    // SQLite text with "?" for every lifted literal; equal for statements of equal shape.
    QByteArray sql;
    Parameters parameters;
    Kind kind = Kind::Other;
    // For "Select * From T ...": T, so that the rows can be written back.
    QString table;
    bool selectsStar = false;
};

// Translates one statement. withRowid puts SQLite's rowid in front of the
// columns of a "Select * From T" (updatable recordsets). Throws
// QXMibError(StatementError) for an unterminated literal or name, a second
// statement after ";", or a Select that cannot be written back when withRowid is set.
Statement translate(const QString &jet, bool withRowid = false);

} // namespace JetDialect
