// SPDX-License-Identifier: GPL-3.0-or-later
#include "gamedata/qbgamebundle.h"
#include "panels/qbrenamepanel.h"
#include "qbpaneltestutil.h"
#include "qbscriptedalerts.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>

class tst_QBRenamePanel : public QObject
{
    Q_OBJECT

private slots:
    void sharedPanelsKeepTheirOwnPatterns();
    void onlyTheConfirmingButtonConfirms_data();
    void onlyTheConfirmingButtonConfirms();
    void refusesAnEmptyName();

private:
    const QVariantMap m_game{{u"id"_qs, u"RQAE01"_qs}, {u"title"_qs, u"Alpha: Quest"_qs},
                             {u"filename"_qs, u"/v/Alpha Quest [RQAE01].wbfs"_qs}};
};

void tst_QBRenamePanel::sharedPanelsKeepTheirOwnPatterns()
{
    QBRenamePanel *rename = QBRenamePanel::renamePanel();
    QBConvertPanel *convert = QBConvertPanel::convertPanel();

    QBGameBundle bundle(m_game);
    QString shownTitle;
    whenShown(rename, [&] {
        shownTitle = rename->windowTitle();
        QVERIFY(chooseToken(rename->tokenField(), u"title"_qs));
        QTest::keyClicks(rename->tokenField(), u" - "_qs);
        QVERIFY(chooseToken(rename->tokenField(), u"id"_qs));
        QTest::keyClick(rename, Qt::Key_Escape);
    });
    QVERIFY(!rename->runModalWithTitle(u"Rename 'Alpha Quest [RQAE01].wbfs'"_qs, {&bundle}));
    QCOMPARE(shownTitle, u"Rename 'Alpha Quest [RQAE01].wbfs'"_qs);

    // The convert panel starts empty; the rename panel shows its pattern
    // again, and its example.
    QString example;
    whenShown(convert, [&] {
        QVERIFY(convert->tokenField()->objectValue().isEmpty());
        QVERIFY(!convert->okButton()->isEnabled());
        QVERIFY(chooseToken(convert->tokenField(), u"id"_qs));
        convert->okButton()->click();
    });
    QVERIFY(convert->runModalWithTitle(u"Convert 'x'"_qs, {&bundle}));
    whenShown(rename, [&] {
        for (const QLabel *label : rename->findChildren<QLabel *>()) {
            if (label->isVisible() && label->text().startsWith(u"For example"_qs))
                example = label->text();
        }
        rename->okButton()->click();
    });
    QVERIFY(rename->runModalWithTitle(u"Rename 'x'"_qs, {&bundle}));
    QCOMPARE(example, u"For example: Alpha Quest - RQAE01"_qs);
    QCOMPARE(rename->stringForGame(bundle), u"Alpha Quest - RQAE01"_qs);
    QCOMPARE(convert->stringForGame(bundle), u"RQAE01"_qs);
}

void tst_QBRenamePanel::onlyTheConfirmingButtonConfirms_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<bool>("confirmed");
    QTest::newRow("confirming button") << u"ok"_qs << true;
    QTest::newRow("Return in the field") << u"return"_qs << true;
    QTest::newRow("cancelling button") << u"cancel"_qs << false;
    QTest::newRow("Escape") << u"escape"_qs << false;
    QTest::newRow("closing the window") << u"close"_qs << false;
}

void tst_QBRenamePanel::onlyTheConfirmingButtonConfirms()
{
    QFETCH(QString, how);
    QFETCH(bool, confirmed);

    QBRenamePanel panel;
    whenShown(&panel, [&] {
        QTest::keyClicks(panel.tokenField(), u"Name"_qs);
        if (how == u"ok")
            QTest::mouseClick(panel.okButton(), Qt::LeftButton);
        else if (how == u"return")
            QTest::keyClick(panel.tokenField(), Qt::Key_Return);
        else if (how == u"cancel")
            QTest::mouseClick(panel.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Cancel), Qt::LeftButton);
        else if (how == u"escape")
            QTest::keyClick(&panel, Qt::Key_Escape);
        else
            panel.close();
        // Every way closes the panel: none may be left to the guard.
        QVERIFY(!panel.isVisible());
    });
    QCOMPARE(panel.runModalWithTitle(u"Rename"_qs, QList<QVariantMap>{m_game}), confirmed);
    QCOMPARE(panel.stringForGame(m_game), u"Name"_qs);
}

void tst_QBRenamePanel::refusesAnEmptyName()
{
    QBScriptedAlerts alerts;
    QBRenamePanel panel;
    const QList<QVariantMap> games{m_game, {{u"id"_qs, u"RQBP01"_qs}, {u"title"_qs, u"??"_qs},
                                            {u"filename"_qs, u"/v/b.iso"_qs}}};
    bool stayedOpen = false;
    whenShown(&panel, [&] {
        QVERIFY(chooseToken(panel.tokenField(), u"title"_qs));
        QTest::keyClick(panel.tokenField(), Qt::Key_Return);
        stayedOpen = panel.isVisible();
        QTest::keyClicks(panel.tokenField(), u" game"_qs);
        QTest::keyClick(panel.tokenField(), Qt::Key_Return);
    });
    QVERIFY(panel.runModalWithTitle(u"Rename 2 files"_qs, games));
    QVERIFY(stayedOpen);
    QCOMPARE(alerts.alerts.size(), 1);
    QCOMPARE(alerts.alerts.first().message, u"The file name would be empty for one game."_qs);
    QCOMPARE(alerts.alerts.first().informativeText, u"b.iso"_qs);
    QCOMPARE(panel.stringForGame(games.last()), u"game"_qs);
}

QTEST_MAIN(tst_QBRenamePanel)
#include "tst_qbrenamepanel.moc"
