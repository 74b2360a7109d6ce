// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbsavefile.h"

#include <QSaveFile>

namespace QBSaveFile {

bool write(const QString &path, const QByteArray &data, QString *errorString)
{
    QSaveFile file(path);
    const bool ok = file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.commit();
    if (!ok && errorString)
        *errorString = file.errorString();
    return ok;
}

}
