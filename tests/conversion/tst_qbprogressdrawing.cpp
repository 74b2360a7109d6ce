// SPDX-License-Identifier: GPL-3.0-or-later
#include "conversion/qbprogressdrawing.h"

#include <QTest>

namespace {

bool isBlue(QRgb pixel)
{
    return qBlue(pixel) > 200 && qRed(pixel) < 80 && qGreen(pixel) < 80;
}

QImage blank(int width, int height)
{
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

// The first column, from the left, whose pixel in row y is not blue.
int blueWidth(const QImage &image, int y)
{
    int x = 0;
    while (x < image.width() && isBlue(image.pixel(x, y)))
        ++x;
    return x;
}

}

class tst_QBProgressDrawing : public QObject
{
    Q_OBJECT

private slots:
    void bars_data();
    void bars();
    void iconBarCoversTheOldOne();
    void popoverHeight_data();
    void popoverHeight();
};

void tst_QBProgressDrawing::bars_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("percent");
    QTest::addColumn<int>("expected");

    QTest::newRow("p = 50 on 128") << 128 << 50 << 64;
    QTest::newRow("p = 33 on 100") << 100 << 33 << 33;
    QTest::newRow("p = 99 on 128 truncates") << 128 << 99 << 126;
    QTest::newRow("p = 0") << 128 << 0 << 0;
    QTest::newRow("p = 100") << 64 << 100 << 64;
}

void tst_QBProgressDrawing::bars()
{
    QFETCH(int, width);
    QFETCH(int, percent);
    QFETCH(int, expected);

    QCOMPARE(QBProgressDrawing::barWidth(percent, width), expected);

    // The small image: a strip 5 high along the bottom, grey past the bar.
    const QImage little = QBProgressDrawing::progressImage(blank(width, 32), percent);
    QCOMPARE(little.size(), QSize(width, 32));
    const int middle = 32 - 3;
    QCOMPARE(blueWidth(little, middle), expected);
    if (expected < width)
        QCOMPARE(qGray(little.pixel(expected, middle)), 128);
    QCOMPARE(qAlpha(little.pixel(width / 2, 32 - 6)), 0);

    // The icon: rows 30 to 50 from the bottom; inside the black rim, blue
    // up to the bar's end (the rim is 3 wide), then white or light grey.
    const QImage icon = QBProgressDrawing::iconBar(blank(width, 128), percent);
    const int barRow = 128 - 40;
    if (expected > 3) {
        QCOMPARE(blueWidth(icon.copy(3, 0, width - 3, 128), barRow) + 3, qMin(expected, width - 3));
    }
    if (expected < width - 3)
        QVERIFY(qRed(icon.pixel(qMax(expected, 3), barRow)) > 150);
    QCOMPARE(icon.pixel(width / 2, 128 - 31) & 0xffffff, 0u);
    QCOMPARE(qAlpha(icon.pixel(width / 2, 128 - 55)), 0);
    QCOMPARE(qAlpha(icon.pixel(width / 2, 128 - 25)), 0);
}

void tst_QBProgressDrawing::iconBarCoversTheOldOne()
{
    QImage icon(128, 128, QImage::Format_ARGB32_Premultiplied);
    icon.fill(Qt::darkGreen);
    // Away from the rounded ends, whose soft edges blend with what was
    // there, nothing of the 90 shows under the 30.
    const QRect inside(10, 128 - 47, 108, 14);
    const QImage fresh = QBProgressDrawing::iconBar(icon, 30).copy(inside);
    const QImage over = QBProgressDrawing::iconBar(QBProgressDrawing::iconBar(icon, 90), 30).copy(inside);
    QCOMPARE(over, fresh);
}

void tst_QBProgressDrawing::popoverHeight_data()
{
    QTest::addColumn<int>("rows");
    QTest::addColumn<qreal>("height");

    // The popover's own test shows 0, 3 and 7 rows; these are the bounds.
    QTest::newRow("five") << 5 << 200.0 + 56;
    QTest::newRow("six shows five and a half") << 6 << 220.0 + 56;
}

void tst_QBProgressDrawing::popoverHeight()
{
    QFETCH(int, rows);
    QFETCH(qreal, height);
    QCOMPARE(QBProgressDrawing::popoverHeight(rows, 40), height);
}

QTEST_GUILESS_MAIN(tst_QBProgressDrawing)
#include "tst_qbprogressdrawing.moc"
