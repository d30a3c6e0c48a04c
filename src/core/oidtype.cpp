#include "oidtype.h"

#include "objectfactory.h"

QXMIB_REGISTER_CLASS(OIDType, OIDType)

OIDType::OIDType(QObject *parent)
    : QObject(parent)
{
}
