// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/qbstartwindow.h"

#include <QApplication>
#include <QIcon>
#include <QTest>

class tst_QBStartWindow : public QObject
{
    Q_OBJECT

private slots:
    void showsWithTheApplicationIcon();
};

void tst_QBStartWindow::showsWithTheApplicationIcon()
{
    // The icon is an SVG in the resources: this fails when the resource is
    // not linked in or Qt's SVG support is missing.
    const QIcon icon(QStringLiteral(":/palomet/icons/palomet.svg"));
    QVERIFY(!icon.pixmap(64, 64).isNull());

    QBStartWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QCOMPARE(window.windowTitle(), QStringLiteral("Palomet"));
}

QTEST_MAIN(tst_QBStartWindow)
#include "tst_qbstartwindow.moc"
