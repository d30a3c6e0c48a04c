#include "recordset.h"

#include "database.h"
#include "database_p.h"
#include "qxmiberror.h"

#include <QVector>

class RecordsetPrivate
{
public:
    int column(const QString &name) const
    {
        // The component spells column names as the schema does; other spellings take the slower pass.
        for (int i = 0; i < columns->size(); ++i) {
            if (columns->at(i) == name)
                return i;
        }
        for (int i = 0; i < columns->size(); ++i) {
            if (columns->at(i).compare(name, Qt::CaseInsensitive) == 0)
                return i;
        }
        return -1;
    }
    int columnOrThrow(const QString &name) const
    {
        const int i = column(name);
        if (i < 0)
            throw QXMibError(QXMibError::ItemNotFound,
                             QStringLiteral("Item cannot be found in the collection corresponding to the requested name "
                                            "or ordinal (%1).")
                                 .arg(name));
        return i;
    }
    void step()
    {
        const int rc = sqlite3_step(statement->stmt);
        if (rc == SQLITE_ROW) {
            atEnd = false;
        } else if (rc == SQLITE_DONE) {
            atEnd = true;
        } else {
            const QByteArray sql = statement->stmt != nullptr ? QByteArray(sqlite3_sql(statement->stmt)) : QByteArray();
            db->release(statement);
            statement = nullptr;
            atEnd = true;
            db->throwError(rc, sql);
        }
    }
    void requireRow() const
    {
        if (atEnd)
            throw QXMibError(QXMibError::NoCurrentRecord,
                             QStringLiteral("Either BOF or EOF is True, or the current record has been deleted."));
    }
    void requireUpdatable() const
    {
        if (mode != Recordset::Mode::Updatable)
            throw QXMibError(QXMibError::InvalidCall,
                             QStringLiteral("Current Recordset does not support updating."));
    }

    DatabasePrivate *db = nullptr;
    Recordset::Mode mode = Recordset::Mode::ReadOnly;
    JetDialect::Statement statementText;
    CachedStatement *statement = nullptr;
    const QStringList *columns = nullptr;
    bool atEnd = true;

    // Updatable recordsets read their rows into memory; column 0 is SQLite's rowid.
    QStringList ownColumns;
    QVector<QVector<QVariant>> rows;
    int current = 0;
    QVector<bool> dirty;
    bool adding = false;
};

Recordset::Recordset(Database *db, const QString &jetStatement, Mode mode)
    : d(std::make_unique<RecordsetPrivate>())
{
    if (db == nullptr)
        throw QXMibError(QXMibError::ObjectRequired, QStringLiteral("Object required"));
    d->db = db->d.get();
    d->mode = mode;
    d->db->ensureOpen();
    d->statementText = JetDialect::translate(jetStatement, mode == Mode::Updatable);
    d->statement = d->db->acquire(d->statementText.sql);
    DatabasePrivate::bind(d->statement->stmt, d->statementText.parameters);
    d->columns = &d->statement->columns;
    d->step();
    if (mode == Mode::Updatable) {
        d->ownColumns = d->statement->columns;
        while (!d->atEnd) {
            QVector<QVariant> row(d->ownColumns.size());
            for (int i = 0; i < row.size(); ++i)
                row[i] = DatabasePrivate::columnValue(d->statement->stmt, i);
            d->rows.append(row);
            d->step();
        }
        d->db->release(d->statement);
        d->statement = nullptr;
        d->columns = &d->ownColumns;
        d->atEnd = d->rows.isEmpty();
        d->dirty.fill(false, d->ownColumns.size());
    }
}

Recordset::~Recordset()
{
    close();
}

bool Recordset::eof() const
{
    return d->atEnd;
}

void Recordset::moveNext()
{
    d->requireRow();
    if (d->mode == Mode::Updatable) {
        ++d->current;
        d->atEnd = d->current >= d->rows.size();
        return;
    }
    d->step();
}

int Recordset::fieldCount() const
{
    const int n = d->columns != nullptr ? int(d->columns->size()) : 0;
    return d->mode == Mode::Updatable ? n - 1 : n;
}

QString Recordset::fieldName(int index) const
{
    const int offset = d->mode == Mode::Updatable ? 1 : 0;
    return d->columns->value(index + offset);
}

bool Recordset::hasField(const QString &name) const
{
    return d->columns != nullptr && d->column(name) >= (d->mode == Mode::Updatable ? 1 : 0);
}

QVariant Recordset::value(const QString &name) const
{
    if (d->columns == nullptr)
        throw QXMibError(QXMibError::InvalidCall, QStringLiteral("Operation is not allowed when the object is closed."));
    const int i = d->columnOrThrow(name);
    d->requireRow();
    if (d->mode == Mode::Updatable)
        return d->rows.at(d->current).at(i);
    return DatabasePrivate::columnValue(d->statement->stmt, i);
}

QVariant Recordset::value(int index) const
{
    d->requireRow();
    if (d->mode == Mode::Updatable)
        return d->rows.at(d->current).value(index + 1);
    return DatabasePrivate::columnValue(d->statement->stmt, index);
}

QString Recordset::text(const QString &name) const
{
    if (d->mode == Mode::ReadOnly && d->statement != nullptr && !d->atEnd) {
        // The hot path of every look-up: straight from SQLite's buffer.
        const int i = d->columnOrThrow(name);
        sqlite3_stmt *stmt = d->statement->stmt;
        if (sqlite3_column_type(stmt, i) == SQLITE_TEXT) {
            const char *text = reinterpret_cast<const char *>(sqlite3_column_text(stmt, i));
            return QString::fromUtf8(text, sqlite3_column_bytes(stmt, i));
        }
    }
    const QVariant v = value(name);
    return v.isNull() ? QString() : v.toString();
}

void Recordset::addNew()
{
    d->requireUpdatable();
    QVector<QVariant> row(d->ownColumns.size());
    d->rows.append(row);
    d->current = int(d->rows.size()) - 1;
    d->atEnd = false;
    d->adding = true;
    d->dirty.fill(false, d->ownColumns.size());
}

void Recordset::setValue(const QString &name, const QVariant &value)
{
    d->requireUpdatable();
    const int i = d->columnOrThrow(name);
    if (i == 0)
        throw QXMibError(QXMibError::ItemNotFound, QStringLiteral("Item cannot be found in the collection (%1).").arg(name));
    d->requireRow();
    d->rows[d->current][i] = value;
    d->dirty[i] = true;
}

void Recordset::update()
{
    d->requireUpdatable();
    d->requireRow();
    QByteArray sql;
    QVector<int> changed;
    for (int i = 1; i < d->dirty.size(); ++i) {
        if (d->dirty.at(i))
            changed.append(i);
    }
    // Names recur with every row written: each is quoted once per connection.
    auto quoted = [this](const QString &name) -> const QByteArray & {
        auto it = d->db->quotedNames.constFind(name);
        if (it == d->db->quotedNames.cend()) {
            QString n = name;
            n.replace(u'"', QStringLiteral("\"\""));
            it = d->db->quotedNames.insert(name, QByteArray('"' + n.toUtf8() + '"'));
        }
        return *it;
    };
    sql.reserve(256);
    const QByteArray table = quoted(d->statementText.table);
    if (d->adding) {
        sql = "INSERT INTO " + table;
        if (changed.isEmpty()) {
            sql += " DEFAULT VALUES";
        } else {
            sql += " (";
            for (int i : changed) {
                if (i != changed.first())
                    sql += ',';
                sql += quoted(d->ownColumns.at(i));
            }
            sql += ") VALUES (";
            for (int i : changed)
                sql += i != changed.first() ? ",?" : "?";
            sql += ')';
        }
    } else {
        if (changed.isEmpty())
            return;
        sql = "UPDATE " + table + " SET ";
        bool firstColumn = true;
        for (int i : changed) {
            if (!firstColumn)
                sql += ',';
            firstColumn = false;
            sql += quoted(d->ownColumns.at(i));
            sql += "=?";
        }
        sql += " WHERE rowid=?";
    }

    CachedStatement *s = d->db->acquire(sql);
    int position = 1;
    const QVector<QVariant> &row = d->rows.at(d->current);
    for (int i : changed)
        DatabasePrivate::bindValue(s->stmt, position++, row.at(i));
    if (!d->adding)
        sqlite3_bind_int64(s->stmt, position, row.at(0).toLongLong());
    const int rc = sqlite3_step(s->stmt);
    d->db->release(s);
    if (rc != SQLITE_DONE)
        d->db->throwError(rc, sql);
    if (d->adding)
        d->rows[d->current][0] = qlonglong(sqlite3_last_insert_rowid(d->db->db));
    d->adding = false;
    d->dirty.fill(false, d->ownColumns.size());
}

void Recordset::close()
{
    if (d->statement != nullptr) {
        d->db->release(d->statement);
        d->statement = nullptr;
    }
    d->columns = nullptr;
    d->atEnd = true;
}
