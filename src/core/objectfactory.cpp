#include "objectfactory.h"

#include <QHash>

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

QObject *ObjectFactory::create(const QString &className, QObject *parent)
{
    Creator creator;
    {
        std::lock_guard<std::mutex> lock(registry().mutex);
        creator = registry().creators.value(className.toLower());
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
