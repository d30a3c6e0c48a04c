#include "oidtypes.h"

#include "definitioncache_p.h"
#include "globals.h"
#include "objectfactory.h"
#include "oidtype.h"
#include "qxmiberror.h"
#include "recordset.h"

#include <QHash>
#include <QList>

#include <cmath>

QXMIB_REGISTER_CLASS(OIDTypes, OIDTypes)

namespace {
// A 16-bit integer as the runtime converts one: rounded, and an overflow error outside the range.
short toShort(const QVariant &value)
{
    const double rounded = std::nearbyint(value.toDouble());
    if (!(rounded >= -32768.0 && rounded <= 32767.0))
        throw QXMibError(QXMibError::Overflow, QStringLiteral("Overflow"));
    return short(rounded);
}
} // namespace

class OIDTypesPrivate
{
public:
    // Keys are fixed when an entry is added: a host may rename the entry later.
    QList<OIDType *> items;
    QStringList keys; // upper-cased names, beside items
    QHash<QString, OIDType *> byKey;

    void append(OIDType *type, const QString &key)
    {
        items.append(type);
        keys.append(key);
        byKey.insert(key, type);
    }

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
    d->append(type, typeName.toUpper());
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
    const qsizetype i = d->items.indexOf(type);
    d->byKey.remove(d->keys.at(i));
    d->items.removeAt(i);
    d->keys.removeAt(i);
    delete type;
}

QList<OIDType *> OIDTypes::NewEnum() const
{
    return d->items;
}

void OIDTypes::Refresh()
{
    auto add = [this](const QString &typeName, const QString &root, const QVariant &code) {
        const QString name = typeName.toUpper();
        if (d->byKey.contains(name))
            throw QXMibError(QXMibError::KeyAlreadyExists,
                             QStringLiteral("This key is already associated with an element of this collection (%1)")
                                 .arg(name));
        const short value = toShort(code);
        auto *type = new OIDType(this);
        type->setOIDType(name);
        type->setRootType(root.toUpper());
        type->setValue(value);
        d->append(type, name);
    };
    if (DefinitionCache *cache = DefinitionCache::answering(Globals::database(), DefinitionCache::Question::Types)) {
        for (const TypeDefinition &t : cache->types())
            add(t.type, t.root, t.value);
        return;
    }
    Recordset rs(Globals::database(), QStringLiteral("Select * From Types"));
    while (!rs.eof()) {
        add(rs.text(QStringLiteral("Type")), rs.text(QStringLiteral("Root")), rs.value(QStringLiteral("Value")));
        rs.moveNext();
    }
}

OIDType *OIDTypes::find(const QString &typeName) const
{
    return d->byKey.value(typeName.toUpper(), nullptr);
}
