#include "oidtypes.h"

#include "globals.h"
#include "objectfactory.h"
#include "oidtype.h"
#include "qxmiberror.h"
#include "recordset.h"

#include <QHash>
#include <QList>

QXMIB_REGISTER_CLASS(OIDTypes, OIDTypes)

class OIDTypesPrivate
{
public:
    QList<OIDType *> items;
    QHash<QString, OIDType *> byKey; // upper-cased names

    OIDType *lookup(const QVariant &indexOrKey) const
    {
        if (isPosition(indexOrKey)) {
            const qlonglong i = indexOrKey.toLongLong();
            return (i >= 1 && i <= items.size()) ? items.at(int(i - 1)) : nullptr;
        }
        return byKey.value(indexOrKey.toString().toUpper(), nullptr);
    }
    static bool isPosition(const QVariant &v)
    {
        switch (v.typeId()) {
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
        case QMetaType::Long:
        case QMetaType::ULong:
        case QMetaType::Double:
            return true;
        default:
            return false;
        }
    }
    [[noreturn]] static void notFound()
    {
        throw QXMibError(QXMibError::SubscriptOutOfRange, QStringLiteral("Subscript out of range"));
    }
};

OIDTypes::OIDTypes(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<OIDTypesPrivate>())
{
    Refresh();
}

OIDTypes::~OIDTypes() = default;

OIDType *OIDTypes::Add(short value, const QString &typeName, const QString &rootType)
{
    if (OIDType *present = d->byKey.value(typeName.toUpper(), nullptr))
        return present;
    auto *type = new OIDType(this);
    type->setValue(value);
    type->setOIDType(typeName);
    type->setRootType(rootType);
    d->items.append(type);
    d->byKey.insert(typeName.toUpper(), type);
    return type;
}

void OIDTypes::Clear()
{
    while (Count() > 0)
        Remove(1);
}

OIDType *OIDTypes::Item(const QVariant &indexOrKey) const
{
    OIDType *type = d->lookup(indexOrKey);
    if (type == nullptr)
        OIDTypesPrivate::notFound();
    return type;
}

int OIDTypes::Count() const
{
    return int(d->items.size());
}

void OIDTypes::Remove(const QVariant &indexOrKey)
{
    OIDType *type = Item(indexOrKey);
    d->items.removeOne(type);
    d->byKey.remove(type->oidType().toUpper());
    delete type;
}

QList<OIDType *> OIDTypes::NewEnum() const
{
    return d->items;
}

void OIDTypes::Refresh()
{
    Recordset rs(Globals::database(), QStringLiteral("Select * From Types"));
    while (!rs.eof()) {
        const QString name = rs.text(QStringLiteral("Type")).toUpper();
        if (d->byKey.contains(name))
            throw QXMibError(QXMibError::KeyAlreadyExists,
                             QStringLiteral("This key is already associated with an element of this collection (%1)")
                                 .arg(name));
        auto *type = new OIDType(this);
        type->setOIDType(name);
        type->setRootType(rs.text(QStringLiteral("Root")).toUpper());
        type->setValue(short(rs.value(QStringLiteral("Value")).toInt()));
        d->items.append(type);
        d->byKey.insert(name, type);
        rs.moveNext();
    }
}

OIDType *OIDTypes::find(const QString &typeName) const
{
    return d->byKey.value(typeName.toUpper(), nullptr);
}
