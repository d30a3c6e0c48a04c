// The reply handling of the live views, MIBTable and MIBBrowser, driven by a
// program of host calls and replies in any order. The views send their
// requests through the thread's real engine to a loopback port where nobody
// answers; the replies they get are made here and handed to them as the engine
// would: any node id (their own walk steps, "Refresh", "CheckSet,", "GetType,",
// stale or unknown ones), request kind, error number and bindings of any OID,
// type, value and status, also after Cancel and Clear, between host calls,
// from inside their own Progress and Complete handlers, and to views that
// replaced destroyed ones. Model testers watch both grids' models; a view may
// show messages, but nothing may crash, leak, hang or leave a model inconsistent.
//
// Input: a setup byte (version, download mode, shown or not, table, browser
// root), then operations, each a byte (operation code) and its arguments, read
// from the front; running out of bytes reads zeros.

#include "fixturedatabase.h"
#include "livetables.h"

#include "core/database.h"
#include "core/globals.h"
#include "core/messagesink.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "snmp/widgets/mibbrowser.h"
#include "snmp/widgets/mibbrowsermodel.h"
#include "snmp/widgets/mibtable.h"
#include "snmp/widgets/mibtablemodel.h"
#include "snmp/peloruswrapper.h"
#include "snmp/snmpquery.h"
#include "snmp/varbindlist.h"

#include <QAbstractItemModelTester>
#include <QNetworkDatagram>
#include <QApplication>
#include <QLabel>
#include <QSettings>
#include <QTemporaryDir>
#include <QUdpSocket>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

const char *const kTables[] = {"ifTable", "hrSWRunTable", "ipAddrTable", "tcpConnTable", "hrSWInstalledTable",
                               "laTable", "ifEntry", "1.3.6.1.2.1.25.4.2", "ifDescr", "noSuchTable", "sysName"};
const char *const kRoots[] = {"system", "", "ifTable", "1.3.6.1.2.1.2.2.1.2", "1.3.6.1.4.1.99999", "1",
                              "sysName.0", "IF-MIB:ifEntry"};
const char *const kOids[] = {"1.3.6.1.2.1.1.5.0", "1.3.6.1.2.1.2.2.1.2.1", "1.3.6.1.2.1.2.2",
                             "1.3.6.1.2.1.25.4.2.1.7.3", "1.3.6.1.2.1.4.20.1.3.127.0.0.1", "1.3.6.1",
                             "1.3.6.1.2.1.2.2.1", "1.3.6.1.2.1.6.13.1.1.0.0.0.0.22.0.0.0.0.0", "",
                             "1.3.6.1.2.1.2.22", "0.0"};
const int kTypes[] = {2, 4, 5, 6, 64, 65, 66, 67, 68, 70, 128, 129, 130, 0, 3, 255};
const int kErrors[] = {1, 2, 3, 5, 6, 10, 16, 17, 18, -24, -3, -35, -61};

struct Input
{
    const uint8_t *at;
    const uint8_t *end;

    bool more() const { return at < end; }
    int byte() { return at < end ? *at++ : 0; }
    int pick(int n) { return byte() % n; }
    int number()
    {
        const int b = byte();
        switch (b % 8) {
        case 0: return -byte();
        case 1: return byte() * 256 + byte();
        case 2: return int(uint32_t(byte()) << 24 | uint32_t(byte()) << 16 | uint32_t(byte()) << 8 | uint32_t(byte()));
        default: return b / 8;
        }
    }
    QString text(int max = 24)
    {
        const int n = pick(max + 1);
        QByteArray bytes;
        for (int i = 0; i < n && more(); ++i)
            bytes += char(byte());
        return QString::fromLatin1(bytes);
    }
};

struct Fuzz
{
    std::unique_ptr<MIBTable> table;
    std::unique_ptr<MIBBrowser> browser;
    int port = 0;
    int version = 2;
    short mode = 1;
    bool shown = false;
    // Walks started by the browser: its walk steps are tagged "GetNext," + this serial.
    int browserWalks = 0;
    // What the views' handlers do: 0 nothing, 1 cancel, 2 Clear, 3 yield, 4 destroy the view, 5 start again.
    int progressAction = 0;
    int tableCompleteAction = 0;
    int browserCompleteAction = 0;
    int depth = 0;
    int restarts = 0;
    Input *in = nullptr;
    // QXMIB_FUZZ_TRACE set: what the views show at the end of each input goes to stderr.
    bool trace = qEnvironmentVariableIsSet("QXMIB_FUZZ_TRACE");

    MIBTable &tableView();
    MIBBrowser &browserView();
    QString oid(MIBTable *t);
    void reply(SNMPReply *view, const QString &node);
    void tableReply();
    void browserReply();
    void run(Input &input);
};

MIBTable &Fuzz::tableView()
{
    if (!table) {
        table = std::make_unique<MIBTable>();
        new QAbstractItemModelTester(table->model(), QAbstractItemModelTester::FailureReportingMode::Fatal, table.get());
        table->setIP(QStringLiteral("127.0.0.1"));
        table->setSNMPPort(port);
        table->setSNMPVersion(version);
        table->setDownloadMode(mode);
        QObject::connect(table.get(), &MIBTable::Progress, table.get(), [this](bool &cancel) {
            if (depth > 2)
                return;
            ++depth;
            switch (progressAction) {
            case 1: cancel = true; break;
            case 2: table->Clear(); break;
            case 3: QCoreApplication::processEvents(); break;
            case 4: table.reset(); break;
            case 5: table->RefreshTable(); break;
            default: break;
            }
            --depth;
        });
        // A handler that starts again on every Complete goes on for ever when every start fails: a few times.
        QObject::connect(table.get(), &MIBTable::Complete, table.get(), [this](bool) {
            if (depth > 2)
                return;
            ++depth;
            switch (tableCompleteAction) {
            case 2: table->Clear(); break;
            case 4: table.reset(); break;
            case 5: if (++restarts < 4) table->RefreshTable(); break;
            default: break;
            }
            --depth;
        });
        QObject::connect(table.get(), &MIBTable::CustomCellFormating, table.get(),
                         [](int, int col, QString &text, QColor &, QColor &back, QFont &) {
                             if (col == 2) {
                                 text = text.toUpper();
                                 back = Qt::yellow;
                             }
                         });
        if (shown) {
            table->resize(500, 300);
            table->show();
        }
    }
    return *table;
}

MIBBrowser &Fuzz::browserView()
{
    if (!browser) {
        browser = std::make_unique<MIBBrowser>();
        new QAbstractItemModelTester(browser->model(), QAbstractItemModelTester::FailureReportingMode::Fatal,
                                     browser.get());
        browser->setIP(QStringLiteral("127.0.0.1"));
        browser->setSNMPPort(port);
        browser->setSNMPVersion(version);
        browserWalks = 0;
        QObject::connect(browser.get(), &MIBBrowser::Complete, browser.get(), [this](bool) {
            if (depth > 2)
                return;
            ++depth;
            switch (browserCompleteAction) {
            case 2: browser->Clear(); break;
            case 4: browser.reset(); break;
            case 5:
                if (++restarts < 4) {
                    ++browserWalks;
                    browser->GetNextOID(3);
                }
                break;
            default: break;
            }
            --depth;
        });
        if (shown) {
            browser->resize(500, 300);
            browser->show();
        }
    }
    return *browser;
}

// An OID as the agent might return it: one the views know, a cell's, or any, with arcs added.
QString Fuzz::oid(MIBTable *t)
{
    QString text;
    switch (in->pick(6)) {
    case 0:
        if (t != nullptr && t->model()->tableRows() > 0)
            text = t->LookupOID(1 + in->pick(t->model()->tableRows()), 1 + in->pick(qMax(1, t->model()->tableColumns())));
        break;
    case 1:
        if (t != nullptr) {
            const QStringList columns = t->GetOIDList();
            text = columns.isEmpty() ? t->TableOID() : columns.at(in->pick(int(columns.size())));
        }
        break;
    case 2: text = in->text(); break;
    case 3:
        text = t != nullptr ? t->CurrentOID()
                            : (browser && browser->model()->rows() > 0 ? browser->LookupOID(browser->model()->rows())
                                                                        : QString());
        break;
    default: text = QLatin1String(kOids[in->pick(int(std::size(kOids)))]); break;
    }
    for (int arcs = in->pick(4); arcs > 0; --arcs)
        text += QLatin1Char('.') + QString::number(uint32_t(in->number()));
    return text;
}

void Fuzz::reply(SNMPReply *view, const QString &node)
{
    MIBTable *t = view == table.get() ? table.get() : nullptr;
    SnmpQuery query;
    query.setNodeID(node);
    const int kinds[] = {SnmpQuery::Get, SnmpQuery::GetNext, SnmpQuery::Set, SnmpQuery::GetBulk};
    query.setRequestType(kinds[in->pick(4)]);
    query.setSNMPVersion(version);
    query.setCallback(view);
    const int e = in->byte();
    if (e >= 200)
        query.setError(e < 240 ? kErrors[e % std::size(kErrors)] : in->number(), in->text(12), in->pick(3));
    for (int n = in->pick(12); n > 0 && in->more(); --n) {
        VarBind b;
        b.OID = oid(t);
        b.ValueType = in->pick(4) == 0 ? in->number() : kTypes[in->pick(int(std::size(kTypes)))];
        switch (in->pick(8)) {
        case 0: b.Value = QString(65000, QLatin1Char(char('0' + in->pick(75)))); break;
        case 1: b.Value = oid(t); break;
        case 2: b.Value = QString::number(in->number()); break;
        default: b.Value = in->text(); break;
        }
        b.HexValue = in->pick(8) == 0 ? in->text() : QString::fromLatin1(b.Value.toLatin1().toHex().toUpper());
        const int status = in->pick(10);
        b.Status = status < 7 ? 0 : status == 7 ? 128 + in->pick(3) : in->number();
        query.VarBinds()->append(b);
    }
    try {
        view->Reply(&query);
    } catch (const QXMibError &e) {
        std::fprintf(stderr, "a reply threw %d: %s\n", e.number(), qPrintable(e.description()));
        std::abort();
    }
}

void Fuzz::tableReply()
{
    MIBTable &t = tableView();
    QString node;
    const QString cell = oid(&t);
    switch (in->pick(8)) {
    case 0:
    case 1:
    case 2: {
        const int columns = t.model()->tableColumns();
        node = mode == 0 || columns == 0 ? t.TableObject()->BaseName()
                                         : t.model()->column(in->pick(columns)).caption;
        break;
    }
    case 3: node = QStringLiteral("Refresh,") + cell; break;
    case 4: node = QStringLiteral("GetType,") + cell; break;
    case 5: node = QStringLiteral("CheckSet,") + cell; break;
    case 6: node = QStringLiteral("Refresh") + in->text(); break;
    default: node = in->text(); break;
    }
    reply(&t, node);
}

void Fuzz::browserReply()
{
    MIBBrowser &b = browserView();
    QString node;
    const int row = in->pick(qMax(1, b.model()->rows() + 2));
    switch (in->pick(6)) {
    case 0:
    case 1:
    case 2: node = QStringLiteral("GetNext,") + QString::number(browserWalks - in->pick(2)); break;
    case 3: node = QStringLiteral("Refresh,") + QString::number(row); break;
    case 4: node = QStringLiteral("CheckSet,") + QString::number(row); break;
    default: node = in->text(); break;
    }
    reply(&b, node);
}

void Fuzz::run(Input &input)
{
    in = &input;
    restarts = 0;
    progressAction = tableCompleteAction = browserCompleteAction = 0;
    const int setup = input.byte();
    version = 1 + setup % 3;
    mode = short((setup >> 2) & 1);
    shown = (setup >> 3) & 1;
    tableView().GetTable(QLatin1String(kTables[input.pick(int(std::size(kTables)))]));
    browserView().setCurrentOID(QLatin1String(kRoots[input.pick(int(std::size(kRoots)))]));
    ++browserWalks;
    browser->Activate();

    for (int ops = 0; input.more() && ops < 200; ++ops) {
        switch (input.pick(20)) {
        case 0:
        case 1:
        case 2: tableReply(); break;
        case 3:
        case 4:
        case 5: browserReply(); break;
        case 6: (input.pick(2) ? static_cast<QWidget &>(tableView()) : browserView()).setVisible(input.pick(2)); break;
        case 7:
            if (input.pick(2))
                tableView().Cancel();
            else
                browserView().Cancel();
            break;
        case 8:
            if (input.pick(2))
                tableView().Clear();
            else
                browserView().Clear();
            break;
        case 9: QCoreApplication::processEvents(); break;
        case 10: PelorusWrapper::instance()->Cancel(); break;
        case 11: tableView().ScanComplete(); break;
        case 12:
            switch (input.pick(4)) {
            case 0: tableView().GetTable(QLatin1String(kTables[input.pick(int(std::size(kTables)))])); break;
            case 1: tableView().RefreshTable(); break;
            case 2: tableView().GetOIDList({input.text(), QStringLiteral("ifDescr hrSWRunStatus")}); break;
            default: tableView().Activate(); break;
            }
            break;
        case 13:
            ++browserWalks;
            switch (input.pick(3)) {
            case 0: browserView().Activate(); break;
            case 1: browserView().GetNextOID(input.number(), input.pick(2) ? oid(nullptr) : QString()); break;
            default: browserView().GetOID(oid(nullptr)); break;
            }
            break;
        case 14: {
            MIBTable &t = tableView();
            const int r = input.number();
            const int c = input.number();
            switch (input.pick(6)) {
            case 0: t.RefreshCell(r, c); break;
            case 1: t.RefreshArea(r, input.number(), c, input.number()); break;
            case 2: t.RefreshRow(r); break;
            case 3: t.RefreshCols(c, input.number()); break;
            case 4: t.SelectAll(); t.RefreshSelection(); break;
            default: t.model()->setData(t.model()->index(r, c), input.text()); break;
            }
            break;
        }
        case 15: {
            MIBBrowser &b = browserView();
            const int r = input.number();
            switch (input.pick(5)) {
            case 0: b.RefreshRow(r); break;
            case 1: b.RefreshAll(); break;
            case 2: b.SelectAll(); b.RefreshSelection(); break;
            case 3: b.EditRow(r, input.text()); break;
            default: b.model()->setData(b.model()->index(r, input.pick(4)), input.text()); break;
            }
            break;
        }
        case 16: {
            MIBTable &t = tableView();
            const int a = input.number();
            const int b = input.number();
            switch (input.pick(10)) {
            case 0: t.PivotTable(); break;
            case 1: t.setRow(a); t.setCol(b); t.Sort(input.number()); break;
            case 2: t.setRows(a); break;
            case 3: t.setRowPosition(a, b); break;
            case 4: t.setColPosition(a, b); break;
            case 5: t.setCell(a, b, input.text()); break;
            case 6: t.setRow(a); t.setCol(b); t.setClip(input.text()); break;
            case 7: t.setRowSel(a); t.setColSel(b); (void)t.Clip(); (void)t.Selection(); break;
            case 8: t.setDownloadMode(short(a)); t.setSNMPVersion(1 + b % 3); break;
            default: t.PopulateCell(oid(&t), input.text(), kTypes[input.pick(int(std::size(kTypes)))], input.text(4)); break;
            }
            break;
        }
        case 17: {
            MIBBrowser &b = browserView();
            const int a = input.number();
            switch (input.pick(6)) {
            case 0: b.setFields(input.text(12)); break;
            case 1: b.setRow(a); (void)b.SelectedOID(); (void)b.SelectedParsedValue(); (void)b.TableObject(); break;
            case 2: (void)b.AddValue(oid(nullptr), input.text(), kTypes[input.pick(int(std::size(kTypes)))], input.text(4), input.number()); break;
            case 3: b.PopulateRow(a, oid(nullptr), input.text(), input.number(), input.text(4)); break;
            case 4: b.ValueAfterSet(a, oid(nullptr), input.text(), input.number(), input.text(4)); break;
            default: b.setCurrentOID(oid(nullptr)); break;
            }
            break;
        }
        case 18: {
            const int what = input.pick(5);
            if (what == 0)
                progressAction = input.pick(6);
            else if (what == 1)
                tableCompleteAction = input.pick(6);
            else if (what == 2)
                browserCompleteAction = input.pick(6);
            else if (what == 3)
                table.reset();
            else
                browser.reset();
            break;
        }
        default:
            if (table) {
                (void)table->TableText(input.pick(2));
                (void)table->Cell(input.number(), input.number());
                (void)table->SelectedOID();
                (void)table->CurrentOIDObject();
            }
            if (browser) {
                (void)browser->TableText(input.pick(2));
                (void)browser->Selection();
                (void)browser->LookupIndex(input.number());
            }
            break;
        }
    }
    if (trace) {
        std::fprintf(stderr, "-- table %s\n%s-- browser\n%s", table ? qPrintable(table->findChild<QLabel *>()->text()) : "",
                     table ? qPrintable(table->TableText(false).left(2000)) : "",
                     browser ? qPrintable(browser->TableText(false).left(2000)) : "");
    }
    PelorusWrapper::instance()->Cancel();
    table.reset();
    browser.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    in = nullptr;
}

QUdpSocket *silentAgent = nullptr;
Fuzz *fuzz = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Never destroyed: at exit Qt's own statics may be gone before it.
    new QApplication(*argc, *argv);
    // Warnings of the platform and the views are no findings; a model tester's failure is fatal.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type == QtFatalMsg) {
            std::fprintf(stderr, "%s\n", qPrintable(text));
            std::abort();
        }
    });
    static QTemporaryDir settings;
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, settings.path());
    // Messages are what a view says about bad replies: they may come.
    MessageSink::setHandler([](const QString &, const QString &) {});
    static FixtureDatabase scratch;
    scratch.addStandardObjects();
    LiveTables::add(scratch);
    scratch.activate();
    // Requests go here and stay unanswered: the replies come from the input.
    silentAgent = new QUdpSocket;
    if (!silentAgent->bind(QHostAddress::LocalHost, 0))
        std::abort();
    fuzz = new Fuzz;
    fuzz->port = silentAgent->localPort();
    // Fonts and styles load once, on the first painting: before the first input.
    {
        MIBTable table;
        MIBBrowser browser;
        table.show();
        browser.show();
        (void)table.grab();
        (void)browser.grab();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input input{data, data + size};
    fuzz->run(input);
    // Drop what the silent agent was sent.
    while (silentAgent->hasPendingDatagrams())
        silentAgent->receiveDatagram(0);
    return 0;
}
