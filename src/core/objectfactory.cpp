#include "objectfactory.h"

#include "globals.h"

#include <QFile>
#include <QHash>

#include <dlfcn.h>

#include <mutex>

namespace {
struct Registry
{
    std::mutex mutex;
    QHash<QString, ObjectFactory::Creator> creators; // key: lower-case class name
    QStringList names;
};

Registry &registry()
{
    static Registry r;
    return r;
}
} // namespace

namespace {
ObjectFactory::Creator creatorOf(const QString &className)
{
    std::lock_guard<std::mutex> lock(registry().mutex);
    return registry().creators.value(className.toLower());
}

// The controls register from their own library. A host that links only the core, or
// whose linker dropped the controls library because nothing named it, gets it loaded
// from the component's folder the first time it asks for a class the core lacks.
void loadControls()
{
    static std::once_flag once;
    std::call_once(once, [] {
        const QByteArray path = QFile::encodeName(Globals::componentFolder() + QStringLiteral("/" QXMIB_WIDGETS_LIBRARY));
        if (dlopen(path.constData(), RTLD_NOW | RTLD_GLOBAL) == nullptr)
            dlopen(QXMIB_WIDGETS_LIBRARY, RTLD_NOW | RTLD_GLOBAL);
    });
}
} // namespace

QObject *ObjectFactory::create(const QString &className, QObject *parent)
{
    Creator creator = creatorOf(className);
    if (!creator && className.startsWith(QLatin1String("QXMIBTree."), Qt::CaseInsensitive)) {
        loadControls();
        creator = creatorOf(className);
    }
    return creator ? creator(parent) : nullptr;
}

bool ObjectFactory::registerClass(const QString &className, Creator creator)
{
    std::lock_guard<std::mutex> lock(registry().mutex);
    if (!registry().creators.contains(className.toLower()))
        registry().names.append(className);
    registry().creators.insert(className.toLower(), std::move(creator));
    return true;
}

QStringList ObjectFactory::classNames()
{
    std::lock_guard<std::mutex> lock(registry().mutex);
    return registry().names;
}
