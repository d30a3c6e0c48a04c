#include "mainwindow.h"

#include "controls.h"
#include "notificationspane.h"
#include "snmpsettingsdialog.h"

#include "core/globals.h"
#include "core/oidtext.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "snmp/localagent.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDateTime>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QDockWidget>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QPrintDialog>
#include <QPrinter>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QSplitter>
#include <QStandardPaths>
#include <QStatusBar>
#include <QTabBar>
#include <QTabWidget>
#include <QTextDocument>
#include <QToolBar>
#include <QVBoxLayout>

namespace {

// The text formats of the tree's Selection and drags, by DragMethod.
const char *const kCopyFormats[] = {
    "Name and OID",       "OID",           "Name, OID",       "OID, name",      "Indented outline",   "Full name",
    "Full name, OID",     "OID, full name", "Long name",      "C #define",      "Basic Global Const",
};

const char kUnsupported[] = "** unsupported OID **";
// The engine's texts for a Get of an object or instance the agent does not have.
const char *const kNoSuchValue[] = {"No Such Object available", "No Such Instance currently exists",
                                    "No more variables left"};

QSettings layoutStore()
{
    return QSettings(QSettings::IniFormat, QSettings::UserScope, Globals::applicationTitle(),
                     QStringLiteral("qxmib-browser"));
}

QString gridText(const QAbstractItemView *grid, int row, int column)
{
    return grid->model()->index(row, column).data().toString();
}

QString htmlTable(const QString &tabSeparated)
{
    QString html = QStringLiteral("<table border=1 cellspacing=0 cellpadding=2>");
    const QStringList lines = tabSeparated.split(u'\n', Qt::SkipEmptyParts);
    for (int i = 0; i < lines.size(); ++i) {
        html += QStringLiteral("<tr>");
        for (const QString &cell : lines.at(i).split(u'\t'))
            html += (i == 0 ? QStringLiteral("<th>") : QStringLiteral("<td>")) + cell.toHtmlEscaped()
                + (i == 0 ? QStringLiteral("</th>") : QStringLiteral("</td>"));
        html += QStringLiteral("</tr>");
    }
    return html + QStringLiteral("</table>");
}

const char kMibxFilter[] = "MIB-X files (*.mibx *.xml);;All files (*)";

QString unknownObject(const QString &name)
{
    return QCoreApplication::translate("MainWindow",
                                       "%1 is not a table or object the MIB database knows. Check the name, or "
                                       "import the MIB module that defines it (File > Import MIB-X Files).")
        .arg(name);
}

} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
{
    setObjectName(QStringLiteral("MainWindow"));
    setWindowTitle(tr("QXMIB Browser"));
    m_import = new MibImport(this);
    m_session = Controls::create("SNMPSession", this);
    createControls();
    createActions();

    m_busyTimer.setInterval(250);
    connect(&m_busyTimer, &QTimer::timeout, this, &MainWindow::updateBusyState);
    connect(m_import, &MibImport::message, this,
            [this](const QString &text, MibImport::Kind kind) { log(text, kind == MibImport::Problem); });
    connect(m_import, &MibImport::progress, this, [this](int done, int total, const QString &what) {
        m_progress->setRange(0, total);
        m_progress->setValue(done);
        m_progress->setVisible(done < total || total == 0);
        if (!what.isEmpty())
            m_status->setText(total > 0 ? tr("Importing %1 (%2 of %3)").arg(what).arg(done + 1).arg(total)
                                        : tr("Compiling: %1").arg(what));
    });
    connect(m_import, &MibImport::finished, this, &MainWindow::refreshAfterImport);
    setIdle(tr("Ready"));
    guarded([this] { Controls::call(m_tree, "Refresh"); });
}

MainWindow::~MainWindow() = default;

void MainWindow::showNotifications()
{
    m_tabs->setCurrentWidget(m_notifications);
}

void MainWindow::createControls()
{
    m_targetBar = new TargetBar;
    QToolBar *agentBar = addToolBar(tr("Agent"));
    agentBar->setObjectName(QStringLiteral("AgentToolBar"));
    agentBar->addWidget(m_targetBar);
    addToolBarBreak();
    connect(m_targetBar, &TargetBar::activated, this, [this] {
        if (!m_object->text().trimmed().isEmpty())
            openObject(m_object->text());
    });

    m_object = new QLineEdit;
    m_object->setObjectName(QStringLiteral("Object"));
    m_object->setPlaceholderText(tr("table or object: ifTable, system, IF-MIB:ifXTable, 1.3.6.1.2.1.4"));
    m_object->setClearButtonEnabled(true);
    connect(m_object, &QLineEdit::returnPressed, this, [this] { openObject(m_object->text()); });

    // A control this build of the component lacks leaves a note in its place.
    const auto control = [this](const char *name) -> QWidget * {
        if (QWidget *widget = Controls::createWidget(name, this))
            return widget;
        auto *missing = new QLabel(tr("This build of the component has no %1.").arg(QLatin1String(name)));
        missing->setAlignment(Qt::AlignCenter);
        return missing;
    };
    m_tree = control("MIBTree");
    m_table = control("MIBTable");
    m_browser = control("MIBBrowser");
    m_table->setProperty("Watermark", tr("Double-click a table in the tree"));

    Controls::connect(m_tree, "OIDDoubleClick(QXMibOID*)", this, "treeDoubleClicked(QXMibOID*)");
    Controls::connect(m_tree, "MouseDown(int,int,int,int)", this, "treeMouseDown(int,int,int,int)");
    if (QAbstractItemView *view = Controls::view(m_tree))
        view->viewport()->installEventFilter(this);
    Controls::connect(m_table, "Progress(bool&)", this, "tableProgress(bool&)", Qt::DirectConnection);
    Controls::connect(m_table, "Complete(bool)", this, "tableComplete(bool)");
    Controls::connect(m_browser, "Complete(bool)", this, "browserComplete(bool)");

    m_tabs = new QTabWidget;
    m_tabs->setObjectName(QStringLiteral("Views"));
    m_tabs->setDocumentMode(true);
    m_tabs->setTabsClosable(true);
    m_tabs->addTab(m_table, tr("&Table"));
    m_tabs->addTab(m_browser, tr("&Browser"));
    m_notifications = new NotificationsPane;
    m_notifications->setObjectName(QStringLiteral("Notifications"));
    m_tabs->addTab(m_notifications, tr("&Notifications"));
    for (int i = 0; i < 3; ++i)
        m_tabs->tabBar()->setTabButton(i, QTabBar::RightSide, nullptr);
    connect(m_tabs, &QTabWidget::tabCloseRequested, this, [this](int index) {
        if (index >= 3)
            delete m_tabs->widget(index);
    });

    m_notice = new QLabel;
    m_notice->setObjectName(QStringLiteral("Notice"));
    m_notice->setWordWrap(true);
    m_notice->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_notice->setMargin(6);
    m_notice->hide();

    auto *right = new QWidget;
    auto *rightLayout = new QVBoxLayout(right);
    rightLayout->setContentsMargins(0, 0, 0, 0);
    rightLayout->setSpacing(2);
    rightLayout->addWidget(m_notice);
    rightLayout->addWidget(m_tabs, 1);

    m_splitter = new QSplitter;
    m_splitter->setObjectName(QStringLiteral("MainSplitter"));
    m_splitter->addWidget(m_tree);
    m_splitter->addWidget(right);
    m_splitter->setStretchFactor(1, 1);
    m_splitter->setSizes({470, 810});
    setCentralWidget(m_splitter);

    m_log = new QPlainTextEdit;
    m_log->setObjectName(QStringLiteral("Log"));
    m_log->setReadOnly(true);
    m_log->setMaximumBlockCount(5000);
    m_logDock = new QDockWidget(tr("Log"));
    m_logDock->setObjectName(QStringLiteral("LogDock"));
    m_logDock->setWidget(m_log);
    addDockWidget(Qt::BottomDockWidgetArea, m_logDock);
    resizeDocks({m_logDock}, {110}, Qt::Vertical);

    m_status = new QLabel;
    m_status->setObjectName(QStringLiteral("BusyState"));
    m_progress = new QProgressBar;
    m_progress->setObjectName(QStringLiteral("Progress"));
    m_progress->setMaximumWidth(220);
    m_progress->setTextVisible(false);
    m_progress->hide();
    statusBar()->addWidget(m_status, 1);
    statusBar()->addPermanentWidget(m_progress);
    auto *database = new QLabel(QFileInfo(Globals::databasePath()).fileName());
    database->setToolTip(tr("The MIB database: %1").arg(QDir::toNativeSeparators(Globals::databasePath())));
    statusBar()->addPermanentWidget(database);
}

void MainWindow::createActions()
{
    const auto add = [this](QMenu *menu, const QString &text, const QKeySequence &keys, const char *name,
                            const std::function<void()> &work) {
        QAction *action = menu->addAction(text);
        action->setObjectName(QLatin1String(name));
        action->setShortcut(keys);
        connect(action, &QAction::triggered, this, [this, work] { guarded(work); });
        return action;
    };

    QMenu *file = menuBar()->addMenu(tr("&File"));
    m_importActions << add(file, tr("&Import MIB-X Files..."), QKeySequence(tr("Ctrl+I")), "ImportAction",
                           [this] { importMenu(); });
    m_importActions << add(file, tr("&Compile and Import MIB Sources..."), QKeySequence(tr("Ctrl+Shift+I")),
                           "CompileAction", [this] { compileMenu(); });
    add(file, tr("&Open MIB-X File in Viewer..."), QKeySequence::Open, "OpenMibxAction", [this] { openMibxMenu(); });
    file->addSeparator();
    m_exportAction = add(file, tr("&Export CSV..."), QKeySequence(tr("Ctrl+E")), "ExportAction",
                         [this] { exportCsv(); });
    m_printAction = add(file, tr("&Print..."), QKeySequence::Print, "PrintAction", [this] { print(); });
    file->addSeparator();
    add(file, tr("&Quit"), QKeySequence::Quit, "QuitAction", [this] { close(); });

    QMenu *edit = menuBar()->addMenu(tr("&Edit"));
    add(edit, tr("&Copy"), QKeySequence::Copy, "CopyAction", [this] { copy(); });
    add(edit, tr("&Find in MIB Tree..."), QKeySequence::Find, "SearchAction",
        [this] { Controls::call(m_tree, "SearchMIBTree", false); });

    QMenu *snmp = menuBar()->addMenu(tr("&SNMP"));
    QAction *tableAction = add(snmp, tr("Open &Table"), QKeySequence(tr("Ctrl+T")), "OpenTableAction",
                             [this] { openTable(m_object->text().isEmpty() ? m_tree->property("SelectedOID").toString()
                                                                           : m_object->text()); });
    QAction *walkAction = add(snmp, tr("&Walk"), QKeySequence(tr("Ctrl+B")), "WalkAction",
                              [this] { walk(m_object->text().isEmpty() ? m_tree->property("SelectedOID").toString()
                                                                       : m_object->text()); });
    add(snmp, tr("&Refresh"), QKeySequence::Refresh, "RefreshAction", [this] { refreshCurrent(); });
    m_cancelAction = add(snmp, tr("&Cancel"), QKeySequence(Qt::Key_Escape), "CancelAction", [this] { cancel(); });
    snmp->addSeparator();
    add(snmp, tr("Go to A&gent"), QKeySequence(tr("Ctrl+L")), "FocusAgentAction", [this] {
        m_targetBar->addressEdit()->setFocus();
        m_targetBar->addressEdit()->selectAll();
    });
    add(snmp, tr("Go to &Object"), QKeySequence(tr("Ctrl+G")), "FocusObjectAction", [this] {
        m_object->setFocus();
        m_object->selectAll();
    });
    add(snmp, tr("SNMP &Settings..."), QKeySequence(tr("Ctrl+,")), "SettingsAction", [this] { settingsMenu(); });

    QMenu *view = menuBar()->addMenu(tr("&View"));
    add(view, tr("&Table View"), QKeySequence(tr("Ctrl+1")), "ShowTableAction",
        [this] { m_tabs->setCurrentWidget(m_table); });
    add(view, tr("&Browser View"), QKeySequence(tr("Ctrl+2")), "ShowBrowserAction",
        [this] { m_tabs->setCurrentWidget(m_browser); });
    add(view, tr("MIB &Tree"), QKeySequence(tr("Ctrl+3")), "ShowTreeAction", [this] {
        if (QAbstractItemView *tree = Controls::view(m_tree))
            tree->setFocus();
    });
    add(view, tr("&Notifications"), QKeySequence(tr("Ctrl+5")), "ShowNotificationsAction",
        [this] { showNotifications(); });
    QAction *showLog = m_logDock->toggleViewAction();
    showLog->setShortcut(QKeySequence(tr("Ctrl+4")));
    view->addAction(showLog);

    QMenu *tools = menuBar()->addMenu(tr("&Tools"));
    add(tools, tr("MIB &Manager..."), QKeySequence(tr("Ctrl+M")), "ManagerAction", [this] { showManager(); });

    QMenu *help = menuBar()->addMenu(tr("&Help"));
    add(help, tr("&About QXMIB Browser"), QKeySequence::HelpContents, "AboutAction", [this] { about(); });
    help->addAction(tr("About &Qt"), qApp, &QApplication::aboutQt);

    QToolBar *objectBar = addToolBar(tr("Object"));
    objectBar->setObjectName(QStringLiteral("ObjectToolBar"));
    auto *label = new QLabel(tr("O&bject: "));
    label->setBuddy(m_object);
    objectBar->addWidget(label);
    objectBar->addWidget(m_object);
    objectBar->addAction(tableAction);
    objectBar->addAction(walkAction);
    objectBar->addAction(m_cancelAction);
}

QString MainWindow::notice() const
{
    return m_notice->isHidden() ? QString() : m_notice->text();
}

bool MainWindow::startLocalAgent(QString *error)
{
    auto agent = std::make_unique<LocalAgent>();
    const quint16 trapPort = m_notifications->isListening() ? quint16(m_notifications->port()) : 0;
    if (!agent->start(LocalAgent::demoConfiguration(trapPort), error))
        return false;
    m_agent = std::move(agent);
    SnmpTarget target;
    target.host = QStringLiteral("127.0.0.1");
    target.port = m_agent->port();
    target.user = QStringLiteral("demo");
    target.level = 3;
    target.authPassword = QStringLiteral("demo-auth-pass");
    target.privPassword = QStringLiteral("demo-priv-pass");
    m_targetBar->setTarget(target);
    log(tr("Started a private snmpd on %1 (community public; SNMPv3 user demo, SHA \"demo-auth-pass\", "
           "AES \"demo-priv-pass\"). It stops when the browser closes.")
            .arg(target.address()));
    if (trapPort != 0)
        log(tr("The private agent sends its traps to the Notifications pane (127.0.0.1:%1).").arg(trapPort));
    return true;
}

void MainWindow::rememberTarget(const SnmpTarget &target)
{
    // The private agent's port is new every time: not worth a place in the list.
    if (m_agent && target.port == m_agent->port() && target.host == QLatin1String("127.0.0.1"))
        return;
    m_targetBar->remember(target);
}

void MainWindow::applyTarget(QWidget *view)
{
    TargetBar::applyTo(m_targetBar->target(), view, m_session);
}

char MainWindow::kindOf(const QString &name, QString *oid, QString *shown)
{
    std::unique_ptr<QObject> object(Controls::create("OID"));
    auto *record = qobject_cast<QXMibOID *>(object.get());
    if (record == nullptr || !OidText::resolve(*record, name))
        return 0;
    const QString found = record->OID();
    if (oid != nullptr)
        *oid = found;
    if (shown != nullptr)
        *shown = OidText::isNumeric(name) && name.trimmed().endsWith(found) ? record->Name() : name.trimmed();
    if (record->TypeString().compare(QLatin1String("SEQUENCE"), Qt::CaseInsensitive) == 0)
        return 't';
    record->setOID(record->ParentOID());
    return record->TypeString().compare(QLatin1String("SEQUENCE"), Qt::CaseInsensitive) == 0 ? 't' : 'o';
}

void MainWindow::openObject(const QString &name)
{
    guarded([&] {
        if (kindOf(name) == 't')
            openTable(name);
        else
            walk(name);
    });
}

void MainWindow::openTable(const QString &name)
{
    const QString text = name.trimmed();
    if (text.isEmpty()) {
        showNotice(tr("Name a table first: type it in the Object field, or double-click one in the tree."));
        return;
    }
    const SnmpTarget target = m_targetBar->target();
    if (target.host.isEmpty()) {
        showNotice(tr("Give the agent's address or host name first."));
        m_targetBar->addressEdit()->setFocus();
        return;
    }
    if (m_table->property("Busy").toBool())
        Controls::call(m_table, "Cancel");
    clearNotice();
    m_tabs->setCurrentWidget(m_table);
    m_table->setProperty("Watermark", QString());
    m_tableTarget = target;
    m_tableName = text;
    QString oid;
    guarded([&] {
        if (kindOf(text, &oid, &m_tableName) == 't')
            Controls::call(m_tree, "SelectOID", oid);
        applyTarget(m_table);
        setBusy(tr("Retrieving %1 from %2").arg(m_tableName, target.address()));
        Controls::call(m_table, "GetTable", oid.isEmpty() ? text : oid);
    });
    // A name the database does not know ends at once, with the table's message.
    if (!m_table->property("Busy").toBool())
        tableComplete(false);
}

void MainWindow::walk(const QString &name)
{
    const QString text = name.trimmed();
    if (text.isEmpty()) {
        showNotice(tr("Name an object first: type it in the Object field, or double-click one in the tree."));
        return;
    }
    const SnmpTarget target = m_targetBar->target();
    if (target.host.isEmpty()) {
        showNotice(tr("Give the agent's address or host name first."));
        m_targetBar->addressEdit()->setFocus();
        return;
    }
    QString oid;
    QString shown = text;
    if (kindOf(text, &oid, &shown) == 0 && !OidText::isNumeric(text)) {
        showNotice(unknownObject(text));
        setIdle(tr("%1: not in the MIB database").arg(text));
        return;
    }
    if (m_browser->property("Busy").toBool())
        Controls::call(m_browser, "Cancel");
    clearNotice();
    m_tabs->setCurrentWidget(m_browser);
    m_walkTarget = target;
    m_walkName = shown;
    m_walkGetting = false;
    guarded([&] {
        if (!oid.isEmpty())
            Controls::call(m_tree, "SelectOID", oid);
        applyTarget(m_browser);
        m_browser->setProperty("CurrentOID", oid.isEmpty() ? text : oid);
        setBusy(tr("Walking %1 on %2").arg(shown, target.address()));
        Controls::call(m_browser, "Activate");
    });
}

void MainWindow::cancel()
{
    for (QWidget *view : {m_table, m_browser}) {
        if (view->property("Busy").toBool())
            Controls::call(view, "Cancel");
    }
}

void MainWindow::refreshCurrent()
{
    if (m_tabs->currentWidget() == m_table && !m_tableName.isEmpty())
        openTable(m_table->property("TableOID").toString().isEmpty() ? m_tableName
                                                                     : m_table->property("TableOID").toString());
    else if (m_tabs->currentWidget() == m_browser && !m_walkName.isEmpty())
        walk(m_browser->property("CurrentOID").toString());
    else if (QWidget *viewer = m_tabs->currentWidget(); viewer != m_table && viewer != m_browser && viewer != m_notifications)
        Controls::call(viewer, "Refresh");
}

void MainWindow::tableProgress(bool &)
{
    updateBusyState();
}

void MainWindow::tableComplete(bool Cancelled)
{
    const int rows = qMax(0, m_table->property("Rows").toInt() - 1);
    const auto *label = m_table->findChild<QLabel *>(QStringLiteral("Message"));
    const QString message = label != nullptr ? label->text() : QString();
    const bool unsupported = m_table->property("UnSupported").toBool();
    if (!message.isEmpty()) {
        log(message, !unsupported);
        // A name the database does not know leaves the table view without a table OID.
        const bool known = !m_table->property("TableOID").toString().isEmpty();
        showNotice(known ? explain(message, m_tableTarget) : unknownObject(m_tableName), !unsupported);
    } else if (!Cancelled) {
        rememberTarget(m_tableTarget);
    }
    if (Cancelled)
        setIdle(tr("Cancelled: %n row(s) of %1", nullptr, rows).arg(m_tableName));
    else if (!message.isEmpty())
        setIdle(tr("%1 from %2: %3").arg(m_tableName, m_tableTarget.address(), message));
    else
        setIdle(tr("%1: %n row(s) from %2", nullptr, rows).arg(m_tableName, m_tableTarget.address()));
}

void MainWindow::browserComplete(bool Cancelled)
{
    const QAbstractItemView *grid = Controls::view(m_browser);
    const int rows = grid != nullptr ? grid->model()->rowCount() : 0;
    QString error;
    bool unsupported = false;
    bool absent = false;
    for (int r = 0; grid != nullptr && r < rows && error.isEmpty(); ++r) {
        for (int c = 0; c < grid->model()->columnCount(); ++c) {
            const QString text = gridText(grid, r, c);
            if (text.startsWith(QLatin1String("Error ")))
                error = text.section(u':', 1).trimmed().isEmpty() ? text : text.section(u':', 1).trimmed();
            unsupported = unsupported || text == QLatin1String(kUnsupported);
            for (const char *none : kNoSuchValue)
                absent = absent || text.startsWith(QLatin1String(none));
        }
    }
    // The Get after an empty walk found no such instance either.
    if (m_walkGetting && rows == 1 && (absent || error.contains(QLatin1String("noSuchName"), Qt::CaseInsensitive))) {
        error.clear();
        unsupported = true;
    }
    // Nothing under an object instance (sysUpTime.0, ifDescr.2): ask for the
    // instance itself, as snmpwalk does.
    if (unsupported && rows == 1 && !Cancelled && !m_walkGetting) {
        m_walkGetting = true;
        const QString oid = m_browser->property("CurrentOID").toString();
        guarded([&] {
            Controls::call(m_browser, "Clear");
            Controls::call(m_browser, "GetOID", oid);
        });
        if (m_browser->property("Busy").toBool())
            return;
    }
    if (!error.isEmpty()) {
        log(m_walkTarget.address() + QStringLiteral(": ") + error, true);
        showNotice(explain(error, m_walkTarget));
    } else if (unsupported && rows == 1) {
        showNotice(tr("The agent at %1 has no objects under %2.").arg(m_walkTarget.address(), m_walkName), false);
    } else if (!Cancelled && rows > 0) {
        rememberTarget(m_walkTarget);
    }
    if (Cancelled)
        setIdle(tr("Cancelled: %n object(s) of %1", nullptr, rows).arg(m_walkName));
    else if (!error.isEmpty())
        setIdle(tr("%1 from %2: %3").arg(m_walkName, m_walkTarget.address(), error));
    else if (unsupported && rows == 1)
        setIdle(tr("%1: nothing on %2").arg(m_walkName, m_walkTarget.address()));
    else
        setIdle(tr("%1: %n object(s) from %2", nullptr, rows).arg(m_walkName, m_walkTarget.address()));
}

QString MainWindow::explain(const QString &error, const SnmpTarget &target) const
{
    const QString e = error.toLower();
    const QString agent = target.address();
    if (e.contains(QLatin1String("timeout")) || e.contains(QLatin1String("timed out"))
        || e.contains(QLatin1String("no response"))) {
        QString text = tr("No answer from %1.").arg(agent) + u' ';
        text += target.version == 3
            ? tr("Check the address and port, that an SNMP agent runs there, and the privacy protocol and pass "
                 "phrase: an agent does not answer a request it cannot decrypt.")
            : tr("Check the address and port, that an SNMP agent runs there, and the community \"%1\": an agent "
                 "does not answer a community it does not accept.")
                  .arg(target.community);
        return text;
    }
    if (e.contains(QLatin1String("unknown user")))
        return tr("The agent at %1 does not know the SNMPv3 user \"%2\".").arg(agent, target.user);
    if (e.contains(QLatin1String("security level")))
        return tr("The agent at %1 does not accept user \"%2\" at this security level.").arg(agent, target.user);
    if (e.contains(QLatin1String("authentication")) || e.contains(QLatin1String("digest"))
        || e.contains(QLatin1String("decrypt")) || e.contains(QLatin1String("decryption")))
        return tr("The agent at %1 refused the SNMPv3 credentials of user \"%2\": check the authentication "
                  "protocol and pass phrase, and the privacy protocol and pass phrase.")
            .arg(agent, target.user);
    if (e.contains(QLatin1String("authorization")) || e.contains(QLatin1String("noaccess")))
        return tr("The agent at %1 does not let %2 read this (%3): check the security level, or ask for an "
                  "object the agent's access rules allow.")
            .arg(agent,
                 target.version == 3 ? tr("user \"%1\"").arg(target.user)
                                     : tr("community \"%1\"").arg(target.community),
                 error);
    if (e.contains(QLatin1String("unknown host")))
        return tr("Cannot find the host \"%1\": check its name, or give its address.").arg(target.host);
    if (e.endsWith(QLatin1String("is not a table.")))
        return tr("%1 is not a table: walk it in the browser view instead (Ctrl+B).").arg(m_tableName);
    return error;
}

void MainWindow::treeDoubleClicked(QXMibOID *)
{
    openObject(m_tree->property("SelectedOID").toString());
}

bool MainWindow::eventFilter(QObject *watched, QEvent *event)
{
    // The tree opens and closes a node with children on a double click and says
    // nothing to its host: the browser acts on those rows itself.
    if (event->type() == QEvent::MouseButtonDblClick) {
        const auto *mouse = static_cast<QMouseEvent *>(event);
        QAbstractItemView *view = Controls::view(m_tree);
        if (view != nullptr && watched == view->viewport() && mouse->button() == Qt::LeftButton) {
            const QModelIndex index = view->indexAt(mouse->position().toPoint());
            if (index.isValid() && view->model()->hasChildren(index.siblingAtColumn(0)))
                QTimer::singleShot(0, this, [this] { openObject(m_tree->property("SelectedOID").toString()); });
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::treeMouseDown(int Button, int, int X, int Y)
{
    QAbstractItemView *view = Controls::view(m_tree);
    if (Button != 2 || view == nullptr)
        return;
    const QPoint at = view->viewport()->mapToGlobal(QPoint(X, Y));
    // After the press has made the row current.
    QTimer::singleShot(0, this, [this, at] { showTreeMenu(at); });
}

void MainWindow::showTreeMenu(const QPoint &globalPos)
{
    const QString oid = m_tree->property("SelectedOID").toString();
    if (oid.isEmpty())
        return;
    const char kind = kindOf(oid);
    QMenu menu(this);
    menu.setObjectName(QStringLiteral("TreeMenu"));
    QAction *table = menu.addAction(tr("Open in &Table View"), this, [this, oid] { openTable(oid); });
    table->setEnabled(kind == 't');
    menu.addAction(tr("&Walk in Browser View"), this, [this, oid] { walk(oid); });
    menu.addSeparator();
    menu.addAction(tr("&Details..."), this, [this] { guarded([this] { popupTreeDetails(); }); });
    QMenu *copyMenu = menu.addMenu(tr("&Copy"));
    for (int method = 0; method < int(std::size(kCopyFormats)); ++method)
        copyMenu->addAction(tr(kCopyFormats[method]), this, [this, method] { copyTreeSelection(method); });
    menu.addSeparator();
    menu.addAction(tr("&Find..."), this, [this] { guarded([this] { Controls::call(m_tree, "SearchMIBTree", false); }); });
    menu.exec(globalPos);
}

void MainWindow::copyTreeSelection(int dragMethod)
{
    guarded([&] {
        const QVariant previous = m_tree->property("DragMethod");
        m_tree->setProperty("DragMethod", short(dragMethod));
        const QString text = m_tree->property("Selection").toString();
        m_tree->setProperty("DragMethod", previous);
        QGuiApplication::clipboard()->setText(text);
        m_status->setText(tr("Copied %1").arg(tr(kCopyFormats[dragMethod])));
    });
}

void MainWindow::popupTreeDetails()
{
    std::unique_ptr<QObject> record(Controls::create("OID"));
    if (!record)
        return;
    record->setProperty("OID", m_tree->property("SelectedOID"));
    Controls::callWithObject(m_tree, "PopupOIDDetails", "QXMibOID*", record.get());
}

void MainWindow::managerKeyDown(qint16 KeyCode)
{
    // Delete
    if (KeyCode != 46 || m_managerView == nullptr)
        return;
    const QString first = m_managerView->property("SelectedMIB").toString();
    const int count = int(m_managerView->property("Selection").value<QList<int>>().size());
    if (first.isEmpty())
        return;
    const QString what = count > 1 ? tr("%1 modules, from %2 on,").arg(count).arg(first) : first;
    if (QMessageBox::question(m_manager, tr("Delete MIB Modules"),
                              tr("Delete %1 with all their object definitions from the MIB database?").arg(what))
        != QMessageBox::Yes)
        return;
    QStringList kept;
    guarded([this, &kept] {
        kept = Controls::result<QStringList>(m_managerView, "DeleteSelectedMIBs");
        Controls::call(m_managerView, "Refresh");
        Controls::call(m_tree, "Refresh");
    });
    QString text = tr("Deleted %1.").arg(what);
    if (!kept.isEmpty())
        text += QLatin1Char(' ')
            + tr("The definitions of %1 remain for the objects they define too.").arg(kept.join(QStringLiteral(", ")));
    if (auto *label = m_manager->findChild<QLabel *>(QStringLiteral("ManagerKept"))) {
        label->setText(text);
        label->show();
    }
    log(text);
    setIdle(text);
}

QDialog *MainWindow::showManager()
{
    if (m_manager.isNull()) {
        m_managerView = Controls::createWidget("ManageMIBs");
        if (m_managerView == nullptr) {
            showNotice(tr("This build of the component has no MIB manager."));
            return nullptr;
        }
        m_manager = new QDialog(this);
        m_manager->setObjectName(QStringLiteral("ManagerDialog"));
        m_manager->setWindowTitle(tr("MIB Manager"));
        m_manager->resize(760, 480);
        auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close);
        QPushButton *remove = buttons->addButton(tr("&Delete..."), QDialogButtonBox::ActionRole);
        QPushButton *refresh = buttons->addButton(tr("&Refresh"), QDialogButtonBox::ActionRole);
        connect(remove, &QPushButton::clicked, this, [this] { managerKeyDown(46); });
        connect(refresh, &QPushButton::clicked, this, [this] { guarded([this] { Controls::call(m_managerView, "Refresh"); }); });
        connect(buttons, &QDialogButtonBox::rejected, m_manager, &QDialog::close);
        Controls::connect(m_managerView, "KeyDown(qint16)", this, "managerKeyDown(qint16)");
        // What the last delete left: the other modules whose definitions remain.
        auto *kept = new QLabel(m_manager);
        kept->setObjectName(QStringLiteral("ManagerKept"));
        kept->setWordWrap(true);
        kept->hide();
        auto *layout = new QVBoxLayout(m_manager);
        layout->addWidget(m_managerView);
        layout->addWidget(kept);
        layout->addWidget(buttons);
    } else {
        guarded([this] { Controls::call(m_managerView, "Refresh"); });
    }
    m_manager->show();
    m_manager->raise();
    m_manager->activateWindow();
    return m_manager;
}

QWidget *MainWindow::openMibxFile(const QString &path)
{
    QWidget *viewer = Controls::createWidget("MIBXTree");
    if (viewer == nullptr) {
        showNotice(tr("This build of the component has no MIB-X viewer (QXMIBTree.MIBXTree); "
                      "%1 can still be imported (File > Import MIB-X Files).")
                       .arg(QFileInfo(path).fileName()));
        return nullptr;
    }
    guarded([&] { viewer->setProperty("MIBXFilename", path); });
    const QString module = viewer->property("ModuleName").toString();
    if (module.isEmpty()) {
        // The viewer has said what is wrong with the file.
        delete viewer;
        log(tr("%1 could not be shown.").arg(path), true);
        return nullptr;
    }
    viewer->setToolTip(path);
    m_tabs->setCurrentIndex(m_tabs->addTab(viewer, tr("MIB-X: %1").arg(module)));
    log(tr("Showing %1 (%2) in the viewer.").arg(module, path));
    return viewer;
}

QStringList MainWindow::importFiles(const QStringList &files)
{
    if (files.isEmpty() || m_import->isBusy())
        return {};
    for (QAction *action : std::as_const(m_importActions))
        action->setEnabled(false);
    return m_import->importFiles(files);
}

void MainWindow::compileAndImport(const QStringList &files)
{
    if (files.isEmpty() || m_import->isBusy())
        return;
    for (QAction *action : std::as_const(m_importActions))
        action->setEnabled(false);
    const QString output = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation)
        + QStringLiteral("/compiled");
    // The MIB text the database was built from, for the imports of new modules.
    const QStringList searchPath = MibCompiler::libraryFolders(Globals::databasePath(), Globals::componentFolder());
    log(tr("Compiling %n file(s) into %1 ...", nullptr, int(files.size())).arg(output));
    m_progress->setRange(0, 0);
    m_progress->show();
    m_import->compileAndImport(files, output, searchPath);
}

void MainWindow::refreshAfterImport(const QStringList &modules)
{
    for (QAction *action : std::as_const(m_importActions))
        action->setEnabled(true);
    m_progress->hide();
    guarded([this] {
        Controls::call(m_tree, "Refresh");
        if (!m_manager.isNull())
            Controls::call(m_managerView, "Refresh");
    });
    const int problems = m_import->problems();
    QString text = tr("Imported %n module(s)", nullptr, int(modules.size()));
    if (!modules.isEmpty())
        text += QStringLiteral(": ") + modules.join(QStringLiteral(", "));
    QStringList unfinished;
    for (const QString &file : m_import->unfinishedFiles())
        unfinished.append(QFileInfo(file).fileName());
    if (!unfinished.isEmpty())
        text += tr("; not compiled complete: %1").arg(unfinished.join(QStringLiteral(", ")));
    if (problems > 0) {
        text += tr("; %n problem(s), see the log", nullptr, problems);
        m_logDock->show();
        showNotice(text);
    } else {
        log(text);
    }
    setIdle(text);
}

QStringList MainWindow::pickFiles(const QString &caption, const QString &folderKey, const QString &filter, bool many)
{
    QSettings store = layoutStore();
    const QString folder = store.value(QStringLiteral("Folders/") + folderKey).toString();
    QStringList files;
    if (many)
        files = QFileDialog::getOpenFileNames(this, caption, folder, filter);
    else if (const QString file = QFileDialog::getOpenFileName(this, caption, folder, filter); !file.isEmpty())
        files << file;
    if (!files.isEmpty())
        store.setValue(QStringLiteral("Folders/") + folderKey, QFileInfo(files.first()).absolutePath());
    return files;
}

void MainWindow::importMenu()
{
    const QStringList files = pickFiles(tr("Import MIB-X Files"), QStringLiteral("MibX"), tr(kMibxFilter), true);
    if (!files.isEmpty())
        importFiles(files);
}

void MainWindow::compileMenu()
{
    const QStringList files = pickFiles(tr("Compile and Import MIB Sources"), QStringLiteral("Sources"),
                                        tr("MIB source files (*.mib *.my *.txt *.smi *-MIB *-SMI *-TC);;All files (*)"),
                                        true);
    if (!files.isEmpty())
        compileAndImport(files);
}

void MainWindow::openMibxMenu()
{
    const QStringList files = pickFiles(tr("Open MIB-X File"), QStringLiteral("MibX"), tr(kMibxFilter), false);
    if (!files.isEmpty())
        openMibxFile(files.first());
}

void MainWindow::settingsMenu()
{
    if (m_settings == nullptr) {
        m_settings = Controls::create("Settings", this);
        if (m_settings == nullptr)
            return;
        // The views pick up every saved change.
        for (QWidget *view : {m_table, m_browser})
            Controls::connect(m_settings, "Changed(QString,QVariant)", view, "mSettings_Changed(QString,QVariant)");
    }
    Controls::call(m_settings, "Refresh");
    SnmpSettingsDialog dialog(m_settings, this);
    dialog.exec();
}

QWidget *MainWindow::currentGrid() const
{
    QWidget *current = m_tabs->currentWidget();
    return current == m_table || current == m_browser ? current : nullptr;
}

void MainWindow::copy()
{
    QWidget *focus = QApplication::focusWidget();
    if (auto *edit = qobject_cast<QLineEdit *>(focus)) {
        edit->copy();
    } else if (focus == m_log) {
        m_log->copy();
    } else if (focus != nullptr && m_tree->isAncestorOf(focus)) {
        QGuiApplication::clipboard()->setText(m_tree->property("Selection").toString());
    } else if (QWidget *grid = currentGrid()) {
        Controls::call(grid, "CopySelection");
    }
}

void MainWindow::exportCsv()
{
    QWidget *grid = currentGrid();
    if (grid == nullptr) {
        showNotice(tr("Only the table and the browser view export CSV."), false);
        return;
    }
    QSettings store = layoutStore();
    const QString name = (grid == m_table ? m_tableName : m_walkName).section(u':', -1);
    const QString path = QFileDialog::getSaveFileName(
        this, tr("Export CSV"),
        store.value(QStringLiteral("Folders/Export"), QDir::homePath()).toString() + u'/'
            + (name.isEmpty() ? QStringLiteral("export") : name) + QStringLiteral(".csv"),
        tr("CSV files (*.csv)"));
    if (path.isEmpty())
        return;
    store.setValue(QStringLiteral("Folders/Export"), QFileInfo(path).absolutePath());
    if (Controls::result<bool>(grid, "ExportCSV", path))
        m_status->setText(tr("Exported to %1").arg(path));
    else
        showNotice(tr("Cannot write %1").arg(path));
}

void MainWindow::print()
{
    if (currentGrid() == nullptr) {
        showNotice(tr("Only the table and the browser view print."), false);
        return;
    }
    QPrinter printer;
    printer.setPageOrientation(QPageLayout::Landscape);
    QPrintDialog dialog(&printer, this);
    if (dialog.exec() == QDialog::Accepted)
        printView(&printer);
}

bool MainWindow::printView(QPrinter *printer)
{
    QWidget *grid = currentGrid();
    if (grid == nullptr)
        return false;
    const bool isTable = grid == m_table;
    const SnmpTarget &target = isTable ? m_tableTarget : m_walkTarget;
    QTextDocument document;
    document.setHtml(QStringLiteral("<h3>%1</h3><p>%2, %3</p>")
                         .arg((isTable ? m_tableName : m_walkName).toHtmlEscaped(), target.address().toHtmlEscaped(),
                              QLocale().toString(QDateTime::currentDateTime(), QLocale::ShortFormat))
                     + htmlTable(Controls::result<QString>(grid, "TableText", false)));
    // A wide table is shrunk to the page's width rather than wrapped letter by letter.
    const QSizeF page = printer->pageLayout().paintRect(QPageLayout::Point).size();
    document.setTextWidth(1e6);
    const qreal width = qMax(page.width(), document.idealWidth() + 2 * document.documentMargin());
    document.setPageSize(QSizeF(width, width * page.height() / page.width()));
    document.print(printer);
    return true;
}

void MainWindow::about()
{
    QMessageBox::about(this, tr("About QXMIB Browser"),
                       tr("<h3>QXMIB Browser %1</h3>"
                          "<p>A MIB browser built from the %2 component: the tree of all MIBs, SNMP tables and "
                          "walks from live agents, MIB-X import and the MIB manager.</p>"
                          "<p>MIB database: %3<br>Qt %4</p>")
                           .arg(Globals::versionText(), Globals::applicationTitle(),
                                QDir::toNativeSeparators(Globals::databasePath()).toHtmlEscaped(),
                                QString::fromLatin1(qVersion())));
}

void MainWindow::setBusy(const QString &text)
{
    m_busyText = text;
    m_status->setText(text + QStringLiteral(" ..."));
    m_progress->setRange(0, 0);
    m_progress->show();
    m_cancelAction->setEnabled(true);
    m_busyTimer.start();
}

void MainWindow::updateBusyState()
{
    const bool tableBusy = m_table->property("Busy").toBool();
    const bool browserBusy = m_browser->property("Busy").toBool();
    if (!tableBusy && !browserBusy)
        return;
    int rows = 0;
    if (tableBusy)
        rows = qMax(0, m_table->property("Rows").toInt() - 1);
    else if (const QAbstractItemView *grid = Controls::view(m_browser))
        rows = grid->model()->rowCount();
    m_status->setText(tr("%1 ... %n row(s)", nullptr, rows).arg(m_busyText));
}

void MainWindow::setIdle(const QString &text)
{
    const bool stillBusy = m_table->property("Busy").toBool() || m_browser->property("Busy").toBool();
    m_status->setText(text);
    if (stillBusy)
        return;
    m_busyTimer.stop();
    if (!m_import->isBusy())
        m_progress->hide();
    m_cancelAction->setEnabled(false);
}

void MainWindow::showNotice(const QString &text, bool problem)
{
    m_notice->setStyleSheet(problem ? QStringLiteral("QLabel { background: #fde8e4; color: #5c1a0e; border: 1px "
                                                     "solid #e0a090; border-radius: 3px; }")
                                    : QStringLiteral("QLabel { background: #e8f0fb; color: #14305c; border: 1px "
                                                     "solid #a0b8e0; border-radius: 3px; }"));
    m_notice->setText(text);
    m_notice->show();
    log(text, problem);
}

void MainWindow::clearNotice()
{
    m_notice->clear();
    m_notice->hide();
}

void MainWindow::log(const QString &text, bool problem)
{
    const QString time = QTime::currentTime().toString(QStringLiteral("HH:mm:ss"));
    m_log->appendPlainText(time + (problem ? QStringLiteral("  ! ") : QStringLiteral("    ")) + text);
}

QString MainWindow::guarded(const std::function<void()> &work)
{
    try {
        work();
    } catch (const QXMibError &e) {
        const QString text = tr("Error %1: %2").arg(e.number()).arg(e.description());
        showNotice(text);
        setIdle(text);
        return text;
    }
    return QString();
}

void MainWindow::restoreLayout()
{
    QSettings store = layoutStore();
    m_targetBar->loadRecent(store);
    restoreGeometry(store.value(QStringLiteral("Window/Geometry")).toByteArray());
    restoreState(store.value(QStringLiteral("Window/State")).toByteArray());
    m_splitter->restoreState(store.value(QStringLiteral("Window/Splitter")).toByteArray());
    m_tabs->setCurrentIndex(qBound(0, store.value(QStringLiteral("Window/View")).toInt(), 2));
    m_object->setText(store.value(QStringLiteral("LastObject")).toString());
    if (!store.contains(QStringLiteral("Window/Geometry")))
        resize(1280, 800);
}

void MainWindow::saveLayout() const
{
    QSettings store = layoutStore();
    m_targetBar->saveRecent(store);
    store.setValue(QStringLiteral("Window/Geometry"), saveGeometry());
    store.setValue(QStringLiteral("Window/State"), saveState());
    store.setValue(QStringLiteral("Window/Splitter"), m_splitter->saveState());
    store.setValue(QStringLiteral("Window/View"), qMin(m_tabs->currentIndex(), 2));
    store.setValue(QStringLiteral("LastObject"), m_object->text());
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    cancel();
    saveLayout();
    if (m_manager)
        m_manager->close();
    event->accept();
    Q_EMIT closed();
}
