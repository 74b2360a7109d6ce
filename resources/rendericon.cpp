// SPDX-License-Identifier: GPL-3.0-or-later
// Renders the scalable application icon as PNG files of the given sizes,
// for desktops that look for pixel icons:
//   palomet_rendericon ICON.svg OUTPUT-FOLDER SIZE...
// writes OUTPUT-FOLDER/SIZExSIZE/palomet.png for each size.
#include <QCoreApplication>
#include <QDir>
#include <QImage>
#include <QImageReader>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() < 4) {
        std::fputs("usage: palomet_rendericon ICON.svg OUTPUT-FOLDER SIZE...\n", stderr);
        return 2;
    }
    for (const QString &size : arguments.mid(3)) {
        const int pixels = size.toInt();
        QImageReader reader(arguments.at(1));
        reader.setScaledSize(QSize(pixels, pixels));
        const QImage image = reader.read();
        const QString folder = arguments.at(2) + QStringLiteral("/%1x%1").arg(pixels);
        if (image.isNull() || !QDir().mkpath(folder) || !image.save(folder + QStringLiteral("/palomet.png"))) {
            std::fprintf(stderr, "palomet_rendericon: cannot render %s at %d pixels: %s\n",
                         qPrintable(arguments.at(1)), pixels, qPrintable(reader.errorString()));
            return 1;
        }
    }
    return 0;
}
