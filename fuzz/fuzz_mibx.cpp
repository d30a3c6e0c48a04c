// Any bytes as a MIB-X file, read as the viewer reads it and imported into the
// scratch database. An input may fail only with the runtime errors an import
// can raise (a bad date, an OID without a dot, a number too large, a quote in a
// name); every object the import reported is in the database afterwards, and
// the look-ups find it there, also after other inputs' rows were rolled back.

#include "fuzzsupport.h"

#include "core/qxmiboid.h"
#include "mibx/importmibx.h"
#include "mibx/mibxdocument.h"

#include <QFile>
#include <QHash>

#include <sqlite3.h>

#include <vector>

namespace {

QString inputFile;

QString storedOid(const QString &module, const QString &name)
{
    sqlite3_stmt *stmt = nullptr;
    sqlite3_prepare_v2(Globals::database()->handle(), "SELECT OID FROM Tree WHERE MIB=? AND Name=?", -1, &stmt,
                       nullptr);
    const QByteArray m = module.toUtf8();
    const QByteArray n = name.toUtf8();
    sqlite3_bind_text(stmt, 1, m.constData(), int(m.size()), SQLITE_STATIC);
    sqlite3_bind_text(stmt, 2, n.constData(), int(n.size()), SQLITE_STATIC);
    QString oid = QStringLiteral("(no row)");
    if (sqlite3_step(stmt) == SQLITE_ROW)
        oid = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0)));
    sqlite3_finalize(stmt);
    return oid;
}

// Every element's name and text, without recursion: nesting depth is the input's to choose.
void walk(const MibxNode &root)
{
    std::vector<MibxNode> pending{root};
    while (!pending.empty()) {
        const MibxNode node = pending.back();
        pending.pop_back();
        (void)node.nodeName().size();
        (void)node.text().size();
        for (MibxNode child = node.firstChild(); !child.isNull(); child = child.nextSibling())
            pending.push_back(child);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    FixtureDatabase &scratch = fuzzSetUp(argc, argv);
    inputFile = scratch.folder() + QStringLiteral("/input.mibx");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    MibxDocument viewer;
    if (viewer.loadXml(bytes))
        walk(viewer.documentElement());

    QFile file(inputFile);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        std::abort();
    file.close();

    // Each input starts from the same database: its rows go in one transaction that is rolled back.
    Globals::database()->executeScript(QStringLiteral("BEGIN"));
    ImportMIBX import;
    QHash<QString, QPair<QString, QString>> reported; // names compare without regard to case
    QObject::connect(&import, &ImportMIBX::OIDImported, [&](QString &name, QString &oid, bool &) {
        reported.insert(name.toLower(), {name, oid});
    });
    try {
        import.ImportMIBXFile(inputFile);
    } catch (const QXMibError &e) {
        switch (e.number()) {
        case QXMibError::InvalidCall:
        case QXMibError::Overflow:
        case QXMibError::TypeMismatch:
        case QXMibError::StatementError:
            break;
        default:
            fuzzUnexpected(e, "ImportMIBXFile");
        }
    }
    // In the file, and as the component's look-ups (and their cache) see it.
    for (const auto &[name, oid] : std::as_const(reported)) {
        const QString stored = storedOid(import.ModuleName(), name);
        QString found = stored;
        const QString module = import.ModuleName();
        if (!module.contains(u'"') && !module.contains(u':') && !module.startsWith(QLatin1String("1.2."))
            && !module.startsWith(QLatin1String("1.3."))) {
            QXMibOID record;
            record.setFullName(module + u':' + name);
            found = record.BaseOID();
        }
        if (stored != oid || found != oid) {
            std::fprintf(stderr, "%s: reported %s, stored %s, found %s\n", qPrintable(name), qPrintable(oid),
                         qPrintable(stored), qPrintable(found));
            std::abort();
        }
    }
    Globals::database()->executeScript(QStringLiteral("ROLLBACK"));
    return 0;
}
