#pragma once

#include "qxmibtreewidgets_export.h"

#include <QDialog>
#include <QPointer>
#include <QString>

class MIBTreeCommon;
class OIDDetails;
class QLineEdit;
class QListWidget;
class QTabWidget;

// The search dialog of the MIB trees: finds definitions by OID (the details
// follow the typing), by name pattern or by keywords in their descriptions,
// at most 500 at a time, lists them as MIB, name and OID, shows the chosen
// one's details, and makes the tree that opened it select it. It drives that
// tree only through MIBTreeCommon.
class QXMIBTREEWIDGETS_EXPORT SearchMIBTreeForm : public QDialog
{
    Q_OBJECT

public:
    explicit SearchMIBTreeForm(QWidget *parent = nullptr);
    ~SearchMIBTreeForm() override;

    // Binds the form to a tree (any object that implements MIBTreeCommon) and
    // shows it; modal waits until the form is closed.
    Q_INVOKABLE void Search(QObject *tree, bool modal);

    // The statement of a name search: "*" stands for any text.
    static QString nameStatement(const QString &targetName);
    // The statement of a keyword search in descriptions within the modules
    // that match the MIB pattern; empty when both are empty.
    static QString keywordStatement(const QString &targetKeywords, const QString &targetMIBs);
    // The OID of a result line: the text after its last TAB; empty for notice lines.
    static QString oidOfLine(const QString &line);

private:
    void search();
    void chooseLine(int row);
    void showInTree();

    QTabWidget *m_tabs;
    QLineEdit *m_targetOID;
    QLineEdit *m_targetName;
    QLineEdit *m_targetKeywords;
    QLineEdit *m_targetMIBs;
    QListWidget *m_list;
    OIDDetails *m_details;
    QPointer<QObject> m_tree;
};
