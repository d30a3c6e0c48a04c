#pragma once

// How the browser reaches the component: every control and object is created
// by class name through ObjectFactory and driven by member name through Qt's
// meta-object system, exactly as any other host does. Nothing here knows the
// component's classes.

#include <QMetaObject>
#include <QMetaType>
#include <QObject>
#include <QString>
#include <QVariant>

class QAbstractItemView;
class QWidget;

namespace Controls {

// "QXMIBTree." + name, or null when this build of the component has no such class.
QObject *create(const char *name, QObject *parent = nullptr);
// The same for visual controls: null also when the object is not a widget.
QWidget *createWidget(const char *name, QWidget *parent = nullptr);

// Calls a method by name; false when the object has no method of that name
// and these argument types. The component's QXMibError passes through.
template <typename... Args>
bool call(QObject *object, const char *member, const Args &...args)
{
    return QMetaObject::invokeMethod(object, member, Qt::DirectConnection,
                                     QArgument<Args>(QMetaType::fromType<Args>().name(), args)...);
}

// The same for a method with a result; a default value when the call fails.
template <typename R, typename... Args>
R result(QObject *object, const char *member, const Args &...args)
{
    R value{};
    QMetaObject::invokeMethod(object, member, Qt::DirectConnection,
                              QReturnArgument<R>(QMetaType::fromType<R>().name(), value),
                              QArgument<Args>(QMetaType::fromType<Args>().name(), args)...);
    return value;
}

// Calls a method whose one argument is one of the component's objects, named by
// its class (for instance PopupOIDDetails(QXMibOID*)).
bool callWithObject(QObject *object, const char *member, const char *typeName, QObject *argument);

// A property that holds an object of the component (for instance "TableObject").
QObject *objectProperty(const QObject *object, const char *name);
// The grid or tree view of a control: its "Table" property, else its child view named "Table".
QAbstractItemView *view(const QObject *control);

// Connects a signal to a slot or invokable method, both given by signature
// ("Changed(QString,QVariant)"); false when either is missing or they do not fit.
bool connect(QObject *sender, const char *signal, QObject *receiver, const char *method,
             Qt::ConnectionType type = Qt::AutoConnection);

// Writes an object into a property typed as one of the component's classes
// (SessionHandle); false when the property has another type.
bool setObjectProperty(QObject *object, const char *name, QObject *value);

} // namespace Controls
