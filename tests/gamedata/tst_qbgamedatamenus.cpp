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

void tst_QBGameDataMenus::downloadItemsAndWindow()
{
    QBScriptedAlerts alerts;
    QBTestHttpServer server;
    const QByteArray database = "<datafile><game><id>RMCP01</id></game></datafile>";
    server.setRoute(u"/wiitdb.zip"_qs, QBTestZip::make({{u"wiitdb.xml"_qs, database}}), QBTestHttpServer::Mode::Slow);
    QBSettings::setValue(SettingsKey::databaseServer, server.url());
    QBGameCenter center;
    QBGameDataMenus menus(&center);
    QBDownloadWindow window(&center);
    const QList<QAction *> items = menus.downloadActions();
    QCOMPARE(items.last()->text(), u"Download database"_qs);

    QList<int> shares;
    connect(window.downloadProgressIndicator(), &QProgressBar::valueChanged, this, [&](int value) { shares << value; });
    items.last()->trigger();
    QVERIFY(window.isVisible());
    QCOMPARE(window.downloadTextField()->text(), u"Downloading the database ..."_qs);
    QCOMPARE(window.downloadProgressIndicator()->maximum(), 0);
    QCOMPARE(items.last()->text(), u"Downloading database ..."_qs);
    for (QAction *item : items)
        QVERIFY(!item->isEnabled());

    QSignalSpy loaded(&center, &QBGameCenter::databaseDidLoad);
    QVERIFY(loaded.wait());
    QVERIFY(!window.isVisible());
    // The slow answer came in pieces, each shown on the bar once its
    // length was known.
    QVERIFY2(shares.size() > 3, qPrintable(QString::number(shares.size())));
    QVERIFY(std::is_sorted(shares.cbegin(), shares.cend()));
    QCOMPARE(shares.last(), 1000);
    QCOMPARE(items.last()->text(), u"Update database"_qs);
    for (QAction *item : items)
        QVERIFY(item->isEnabled());
    QVERIFY(alerts.alerts.isEmpty());
}

QTEST_MAIN(tst_QBGameDataMenus)
#include "tst_qbgamedatamenus.moc"
