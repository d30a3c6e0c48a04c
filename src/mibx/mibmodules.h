#pragma once

#include "qxmibtreecore_export.h"

#include <QList>
#include <QString>
#include <QStringList>

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
    // The name of the module listed as `name`: the one spelled exactly so, else
    // the one spelled so but for letter case (the first in name order), else empty.
    static QString find(const QString &name);
    // The Tree rows of one module, primary or not.
    static int objectCount(const QString &name);
    // Every Tree row of every module.
    static int totalObjectCount();
    // Deletes the module's Tree rows, then its MIBs row. Enums rows stay (they are keyed
    // by object, not module). Each OID the module defined that another module defines
    // too stays resolvable: where no primary row is left, the other module's row
    // becomes primary (of several, the module updated last, then the greater name).
    // Returns the other modules whose definitions of those OIDs remain, in name
    // order. Names compare with their case. A module that is not there deletes
    // nothing. Database errors throw QXMibError.
    static QStringList remove(const QString &name);
};
