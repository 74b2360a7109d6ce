// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>

namespace QBSaveFile {

// Writes data to path atomically: the file is either replaced whole or
// left as it was. On failure, errorString (when given) says why.
bool write(const QString &path, const QByteArray &data, QString *errorString = nullptr);

}
