#pragma once

#include "qxmibtreewidgets_export.h"
#include "trees/widgets/mibtreecommon.h"

#include <QObject>

// What a host gets when it creates "QXMIBTree.MIBTreeCommon" by name: the tree
// interface on its own. It holds no data and does nothing; every member gives
// its empty result. Hosts use it as a typed placeholder until a tree control is
// at hand; the controls themselves are reached through qobject_cast.
class QXMIBTREEWIDGETS_EXPORT MIBTreeCommonObject : public QObject, public MIBTreeCommon
{
    Q_OBJECT
    Q_INTERFACES(MIBTreeCommon)
    Q_PROPERTY(QString Selection READ Selection)
    Q_PROPERTY(QString SelectedOID READ SelectedOID)
    Q_PROPERTY(QAbstractItemView *Table READ Table)
    Q_PROPERTY(short DragMethod READ DragMethod WRITE setDragMethod)
    Q_PROPERTY(bool OIDsVisible READ OIDsVisible WRITE setOIDsVisible)
    Q_PROPERTY(QString CurrentOIDDetailsRTF READ CurrentOIDDetailsRTF)
    Q_PROPERTY(bool DetailsVisible READ DetailsVisible WRITE setDetailsVisible)

public:
    explicit MIBTreeCommonObject(QObject *parent = nullptr);

    Q_INVOKABLE void Clear() override {}
    Q_INVOKABLE void Refresh() override {}
    QString Selection() const override { return {}; }
    QString SelectedOID() const override { return {}; }
    Q_INVOKABLE void SelectOID(const QString &) override {}
    QAbstractItemView *Table() const override { return nullptr; }
    void setDragMethod(short) override {}
    short DragMethod() const override { return 0; }
    Q_INVOKABLE QString GetOIDDetails(QXMibOID *) override { return {}; }
    Q_INVOKABLE QString GetOIDDetailsRTF(QXMibOID *) override { return {}; }
    bool OIDsVisible() const override { return false; }
    void setOIDsVisible(bool) override {}
    Q_INVOKABLE void PopupOIDDetails(QXMibOID *) override {}
    Q_INVOKABLE void SearchMIBTree(bool) override {}
    QString CurrentOIDDetailsRTF() const override { return {}; }
    void setDetailsVisible(bool) override {}
    // Write-only for hosts; read back as false, as nothing is shown.
    bool DetailsVisible() const { return false; }
};
