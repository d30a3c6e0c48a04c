#include "trees/widgets/mibtreecommonobject.h"

#include "core/objectfactory.h"

QXMIB_REGISTER_CLASS(MIBTreeCommon, MIBTreeCommonObject)

MIBTreeCommonObject::MIBTreeCommonObject(QObject *parent)
    : QObject(parent)
{
}
