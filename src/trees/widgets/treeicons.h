#pragma once

#include "qxmibtreewidgets_export.h"

#include <QByteArray>
#include <QIcon>
#include <QPalette>
#include <QString>
#include <QStringList>

// The node pictures of the MIB trees: "folder-closed", "folder-gray", "table",
// "key", "trap" and "leaf", drawn as SVG and kept in the library's resources.
// Their outlines turn light on a dark palette so they stay clear at 16 pixels
// on either. Icons stored in the database's Icons table are read by the trees
// themselves; iconFromBytes turns such a picture into an icon.
class QXMIBTREEWIDGETS_EXPORT TreeIcons
{
public:
    static QStringList keys();
    static bool isBuiltIn(const QString &key);
    // A null icon for a key that is not one of the six.
    static QIcon icon(const QString &key, const QPalette &palette);
    // A picture in any format Qt reads (ICO, BMP, PNG, ...); null when it does not load.
    static QIcon iconFromBytes(const QByteArray &bytes);
    static bool isDark(const QPalette &palette);
};
