#pragma once

#include "compilerequest.h"
#include "mibsource.h"

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>

// One libsmi session, run inside the compiler's worker process (never in a
// host: libsmi keeps global state and can crash on bad input). It loads the
// sources one after the other and writes a MIB-X file per module, and tells
// what it does as it goes, one record at a time, so that the reader knows
// which file it was on if the process dies:
//   {"begin": i}                      source i is next
//   {"problem": {file, line, severity, message}}
//   {"module": NAME, "output": FILE, "types": [[name, root, code], ...]}
//   {"failed": i}                     source i gave no module
//   {"end": i}                        done with source i
class SmiCompilation
{
public:
    using Sink = std::function<void(const QJsonObject &record)>;
    explicit SmiCompilation(Sink sink);

    void run(const CompileRequest &request);

private:
    // Reports the imports of a source that are nowhere on the path, and those
    // that lead back to it; returns the missing ones.
    QSet<QString> checkImports(const CompileRequest &request, const CompileRequest::Source &source,
                               const QStringList &folders);

    Sink m_sink;
    QHash<QString, QString> m_moduleFiles;              // module -> file along the path, or empty
    QHash<QString, QList<MibSource::Import>> m_imports; // file -> its imports
};
