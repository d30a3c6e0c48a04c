#include "snmp/widgets/mibtable.h"

#include "core/globals.h"
#include "core/messagesink.h"
#include "core/widgets/widgetfactory.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "core/recordset.h"
#include "snmp/widgets/livegrid.h"
#include "snmp/livevalues_p.h"
#include "snmp/widgets/mibtablemodel.h"
#include "snmp/peloruswrapper.h"
#include "snmp/settings.h"
#include "snmp/snmpengine.h"
#include "snmp/snmpquery.h"
#include "snmp/snmpsession.h"
#include "snmp/varbindlist.h"
#include "trees/widgets/oiddetailsform.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QElapsedTimer>
#include <QFile>
#include <QFileDialog>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMetaMethod>
#include <QPointer>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTimer>
#include <QVBoxLayout>

#include <vector>

QXMIB_REGISTER_WIDGET(MIBTable, MIBTable)

namespace {

constexpr int kTooBig = 1;
constexpr int kNoSuchName = 2;
constexpr int kYieldEveryMs = 100;
constexpr short kDefaultRequestSize = 10;

const QString kGetType = QStringLiteral("GetType,");
const QString kCheckSet = QStringLiteral("CheckSet,");
const QString kRefresh = QStringLiteral("Refresh");

} // namespace

struct TableColumn
{
    std::unique_ptr<QXMibOID> record;
    QString oid;
    QString name;
    int arc = 0;
};

// One walk: a column's (DownloadMode 1) or the whole table's (DownloadMode 0).
struct TableWalk
{
    QString nodeId;
    int column = -1;
    QString last;
    short maxReps = 0; // 0: GetNext
    bool running = false;
};

struct PendingEdit
{
    int column = 0;
    QString typed;
    // What the cell showed before the typed text.
    QString before;
    bool reported = false;
};

class MIBTablePrivate
{
public:
    explicit MIBTablePrivate(MIBTable *owner)
        : q(owner)
    {
    }

    QXMibOID &tableRecord();
    bool findTable(QXMibOID &record);
    void buildColumns();
    void startWalks();
    void sendStep(TableWalk &walk, bool first);
    void dispatch(SnmpQuery *query);
    void walkReply(int w, SnmpQuery *query);
    void endWalk(int w);
    int busyInterval() const { return effectiveVersion() == 1 ? 500 : 200; }
    bool belongs(const TableWalk &walk, const QString &oid) const;
    void placeWalkBinding(int column, const VarBind &binding);
    bool placeByOid(const VarBind &binding, const QString &error);
    void placeCell(int column, const QString &index, const VarBind &binding);
    void refreshReply(SnmpQuery *query);
    void typeProbeReply(SnmpQuery *query);
    void checkSetReply(SnmpQuery *query);
    void startEdit(int row, int col, const QVariant &value);
    void sendRefresh(int row, int col);
    void startActivity();
    void fitColumns();
    void yieldNow();
    void showMessage(const QString &text);
    void reportError(const QString &text);
    int effectiveVersion() const;
    short requestSize() const;
    QString address() const { return LiveValues::withPort(ip, port); }
    QString cellOid(int row, int col) const;
    // Grid (row, col) to table (row, col) from 0; false outside the data cells.
    bool gridToTable(int gridRow, int gridCol, int *row, int *col) const;
    bool currentCell(int *row, int *col) const;

    MIBTable *q;
    PelorusWrapper *wrapper = PelorusWrapper::instance();
    std::unique_ptr<Settings> settings;
    LiveGrid *grid = nullptr;
    QLabel *message = nullptr;
    MIBTableModel *model = nullptr;
    std::unique_ptr<QXMibOID> table;
    std::unique_ptr<QXMibOID> current;
    std::vector<TableColumn> columns;
    QHash<int, int> columnByArc;
    QStringList columnChoice;
    QVector<TableWalk> walks;
    QHash<QString, int> walkByNode;
    QHash<QString, PendingEdit> edits;
    QHash<int, int> colSort;

    QString ip;
    QString target;
    QString targetOIDName;
    QString community = QStringLiteral("public");
    int port = 161;
    int version = 2;
    short downloadMode = 1;
    QString lastOid;
    QString walkError;
    bool busy = false;
    bool cancel = false;
    bool unsupported = false;
    bool retrieving = false;
    bool userSorted = false;
    int queryCounter = 0;
    int handling = 0;
    quint64 generation = 0;
    QTimer activeTimer;
    QElapsedTimer sinceYield;
};

QXMibOID &MIBTablePrivate::tableRecord()
{
    if (!table)
        table = std::make_unique<QXMibOID>();
    return *table;
}

// The record may name the table, its entry or one of its columns; it ends up
// naming the table. False when it is none of them.
bool MIBTablePrivate::findTable(QXMibOID &record)
{
    Database *db = Globals::database();
    auto hasColumns = [db](const QString &entry) {
        Recordset rs(db, QStringLiteral("Select TOP 1 OID from Tree WHERE ParentOID = ") + Globals::sq(entry)
                             + QStringLiteral(" AND Primary=-1"));
        return !rs.eof();
    };
    const QString oid = record.BaseOID();
    if (oid.isEmpty())
        return false;
    if (hasColumns(oid + QStringLiteral(".1")))
        return true;
    if (!record.IndexBy().isEmpty() && hasColumns(oid)) {
        record.setOID(record.ParentOID());
        return !record.OID().isEmpty();
    }
    QXMibOID entry;
    entry.setOID(record.ParentOID());
    if (!entry.OID().isEmpty() && entry.Index().isEmpty() && !entry.IndexBy().isEmpty()) {
        record.setOID(entry.ParentOID());
        return !record.OID().isEmpty();
    }
    return false;
}

void MIBTablePrivate::buildColumns()
{
    columns.clear();
    columnByArc.clear();
    const QString entry = tableRecord().BaseOID() + QStringLiteral(".1");
    struct Found
    {
        QString oid;
        int arc;
        int access;
    };
    std::vector<Found> found;
    {
        Recordset rs(Globals::database(), QStringLiteral("Select OID, Access from Tree WHERE ParentOID = ")
                                              + Globals::sq(entry) + QStringLiteral(" AND Primary=-1"));
        for (; !rs.eof(); rs.moveNext()) {
            const QString oid = rs.text(QStringLiteral("OID"));
            found.push_back({oid, oid.mid(entry.size() + 1).toInt(), rs.value(QStringLiteral("Access")).toInt()});
        }
    }
    std::sort(found.begin(), found.end(), [](const Found &a, const Found &b) { return a.arc < b.arc; });
    // Read-only, read-write/create and write-only columns; a database without
    // access codes shows them all.
    const bool anyReadable = std::any_of(found.begin(), found.end(), [](const Found &f) {
        return f.access >= 1 && f.access <= 3;
    });
    for (const Found &f : found) {
        if (anyReadable && (f.access < 1 || f.access > 3))
            continue;
        TableColumn column;
        column.record = std::make_unique<QXMibOID>();
        column.record->setOID(f.oid);
        column.oid = f.oid;
        column.name = column.record->BaseName();
        column.arc = f.arc;
        if (!columnChoice.isEmpty()) {
            const bool chosen = std::any_of(columnChoice.begin(), columnChoice.end(), [&](const QString &c) {
                return c.compare(column.name, Qt::CaseInsensitive) == 0 || c == column.oid;
            });
            if (!chosen)
                continue;
        }
        columns.push_back(std::move(column));
    }
    if (!columnChoice.isEmpty()) {
        // In the order the host named them.
        auto rank = [this](const TableColumn &c) {
            for (int i = 0; i < columnChoice.size(); ++i) {
                if (columnChoice.at(i).compare(c.name, Qt::CaseInsensitive) == 0 || columnChoice.at(i) == c.oid)
                    return i;
            }
            return int(columnChoice.size());
        };
        std::stable_sort(columns.begin(), columns.end(),
                         [&](const TableColumn &a, const TableColumn &b) { return rank(a) < rank(b); });
    }
    for (int i = 0; i < int(columns.size()); ++i)
        columnByArc.insert(columns[size_t(i)].arc, i);
}

int MIBTablePrivate::effectiveVersion() const
{
    if (version == 2 && settings && settings->DisableSNMPV2())
        return 1;
    return version;
}

short MIBTablePrivate::requestSize() const
{
    return settings ? settings->SNMPV2RequestSize() : kDefaultRequestSize;
}

void MIBTablePrivate::startWalks()
{
    walks.clear();
    walkByNode.clear();
    const short reps = effectiveVersion() == 1 ? 0 : requestSize();
    if (downloadMode == 0) {
        walks.append({tableRecord().BaseName(), -1, tableRecord().BaseOID(), reps, true});
    } else {
        for (int c = 0; c < int(columns.size()); ++c)
            walks.append({columns[size_t(c)].name, c, columns[size_t(c)].oid, reps, true});
    }
    for (int w = 0; w < walks.size(); ++w)
        walkByNode.insert(walks.at(w).nodeId, w);
    busy = true;
    retrieving = true;
    cancel = false;
    queryCounter = 0;
    for (TableWalk &walk : walks) {
        sendStep(walk, true);
        ++queryCounter;
    }
    activeTimer.start(busyInterval());
}

void MIBTablePrivate::sendStep(TableWalk &walk, bool first)
{
    const int v = effectiveVersion();
    SnmpSession *session = PelorusWrapper::defaultSession();
    if (first || walk.maxReps <= 0)
        wrapper->SNMPQueryGetNext(address(), community, walk.last, v, q, session, true, walk.nodeId);
    else
        wrapper->SNMPQueryGetBulk(address(), community, walk.last, v, q, walk.maxReps, session, 0, true,
                                  walk.nodeId);
}

void MIBTablePrivate::dispatch(SnmpQuery *query)
{
    const QString node = query->NodeID();
    if (node.startsWith(kGetType))
        typeProbeReply(query);
    else if (node.startsWith(kCheckSet))
        checkSetReply(query);
    else if (node.startsWith(kRefresh))
        refreshReply(query);
    else if (const int w = walkByNode.value(node, -1); w >= 0)
        walkReply(w, query);
}

bool MIBTablePrivate::belongs(const TableWalk &walk, const QString &oid) const
{
    if (walk.column >= 0)
        return LiveValues::isBelow(oid, columns[size_t(walk.column)].oid);
    // The whole table's walk: a plain text prefix of the table OID.
    return oid.startsWith(table->BaseOID());
}

void MIBTablePrivate::walkReply(int w, SnmpQuery *query)
{
    if (!walks[w].running)
        return;
    const int error = query->ErrorNumber();
    if (error != 0) {
        TableWalk &walk = walks[w];
        if (error == kTooBig && walk.maxReps > 0 && query->RequestType() == SnmpQuery::GetBulk) {
            walk.maxReps = short(walk.maxReps / 2);
            sendStep(walk, false);
            return;
        }
        if (!(error == kNoSuchName && effectiveVersion() == 1))
            reportError(query->ErrorDescription());
        endWalk(w);
        return;
    }
    // A copy: the list belongs to the query, and handlers below may yield.
    const QVector<VarBind> bindings = query->VarBinds()->items();
    bool ended = bindings.isEmpty();
    int placed = 0;
    for (const VarBind &b : bindings) {
        TableWalk &walk = walks[w];
        if (b.Status != 0 || !belongs(walk, b.OID) || LiveValues::compareOids(b.OID, walk.last) <= 0) {
            ended = true;
            break;
        }
        placeWalkBinding(walk.column, b);
        walk.last = b.OID;
        lastOid = b.OID;
        ++placed;
    }
    if (ended || placed == 0 || cancel) {
        endWalk(w);
        return;
    }

    const quint64 mine = generation;
    QPointer<MIBTable> alive(q);
    bool stop = false;
    Q_EMIT q->Progress(stop);
    if (alive.isNull() || generation != mine)
        return;
    if (stop)
        cancel = true;
    if (!cancel && sinceYield.elapsed() >= kYieldEveryMs) {
        yieldNow();
        if (alive.isNull() || generation != mine)
            return;
    }
    if (cancel || !walks[w].running) {
        endWalk(w);
        return;
    }
    sendStep(walks[w], false);
}

void MIBTablePrivate::endWalk(int w)
{
    walks[w].running = false;
    // The last walk's end is looked at right away rather than at the next tick.
    if (std::none_of(walks.cbegin(), walks.cend(), [](const TableWalk &walk) { return walk.running; }))
        activeTimer.start(0);
}

void MIBTablePrivate::placeWalkBinding(int column, const VarBind &binding)
{
    const QString &oid = binding.OID;
    if (column >= 0) {
        placeCell(column, oid.mid(columns[size_t(column)].oid.size() + 1), binding);
        return;
    }
    // Table OID, entry arc, column arc, index.
    const qsizetype base = table->BaseOID().size();
    if (oid.size() <= base + 1 || oid.at(base) != u'.')
        return;
    const qsizetype entryEnd = oid.indexOf(u'.', base + 1);
    if (entryEnd < 0)
        return;
    const qsizetype columnEnd = oid.indexOf(u'.', entryEnd + 1);
    if (columnEnd < 0 || columnEnd + 1 >= oid.size())
        return;
    bool ok = false;
    const int arc = QStringView(oid).mid(entryEnd + 1, columnEnd - entryEnd - 1).toInt(&ok);
    const int col = ok ? columnByArc.value(arc, -1) : -1;
    if (col >= 0)
        placeCell(col, oid.mid(columnEnd + 1), binding);
}

void MIBTablePrivate::placeCell(int column, const QString &index, const VarBind &binding)
{
    if (index.isEmpty())
        return;
    int row = model->findRow(index);
    if (row < 0)
        row = model->addRow(index);
    MIBTableModel::Cell cell;
    cell.text = LiveValues::cellText(*columns[size_t(column)].record, binding);
    cell.raw = LiveValues::rawText(binding);
    cell.type = binding.ValueType;
    model->setCell(row, column, std::move(cell));
}

bool MIBTablePrivate::placeByOid(const VarBind &binding, const QString &error)
{
    if (!error.isEmpty() && error != QLatin1String("0") && error != QLatin1String("OK")) {
        reportError(binding.OID + QStringLiteral(": ") + error);
        return false;
    }
    for (int c = 0; c < int(columns.size()); ++c) {
        if (LiveValues::isBelow(binding.OID, columns[size_t(c)].oid)) {
            placeCell(c, binding.OID.mid(columns[size_t(c)].oid.size() + 1), binding);
            return true;
        }
    }
    return false;
}

void MIBTablePrivate::refreshReply(SnmpQuery *query)
{
    const VarBindList *list = query->VarBinds();
    if (list->Count() == 0)
        return;
    placeByOid(list->at(0), query->ErrorNumber() != 0 ? query->ErrorDescription() : QString());
}

void MIBTablePrivate::startEdit(int row, int col, const QVariant &value)
{
    const QString oid = cellOid(row, col);
    if (oid.isEmpty())
        return;
    const QString typed = value.toString();
    edits.insert(oid, {col, typed, model->cell(row, col).text, false});
    model->setCellText(row, col, typed);
    try {
        wrapper->SNMPQueryGet(address(), community, oid, effectiveVersion(), q, PelorusWrapper::defaultSession(), true,
                              kGetType + oid);
        startActivity();
    } catch (const QXMibError &e) {
        edits.remove(oid);
        showMessage(e.description());
    }
}

void MIBTablePrivate::typeProbeReply(SnmpQuery *query)
{
    const QString oid = query->NodeID().mid(kGetType.size());
    const auto edit = edits.constFind(oid);
    if (edit == edits.constEnd())
        return;
    int type = 0;
    if (query->ErrorNumber() == 0 && query->VarBinds()->Count() > 0) {
        const VarBind &b = query->VarBinds()->at(0);
        if (b.Status == 0 && b.ValueType != 5)
            type = b.ValueType;
    }
    if (cancel) {
        // Nothing was written: the cell shows the agent's value again.
        const int column = edit->column;
        const QString before = edit->before;
        edits.remove(oid);
        const VarBind probe = type != 0 ? query->VarBinds()->at(0) : VarBind();
        if (type == 0 || !placeByOid(probe, QString())) {
            const QString index = column < int(columns.size()) ? oid.mid(columns[size_t(column)].oid.size() + 1)
                                                               : QString();
            const int row = model->findRow(index);
            if (row >= 0 && column < model->tableColumns())
                model->setCellText(row, column, before);
        }
        return;
    }
    if (type == 0 && edit->column < int(columns.size()))
        type = columns[size_t(edit->column)].record->TypeInteger();
    if (type == 0)
        type = 4;
    wrapper->SNMPQuerySet(address(), community, oid, effectiveVersion(), q, edit->typed, type,
                          PelorusWrapper::defaultSession(), true, kCheckSet + oid);
}

void MIBTablePrivate::checkSetReply(SnmpQuery *query)
{
    const QString oid = query->NodeID().mid(kCheckSet.size());
    auto edit = edits.find(oid);
    const QString name = edit != edits.end() && edit->column < int(columns.size())
        ? columns[size_t(edit->column)].name + oid.mid(columns[size_t(edit->column)].oid.size())
        : oid;
    auto couldNotChange = [&](const QString &reason) {
        if (edit == edits.end() || edit->reported)
            return;
        edit->reported = true;
        MessageSink::warn(QStringLiteral("Could not change ") + name + QStringLiteral("\n\n") + reason);
    };
    if (query->RequestType() == SnmpQuery::Set) {
        if (query->ErrorNumber() != 0)
            couldNotChange(query->ErrorDescription());
        // Read back what the agent holds now, whether the Set took or not.
        wrapper->SNMPQueryGet(address(), community, oid, effectiveVersion(), q, PelorusWrapper::defaultSession(), true,
                              kCheckSet + oid);
        return;
    }
    if (query->ErrorNumber() != 0 || query->VarBinds()->Count() == 0) {
        couldNotChange(query->ErrorDescription());
        edits.remove(oid);
        return;
    }
    const VarBind b = query->VarBinds()->at(0);
    placeByOid(b, QString());
    if (edit != edits.end()) {
        edit = edits.find(oid);
        const QString typed = edit->typed.trimmed();
        const int col = edit->column;
        QString shown = b.Value;
        if (col < int(columns.size()))
            shown = LiveValues::cellText(*columns[size_t(col)].record, b);
        if (typed != b.Value && typed != shown && typed != LiveValues::rawText(b))
            couldNotChange(QStringLiteral("The agent holds ") + shown + QStringLiteral(" now."));
        edits.remove(oid);
    }
}

void MIBTablePrivate::sendRefresh(int row, int col)
{
    const QString oid = cellOid(row, col);
    if (oid.isEmpty())
        return;
    wrapper->SNMPQueryGet(address(), community, oid, effectiveVersion(), q, PelorusWrapper::defaultSession(), true,
                          kRefresh + u',' + oid);
}

void MIBTablePrivate::startActivity()
{
    // A Cancel ends with the activity it was meant for.
    if (!busy)
        cancel = false;
    busy = true;
    if (!activeTimer.isActive())
        activeTimer.start(busyInterval());
}

// Columns as wide as their texts (as far as the grid samples them), within reason.
void MIBTablePrivate::fitColumns()
{
    QHeaderView *header = grid->horizontalHeader();
    const int widest = grid->fontMetrics().horizontalAdvance(QLatin1Char('X')) * 40;
    grid->resizeColumnsToContents();
    for (int c = 0; c < header->count(); ++c)
        header->resizeSection(c, qMin(header->sectionSize(c), widest));
}

void MIBTablePrivate::yieldNow()
{
    model->flushSome();
    sinceYield.restart();
    QCoreApplication::processEvents();
}

void MIBTablePrivate::showMessage(const QString &text)
{
    message->setText(text);
    message->setVisible(!text.isEmpty());
}

void MIBTablePrivate::reportError(const QString &text)
{
    if (walkError.isEmpty())
        walkError = text;
    showMessage(text);
}

QString MIBTablePrivate::cellOid(int row, int col) const
{
    if (row < 0 || col < 0 || row >= model->tableRows() || col >= int(columns.size()))
        return QString();
    return columns[size_t(col)].oid + u'.' + model->rowIndex(row);
}

bool MIBTablePrivate::gridToTable(int gridRow, int gridCol, int *row, int *col) const
{
    const QModelIndex index = model->index(gridRow - 1, gridCol - 1);
    if (!index.isValid())
        return false;
    *row = model->pivoted() ? index.column() : index.row();
    *col = model->pivoted() ? index.row() : index.column();
    return true;
}

bool MIBTablePrivate::currentCell(int *row, int *col) const
{
    return gridToTable(grid->currentGridRow(), grid->currentGridCol(), row, col);
}

MIBTable::MIBTable(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<MIBTablePrivate>(this))
{
    d->model = new MIBTableModel(this);
    d->model->editHandler = [this](int row, int col, const QVariant &value) { d->startEdit(row, col, value); };
    d->message = new QLabel(this);
    d->message->setObjectName(QStringLiteral("Message"));
    d->message->setWordWrap(true);
    d->message->hide();
    d->grid = new LiveGrid(this);
    d->grid->setModel(d->model);
    d->grid->setSortingEnabled(false);
    d->grid->horizontalHeader()->setSectionsClickable(true);
    connect(d->grid->horizontalHeader(), &QHeaderView::sectionClicked, this, [this](int section) {
        if (d->model->pivoted())
            return;
        const int method = d->colSort.value(section + 1, MIBTableModel::SortDescending) == MIBTableModel::SortAscending
            ? MIBTableModel::SortDescending
            : MIBTableModel::SortAscending;
        d->colSort.insert(section + 1, method);
        d->model->sortRows(section, method);
        d->userSorted = true;
    });
    d->grid->setFormatter([this](int row, int col, QString &text, QColor &fore, QColor &back, QFont &font) {
        if (row == 0 || col == 0) {
            if (isSignalConnected(QMetaMethod::fromSignal(&MIBTable::CustomHeaderFormating)))
                Q_EMIT CustomHeaderFormating(row, col, text, fore, back, font);
        } else if (isSignalConnected(QMetaMethod::fromSignal(&MIBTable::CustomCellFormating))) {
            Q_EMIT CustomCellFormating(row, col, text, fore, back, font);
        }
    });
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(d->message);
    layout->addWidget(d->grid, 1);

    d->activeTimer.setInterval(500);
    connect(&d->activeTimer, &QTimer::timeout, this, [this] { ScanComplete(); });
    d->sinceYield.start();
    try {
        d->settings = std::make_unique<Settings>();
        connect(d->settings.get(), &Settings::Changed, this, &MIBTable::mSettings_Changed);
        d->wrapper->setSNMPTimeout(d->settings->SNMPTimeout());
        d->wrapper->setSNMPRetries(d->settings->SNMPRetries());
    } catch (const QXMibError &e) {
        // Stored junk: the defaults serve until the settings are set again.
        d->settings.reset();
        qWarning("MIBTable: %s", qPrintable(e.description()));
    }
}

MIBTable::~MIBTable()
{
    // No reply may reach a half-destroyed control.
    SnmpEngine::forgetCallback(this);
}

MIBTable::TableOrientation MIBTable::Orientation() const
{
    return d->model->pivoted() ? TABLE_ORIENTATION_PIVOTED : TABLE_ORIENTATION_NORMAL;
}

void MIBTable::setOrientation(TableOrientation orientation)
{
    d->model->setPivoted(orientation == TABLE_ORIENTATION_PIVOTED);
}

bool MIBTable::UnSupported() const
{
    return d->unsupported;
}

short MIBTable::DownloadMode() const
{
    return d->downloadMode;
}

void MIBTable::setDownloadMode(short mode)
{
    d->downloadMode = mode == 0 ? 0 : 1;
}

int MIBTable::MouseRow() const
{
    return d->grid->mouseRow();
}

int MIBTable::MouseCol() const
{
    return d->grid->mouseCol();
}

QXMibOID *MIBTable::TableObject()
{
    return &d->tableRecord();
}

void MIBTable::RefreshTable()
{
    if (d->table && !d->table->BaseOID().isEmpty())
        GetTable(d->table->BaseOID());
}

void MIBTable::RefreshCell(int Row, int Col)
{
    RefreshArea(Row, Row, Col, Col);
}

void MIBTable::RefreshSelection()
{
    d->model->flush();
    for (const QModelIndex &i : d->grid->selectedCells()) {
        int row = 0;
        int col = 0;
        if (d->gridToTable(i.row() + 1, i.column() + 1, &row, &col))
            d->sendRefresh(row, col);
    }
    d->startActivity();
}

void MIBTable::RefreshArea(int Row1, int Row2, int Col1, int Col2)
{
    d->model->flush();
    const int lastRow = qMin(qMax(Row1, Row2), d->model->tableRows());
    const int lastCol = qMin(qMax(Col1, Col2), d->model->tableColumns());
    for (int r = qMax(1, qMin(Row1, Row2)); r <= lastRow; ++r) {
        for (int c = qMax(1, qMin(Col1, Col2)); c <= lastCol; ++c)
            d->sendRefresh(r - 1, c - 1);
    }
    d->startActivity();
}

QString MIBTable::LookupOID(int Row, int Col) const
{
    return d->cellOid(Row - 1, Col - 1);
}

QString MIBTable::LookupIndex(int Row) const
{
    return Row >= 1 && Row <= d->model->tableRows() ? d->model->rowIndex(Row - 1) : QString();
}

void MIBTable::RefreshRow(int Row)
{
    RefreshArea(Row, Row, 1, d->model->tableColumns());
}

void MIBTable::RefreshRows(int StartRow, int EndRow)
{
    RefreshArea(StartRow, EndRow, 1, d->model->tableColumns());
}

void MIBTable::RefreshCol(int Col)
{
    RefreshArea(1, d->model->tableRows(), Col, Col);
}

void MIBTable::RefreshCols(int StartCol, int EndCol)
{
    RefreshArea(1, d->model->tableRows(), StartCol, EndCol);
}

void MIBTable::PivotTable()
{
    setOrientation(Orientation() == TABLE_ORIENTATION_NORMAL ? TABLE_ORIENTATION_PIVOTED : TABLE_ORIENTATION_NORMAL);
}

QString MIBTable::TableOID() const
{
    return d->table ? d->table->BaseOID() : QString();
}

void MIBTable::GetTable(const QString &Table)
{
    Clear();
    QXMibOID &record = d->tableRecord();
    record.setFullName(Table.trimmed());
    if (d->targetOIDName.isEmpty())
        d->targetOIDName = record.Name();
    if (record.OID().isEmpty()) {
        d->showMessage(Table + QStringLiteral(" is not a valid MIB specification."));
        return;
    }
    if (!d->findTable(record)) {
        d->showMessage(Table + QStringLiteral(" is not a table."));
        return;
    }
    d->buildColumns();
    if (d->columns.empty()) {
        d->showMessage(Table + QStringLiteral(" has no columns to show."));
        return;
    }
    SetupTable();
    d->startWalks();
}

QStringList MIBTable::GetOIDList(const QStringList &OIDList)
{
    d->columnChoice.clear();
    for (const QString &item : OIDList) {
        for (const QString &part : item.split(QRegularExpression(QStringLiteral("[,\\s]+")), Qt::SkipEmptyParts))
            d->columnChoice.append(part.startsWith(u'.') ? part.mid(1) : part);
    }
    QStringList oids;
    for (const TableColumn &c : d->columns)
        oids.append(c.oid);
    return oids;
}

void MIBTable::Activate()
{
    if (d->settings) {
        d->wrapper->setSNMPTimeout(d->settings->SNMPTimeout());
        d->wrapper->setSNMPRetries(d->settings->SNMPRetries());
    }
    if (!d->targetOIDName.isEmpty())
        GetTable(d->targetOIDName);
}

bool MIBTable::Busy() const
{
    return d->busy;
}

QStringList MIBTable::Selection() const
{
    d->model->flush();
    QStringList oids;
    for (const QModelIndex &i : d->grid->selectedCells()) {
        int row = 0;
        int col = 0;
        if (d->gridToTable(i.row() + 1, i.column() + 1, &row, &col))
            oids.append(d->cellOid(row, col));
    }
    return oids;
}

void MIBTable::SelectAll()
{
    d->model->flush();
    d->grid->selectAll();
}

void MIBTable::AutoSize()
{
    d->model->flush();
    d->fitColumns();
}

void MIBTable::Sort(int Method)
{
    int row = 0;
    int col = 0;
    const int gridCol = d->grid->currentGridCol();
    const bool onColumn = d->currentCell(&row, &col);
    if (Method != MIBTableModel::SortByIndex && Method != MIBTableModel::SortAscending
        && Method != MIBTableModel::SortDescending)
        Method = d->colSort.value(gridCol, MIBTableModel::SortAscending);
    d->model->sortRows(onColumn ? col : -1, Method);
    d->userSorted = Method != MIBTableModel::SortByIndex;
}

void MIBTable::SNMPReply_Reply(SnmpQuery *Query)
{
    if (Query == nullptr)
        return;
    QPointer<MIBTable> alive(this);
    ++d->handling;
    try {
        d->dispatch(Query);
    } catch (const QXMibError &e) {
        if (!alive.isNull())
            d->reportError(e.description());
    }
    if (!alive.isNull())
        --d->handling;
}

void MIBTable::Reply(SnmpQuery *query)
{
    SNMPReply_Reply(query);
}

bool MIBTable::ScanComplete()
{
    if (d->wrapper->SNMPOutstandingQueries() > 0 || d->handling > 0) {
        // Flashes: on at one tick, off at the next.
        d->grid->setIndicator(d->grid->indicator() == 1 ? 0 : 1);
        if (d->activeTimer.isActive() && d->activeTimer.interval() != d->busyInterval())
            d->activeTimer.start(d->busyInterval());
        return false;
    }
    d->activeTimer.stop();
    d->activeTimer.setInterval(500);
    if (!d->busy)
        return true;
    d->busy = false;
    for (TableWalk &walk : d->walks)
        walk.running = false;
    d->model->flush();
    if (d->retrieving && !d->userSorted && !d->model->rowsInIndexOrder())
        d->model->sortRows(-1, MIBTableModel::SortByIndex);
    if (d->retrieving)
        d->fitColumns();
    d->grid->setIndicator(2);
    d->grid->viewport()->update();
    if (d->current)
        d->current->setOID(d->lastOid);
    const bool wasRetrieving = d->retrieving;
    d->retrieving = false;
    if (wasRetrieving && d->model->tableRows() == 0 && d->walkError.isEmpty() && !d->cancel) {
        d->unsupported = true;
        const QString text = d->tableRecord().Name() + QStringLiteral(" is not supported on ")
            + (d->target.isEmpty() ? d->ip : d->target);
        d->showMessage(text);
        QPointer<MIBTable> alive(this);
        Q_EMIT UnSupportedTable(text);
        if (alive.isNull())
            return true;
    }
    Q_EMIT Complete(d->cancel);
    return true;
}

QString MIBTable::Watermark() const
{
    return d->grid->watermark();
}

void MIBTable::setWatermark(const QString &text)
{
    d->grid->setWatermark(text);
}

void MIBTable::PopupOIDDetails()
{
    const QString oid = SelectedOID();
    if (oid.isEmpty() && TableOID().isEmpty())
        return;
    try {
        OIDDetailsForm::popup(oid.isEmpty() ? TableOID() : oid, SelectedRawValue(), SelectedParsedValue());
    } catch (const QXMibError &e) {
        MessageSink::show(e.description());
    }
}

QString MIBTable::SelectedOID() const
{
    int row = 0;
    int col = 0;
    return d->currentCell(&row, &col) ? d->cellOid(row, col) : QString();
}

QString MIBTable::SelectedRawValue() const
{
    int row = 0;
    int col = 0;
    return d->currentCell(&row, &col) ? d->model->cell(row, col).raw : QString();
}

QString MIBTable::SelectedParsedValue() const
{
    int row = 0;
    int col = 0;
    return d->currentCell(&row, &col) ? d->model->cell(row, col).text : QString();
}

void MIBTable::PopulateCell(const QString &OID, const QString &Value, int ValueType, const QString &Error)
{
    VarBind binding;
    binding.OID = OID.startsWith(u'.') ? OID.mid(1) : OID;
    binding.Value = Value;
    binding.HexValue = QString::fromLatin1(Value.toLatin1().toHex().toUpper());
    binding.ValueType = ValueType;
    if (d->placeByOid(binding, Error == QLatin1String("0") ? QStringLiteral("OK") : Error))
        d->lastOid = binding.OID;
}

void MIBTable::mSettings_Changed(const QString &Name, const QVariant &Value)
{
    if (Name == QLatin1String("SNMP Timeout"))
        d->wrapper->setSNMPTimeout(Value.toInt());
    else if (Name == QLatin1String("SNMP Retries"))
        d->wrapper->setSNMPRetries(short(Value.toInt()));
}

void MIBTable::Clear()
{
    // Replies still due to an earlier retrieval must not land in the next one.
    SnmpEngine::forgetCallback(this);
    ++d->generation;
    d->walks.clear();
    d->walkByNode.clear();
    d->edits.clear();
    d->activeTimer.stop();
    d->busy = false;
    d->retrieving = false;
    d->cancel = false;
    d->unsupported = false;
    d->userSorted = false;
    d->walkError.clear();
    d->lastOid.clear();
    d->queryCounter = 0;
    d->grid->setIndicator(0);
    d->showMessage(QString());
    d->model->clearRows();
}

void MIBTable::Cancel()
{
    d->cancel = true;
}

void MIBTable::SetupTable()
{
    QVector<MIBTableModel::Column> columns;
    for (const TableColumn &c : d->columns) {
        MIBTableModel::Column column;
        column.caption = c.name;
        const int access = c.record->Access();
        column.writable = access == 2 || access == 3;
        column.pickList = c.record->EnumList();
        columns.append(column);
    }
    d->model->setColumns(columns);
    d->colSort.clear();
    QHeaderView *header = d->grid->horizontalHeader();
    const int minimum = d->grid->fontMetrics().horizontalAdvance(QStringLiteral("XXXXXXXX"));
    for (int c = 0; c < columns.size(); ++c)
        header->resizeSection(c, qMax(minimum, d->grid->fontMetrics().horizontalAdvance(columns.at(c).caption) + 24));
}

QString MIBTable::Target() const
{
    return d->target;
}

void MIBTable::setTarget(const QString &target)
{
    d->target = target.trimmed();
    d->ip = LiveValues::targetAddress(d->wrapper, d->target, &d->port);
}

QString MIBTable::TargetOIDName() const
{
    return d->targetOIDName;
}

void MIBTable::setTargetOIDName(const QString &name)
{
    d->targetOIDName = name;
}

QString MIBTable::IP() const
{
    return d->ip;
}

void MIBTable::setIP(const QString &ip)
{
    d->ip = ip.trimmed();
}

QString MIBTable::Community() const
{
    return d->community;
}

void MIBTable::setCommunity(const QString &community)
{
    d->community = community;
}

int MIBTable::SNMPPort() const
{
    return d->port;
}

void MIBTable::setSNMPPort(int port)
{
    d->port = port;
}

int MIBTable::SNMPVersion() const
{
    return d->version;
}

void MIBTable::setSNMPVersion(int version)
{
    d->version = version;
}

SnmpSession *MIBTable::SessionHandle() const
{
    return PelorusWrapper::defaultSession();
}

void MIBTable::setSessionHandle(SnmpSession *session)
{
    if (session != nullptr && session != PelorusWrapper::defaultSession())
        PelorusWrapper::defaultSession()->copyFrom(session);
}

QString MIBTable::CurrentOID() const
{
    return d->lastOid;
}

QXMibOID *MIBTable::CurrentOIDObject()
{
    if (!d->current)
        d->current = std::make_unique<QXMibOID>();
    if (d->current->OID() != d->lastOid)
        d->current->setOID(d->lastOid);
    return d->current.get();
}

QString MIBTable::Clip() const
{
    d->model->flush();
    return d->grid->selectionText();
}

void MIBTable::setClip(const QString &text)
{
    const int top = d->grid->currentGridRow();
    const int left = d->grid->currentGridCol();
    const QStringList lines = text.split(u'\n');
    for (int i = 0; i < lines.size(); ++i) {
        if (i == lines.size() - 1 && lines.at(i).isEmpty())
            break;
        const QStringList fields = lines.at(i).split(u'\t');
        for (int j = 0; j < fields.size(); ++j)
            setCell(top + i, left + j, fields.at(j));
    }
}

int MIBTable::Row() const
{
    return d->grid->currentGridRow();
}

void MIBTable::setRow(int row)
{
    d->model->flush();
    d->grid->setCurrentGridCell(row, qMax(1, d->grid->currentGridCol()));
}

int MIBTable::RowSel() const
{
    return d->grid->gridRowSel();
}

void MIBTable::setRowSel(int row)
{
    d->grid->selectTo(row, d->grid->gridColSel());
}

int MIBTable::RowHeight(int Row) const
{
    return Row == 0 ? d->grid->horizontalHeader()->height() : d->grid->verticalHeader()->sectionSize(Row - 1);
}

void MIBTable::setRowHeight(int Row, int Height)
{
    if (Row >= 1)
        d->grid->verticalHeader()->resizeSection(Row - 1, Height);
}

int MIBTable::Rows() const
{
    d->model->flush();
    return d->grid->gridRows();
}

void MIBTable::setRows(int rows)
{
    if (!d->model->pivoted())
        d->model->truncateRows(qMax(0, rows - 1));
}

int MIBTable::RowPosition(int Row) const
{
    return Row;
}

void MIBTable::setRowPosition(int Row, int Position)
{
    d->model->moveTableRow(Row - 1, Position - 1);
}

int MIBTable::Col() const
{
    return d->grid->currentGridCol();
}

void MIBTable::setCol(int col)
{
    d->grid->setCurrentGridCell(qMax(1, d->grid->currentGridRow()), col);
}

int MIBTable::ColSel() const
{
    return d->grid->gridColSel();
}

void MIBTable::setColSel(int col)
{
    d->grid->selectTo(d->grid->gridRowSel(), col);
}

int MIBTable::ColSort(int Col) const
{
    return d->colSort.value(Col, MIBTableModel::SortByIndex);
}

void MIBTable::setColSort(int Col, int Method)
{
    d->colSort.insert(Col, Method);
}

int MIBTable::ColWidth(int Col) const
{
    return Col == 0 ? d->grid->verticalHeader()->width() : d->grid->horizontalHeader()->sectionSize(Col - 1);
}

void MIBTable::setColWidth(int Col, int Width)
{
    if (Col >= 1)
        d->grid->horizontalHeader()->resizeSection(Col - 1, Width);
}

int MIBTable::ColAlignment(int Col) const
{
    return Col >= 1 && Col <= d->model->tableColumns() ? d->model->column(Col - 1).alignment : 0;
}

void MIBTable::setColAlignment(int Col, int Alignment)
{
    if (Col >= 1 && Col <= d->model->tableColumns())
        d->model->setColumnAlignment(Col - 1, Alignment);
}

int MIBTable::Cols() const
{
    d->model->flush();
    return d->grid->gridCols();
}

void MIBTable::setCols(int cols)
{
    if (d->model->pivoted())
        d->model->truncateRows(qMax(0, cols - 1));
}

int MIBTable::ColPosition(int Col) const
{
    return Col == 0 ? 0 : d->grid->horizontalHeader()->visualIndex(Col - 1) + 1;
}

void MIBTable::setColPosition(int Col, int Position)
{
    QHeaderView *header = d->grid->horizontalHeader();
    if (Col >= 1 && Position >= 1 && Col <= header->count() && Position <= header->count())
        header->moveSection(header->visualIndex(Col - 1), Position - 1);
}

QVariant MIBTable::ColData(int Col) const
{
    return Col >= 1 && Col <= d->model->tableColumns() ? d->model->column(Col - 1).data : QVariant();
}

void MIBTable::setColData(int Col, const QVariant &Data)
{
    if (Col >= 1 && Col <= d->model->tableColumns())
        d->model->setColumnData(Col - 1, Data);
}

QVariant MIBTable::RowData(int Row) const
{
    return Row >= 1 && Row <= d->model->tableRows() ? d->model->rowData(Row - 1) : QVariant();
}

void MIBTable::setRowData(int Row, const QVariant &Data)
{
    if (Row >= 1 && Row <= d->model->tableRows())
        d->model->setRowData(Row - 1, Data);
}

QString MIBTable::Cell(int Row, int Col) const
{
    d->model->flush();
    return d->grid->gridText(Row, Col);
}

void MIBTable::setCell(int Row, int Col, const QString &Text)
{
    d->model->flush();
    int row = 0;
    int col = 0;
    if (d->gridToTable(Row, Col, &row, &col))
        d->model->setCellText(row, col, Text);
}

void MIBTable::CopySelection()
{
    d->model->flush();
    d->grid->copySelection();
}

QString MIBTable::TableText(bool CSV) const
{
    d->model->flush();
    return LiveGrid::modelText(d->model, CSV, QStringLiteral("Index"));
}

bool MIBTable::ExportCSV(const QString &Path) const
{
    QSaveFile file(Path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(TableText(true).toUtf8());
    return file.commit();
}

MIBTableModel *MIBTable::model() const
{
    return d->model;
}

void MIBTable::contextMenuEvent(QContextMenuEvent *event)
{
    QMenu menu(this);
    menu.addAction(tr("Copy"), this, &MIBTable::CopySelection);
    menu.addAction(tr("Refresh Selection"), this, &MIBTable::RefreshSelection);
    menu.addAction(tr("Refresh Table"), this, &MIBTable::RefreshTable);
    menu.addAction(tr("Pivot"), this, &MIBTable::PivotTable);
    menu.addAction(tr("Details..."), this, &MIBTable::PopupOIDDetails);
    menu.addAction(tr("Export CSV..."), this, [this] {
        const QString path = QFileDialog::getSaveFileName(this, tr("Export CSV"), TargetOIDName() + ".csv",
                                                          tr("CSV files (*.csv)"));
        if (!path.isEmpty() && !ExportCSV(path))
            MessageSink::show(tr("Cannot write ") + path);
    });
    menu.exec(event->globalPos());
}
