// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QObject>

// Tells everything that shows one game ID that its cover has arrived.
class QBCoverEntry : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

signals:
    void coverChanged(const QImage &image);
};
