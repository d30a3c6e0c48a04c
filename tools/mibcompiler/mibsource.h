#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// What a MIB source file says about itself before any parser sees it: the
// module it defines and the modules its IMPORTS clause names, with their
// lines. A small scanner of our own that knows comments and strings and reads
// only up to the end of the IMPORTS clause, so files that are no MIB at all,
// truncated or huge cost little and crash nothing.
class MibSource
{
public:
    struct Import
    {
        QString module;
        int line = 0;
    };

    // Reads the head of a file. A file without "NAME DEFINITIONS ::= BEGIN" gives an empty module.
    static MibSource read(const QString &fileName);

    QString fileName() const { return m_fileName; }
    QString module() const { return m_module; }
    QList<Import> imports() const { return m_imports; }

    // The file libsmi would load for a module along a folder list, as libsmi
    // looks for it (the name and its lower-case form, each with the usual
    // extensions), or empty.
    static QString findModuleFile(const QString &module, const QStringList &folders);

private:
    QString m_fileName;
    QString m_module;
    QList<Import> m_imports;
};
