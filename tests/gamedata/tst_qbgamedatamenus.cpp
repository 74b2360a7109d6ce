// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "gamedata/qbdownloadwindow.h"
#include "gamedata/qbgamedatamenus.h"
#include "qbscriptedalerts.h"
#include "qbtesthttpserver.h"
#include "qbtestzip.h"

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

class tst_QBGameDataMenus : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void columnAndSearchItems();
    void downloadItemsAndWindow();

private:
    QTemporaryDir m_dir;
};

void tst_QBGameDataMenus::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    QBSupportFolder::setLocation(m_dir.filePath(u"support"_qs));
    qputenv("TMPDIR", m_dir.path().toLocal8Bit());
}

void tst_QBGameDataMenus::columnAndSearchItems()
{
    QBGameCenter center;
    QBGameDataMenus menus(&center);
    QMenu view;
    menus.addColumnItems(&view);
    QCOMPARE(view.actions().size(), QBGameCenter::tableViewKeys().size());
    QAction *wifi = view.actions().at(15);
    QCOMPARE(wifi->text(), u"Wi-fi-players"_qs);
    QCOMPARE(wifi->data().toString(), u"wi-fi-players"_qs);
    QSignalSpy column(&menus, &QBGameDataMenus::setTableViewColumn);
    wifi->trigger();
    QCOMPARE(column.size(), 1);
    QCOMPARE(column.first().first().value<QAction *>(), wifi);

    const QList<QAction *> search = menus.searchTemplateMenu()->actions();
    QStringList titles;
    for (QAction *action : search) {
        titles << action->text();
        QCOMPARE(action->font().pointSizeF(), 12.0);
    }
    QCOMPARE(titles.join(u','), u"Developer,Genre,Id,Languages,Optional-controls,Publisher,Rating,Region,"
                                "Requirements,Synopsis,Title"_qs);
    QSignalSpy context(&menus, &QBGameDataMenus::updateContext);
    search.last()->trigger();
    QCOMPARE(context.first().first().value<QAction *>()->data().toString(), u"title"_qs);
}

void tst_QBGameDataMenus::downloadItemsAndWindow()
{
    QBScriptedAlerts alerts;
    QBTestHttpServer server;
    const QByteArray database = "<datafile><game><id>RMCP01</id></game></datafile>";
    server.setRoute(u"/wiitdb.zip"_qs, QBTestZip::make({{u"wiitdb.xml"_qs, database}}), QBTestHttpServer::Mode::Held);
    QBSettings::setValue(SettingsKey::databaseServer, server.url());
    QBGameCenter center;
    QBGameDataMenus menus(&center);
    QBDownloadWindow window(&center);
    const QList<QAction *> items = menus.downloadActions();
    QCOMPARE(items.last()->text(), u"Download database"_qs);

    items.last()->trigger();
    QVERIFY(window.isVisible());
    QCOMPARE(window.downloadTextField()->text(), u"Downloading the database ..."_qs);
    QCOMPARE(window.downloadProgressIndicator()->maximum(), 0);
    QCOMPARE(items.last()->text(), u"Downloading database ..."_qs);
    for (QAction *item : items)
        QVERIFY(!item->isEnabled());

    QSignalSpy loaded(&center, &QBGameCenter::databaseDidLoad);
    QTRY_COMPARE(server.requests().size(), 1);
    server.release();
    QVERIFY(loaded.wait());
    QVERIFY(!window.isVisible());
    QCOMPARE(items.last()->text(), u"Update database"_qs);
    for (QAction *item : items)
        QVERIFY(item->isEnabled());
    QVERIFY(alerts.alerts.isEmpty());
}

QTEST_MAIN(tst_QBGameDataMenus)
#include "tst_qbgamedatamenus.moc"
