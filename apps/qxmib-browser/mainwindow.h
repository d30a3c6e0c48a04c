#pragma once

#include "mibimport.h"
#include "targetbar.h"

#include <QMainWindow>
#include <QPointer>
#include <QTimer>

#include <functional>
#include <memory>

class LocalAgent;
class NotificationsPane;
class QAction;
class QDialog;
class QDockWidget;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPrinter;
class QProgressBar;
class QSplitter;
class QTabWidget;
class QXMibOID;

// The MIB browser: the tree of all MIBs with its details on the left; on the
// right a table view and a browser view (and any MIB-X files opened in the
// viewer) in tabs; the agent to ask in the target bar above. Every control is
// the component's, created by class name and driven by member name.
class MainWindow : public QMainWindow
{
    Q_OBJECT
    Q_MOC_INCLUDE("core/qxmiboid.h")

public:
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;

    TargetBar *targetBar() const { return m_targetBar; }
    QWidget *tree() const { return m_tree; }
    QWidget *table() const { return m_table; }
    QWidget *browser() const { return m_browser; }
    NotificationsPane *notifications() const { return m_notifications; }
    void showNotifications();
    MibImport *importer() const { return m_import; }
    // The text of the notice above the views; empty when none is shown.
    QString notice() const;

    // Starts the private agent and points the target bar at it.
    bool startLocalAgent(QString *error);
    LocalAgent *localAgent() const { return m_agent.get(); }

    // A table (name, MODULE:name or OID) from the target into the table view.
    void openTable(const QString &name);
    // Walks a subtree of the target in the browser view.
    void walk(const QString &name);
    // A table or table entry into the table view, anything else walked.
    void openObject(const QString &name);
    // Imports MIB-X files, then rebuilds the trees.
    QStringList importFiles(const QStringList &files);
    // Compiles MIB source files, imports them, then rebuilds the trees; returns at once.
    void compileAndImport(const QStringList &files);
    // The MIB manager, created when first wanted.
    QDialog *showManager();
    // Shows a MIB-X file in a viewer tab; null when the file or the viewer is not there.
    QWidget *openMibxFile(const QString &path);
    // Prints the table or browser view shown; false when another tab is shown.
    bool printView(QPrinter *printer);
    // Cancels running walks.
    void cancel();

    // Reads and writes the window layout and the last targets.
    void restoreLayout();
    void saveLayout() const;

Q_SIGNALS:
    // The window was closed: the program ends, whatever other windows are open.
    void closed();

protected:
    void closeEvent(QCloseEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private Q_SLOTS:
    // The component's events, connected by name.
    void treeDoubleClicked(QXMibOID *OID);
    void treeMouseDown(int Button, int Shift, int X, int Y);
    void tableProgress(bool &Cancel);
    void tableComplete(bool Cancelled);
    void browserComplete(bool Cancelled);
    void managerKeyDown(qint16 KeyCode);

private:
    void createControls();
    void createActions();
    void applyTarget(QWidget *view);
    void rememberTarget(const SnmpTarget &target);
    // The kind of object by its definition: 't' table or entry, 'o' other, 0 unknown;
    // *oid and *shown (its name, for an OID that is a definition's) when known.
    char kindOf(const QString &name, QString *oid = nullptr, QString *shown = nullptr);
    void showTreeMenu(const QPoint &globalPos);
    void copyTreeSelection(int dragMethod);
    void popupTreeDetails();
    void refreshAfterImport(const QStringList &modules);
    // Files chosen in an open dialog that starts in, and remembers, the folder kept under folderKey.
    QStringList pickFiles(const QString &caption, const QString &folderKey, const QString &filter, bool many);
    void importMenu();
    void compileMenu();
    void openMibxMenu();
    void settingsMenu();
    void copy();
    void exportCsv();
    void print();
    void about();
    void refreshCurrent();
    QWidget *currentGrid() const;

    void setBusy(const QString &text);
    void setIdle(const QString &text);
    void updateBusyState();
    void showNotice(const QString &text, bool problem = true);
    void clearNotice();
    void log(const QString &text, bool problem = false);
    // A clear sentence for an SNMP error text the engine reported.
    QString explain(const QString &error, const SnmpTarget &target) const;
    QString guarded(const std::function<void()> &work);

    TargetBar *m_targetBar = nullptr;
    QLineEdit *m_object = nullptr;
    QSplitter *m_splitter = nullptr;
    QWidget *m_tree = nullptr;
    QWidget *m_table = nullptr;
    QWidget *m_browser = nullptr;
    NotificationsPane *m_notifications = nullptr;
    QTabWidget *m_tabs = nullptr;
    QLabel *m_notice = nullptr;
    QPlainTextEdit *m_log = nullptr;
    QDockWidget *m_logDock = nullptr;
    QLabel *m_status = nullptr;
    QProgressBar *m_progress = nullptr;
    QObject *m_session = nullptr;
    QObject *m_settings = nullptr;
    MibImport *m_import = nullptr;
    QPointer<QDialog> m_manager;
    QWidget *m_managerView = nullptr;
    std::unique_ptr<LocalAgent> m_agent;
    QTimer m_busyTimer;
    QString m_busyText;
    SnmpTarget m_tableTarget;
    SnmpTarget m_walkTarget;
    QString m_tableName;
    QString m_walkName;
    // The walk found nothing and its object is being asked for with a Get.
    bool m_walkGetting = false;
    QAction *m_cancelAction = nullptr;
    QAction *m_exportAction = nullptr;
    QAction *m_printAction = nullptr;
    QList<QAction *> m_importActions;
};
