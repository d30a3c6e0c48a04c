#include "mibimport.h"

#include "controls.h"
#include "databasebuilder.h"

#include "core/database.h"
#include "core/qxmiberror.h"
#include "mibx/mibxclauses.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <memory>

MibImport::MibImport(QObject *parent)
    : QObject(parent)
{
}

MibImport::~MibImport()
{
    if (m_thread != nullptr) {
        m_thread->wait();
        delete m_thread;
    }
}

QStringList MibImport::importFiles(const QStringList &files)
{
    m_busy = true;
    m_problems = 0;
    m_unfinished.clear();
    const QStringList modules = importAll(files);
    m_busy = false;
    Q_EMIT finished(modules);
    return modules;
}

QStringList MibImport::importAll(const QStringList &files)
{
    QStringList modules;
    for (int i = 0; i < files.size(); ++i) {
        const QString &file = files.at(i);
        const QString shown = QFileInfo(file).fileName();
        Q_EMIT progress(i, int(files.size()), shown);
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
        std::unique_ptr<QObject> importer(Controls::create("ImportMIBX"));
        if (!importer) {
            Q_EMIT message(tr("This build of the component has no MIB-X import."), Problem);
            ++m_problems;
            break;
        }
        connect(importer.get(), SIGNAL(Log(QString&)), this, SLOT(importerLog(QString&)));
        connect(importer.get(), SIGNAL(Error(QString&)), this, SLOT(importerError(QString&)));
        connect(importer.get(), SIGNAL(OIDImported(QString&,QString&,bool&)), this,
                SLOT(objectImported(QString&,QString&,bool&)));
        bool ok = false;
        m_objects = 0;
        try {
            addTypes(file);
            ok = Controls::result<bool>(importer.get(), "ImportMIBXFile", file);
            if (ok)
                MibxClauses::apply(file);
        } catch (const QXMibError &e) {
            Q_EMIT message(QStringLiteral("%1: error %2: %3").arg(shown).arg(e.number()).arg(e.description()),
                           Problem);
        }
        const QString module = importer->property("ModuleName").toString();
        const int errors = importer->property("Errors").toInt();
        m_problems += errors + (ok ? 0 : 1);
        if (ok && !module.isEmpty())
            modules.append(module);
        const int objects = importer->property("OIDCount").toInt();
        const bool unchanged = ok && errors == 0 && objects > 0
            && Controls::result<int>(importer.get(), "Unchanged") == objects;
        if (unchanged) {
            Q_EMIT message(tr("%1: module %2 unchanged: its %3 objects were imported before as they are")
                               .arg(shown, module)
                               .arg(objects),
                           Info);
            continue;
        }
        Q_EMIT message(ok ? tr("%1: module %2, %3 objects, %4 duplicates, %5 errors")
                                .arg(shown, module)
                                .arg(importer->property("OIDCount").toInt())
                                .arg(importer->property("Duplicates").toInt())
                                .arg(errors)
                          : tr("%1: not imported").arg(shown),
                       ok && errors == 0 ? Info : Problem);
    }
    Q_EMIT progress(int(files.size()), int(files.size()), QString());
    return modules;
}

bool MibImport::compileAndImport(const QStringList &sources, const QString &outputDir, const QStringList &searchPath)
{
    if (m_busy)
        return false;
    m_busy = true;
    m_problems = 0;
    m_sources = sources;
    Q_EMIT progress(0, 0, tr("compiling %n file(s)", nullptr, int(sources.size())));
    m_thread = QThread::create([this, sources, outputDir, searchPath] {
        MibCompiler compiler;
        compiler.setSearchPath(searchPath);
        m_result = compiler.compile(sources, outputDir);
    });
    connect(m_thread, &QThread::finished, this, &MibImport::compiled);
    m_thread->start();
    return true;
}

void MibImport::compiled()
{
    m_thread->deleteLater();
    m_thread = nullptr;
    for (const MibCompiler::Problem &p : std::as_const(m_result.problems))
        Q_EMIT message(p.text(), Problem);
    for (const QString &failed : std::as_const(m_result.failedFiles))
        Q_EMIT message(tr("%1: no module compiled").arg(failed), Problem);
    for (const QString &incomplete : std::as_const(m_result.incompleteFiles))
        Q_EMIT message(tr("%1: module compiled incomplete").arg(incomplete), Problem);
    m_unfinished = m_result.unfinishedFiles();
    int problems = 0;
    for (const MibCompiler::Problem &p : std::as_const(m_result.problems))
        problems += p.severity <= 2 ? 1 : 0;
    m_problems = problems + int(m_unfinished.size());
    Q_EMIT message(m_result.summary(), m_unfinished.isEmpty() ? Info : Problem);
    for (int i = 0; i < m_result.modules.size(); ++i)
        Q_EMIT message(tr("compiled %1 into %2").arg(m_result.modules.at(i), m_result.outputFiles.value(i)), Info);
    const QStringList modules = importAll(m_result.outputFiles);
    m_busy = false;
    Q_EMIT finished(modules);
}

int MibImport::addTypes(const QString &file)
{
    std::unique_ptr<QObject> application(Controls::create("Application"));
    auto *db = application ? qobject_cast<Database *>(Controls::objectProperty(application.get(), "MIBDatabase"))
                           : nullptr;
    const int added = db != nullptr ? DatabaseBuilder::addMibxTypes(*db, file) : 0;
    if (added > 0)
        Q_EMIT message(tr("%1: %n new type(s)", nullptr, added).arg(QFileInfo(file).fileName()), Info);
    return added;
}

void MibImport::importerLog(QString &message)
{
    Q_EMIT this->message(message, Info);
}

void MibImport::importerError(QString &message)
{
    Q_EMIT this->message(message, Problem);
}

void MibImport::objectImported(QString &, QString &, bool &)
{
    // A big module takes a while: let the window repaint now and then.
    if (++m_objects % 250 == 0)
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}
