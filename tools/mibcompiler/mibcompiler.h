#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

// Compiles MIB modules from SMIv1/SMIv2 source text into MIB-X files, one file
// per module, named after the module with the extension ".mibx". Imports are
// resolved by module name (whatever the file names) from the files given,
// their folders, the search path set here and libsmi's configured path; an
// import found in none of them is reported with the file and line that name it,
// and the module that needs it is not written. Slips in the text that libsmi
// refuses and net-snmp reads are mended first (MibRepair), each one reported.
//
// libsmi runs in a worker process (qxmib-compile-worker) that compile() starts
// and waits for: a file on which libsmi crashes, hangs past the time limit or
// runs out of memory is reported as "the MIB compiler stopped on this file",
// and the files after it are compiled in a fresh worker. The caller's process
// never runs libsmi, so any number of compilers may be used, one after another.
//
// Objects are written with numeric dotted OIDs, parents before children. The
// SYNTAX of a table is "SEQUENCE", of a row its entry type's name, of a
// notification "TRAP", of a plain node empty; objects take the name of their
// textual convention when they use one, else their SMI base type's name.
// Every file also lists, under MIBX/TYPES, the textual conventions the module
// defines or uses, with their root type and type code, for the Types table.
class MibCompiler
{
public:
    struct Problem
    {
        QString file;
        int line = 0;
        int severity = 0; // libsmi's: 0 internal, 1 major, 2 error, 3 minor, 4 style, 5 warning, 6 info
        QString message;
        // "file:line: message", with "warning: " before the message from severity 3 on.
        QString text() const;
    };

    struct TypeInfo
    {
        QString name;
        QString root; // upper case, as the Types table keeps it
        int code = 0; // BER tag of the root type
    };

    struct Result
    {
        QStringList modules;     // compiled, in the order of the files given
        QStringList outputFiles; // the .mibx files written
        QStringList failedFiles; // sources that gave no module
        // Sources whose module was written without all of its text: syntax
        // errors libsmi read past, objects whose OID does not resolve.
        QStringList incompleteFiles;
        QList<Problem> problems;
        QList<TypeInfo> types;   // all textual conventions met, each once

        // The failed and incomplete files, each once.
        QStringList unfinishedFiles() const;
        // "N modules compiled, all complete", or with the files that were not.
        QString summary() const;
    };

    MibCompiler();

    // Folders searched for imported modules after the folders of the files given.
    void setSearchPath(const QStringList &folders) { m_searchPath = folders; }
    // Problems up to this libsmi severity are reported (default 2: errors).
    void setErrorLevel(int level) { m_errorLevel = level; }
    // The time written as COMPILED (default: the time of the call).
    void setCompiledTime(const QDateTime &time) { m_compiled = time; }
    // How long libsmi may work on one file before it is stopped (default 60 s).
    void setTimeLimit(int milliseconds) { m_timeLimit = milliseconds; }
    // The address space the worker may take, in MiB (default 1024).
    void setMemoryLimit(int mebibytes) { m_memoryLimit = mebibytes; }
    // The worker program (default: qxmib-compile-worker beside the running
    // program, else where the build put it).
    void setWorkerProgram(const QString &program) { m_worker = program; }
    QString workerProgram() const;

    // Compiles every module of the files into outputDir (created when missing).
    // A file whose module appeared in an earlier file of the list is skipped.
    Result compile(const QStringList &files, const QString &outputDir);

    // The MIB text folders a compiler always searches: mibs/ beside the
    // database file and mibs/ beside the library, those that exist, each once.
    static QStringList libraryFolders(const QString &databaseFile, const QString &componentFolder);

    // The module name a source text defines first ("NAME DEFINITIONS ::= BEGIN"), or empty.
    static QString moduleNameOf(const QString &sourceFile);

private:
    struct Run;
    int runWorker(Run &run, int first);

    QStringList m_searchPath;
    int m_errorLevel = 2;
    QDateTime m_compiled;
    int m_timeLimit = 60000;
    int m_memoryLimit = 1024;
    QString m_worker;
};
