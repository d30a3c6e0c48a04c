#pragma once

#include <QString>

class Database;

// Writes a new, empty MIB database: the five tables with their indexes, a Types
// table seeded with the SMI base types and the common textual conventions, and
// the three roots of the registration tree (ccitt, iso, joint-iso-ccitt).
class DatabaseBuilder
{
public:
    // Throws QXMibError when the file already exists or cannot be written.
    static void create(const QString &path);
    // Readies a finished database for a folder that its users cannot write: a
    // rollback journal instead of WAL, whose shared-memory file such readers cannot create.
    static void seal(const QString &path);
    // Adds a type unless one of that name (any case) is there; returns whether it was added.
    static bool addType(Database &db, const QString &type, const QString &root, int code);
    // Adds the textual conventions a MIB-X file lists under MIBX/TYPES (NAME, ROOT,
    // CODE), so that the objects that use them get their type codes on import.
    // Returns how many were new; 0 for a file that does not read (the import says why).
    static int addMibxTypes(Database &db, const QString &fileName);
};
