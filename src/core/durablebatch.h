#pragma once

#include "qxmibtreecore_export.h"

#include <QByteArray>

class Database;

// A run of small commits that reaches the disk once, at its end. Each commit
// still lands in the file when it is made (a process that is killed keeps every
// row committed before), but none waits for the disk: the connection writes
// ahead to its log with synchronous=NORMAL, and the end syncs that log, so a
// power loss can take at most the batch's own commits. A file in a rollback
// journal mode is run in WAL for the batch and given its mode back at the end,
// so that readers without write access to its folder still read it. A
// read-only file or an open transaction of the host leaves the connection as
// it is. The import makes one batch of each file.
class QXMIBTREECORE_EXPORT DurableBatch
{
public:
    explicit DurableBatch(Database *db);
    // Ends the batch if finish() did not; failures are swallowed here.
    ~DurableBatch();
    DurableBatch(const DurableBatch &) = delete;
    DurableBatch &operator=(const DurableBatch &) = delete;

    // Syncs the log and restores the connection's settings; throws QXMibError
    // when the log cannot be synced.
    void finish();

private:
    void end(bool throwing);

    Database *m_db = nullptr;
    bool m_active = false;
    int m_synchronous = 2;
    int m_checkpointPages = 1000;
    QByteArray m_journalMode; // the mode to give back, when the batch changed it
};
