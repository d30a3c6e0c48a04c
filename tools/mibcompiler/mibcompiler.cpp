#include "mibcompiler.h"

#include "compilerequest.h"
#include "mibrepair.h"
#include "mibsource.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>

#include <cstring>

namespace {
const char workerName[] = "qxmib-compile-worker";
// Larger files in a search folder are no MIB modules anyone wrote by hand.
constexpr qint64 maxSourceSize = 16 << 20;
}

// What one compile() call has gathered across the workers it started.
struct MibCompiler::Run
{
    CompileRequest request; // with every source; each worker gets the rest
    Result result;
    QSet<QString> typesSeen;
};

QString MibCompiler::Problem::text() const
{
    // What libsmi reads past, and what the repair pass mended, is a warning.
    return QStringLiteral("%1:%2: %3%4").arg(file).arg(line).arg(severity >= 3 ? QStringLiteral("warning: ") : QString(), message);
}

MibCompiler::MibCompiler() = default;

QString MibCompiler::moduleNameOf(const QString &sourceFile)
{
    return MibSource::read(sourceFile).module();
}

QStringList MibCompiler::libraryFolders(const QString &databaseFile, const QString &componentFolder)
{
    QStringList folders;
    for (const QString &base : {QFileInfo(databaseFile).absolutePath(), componentFolder}) {
        const QString folder = QDir(base).filePath(QStringLiteral("mibs"));
        if (!base.isEmpty() && QFileInfo(folder).isDir() && !folders.contains(QDir::cleanPath(folder)))
            folders.append(QDir::cleanPath(folder));
    }
    return folders;
}

QStringList MibCompiler::Result::unfinishedFiles() const
{
    QStringList files = failedFiles + incompleteFiles;
    files.removeDuplicates();
    return files;
}

QString MibCompiler::Result::summary() const
{
    QString text = QStringLiteral("%1 modules compiled").arg(modules.size());
    const QStringList unfinished = unfinishedFiles();
    if (unfinished.isEmpty())
        return text + QStringLiteral(", all complete");
    QStringList names;
    for (const QString &f : unfinished)
        names.append(QFileInfo(f).fileName());
    if (!incompleteFiles.isEmpty())
        text += QStringLiteral(", %1 of them incomplete").arg(incompleteFiles.size());
    return text + QStringLiteral("; %1 files not compiled complete: %2")
                      .arg(unfinished.size())
                      .arg(names.join(QStringLiteral(", ")));
}

QString MibCompiler::workerProgram() const
{
    if (!m_worker.isEmpty())
        return m_worker;
    if (QCoreApplication::instance() != nullptr) {
        const QString beside = QDir(QCoreApplication::applicationDirPath()).filePath(QLatin1String(workerName));
        if (QFileInfo(beside).isExecutable())
            return beside;
    }
    return QStringLiteral(QXMIB_COMPILE_WORKER);
}

MibCompiler::Result MibCompiler::compile(const QStringList &files, const QString &outputDir)
{
    Run run;
    CompileRequest &request = run.request;

    // libsmi finds an imported module by file name; sources are often named
    // otherwise (IF-MIB.mib, rfc2863.txt, PCMK-MIB.txt for PACEMAKER-MIB), so
    // every module of the files given and of the search folders is linked
    // under its module name in a folder searched first: the files given first,
    // then the folders in order, the first file of a module winning. A file
    // with slips that libsmi refuses is put there mended instead (MibRepair).
    QTemporaryDir links;
    QHash<QString, QString> linkTargets; // link path -> real path
    request.givenFolder = links.path();
    request.path.append(links.path());
    QSet<QString> modulesSeen;
    auto enter = [&](const QString &file, const QString &module) {
        modulesSeen.insert(module);
        const QString link = links.filePath(module);
        QFile in(file);
        QList<MibRepair::Fix> fixes;
        const QByteArray text = in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
        const QByteArray mended = MibRepair::repair(text, &fixes);
        QFile out(link);
        if (fixes.isEmpty() || !out.open(QIODevice::WriteOnly) || out.write(mended) != mended.size())
            QFile::link(QFileInfo(file).absoluteFilePath(), link);
        linkTargets.insert(link, file);
        for (const MibRepair::Fix &f : std::as_const(fixes))
            run.result.problems.append({file, f.line, 5, f.what});
    };
    for (const QString &file : files) {
        const QFileInfo info(file);
        const QString module = MibSource::read(file).module();
        if (module.isEmpty()) {
            run.result.problems.append({file, 0, 1,
                                        info.exists() ? QStringLiteral("no module definition found")
                                                      : QStringLiteral("file not found")});
            run.result.failedFiles.append(file);
            continue;
        }
        if (modulesSeen.contains(module))
            continue;
        enter(file, module);
        request.sources.append({module, file});
        if (!request.path.contains(info.absolutePath()))
            request.path.append(info.absolutePath());
    }
    for (const QString &folder : std::as_const(m_searchPath))
        request.path.append(QFileInfo(folder).absoluteFilePath());
    request.path.removeDuplicates();
    for (int i = 1; i < request.path.size(); ++i) {
        const QFileInfoList entries = QDir(request.path.at(i)).entryInfoList(QDir::Files | QDir::Readable, QDir::Name);
        for (const QFileInfo &entry : entries) {
            if (entry.size() > maxSourceSize)
                continue;
            const QString module = MibSource::read(entry.filePath()).module();
            if (!module.isEmpty() && !modulesSeen.contains(module))
                enter(entry.filePath(), module);
        }
    }
    request.outputDir = QFileInfo(outputDir).absoluteFilePath();
    request.errorLevel = m_errorLevel;
    request.compiled = m_compiled.isValid() ? m_compiled : QDateTime::currentDateTime();

    for (int next = 0; next < request.sources.size();)
        next = runWorker(run, next);

    // Problems name the real source files, not the links.
    for (Problem &p : run.result.problems) {
        const auto real = linkTargets.constFind(p.file);
        if (real != linkTargets.constEnd())
            p.file = *real;
    }
    return run.result;
}

// Runs one worker over the sources from `first` on; returns the index of the
// first source it did not deal with (all of them unless it stopped early).
int MibCompiler::runWorker(Run &run, int first)
{
    const QList<CompileRequest::Source> &sources = run.request.sources;
    Result &result = run.result;
    auto stopped = [&](int index, const QString &why) {
        const CompileRequest::Source &s = sources.at(index);
        result.problems.append({s.file, 0, 1,
                                QStringLiteral("%1: the MIB compiler stopped on this file (%2)").arg(s.module, why)});
        result.failedFiles.append(s.file);
    };

    CompileRequest request = run.request;
    request.sources = sources.mid(first);
    QProcess worker;
    worker.setProgram(workerProgram());
    worker.setArguments({QStringLiteral("--memory-limit"), QString::number(m_memoryLimit)});
    worker.start();
    if (!worker.waitForStarted()) {
        for (int i = first; i < sources.size(); ++i)
            stopped(i, QStringLiteral("its worker %1 did not start: %2").arg(worker.program(), worker.errorString()));
        return int(sources.size());
    }
    worker.write(QJsonDocument(request.toJson()).toJson(QJsonDocument::Compact));
    worker.closeWriteChannel();

    int current = -1; // index into sources of the source begun last
    bool inside = false;
    QByteArray pending;
    QByteArray errors;
    auto take = [&](const QJsonObject &record) {
        if (record.contains(QLatin1String("begin"))) {
            current = first + record.value(QLatin1String("begin")).toInt();
            inside = true;
        } else if (record.contains(QLatin1String("end"))) {
            inside = false;
        } else if (record.contains(QLatin1String("problem"))) {
            const QJsonObject p = record.value(QLatin1String("problem")).toObject();
            result.problems.append({p.value(QLatin1String("file")).toString(), p.value(QLatin1String("line")).toInt(),
                                    p.value(QLatin1String("severity")).toInt(),
                                    p.value(QLatin1String("message")).toString()});
        } else if (record.contains(QLatin1String("module"))) {
            result.modules.append(record.value(QLatin1String("module")).toString());
            result.outputFiles.append(record.value(QLatin1String("output")).toString());
            for (const QJsonValue &v : record.value(QLatin1String("types")).toArray()) {
                const QJsonArray t = v.toArray();
                const QString name = t.at(0).toString();
                if (!run.typesSeen.contains(name)) {
                    run.typesSeen.insert(name);
                    result.types.append({name, t.at(1).toString(), t.at(2).toInt()});
                }
            }
        } else if (record.contains(QLatin1String("incomplete"))) {
            result.incompleteFiles.append(sources.at(first + record.value(QLatin1String("incomplete")).toInt()).file);
        } else if (record.contains(QLatin1String("failed"))) {
            result.failedFiles.append(sources.at(first + record.value(QLatin1String("failed")).toInt()).file);
        }
    };
    auto readRecords = [&] {
        pending += worker.readAllStandardOutput();
        int start = 0;
        for (int nl = int(pending.indexOf('\n')); nl >= 0; nl = int(pending.indexOf('\n', start))) {
            const QJsonDocument doc = QJsonDocument::fromJson(pending.mid(start, nl - start));
            if (doc.isObject())
                take(doc.object());
            start = nl + 1;
        }
        pending.remove(0, start);
        // Keep the end of what it said on stderr, for the report if it dies.
        errors = (errors + worker.readAllStandardError()).right(2048);
    };

    // The time limit holds for each source: it starts again with every "begin".
    QElapsedTimer clock;
    clock.start();
    int clockFor = -2;
    bool timedOut = false;
    while (worker.state() != QProcess::NotRunning) {
        if (current != clockFor) {
            clockFor = current;
            clock.restart();
        }
        const qint64 left = m_timeLimit - clock.elapsed();
        if (left <= 0) {
            timedOut = true;
            worker.kill();
            worker.waitForFinished(5000);
            break;
        }
        worker.waitForReadyRead(int(qMin<qint64>(left, 1000)));
        readRecords();
    }
    worker.waitForFinished(5000);
    readRecords();

    const bool crashed = worker.exitStatus() == QProcess::CrashExit || worker.exitCode() != 0;
    if (!timedOut && !crashed)
        return int(sources.size());
    QString why;
    if (timedOut) {
        why = QStringLiteral("no result after %1 s").arg(m_timeLimit / 1000.0);
    } else if (worker.exitStatus() == QProcess::CrashExit) {
        why = QStringLiteral("it crashed: %1").arg(QString::fromLocal8Bit(strsignal(worker.exitCode())));
    } else {
        why = QStringLiteral("it ended with status %1").arg(worker.exitCode());
    }
    const QString said = QString::fromLocal8Bit(errors).trimmed().section(u'\n', -1);
    if (!said.isEmpty())
        why += QStringLiteral("; it said: ") + said;
    if (current < 0) {
        // Gone before it began a file: no file is to blame, and none was compiled.
        for (int i = first; i < sources.size(); ++i)
            stopped(i, why);
        return int(sources.size());
    }
    if (inside)
        stopped(current, why);
    return current + 1;
}
