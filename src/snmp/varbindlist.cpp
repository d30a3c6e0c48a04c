#include "snmp/varbindlist.h"

#include "core/qxmiberror.h"

VarBindList::VarBindList(QObject *parent)
    : QObject(parent)
{
}

VarBindList::~VarBindList() = default;

void VarBindList::Add(const QString &oid, const QVariant &value, int valueType)
{
    VarBind binding;
    binding.OID = oid;
    if (value.typeId() == QMetaType::QByteArray)
        binding.Value = QString::fromLatin1(value.toByteArray());
    else
        binding.Value = value.toString();
    binding.ValueType = valueType;
    m_items.append(binding);
}

VarBind VarBindList::Item(int index) const
{
    if (index < 0 || index >= m_items.size())
        throw QXMibError(QXMibError::SubscriptOutOfRange, QStringLiteral("Subscript out of range"));
    return m_items.at(index);
}
