#pragma once

#include "qxmibtreewidgets_export.h"

#include <QList>
#include <QString>
#include <QTableView>
#include <QWidget>

#include <memory>

class ManageMIBsPrivate;
class StyledText;

// The MIB manager: a grid of the modules the MIB database holds (name and import
// time) beside a box with the identity of the current module, and the means to
// delete modules with all their object definitions. Hosts create it as
// "QXMIBTree.ManageMIBs"; it loads the list when first shown, and again on Refresh.
//
// Rows are numbered as in a grid with one header row: the header is row 0 and
// the modules are rows 1 to MIBCount. Deleting never reloads the list: the host
// calls Refresh (and refreshes its trees) when it is done.
class QXMIBTREEWIDGETS_EXPORT ManageMIBs : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(int Row READ Row WRITE setRow)
    Q_PROPERTY(int MIBCount READ MIBCount)
    Q_PROPERTY(int OIDCount READ OIDCount)
    Q_PROPERTY(QList<int> Selection READ Selection)
    Q_PROPERTY(QTableView *TableObject READ TableObject)
    Q_PROPERTY(QString SelectedMIB READ SelectedMIB)

public:
    Q_INVOKABLE explicit ManageMIBs(QWidget *parent = nullptr);
    ~ManageMIBs() override;

    // The current module's row (1 to MIBCount), 0 when no module is current.
    int Row() const;
    // Makes a module current and selects its row; 0 leaves no module current.
    // Throws QXMibError(SubscriptOutOfRange) for any other number outside 1 to MIBCount.
    void setRow(int row);
    // The modules listed (not counting the header row).
    int MIBCount() const;
    // Every Tree row of every module, primary or not, counted now.
    int OIDCount() const;
    // The selected rows in ascending order; they always form one range.
    QList<int> Selection() const;
    // Reloads the list from the database in module name order. The current row number
    // stays current where the list is long enough (the first row when none was).
    Q_INVOKABLE void Refresh();
    // Deletes the module's Tree rows, then its MIBs row (MIBModules::remove: an OID
    // another module defines too passes to that module's row). Enums rows stay (they
    // are keyed by object, not module); the list is not reloaded. A module that is
    // not there deletes nothing. A name holding a single quote throws a StatementError.
    // Returns the other modules whose definitions of the module's OIDs remain.
    Q_INVOKABLE QStringList DeleteMIB(const QString &name);
    // DeleteMIB for every module from the first to the last selected row, in order;
    // returns the other modules whose definitions remain, each once, in name order.
    Q_INVOKABLE QStringList DeleteSelectedMIBs();
    // The grid itself (its model holds the texts shown), for the host's own formatting and export.
    QTableView *TableObject() const;
    // Selects every row; the first becomes current.
    Q_INVOKABLE void SelectAll();
    // The name of the current module; empty when none is current.
    QString SelectedMIB() const;

    // The Tree rows of one module.
    int objectCount(const QString &name) const;
    // What the details box shows, as pieces.
    const StyledText &shownDetails() const;

Q_SIGNALS:
    // The grid was double-clicked.
    void DblClick();
    // A key went down in the grid: its Windows virtual-key code (Delete is 46,
    // Return 13, letters their capital's code); keys without one are not forwarded.
    void KeyDown(qint16 KeyCode);
    // A mouse button came up over the grid: button 1 left, 2 right, 4 middle;
    // shift 1 Shift, 2 Ctrl, 4 Alt added up; x and y in pixels from the grid's top left corner.
    void MouseUp(qint16 Button, qint16 Shift, float X, float Y);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    std::unique_ptr<ManageMIBsPrivate> d;
};
