// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/qbmessageboxpresenter.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

class tst_QBMessageBoxPresenter : public QObject
{
    Q_OBJECT

private slots:
    void answers_data();
    void answers();
};

void tst_QBMessageBoxPresenter::answers_data()
{
    // An empty click presses Escape and closes the window first, then
    // clicks the default button: neither may answer on its own.
    QTest::addColumn<QString>("click");
    QTest::addColumn<int>("answer");
    QTest::newRow("default") << u"Continue"_qs << 1;
    QTest::newRow("alternate") << u"Abort all"_qs << 0;
    QTest::newRow("other") << u"Abort"_qs << -1;
    QTest::newRow("escape does not answer") << QString() << 1;
}

void tst_QBMessageBoxPresenter::answers()
{
    QFETCH(QString, click);
    QFETCH(int, answer);
    QString shownText;
    QStringList buttons;
    // Answer the box from inside its own event loop, as a user would.
    QTimer::singleShot(0, this, [&] {
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        QVERIFY(box);
        shownText = box->text() + u'|' + box->informativeText();
        for (QAbstractButton *button : box->buttons())
            buttons << button->text();
        if (click.isEmpty()) {
            QTest::keyClick(box, Qt::Key_Escape);
            box->close();
            QVERIFY(box->isVisible());
            click = u"Continue"_qs;
        }
        for (QAbstractButton *button : box->buttons()) {
            if (button->text() == click)
                button->click();
        }
    });
    QBMessageBoxPresenter presenter;
    const int result = presenter.runAlert(
            {u"Message"_qs, u"Details"_qs, u"Continue"_qs, u"Abort all"_qs, u"Abort"_qs});
    QCOMPARE(shownText, u"Message|Details"_qs);
    buttons.sort();
    QCOMPARE(buttons, (QStringList{u"Abort"_qs, u"Abort all"_qs, u"Continue"_qs}));
    QCOMPARE(result, answer);
}

QTEST_MAIN(tst_QBMessageBoxPresenter)
#include "tst_qbmessageboxpresenter.moc"
