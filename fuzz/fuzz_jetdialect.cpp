// The Jet dialect layer on statement text of any content, and on the
// component's own statements with values of any content pasted between their
// quotes.
//
// Input: byte 0 even: the rest is a whole statement (UTF-8), translated for
// reading and for writing back. Byte 0 odd: byte 0 / 2 picks one of the
// component's statements and the rest is the value pasted into it.
//
// A translation must be the same whether it comes from the cache of statement
// shapes or afresh, must reach SQLite as exactly one statement, and a value
// must either be refused (it holds its own quote character) or travel as one
// bound parameter equal to itself, leaving the statement's text as it is for
// any other value. Translated statements then run on the scratch database
// inside a transaction that is rolled back, so every input meets the same rows.

#include "fuzzsupport.h"

#include "core/recordset.h"
#include "jetdialect_p.h"

#include <sqlite3.h>

#include <optional>

namespace JetDialect {
Statement translateFull(const QString &jet, bool withRowid);
}

namespace {

struct Template
{
    const char *before;
    const char *after;
    QChar quote;
};

// As the component builds them, the quotes included.
const Template templates[] = {
    {"Select * from Tree WHERE OID = ", " AND Primary=TRUE", u'"'},
    {"Select Top 1 * from Tree WHERE Name = ", "  AND Primary=TRUE", u'"'},
    {"Select Name from Tree WHERE OID = ", "", u'"'},
    {"Select * from Tree WHERE Name = ", "", u'"'},
    {"Select * From Enums Where Name = ", " AND Value = 3 order by Value", u'"'},
    {"Select [Small Icon] From Icons WHERE OID = ", "", u'"'},
    {"Select DISTINCT Name, Index, OID, TypeS from Tree WHERE Primary=-1 AND ParentOID = ", " ORDER BY Index", u'\''},
    {"Select * From Tree Where MIB=", " AND Name='sysName'", u'\''},
    {"Select * From Enums Where Name =", " AND Value=-2", u'\''},
    {"Select Count(*) as Total From Tree Where MIB=", "", u'\''},
    {"Delete From Tree Where MIB=", "", u'\''},
    {"Select top 500 MIB,Name,OID From Tree Where Name Like ", "", u'"'},
};
constexpr int templateCount = int(sizeof(templates) / sizeof(templates[0]));

bool sameTranslation(const JetDialect::Statement &a, const JetDialect::Statement &b)
{
    if (a.sql != b.sql || a.kind != b.kind || a.table != b.table || a.selectsStar != b.selectsStar
        || a.parameters.size() != b.parameters.size())
        return false;
    for (int i = 0; i < a.parameters.size(); ++i) {
        const JetDialect::Parameter &p = a.parameters.at(i);
        const JetDialect::Parameter &q = b.parameters.at(i);
        if (p.kind != q.kind || p.text != q.text || p.utf8 != q.utf8 || p.integer != q.integer
            || !(p.real == q.real || (p.real != p.real && q.real != q.real)))
            return false;
    }
    return true;
}

[[noreturn]] void fault(const char *what, const QString &jet)
{
    std::fprintf(stderr, "%s: %s\n", what, qPrintable(jet));
    std::abort();
}

// Translates, or gives nothing for a statement error; any other error is a fault.
// (Statements are constructed, never move-assigned: Qt 6.4 leaks the buffer a
// QVarLengthArray on the heap held when another is moved into it.)
std::optional<JetDialect::Statement> translate(const QString &jet, bool withRowid)
{
    std::optional<JetDialect::Statement> cached;
    try {
        cached.emplace(JetDialect::translate(jet, withRowid));
    } catch (const QXMibError &e) {
        if (e.number() != QXMibError::StatementError)
            fuzzUnexpected(e, "translate");
    }
    std::optional<JetDialect::Statement> fresh;
    try {
        fresh.emplace(JetDialect::translateFull(jet, withRowid));
    } catch (const QXMibError &) {
    }
    if (cached.has_value() != fresh.has_value() || (cached && !sameTranslation(*cached, *fresh)))
        fault("the cached translation differs from a fresh one", jet);
    return cached;
}

bool trusted = false; // our own transaction statements
long steps = 0;

// The statements under test may read and change rows, never end the transaction
// or reach beyond the scratch file.
extern "C" int authorize(void *, int action, const char *, const char *, const char *, const char *)
{
    switch (action) {
    case SQLITE_TRANSACTION:
    case SQLITE_SAVEPOINT:
        return trusted ? SQLITE_OK : SQLITE_DENY;
    case SQLITE_ATTACH:
    case SQLITE_DETACH:
    case SQLITE_PRAGMA:
        return SQLITE_DENY;
    default:
        return SQLITE_OK;
    }
}

extern "C" int progress(void *)
{
    return ++steps > 20000 ? 1 : 0; // a runaway recursive query ends as an error
}

void script(const char *sql)
{
    trusted = true;
    sqlite3_exec(Globals::database()->handle(), sql, nullptr, nullptr, nullptr);
    trusted = false;
}

void run(const QString &jet)
{
    Database *db = Globals::database();
    steps = 0;
    script("SAVEPOINT fuzz");
    try {
        const JetDialect::Statement st = JetDialect::translate(jet);
        if (st.kind == JetDialect::Statement::Kind::Select)
            (void)db->select(jet).size();
        else
            db->execute(jet);
    } catch (const QXMibError &) {
    }
    try {
        Recordset rs(db, jet, Recordset::Mode::Updatable);
        rs.addNew();
        if (rs.fieldCount() > 0)
            rs.setValue(rs.fieldName(0), QStringLiteral("fuzz"));
        rs.update();
    } catch (const QXMibError &) {
    }
    script("ROLLBACK TO fuzz; RELEASE fuzz");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    fuzzSetUp(argc, argv);
    sqlite3 *handle = Globals::database()->handle();
    sqlite3_set_authorizer(handle, authorize, nullptr);
    sqlite3_progress_handler(handle, 100, progress, nullptr);
    sqlite3_limit(handle, SQLITE_LIMIT_LENGTH, 1 << 20);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data + 1), qsizetype(size - 1));
    if (data[0] % 2 == 0) {
        if (const auto st = translate(text, false)) {
            // Exactly one statement reaches SQLite: nothing may follow it.
            sqlite3_stmt *stmt = nullptr;
            const char *tail = nullptr;
            const QByteArray &sql = st->sql;
            const int rc = sqlite3_prepare_v2(Globals::database()->handle(), sql.constData(), int(sql.size()), &stmt, &tail);
            sqlite3_finalize(stmt);
            if (rc == SQLITE_OK && QByteArray(tail, sql.constData() + sql.size() - tail).trimmed().size() > 0)
                fault("more than one statement reaches SQLite", text);
            run(text);
        }
        translate(text, true);
        return 0;
    }

    const Template &t = templates[(data[0] / 2) % templateCount];
    QString jet;
    try {
        jet = QLatin1String(t.before) + (t.quote == u'"' ? Globals::dq(text) : Globals::sq(text)) + QLatin1String(t.after);
    } catch (const QXMibError &e) {
        if (e.number() != QXMibError::StatementError || !text.contains(t.quote))
            fuzzUnexpected(e, "quoting");
        return 0;
    }
    const QString plain = QLatin1String(t.before) + t.quote + u'x' + t.quote + QLatin1String(t.after);
    const auto st = translate(jet, false);
    const auto expected = translate(plain, false);
    if (!st || !expected || st->sql != expected->sql)
        fault("a value changed the statement", jet);
    bool found = false;
    for (const JetDialect::Parameter &p : st->parameters)
        found = found || (p.kind == JetDialect::Parameter::Kind::Text && p.text == text);
    if (!found)
        fault("the value does not travel as itself", jet);
    run(jet);
    return 0;
}
