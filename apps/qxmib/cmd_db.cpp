// qxmib db: creating MIB databases.

#include "command.h"

#include "databasebuilder.h"

namespace {

int db(const QStringList &args)
{
    if (args.size() == 2 && args.at(0) == QLatin1String("create")) {
        DatabaseBuilder::create(args.at(1));
        printOut(QStringLiteral("Created %1\n").arg(args.at(1)));
        return 0;
    }
    if (args.size() == 2 && args.at(0) == QLatin1String("seal")) {
        DatabaseBuilder::seal(args.at(1));
        return 0;
    }
    printOut(QStringLiteral("Usage: qxmib db create PATH\n       qxmib db seal PATH\n\n"
                            "create writes a new, empty MIB database at PATH: the tables, their indexes, and\n"
                            "the Types table seeded with the SMI base types and the common textual\n"
                            "conventions. Fill it with 'qxmib import'. PATH must not exist yet.\n"
                            "seal readies a filled database for a folder that its users cannot write.\n"));
    return (args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))) ? 0 : 2;
}

} // namespace

QXMIB_COMMAND("db", "create an empty MIB database (db create PATH, db seal PATH)", db)
