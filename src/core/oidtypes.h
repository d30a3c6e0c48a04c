#pragma once

#include "qxmibtreecore_export.h"

#include <QObject>
#include <QVariant>

#include <memory>

class OIDType;
class OIDTypesPrivate;

// The type definitions of the database as a keyed collection (keys compare
// without regard to case), filled from the Types table on creation. The import
// looks syntax names up in it to find their numeric codes.
class QXMIBTREECORE_EXPORT OIDTypes : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int Count READ Count)

public:
    // Loads the table at once; throws what Refresh throws.
    Q_INVOKABLE explicit OIDTypes(QObject *parent = nullptr);
    ~OIDTypes() override;

    // The entry under typeName when present (other arguments ignored), else a new one.
    Q_INVOKABLE OIDType *Add(short value, const QString &typeName, const QString &rootType);
    Q_INVOKABLE void Clear();
    // By position from 1 or by name; throws SubscriptOutOfRange when absent.
    Q_INVOKABLE OIDType *Item(const QVariant &indexOrKey) const;
    Q_INVOKABLE int Count() const;
    Q_INVOKABLE void Remove(const QVariant &indexOrKey);
    // The entries in insertion order.
    Q_INVOKABLE QList<OIDType *> NewEnum() const;
    // Adds every row of Types; a name already present throws KeyAlreadyExists.
    Q_INVOKABLE void Refresh();

    // Non-throwing look-up by name, for callers that treat absence as "no type".
    OIDType *find(const QString &typeName) const;

private:
    std::unique_ptr<OIDTypesPrivate> d;
};
