#include "trees/widgets/treeicons.h"

#include <QFile>
#include <QHash>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace {

const QLatin1String outline("#1f1f1f");
const QLatin1String lightOutline("#e6e6e6");

QPixmap render(const QByteArray &svg, int size)
{
    QSvgRenderer renderer(svg);
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    renderer.render(&painter);
    return pixmap;
}

} // namespace

QStringList TreeIcons::keys()
{
    return {QStringLiteral("folder-closed"), QStringLiteral("folder-gray"), QStringLiteral("table"),
            QStringLiteral("key"),           QStringLiteral("trap"),        QStringLiteral("leaf")};
}

bool TreeIcons::isBuiltIn(const QString &key)
{
    return keys().contains(key);
}

bool TreeIcons::isDark(const QPalette &palette)
{
    return palette.color(QPalette::Base).lightness() < 128;
}

QIcon TreeIcons::icon(const QString &key, const QPalette &palette)
{
    static QHash<QString, QIcon> cache;
    const bool dark = isDark(palette);
    const QString cacheKey = key + (dark ? QLatin1String("/dark") : QLatin1String("/light"));
    const auto it = cache.constFind(cacheKey);
    if (it != cache.constEnd())
        return *it;
    if (!isBuiltIn(key))
        return QIcon();
    QFile file(QStringLiteral(":/qxmibtree/icons/") + key + QStringLiteral(".svg"));
    if (!file.open(QIODevice::ReadOnly))
        return QIcon();
    QByteArray svg = file.readAll();
    if (dark)
        svg.replace(QByteArray(outline.data()), QByteArray(lightOutline.data()));
    QIcon icon;
    for (int size : {16, 24, 32, 48})
        icon.addPixmap(render(svg, size));
    cache.insert(cacheKey, icon);
    return icon;
}

QIcon TreeIcons::iconFromBytes(const QByteArray &bytes)
{
    QPixmap pixmap;
    if (bytes.isEmpty() || !pixmap.loadFromData(bytes))
        return QIcon();
    return QIcon(pixmap);
}
