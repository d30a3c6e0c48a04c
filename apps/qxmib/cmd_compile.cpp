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
            "Imported modules are found among the files given, in their folders, in the\n"
            "folders of PATH (separated by ':'), in the MIB source folder beside the\n"
            "database (mibs/, the modules the database was built from) and in libsmi's\n"
            "configured path. An import found nowhere is reported with its file and line.\n"
            "Each file is compiled in a separate worker process: a file that makes libsmi\n"
            "crash, hang or run out of memory is reported and the other files still compile.\n"
            "  --level N     report libsmi problems up to severity N (default 2, errors)\n"
            "  --types FILE  also write the textual conventions met as NAME<TAB>ROOT<TAB>CODE\n"
            "Exit status 1 when a file gave no module or had problems.\n"));
        return help && !args.isEmpty() ? 0 : 2;
    }

    // The modules the database was built from, for the imports of new ones.
    const QString sourceFolder = QFileInfo(Globals::databasePath()).absolutePath() + QStringLiteral("/mibs");
    if (QFileInfo(sourceFolder).isDir())
        searchPath.append(sourceFolder);

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
    printOut(QStringLiteral("%1 modules compiled, %2 files failed, %3 problems\n")
                 .arg(result.modules.size())
                 .arg(result.failedFiles.size())
                 .arg(result.problems.size()));
    return result.failedFiles.isEmpty() && result.problems.isEmpty() ? 0 : 1;
}

} // namespace

QXMIB_COMMAND("compile", "compile MIB source files into MIB-X files (compile [-o DIR] FILE...)", compile)
