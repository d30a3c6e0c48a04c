#include "snmp/widgets/mibbrowser.h"

#include "core/messagesink.h"
#include "core/widgets/widgetfactory.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "snmp/widgets/livegrid.h"
#include "snmp/livevalues_p.h"
#include "snmp/widgets/mibbrowsermodel.h"
#include "snmp/peloruswrapper.h"
#include "snmp/settings.h"
#include "snmp/snmpengine.h"
#include "snmp/snmpquery.h"
#include "snmp/snmpsession.h"
#include "snmp/varbindlist.h"
#include "trees/widgets/oiddetailsform.h"

#include <QContextMenuEvent>
#include <QFileDialog>
#include <QHeaderView>
#include <QMenu>
#include <QPointer>
#include <QSaveFile>
#include <QVBoxLayout>

#include <cmath>

QXMIB_REGISTER_WIDGET(MIBBrowser, MIBBrowser)

namespace {

const QString kCheckSet = QStringLiteral("CheckSet,");
const QString kRefresh = QStringLiteral("Refresh,");
const QString kUnsupported = QStringLiteral("** unsupported OID **");
constexpr int kFirstObjects = 99;
constexpr int kNoSuchName = 2;

struct PendingSet
{
    QString typed;
    int replies = 2;
    bool reported = false;
};

bool isError(const QString &error)
{
    return !error.isEmpty() && error != QLatin1String("0") && error != QLatin1String("OK");
}

VarBind binding(const QString &oid, const QString &value, int type, int status)
{
    VarBind b;
    b.OID = oid.startsWith(u'.') ? oid.mid(1) : oid;
    b.Value = value;
    b.HexValue = QString::fromLatin1(value.toLatin1().toHex().toUpper());
    b.ValueType = type;
    b.Status = status;
    return b;
}

} // namespace

class MIBBrowserPrivate
{
public:
    explicit MIBBrowserPrivate(MIBBrowser *owner)
        : q(owner)
    {
    }

    QString address() const { return LiveValues::withPort(ip, port); }
    int effectiveVersion() const
    {
        return version == 2 && settings && settings->DisableSNMPV2() ? 1 : version;
    }
    QXMibOID &lookup()
    {
        if (!record)
            record = std::make_unique<QXMibOID>();
        return *record;
    }
    QString resolve(const QString &text);
    MIBBrowserModel::Row makeRow(const VarBind &b, const QString &error, const QString &description);
    void startWalk(const QString &from, bool single);
    void send(bool get, const QString &oid, const QString &node);
    void walkReply(SnmpQuery *query);
    void endWalk();
    void valueAfterSet(int row, const VarBind &b, const QString &error, const QString &description);

    MIBBrowser *q;
    PelorusWrapper *wrapper = PelorusWrapper::instance();
    std::unique_ptr<Settings> settings;
    LiveGrid *grid = nullptr;
    MIBBrowserModel *model = nullptr;
    std::unique_ptr<QXMibOID> record;
    std::unique_ptr<QXMibOID> rootRecord;
    std::unique_ptr<QXMibOID> rowRecord;
    QString ip;
    QString target;
    QString community = QStringLiteral("public");
    int port = 161;
    int version = 2;
    QString root;
    QString lastOid;
    short rowsToGo = 0;
    bool found = false;
    QString walkNode;
    quint64 walkSerial = 0;
    bool walking = false;
    bool single = false;
    bool cancel = false;
    int outstanding = 0;
    QHash<int, PendingSet> sets;
};

MIBBrowserModel::Row MIBBrowserPrivate::makeRow(const VarBind &b, const QString &error, const QString &description)
{
    QXMibOID &object = lookup();
    object.setOID(b.OID);
    const bool known = !object.Name().isEmpty();
    MIBBrowserModel::Row row;
    row.oid = b.OID;
    row.texts[0] = b.OID;
    row.texts[1] = known ? object.Name() : b.OID;
    if (known) {
        row.texts[2] = object.FullName();
        row.texts[3] = object.MIB();
        row.texts[4] = object.Index();
        row.texts[5] = object.TypeString();
        row.texts[6] = object.StatusString();
        row.texts[7] = object.AccessString();
        row.texts[11] = object.Description().simplified();
    }
    row.type = b.ValueType;
    if (isError(error)) {
        const QString text = QStringLiteral("Error ") + error
            + (description.isEmpty() ? QString() : QStringLiteral(": ") + description);
        row.texts[9] = row.texts[10] = row.raw = text;
        return row;
    }
    row.texts[8] = b.ValueType != 0 ? LiveValues::typeName(b.ValueType) : QString();
    row.raw = row.texts[9] = LiveValues::rawText(b);
    row.texts[10] = b.ValueType != 0 ? LiveValues::cellText(object, b) : b.Value;
    row.writable = known && b.Status == 0 && b.ValueType != 0 && (object.Access() == 2 || object.Access() == 3);
    if (row.writable && !object.Enumerated().isEmpty())
        row.pickList = object.EnumList();
    return row;
}

// A name, MODULE:name, name.instance or OID as dotted decimals without a leading dot.
QString MIBBrowserPrivate::resolve(const QString &text)
{
    QString oid = text.trimmed();
    if (oid.startsWith(u'.'))
        oid.remove(0, 1);
    if (oid.isEmpty() || oid.at(0).isDigit())
        return oid;
    QXMibOID &object = lookup();
    object.setFullName(oid);
    if (!object.OID().isEmpty())
        return object.OID();
    const qsizetype dot = oid.indexOf(u'.');
    if (dot > 0) {
        object.setFullName(oid.left(dot));
        if (!object.OID().isEmpty())
            return object.OID() + oid.mid(dot);
    }
    return oid;
}

void MIBBrowserPrivate::send(bool get, const QString &oid, const QString &node)
{
    if (get)
        wrapper->SNMPQueryGet(address(), community, oid, effectiveVersion(), q, PelorusWrapper::defaultSession(), true,
                              node);
    else
        wrapper->SNMPQueryGetNext(address(), community, oid, effectiveVersion(), q, PelorusWrapper::defaultSession(),
                                  true, node);
    ++outstanding;
}

void MIBBrowserPrivate::startWalk(const QString &from, bool isSingle)
{
    walkNode = QStringLiteral("GetNext,") + QString::number(++walkSerial);
    walking = true;
    single = isSingle;
    cancel = false;
    found = false;
    lastOid = from;
    send(single, from, walkNode);
}

void MIBBrowserPrivate::walkReply(SnmpQuery *query)
{
    const QVector<VarBind> bindings = query->VarBinds()->items();
    const int error = query->ErrorNumber();
    const QString errorText = QString::number(error);
    bool more = !bindings.isEmpty() && !single;
    for (const VarBind &b : bindings) {
        if (single) {
            model->appendRow(makeRow(b, errorText, query->ErrorDescription()));
            lastOid = b.OID;
            break;
        }
        const bool increasing = LiveValues::compareOids(b.OID, lastOid) > 0;
        if (!root.isEmpty()) {
            // noSuchName is how a version 1 agent says its MIB has ended.
            const bool endOfView = error == kNoSuchName && effectiveVersion() == 1;
            if (error != 0 && !endOfView) {
                model->appendRow(makeRow(b, errorText, query->ErrorDescription()));
                more = false;
                break;
            }
            if (endOfView || b.Status != 0 || !b.OID.startsWith(root)) {
                if (!found) {
                    model->appendRow(makeRow(binding(root, kUnsupported, 0, 0), QString(), QString()));
                    lastOid = b.OID;
                }
                more = false;
                break;
            }
            if (!increasing) {
                more = false;
                break;
            }
            found = true;
            model->appendRow(makeRow(b, errorText, QString()));
        } else {
            if (error != 0 || !increasing) {
                more = false;
                break;
            }
            model->appendRow(makeRow(b, errorText, QString()));
            if (rowsToGo < 1) {
                lastOid = b.OID;
                more = false;
                break;
            }
            --rowsToGo;
        }
        lastOid = b.OID;
        if (b.Status != 0) {
            more = false;
            break;
        }
    }
    if (more && !cancel)
        send(false, lastOid, walkNode);
    else
        endWalk();
}

void MIBBrowserPrivate::endWalk()
{
    walking = false;
    model->flush();
    Q_EMIT q->Complete(cancel);
}

void MIBBrowserPrivate::valueAfterSet(int row, const VarBind &b, const QString &error, const QString &description)
{
    auto set = sets.find(row);
    if (!isError(error) && row >= 1 && row <= model->rows() && b.OID == model->row(row - 1).oid)
        model->replaceRow(row - 1, makeRow(b, error, description));
    if (set == sets.end())
        return;
    const QString typed = set->typed.trimmed();
    bool took = !isError(error);
    if (took) {
        QXMibOID &object = lookup();
        object.setOID(b.OID);
        took = typed == b.Value || typed == LiveValues::rawText(b) || typed == LiveValues::cellText(object, b);
    }
    if (!took && !set->reported) {
        set->reported = true;
        const QString name = row >= 1 && row <= model->rows() ? model->row(row - 1).texts[1] : b.OID;
        MessageSink::warn(QStringLiteral("Could not change ") + name + QStringLiteral(" to \"") + set->typed
                          + QStringLiteral("\"."));
    }
    if (--set->replies <= 0)
        sets.erase(set);
}

MIBBrowser::MIBBrowser(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<MIBBrowserPrivate>(this))
{
    d->model = new MIBBrowserModel(this);
    d->model->editHandler = [this](int row, const QVariant &value) { EditRow(row + 1, value.toString()); };
    d->grid = new LiveGrid(this);
    d->grid->setModel(d->model);
    d->grid->verticalHeader()->hide();
    d->grid->setSelectionBehavior(QAbstractItemView::SelectRows);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(d->grid);
    try {
        d->settings = std::make_unique<Settings>();
        connect(d->settings.get(), &Settings::Changed, this, &MIBBrowser::mSettings_Changed);
        d->wrapper->setSNMPTimeout(d->settings->SNMPTimeout());
        d->wrapper->setSNMPRetries(d->settings->SNMPRetries());
    } catch (const QXMibError &e) {
        d->settings.reset();
        qWarning("MIBBrowser: %s", qPrintable(e.description()));
    }
    setFields(QStringLiteral("1,10,5,0"));
}

MIBBrowser::~MIBBrowser()
{
    SnmpEngine::forgetCallback(this);
}

QXMibOID *MIBBrowser::TableObject()
{
    if (!d->rowRecord)
        d->rowRecord = std::make_unique<QXMibOID>();
    const QString oid = SelectedOID();
    if (d->rowRecord->OID() != oid)
        d->rowRecord->setOID(oid);
    return d->rowRecord.get();
}

QString MIBBrowser::Target() const
{
    return d->target;
}

void MIBBrowser::setTarget(const QString &target)
{
    d->target = target.trimmed();
    d->ip = LiveValues::targetAddress(d->wrapper, d->target, &d->port);
}

QString MIBBrowser::IP() const
{
    return d->ip;
}

void MIBBrowser::setIP(const QString &ip)
{
    d->ip = ip.trimmed();
}

QString MIBBrowser::Community() const
{
    return d->community;
}

void MIBBrowser::setCommunity(const QString &community)
{
    d->community = community;
}

int MIBBrowser::SNMPPort() const
{
    return d->port;
}

void MIBBrowser::setSNMPPort(int port)
{
    d->port = port;
}

QString MIBBrowser::CurrentOID() const
{
    return d->root;
}

void MIBBrowser::setCurrentOID(const QString &oid)
{
    d->root = d->resolve(oid);
}

int MIBBrowser::SNMPVersion() const
{
    return d->version;
}

void MIBBrowser::setSNMPVersion(int version)
{
    d->version = version;
}

SnmpSession *MIBBrowser::SessionHandle() const
{
    return PelorusWrapper::defaultSession();
}

void MIBBrowser::setSessionHandle(SnmpSession *session)
{
    if (session != nullptr && session != PelorusWrapper::defaultSession())
        PelorusWrapper::defaultSession()->copyFrom(session);
}

QXMibOID *MIBBrowser::CurrentOIDObject()
{
    if (!d->rootRecord)
        d->rootRecord = std::make_unique<QXMibOID>();
    if (d->rootRecord->OID() != d->root)
        d->rootRecord->setOID(d->root);
    return d->rootRecord.get();
}

int MIBBrowser::Cols() const
{
    return d->model->columnCount();
}

void MIBBrowser::Cancel()
{
    d->cancel = true;
}

void MIBBrowser::Activate()
{
    if (d->settings) {
        d->wrapper->setSNMPTimeout(d->settings->SNMPTimeout());
        d->wrapper->setSNMPRetries(d->settings->SNMPRetries());
    }
    Clear();
    if (d->root.isEmpty()) {
        GetNextOID(kFirstObjects, QStringLiteral("1"));
        return;
    }
    d->startWalk(d->root, false);
}

void MIBBrowser::GetOID(const QString &OID)
{
    d->startWalk(d->resolve(OID), true);
}

void MIBBrowser::GetNextOID(int Count, const QString &StartOID)
{
    d->rowsToGo = short(qBound(0, Count, 32767));
    d->startWalk(StartOID.isEmpty() ? d->lastOid : d->resolve(StartOID), false);
}

bool MIBBrowser::Busy() const
{
    return d->walking || d->outstanding > 0;
}

void MIBBrowser::SetupTable()
{
    QFont font(QStringLiteral("Arial"));
    d->grid->setFont(font);
    const QFontMetrics metrics(font);
    const QVector<int> codes = d->model->codes();
    for (int c = 0; c < codes.size(); ++c) {
        const int probe = MIBBrowserModel::probeLength(codes.at(c));
        d->grid->horizontalHeader()->resizeSection(
            c, probe > 0 ? metrics.horizontalAdvance(QString(probe, u'X')) : metrics.horizontalAdvance(u'X') * 10);
    }
    d->grid->verticalHeader()->setDefaultSectionSize(int(std::lround(1.2 * metrics.height())));
}

int MIBBrowser::AddValue(const QString &OID, const QString &Value, int ValueType, const QString &Error, int Status)
{
    return d->model->appendRow(d->makeRow(binding(OID, Value, ValueType, Status), Error, QString())) + 1;
}

void MIBBrowser::PopulateRow(int Row, const QString &OID, const QString &Value, int ValueType, const QString &Error,
                             int Status)
{
    if (Row >= 1 && Row <= d->model->rows())
        d->model->replaceRow(Row - 1, d->makeRow(binding(OID, Value, ValueType, Status), Error, QString()));
}

void MIBBrowser::mSettings_Changed(const QString &Name, const QVariant &Value)
{
    if (Name == QLatin1String("SNMP Timeout"))
        d->wrapper->setSNMPTimeout(Value.toInt());
    else if (Name == QLatin1String("SNMP Retries"))
        d->wrapper->setSNMPRetries(short(Value.toInt()));
}

void MIBBrowser::RefreshRow(int Row)
{
    if (Row >= 1 && Row <= d->model->rows())
        d->send(true, d->model->row(Row - 1).oid, kRefresh + QString::number(Row));
}

void MIBBrowser::RefreshSelection()
{
    d->model->flush();
    QList<int> rows;
    for (const QModelIndex &i : d->grid->selectedCells()) {
        if (!rows.contains(i.row() + 1))
            rows.append(i.row() + 1);
    }
    for (const int row : std::as_const(rows))
        RefreshRow(row);
}

void MIBBrowser::RefreshAll()
{
    for (int row = 1; row <= d->model->rows(); ++row)
        RefreshRow(row);
}

void MIBBrowser::ValueAfterSet(int Row, const QString &OID, const QString &Value, int ValueType, const QString &Error)
{
    d->valueAfterSet(Row, binding(OID, Value, ValueType, 0), Error, QString());
}

void MIBBrowser::RefreshResponse(int Row, const QString &OID, const QString &Value, int ValueType,
                                 const QString &Error)
{
    PopulateRow(Row, OID, Value, ValueType, Error);
}

void MIBBrowser::SNMPReply_Reply(SnmpQuery *Query)
{
    if (Query == nullptr)
        return;
    d->outstanding = qMax(0, d->outstanding - 1);
    const QString node = Query->NodeID();
    const VarBindList *list = Query->VarBinds();
    const QString error = QString::number(Query->ErrorNumber());
    try {
        if (node.startsWith(kCheckSet)) {
            const int row = node.mid(kCheckSet.size()).toInt();
            const VarBind b = list->Count() > 0 ? list->at(0) : binding(LookupOID(row), QString(), 5, 0);
            d->valueAfterSet(row, b, error, Query->ErrorDescription());
        } else if (node.startsWith(kRefresh)) {
            const int row = node.mid(kRefresh.size()).toInt();
            if (list->Count() > 0 && row >= 1 && row <= d->model->rows())
                d->model->replaceRow(row - 1, d->makeRow(list->at(0), error, Query->ErrorDescription()));
        } else if (d->walking && node == d->walkNode) {
            d->walkReply(Query);
        }
    } catch (const QXMibError &e) {
        // A reply must not throw into the event loop; the walk ends with it.
        qWarning("MIBBrowser: %s", qPrintable(e.description()));
        if (d->walking && node == d->walkNode)
            d->endWalk();
    }
}

void MIBBrowser::Reply(SnmpQuery *query)
{
    SNMPReply_Reply(query);
}

QString MIBBrowser::LookupOID(int Row) const
{
    return Row >= 1 && Row <= d->model->rows() ? d->model->row(Row - 1).oid : QString();
}

QString MIBBrowser::LookupIndex(int Row) const
{
    return Row >= 1 && Row <= d->model->rows() ? d->model->row(Row - 1).texts[4] : QString();
}

int MIBBrowser::OIDIndex(const QString &OID) const
{
    return d->model->findOid(OID.startsWith(u'.') ? OID.mid(1) : OID) + 1;
}

int MIBBrowser::Row() const
{
    return d->grid->currentGridRow();
}

void MIBBrowser::setRow(int row)
{
    d->model->flush();
    d->grid->setCurrentGridCell(row, qMax(1, d->grid->currentGridCol()));
}

void MIBBrowser::EditRow(int Row, const QString &Value)
{
    if (Row < 1 || Row > d->model->rows())
        return;
    const MIBBrowserModel::Row &row = d->model->row(Row - 1);
    QXMibOID &object = d->lookup();
    object.setOID(row.oid);
    const int type = object.TypeInteger() != 0 ? object.TypeInteger() : row.type;
    const QString node = kCheckSet + QString::number(Row);
    d->sets.insert(Row, {Value, 2, false});
    try {
        d->wrapper->SNMPQuerySet(d->address(), d->community, row.oid, d->effectiveVersion(), this, Value, type,
                                 PelorusWrapper::defaultSession(), true, node);
        ++d->outstanding;
        d->send(true, row.oid, node);
    } catch (const QXMibError &e) {
        d->sets.remove(Row);
        MessageSink::show(e.description());
    }
}

void MIBBrowser::Clear()
{
    SnmpEngine::forgetCallback(this);
    d->outstanding = 0;
    d->walking = false;
    d->sets.clear();
    d->lastOid.clear();
    d->found = false;
    d->model->clear();
}

QString MIBBrowser::Fields() const
{
    QStringList codes;
    for (const int code : d->model->codes())
        codes.append(QString::number(code));
    return codes.join(u',');
}

void MIBBrowser::setFields(const QString &fields)
{
    QVector<int> codes;
    for (const QString &part : fields.split(u',', Qt::SkipEmptyParts)) {
        bool ok = false;
        const int code = part.trimmed().toInt(&ok);
        if (ok)
            codes.append(code);
    }
    d->model->setCodes(codes);
    SetupTable();
}

int MIBBrowser::MouseRow() const
{
    return d->grid->mouseRow();
}

int MIBBrowser::MouseCol() const
{
    return d->grid->mouseCol() < 1 ? -1 : d->grid->mouseCol() - 1;
}

void MIBBrowser::PopupOIDDetails()
{
    const QString oid = SelectedOID();
    if (oid.isEmpty())
        return;
    try {
        OIDDetailsForm::popup(oid, SelectedRawValue(), SelectedParsedValue());
    } catch (const QXMibError &e) {
        MessageSink::show(e.description());
    }
}

QString MIBBrowser::SelectedOID() const
{
    return LookupOID(Row());
}

QString MIBBrowser::SelectedRawValue() const
{
    const int row = Row();
    return row >= 1 && row <= d->model->rows() ? d->model->row(row - 1).raw : QString();
}

QString MIBBrowser::SelectedParsedValue() const
{
    const int row = Row();
    return row >= 1 && row <= d->model->rows() ? d->model->row(row - 1).texts[10] : QString();
}

QStringList MIBBrowser::Selection() const
{
    d->model->flush();
    QStringList oids;
    for (const QModelIndex &i : d->grid->selectedCells()) {
        const QString oid = LookupOID(i.row() + 1);
        if (oids.isEmpty() || oids.last() != oid)
            oids.append(oid);
    }
    return oids;
}

void MIBBrowser::SelectAll()
{
    d->model->flush();
    d->grid->selectAll();
}

void MIBBrowser::CopySelection()
{
    d->model->flush();
    d->grid->copySelection();
}

QString MIBBrowser::TableText(bool CSV) const
{
    d->model->flush();
    return LiveGrid::modelText(d->model, CSV);
}

bool MIBBrowser::ExportCSV(const QString &Path) const
{
    QSaveFile file(Path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(TableText(true).toUtf8());
    return file.commit();
}

MIBBrowserModel *MIBBrowser::model() const
{
    return d->model;
}

void MIBBrowser::contextMenuEvent(QContextMenuEvent *event)
{
    QMenu menu(this);
    menu.addAction(tr("Copy"), this, &MIBBrowser::CopySelection);
    menu.addAction(tr("Refresh Selection"), this, &MIBBrowser::RefreshSelection);
    menu.addAction(tr("Refresh All"), this, &MIBBrowser::RefreshAll);
    menu.addAction(tr("Details..."), this, &MIBBrowser::PopupOIDDetails);
    menu.addAction(tr("Export CSV..."), this, [this] {
        const QString path = QFileDialog::getSaveFileName(this, tr("Export CSV"), QString(), tr("CSV files (*.csv)"));
        if (!path.isEmpty() && !ExportCSV(path))
            MessageSink::show(tr("Cannot write ") + path);
    });
    menu.exec(event->globalPos());
}
