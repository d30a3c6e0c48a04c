#pragma once

#include "qxmibtreecore_export.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>

// Creates the component's public classes by name ("QXMIBTree.OID",
// "QXMIBTree.MIBTable", ...), the way hosts instantiate them. Each class
// registers itself with QXMIB_REGISTER_CLASS in its own .cpp file.
class QXMIBTREECORE_EXPORT ObjectFactory
{
public:
    using Creator = std::function<QObject *(QObject *parent)>;

    // A new object, or null for an unknown name (names compare without regard to case).
    static QObject *create(const QString &className, QObject *parent = nullptr);
    static bool registerClass(const QString &className, Creator creator);
    static QStringList classNames();
};

namespace QXMibFactoryDetail {
template <class T>
QObject *create(QObject *parent)
{
    return new T(parent);
}
} // namespace QXMibFactoryDetail

// Registers Class under "QXMIBTree." + ShortName. Controls register with QXMIB_REGISTER_WIDGET
// (core/widgets/widgetfactory.h), which hands them a QWidget parent when one is given.
#define QXMIB_REGISTER_CLASS(ShortName, Class)                                                    \
    namespace {                                                                                   \
    const bool qxmibRegistered_##Class = ObjectFactory::registerClass(                             \
        QStringLiteral("QXMIBTree." #ShortName), &QXMibFactoryDetail::create<Class>);             \
    }
