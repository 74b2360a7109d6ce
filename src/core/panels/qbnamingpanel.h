// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QString>
#include <QVariantMap>

// What a document asks of the modal panel that names games before they are
// renamed or converted into a folder. The widgets library's rename and
// convert panels answer it; the document never sees a widget.
class QBNamingPanel
{
public:
    virtual ~QBNamingPanel() = default;

    // Shows the panel for the games and waits; true only when the user
    // confirmed.
    virtual bool runModalWithTitle(const QString &title, const QList<QVariantMap> &games) = 0;
    // The composed file name for one game, without folder or extension.
    virtual QString stringForGame(const QVariantMap &game) const = 0;
};
