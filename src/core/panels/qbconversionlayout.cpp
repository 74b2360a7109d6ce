// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbconversionlayout.h"

namespace QBConversionLayout {

const QStringList &keys()
{
    static const QStringList names{QStringLiteral("custom"), QStringLiteral("usbloader"),
                                   QStringLiteral("nintendont")};
    return names;
}

QString key(Layout layout)
{
    return keys().value(layout);
}

std::optional<Layout> fromKey(const QString &key)
{
    const qsizetype index = keys().indexOf(key);
    if (index < 0)
        return std::nullopt;
    return Layout(index);
}

QString title(Layout layout)
{
    switch (layout) {
    case UsbLoader:
        return QStringLiteral("USB Loader GX / WiiFlow");
    case Nintendont:
        return QStringLiteral("Nintendont");
    case Custom:
        break;
    }
    return QStringLiteral("Custom");
}

}
