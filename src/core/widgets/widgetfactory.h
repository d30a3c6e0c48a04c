#pragma once

#include "core/objectfactory.h"

#include <QWidget>

namespace QXMibFactoryDetail {
template <class T>
QObject *createWidget(QObject *parent)
{
    return new T(qobject_cast<QWidget *>(parent));
}
} // namespace QXMibFactoryDetail

// Registers the control Class under "QXMIBTree." + ShortName; a parent that is not a
// widget is ignored (the control starts as a window of its own).
#define QXMIB_REGISTER_WIDGET(ShortName, Class)                                                   \
    namespace {                                                                                   \
    const bool qxmibRegistered_##Class = ObjectFactory::registerClass(                             \
        QStringLiteral("QXMIBTree." #ShortName), &QXMibFactoryDetail::createWidget<Class>);       \
    }
