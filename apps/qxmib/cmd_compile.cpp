// qxmib compile: MIB source text into MIB-X files.

#include "command.h"

#include "mibcompiler.h"

#include "core/globals.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

int compile(const QStringList &args)
{
    QString outputDir = QDir::currentPath();
    QString typesFile;
    QStringList searchPath;
    QStringList files;
    int level = 2;
    bool help = args.isEmpty();
    for (int i = 0; i < args.size(); ++i) {
        const QString &a = args.at(i);
        const bool hasValue = i + 1 < args.size();
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            help = true;
        } else if ((a == QLatin1String("-o") || a == QLatin1String("--output")) && hasValue) {
            outputDir = args.at(++i);
        } else if ((a == QLatin1String("-p") || a == QLatin1String("--path")) && hasValue) {
            searchPath += args.at(++i).split(u':', Qt::SkipEmptyParts);
        } else if (a == QLatin1String("--types") && hasValue) {
            typesFile = args.at(++i);
        } else if (a == QLatin1String("--level") && hasValue) {
            level = args.at(++i).toInt();
        } else if (a.startsWith(u'-') && a.size() > 1) {
            printErr(QStringLiteral("qxmib compile: unknown or incomplete option %1\n").arg(a));
            return 2;
        } else {
            files.append(a);
        }
    }
    if (help || files.isEmpty()) {
        printOut(QStringLiteral(
            "Usage: qxmib compile [-o DIR] [-p PATH] [--level N] [--types FILE] FILE...\n\n"
            "Compiles MIB modules from SMIv1/SMIv2 source files into MIB-X files, one\n"
            "MODULE.mibx per module, written to DIR (default: the current folder).\n"
            "Imported modules are found by the module names inside the files: among the\n"
            "files given, in their folders, in the folders of PATH (separated by ':'), in\n"
            "the MIB source folders beside the database and beside the library (mibs/,\n"
            "the modules the database was built from) and in libsmi's configured path.\n"
            "A module with an import found nowhere is not written; the import is reported\n"
            "with its file and line. Slips net-snmp reads (a comma before '}', clauses out\n"
            "of order, a SEQUENCE type named in lower case) are mended, with a warning.\n"
            "Each file is compiled in a separate worker process: a file that makes libsmi\n"
            "crash, hang or run out of memory is reported and the other files still compile.\n"
            "  --level N     report libsmi problems up to severity N (default 2, errors)\n"
            "  --types FILE  also write the textual conventions met as NAME<TAB>ROOT<TAB>CODE\n"
            "Exit status 0 when every file gave its module complete, 1 when some did not\n"
            "(named in the last line), 2 for a usage error.\n"));
        return help && !args.isEmpty() ? 0 : 2;
    }

    // The modules the database was built from, for the imports of new ones.
    searchPath += MibCompiler::libraryFolders(Globals::databasePath(), Globals::componentFolder());

    MibCompiler compiler;
    compiler.setSearchPath(searchPath);
    compiler.setErrorLevel(level);
    const MibCompiler::Result result = compiler.compile(files, outputDir);
    for (const MibCompiler::Problem &p : result.problems)
        printErr(p.text() + u'\n');
    for (int i = 0; i < result.modules.size(); ++i)
        printOut(QStringLiteral("%1 -> %2\n").arg(result.modules.at(i), result.outputFiles.at(i)));
    if (!typesFile.isEmpty()) {
        QFile f(typesFile);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
            printErr(QStringLiteral("qxmib compile: cannot write %1\n").arg(typesFile));
            return 1;
        }
        for (const MibCompiler::TypeInfo &t : result.types)
            f.write(QStringLiteral("%1\t%2\t%3\n").arg(t.name, t.root).arg(t.code).toUtf8());
    }
    printOut(result.summary() + u'\n');
    return result.unfinishedFiles().isEmpty() ? 0 : 1;
}

} // namespace

QXMIB_COMMAND("compile", "compile MIB source files into MIB-X files (compile [-o DIR] FILE...)", compile)
