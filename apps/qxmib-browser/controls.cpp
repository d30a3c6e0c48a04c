#include "controls.h"

#include "core/objectfactory.h"

#include <QAbstractItemView>
#include <QMetaProperty>
#include <QWidget>

namespace Controls {

QObject *create(const char *name, QObject *parent)
{
    return ObjectFactory::create(QStringLiteral("QXMIBTree.") + QLatin1String(name), parent);
}

QWidget *createWidget(const char *name, QWidget *parent)
{
    QObject *object = create(name, parent);
    if (auto *widget = qobject_cast<QWidget *>(object))
        return widget;
    delete object;
    return nullptr;
}

bool callWithObject(QObject *object, const char *member, const char *typeName, QObject *argument)
{
    // The component's classes derive from QObject alone, so the pointer is the same.
    return QMetaObject::invokeMethod(object, member, Qt::DirectConnection, QGenericArgument(typeName, &argument));
}

QObject *objectProperty(const QObject *object, const char *name)
{
    const QVariant value = object->property(name);
    if (!value.isValid() || !(value.metaType().flags() & QMetaType::PointerToQObject))
        return nullptr;
    return *static_cast<QObject *const *>(value.constData());
}

QAbstractItemView *view(const QObject *control)
{
    if (auto *view = qobject_cast<QAbstractItemView *>(objectProperty(control, "Table")))
        return view;
    return control->findChild<QAbstractItemView *>(QStringLiteral("Table"));
}

bool connect(QObject *sender, const char *signal, QObject *receiver, const char *method, Qt::ConnectionType type)
{
    const QMetaObject *from = sender->metaObject();
    const QMetaObject *to = receiver->metaObject();
    const int s = from->indexOfSignal(QMetaObject::normalizedSignature(signal).constData());
    const int m = to->indexOfMethod(QMetaObject::normalizedSignature(method).constData());
    if (s < 0 || m < 0)
        return false;
    return bool(QObject::connect(sender, from->method(s), receiver, to->method(m), type));
}

bool setObjectProperty(QObject *object, const char *name, QObject *value)
{
    const QMetaObject *meta = object->metaObject();
    const int index = meta->indexOfProperty(name);
    if (index < 0)
        return false;
    const QMetaProperty property = meta->property(index);
    const QMetaType type = property.metaType();
    const QMetaObject *wanted = type.metaObject();
    if (!(type.flags() & QMetaType::PointerToQObject) || wanted == nullptr
        || (value != nullptr && !value->metaObject()->inherits(wanted)))
        return false;
    return property.write(object, QVariant(type, &value));
}

} // namespace Controls
