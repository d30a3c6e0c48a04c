#pragma once

#include "qxmibtreecore_export.h"

#include <QObject>

#include "database.h"

// Hands the component's shared database connection to host programs, so they
// run their own statements on the same connection the component uses.
class QXMIBTREECORE_EXPORT Application : public QObject
{
    Q_OBJECT
    Q_PROPERTY(Database *MIBDatabase READ MIBDatabase)

public:
    Q_INVOKABLE explicit Application(QObject *parent = nullptr);

    // Opens the database when the thread has no connection yet, then returns the connection itself.
    Database *MIBDatabase() const;
};
