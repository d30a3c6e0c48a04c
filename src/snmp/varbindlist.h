#pragma once

#include "qxmibtreecore_export.h"
#include "snmp/varbind.h"

#include <QObject>
#include <QVariant>
#include <QVector>

// The variable-binding list of one query: the request's bindings before it is
// sent, the response's bindings once the reply has come. Positions count from 0.
class QXMIBTREECORE_EXPORT VarBindList : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int Count READ Count)

public:
    explicit VarBindList(QObject *parent = nullptr);
    ~VarBindList() override;

    int Count() const { return int(m_items.size()); }
    // Appends a binding. A byte array value is taken octet for octet; anything
    // else by its text.
    Q_INVOKABLE void Add(const QString &oid, const QVariant &value, int valueType);
    // Throws QXMibError (subscript out of range) for a position outside 0..Count-1.
    Q_INVOKABLE VarBind Item(int index) const;
    Q_INVOKABLE void Clear() { m_items.clear(); }

    const VarBind &at(int index) const { return m_items.at(index); }
    VarBind &operator[](int index) { return m_items[index]; }
    void append(const VarBind &binding) { m_items.append(binding); }
    void reserve(int size) { m_items.reserve(size); }
    const QVector<VarBind> &items() const { return m_items; }

private:
    QVector<VarBind> m_items;
};
