#pragma once

#include "qxmibtreecore_export.h"

#include <QList>
#include <QString>

// The modules of the MIB database: listing them with their import times and object
// counts, and deleting them. The MIB manager control shows and deletes through here;
// tools without a display use it directly.
class QXMIBTREECORE_EXPORT MIBModules
{
public:
    struct Module
    {
        QString name;
        // The import time as the user's locale writes it; empty when the module has none.
        QString imported;
    };

    // Every module in name order.
    static QList<Module> list();
    // The Tree rows of one module, primary or not.
    static int objectCount(const QString &name);
    // Every Tree row of every module.
    static int totalObjectCount();
    // Deletes the module's Tree rows, then its MIBs row. Enums rows stay (they are keyed
    // by object, not module). A module that is not there deletes nothing. A name holding
    // a single quote throws a StatementError.
    static void remove(const QString &name);
};
