#pragma once

#include "mibcompiler.h"

#include <QObject>
#include <QStringList>

class QThread;

// Brings modules into the MIB database the way the browser's menus do: MIB-X
// files through the component's ImportMIBX, one importer per file so that its
// counts are the file's, and MIB source files compiled first by the MIB
// compiler (libsmi in its worker process, here on a thread of its own so that
// the window stays alive). The textual conventions a compiled file lists reach
// the Types table before its objects, as with qxmib import.
class MibImport : public QObject
{
    Q_OBJECT

public:
    enum Kind { Info, Problem };
    Q_ENUM(Kind)

    explicit MibImport(QObject *parent = nullptr);
    ~MibImport() override;

    // Imports the files one after another on this thread, letting the window
    // repaint in between; returns the modules imported. Emits finished too.
    QStringList importFiles(const QStringList &files);
    // Compiles the sources into outputDir, then imports what compiled; returns
    // at once and emits finished when done. False when a compilation is running.
    bool compileAndImport(const QStringList &sources, const QString &outputDir, const QStringList &searchPath);

    bool isBusy() const { return m_busy; }
    // Files that could not be imported and objects reported by the importer, in the last run.
    int problems() const { return m_problems; }
    // The source files of the last compile-and-import that gave no module or
    // an incomplete one (empty after a plain import).
    QStringList unfinishedFiles() const { return m_unfinished; }

Q_SIGNALS:
    void message(const QString &text, MibImport::Kind kind);
    // done of total files; what: the file at hand.
    void progress(int done, int total, const QString &what);
    void finished(const QStringList &modules);

private Q_SLOTS:
    void importerLog(QString &message);
    void importerError(QString &message);
    void objectImported(QString &name, QString &oid, bool &duplicate);

private:
    void compiled();
    int addTypes(const QString &file);
    QStringList importAll(const QStringList &files);

    bool m_busy = false;
    int m_problems = 0;
    int m_objects = 0;
    QThread *m_thread = nullptr;
    MibCompiler::Result m_result;
    QStringList m_sources;
    QStringList m_unfinished;
};
