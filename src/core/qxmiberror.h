#pragma once

#include "qxmibtreecore_export.h"

#include <QString>

#include <exception>
#include <string>

// The component's runtime error: a number and a description, thrown by public
// methods to their callers. Numbers follow the classic runtime's codes where one
// exists, so hosts can tell a type mismatch from an overflow.
class QXMIBTREECORE_EXPORT QXMibError : public std::exception
{
public:
    enum Number : int {
        InvalidCall = 5,
        Overflow = 6,
        SubscriptOutOfRange = 9,
        TypeMismatch = 13,
        PermissionDenied = 70,
        ObjectRequired = 424,
        KeyAlreadyExists = 457,
        DatabaseError = 3000,      // the engine refused or failed a statement
        StatementError = 3075,     // a statement could not be understood (syntax, quoting)
        ItemNotFound = 3265,       // a field name that the recordset does not have
        NoCurrentRecord = 3021,    // reading past EOF
        DatabaseReadOnly = 3027,   // a write to a database that this user can only read
        DatabaseLocked = 3218,     // another process kept the database locked beyond the wait
        DatabaseNotOpen = 3704,    // the shared connection could not be opened
        SnmpError = 4000,
        XmlError = 5000,
    };

    QXMibError(int number, const QString &description);

    int number() const noexcept { return m_number; }
    QString description() const { return m_description; }
    const char *what() const noexcept override { return m_what.c_str(); }

private:
    int m_number;
    QString m_description;
    std::string m_what;
};
