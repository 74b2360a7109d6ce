// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QBuffer>
#include <QFile>
#include <QImage>

// Files and pictures as tests write and read them.
namespace QBTestFiles {

// The file's bytes; empty when it cannot be read.
inline QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Writes the file whole, replacing it; false when it could not.
inline bool write(const QString &path, const QByteArray &data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

// A cover of one colour, at the size the cover server serves.
inline QImage picture(QRgb color)
{
    QImage image(176, 248, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

inline QByteArray png(const QImage &image)
{
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return data;
}

}
