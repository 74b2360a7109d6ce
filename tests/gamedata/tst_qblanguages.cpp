// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbsettings.h"
#include "gamedata/qblanguages.h"

#include <QSettings>
#include <QStandardPaths>
#include <QTest>

class tst_QBLanguages : public QObject
{
    Q_OBJECT

private slots:
    void reduce_data();
    void reduce();
    void preferenceList_data();
    void preferenceList();
    void overrideComesFirst();
};

void tst_QBLanguages::reduce_data()
{
    QTest::addColumn<QStringList>("uiLanguages");
    QTest::addColumn<QStringList>("codes");
    QTest::newRow("regions dropped, duplicates too")
            << QStringList{u"fr-FR"_qs, u"fr"_qs, u"en_GB"_qs, u"en-US"_qs} << QStringList{u"fr"_qs, u"en"_qs};
    QTest::newRow("Chinese scripts kept whole")
            << QStringList{u"zh-Hant-TW"_qs, u"zh-TW"_qs, u"zh-Hans"_qs} << QStringList{u"zh-Hant"_qs, u"zh"_qs, u"zh-Hans"_qs};
}

void tst_QBLanguages::reduce()
{
    QFETCH(QStringList, uiLanguages);
    QFETCH(QStringList, codes);
    QCOMPARE(QBLanguages::reduce(uiLanguages), codes);
}

void tst_QBLanguages::preferenceList_data()
{
    QTest::addColumn<QStringList>("languages");
    QTest::addColumn<QStringList>("list");
    QTest::newRow("crossed on purpose") << QStringList{u"zh-Hans"_qs, u"en"_qs, u"zh-Hant"_qs}
                                        << QStringList{u"zhtw"_qs, u"en"_qs, u"zhcn"_qs};
    QTest::newRow("first occurrence only") << QStringList{u"zh-Hans"_qs, u"zh-Hans"_qs}
                                           << QStringList{u"zhtw"_qs, u"zh-Hans"_qs};
    QTest::newRow("others as they stand") << QStringList{u"EN"_qs, u"en-US"_qs} << QStringList{u"EN"_qs, u"en-US"_qs};
    QTest::newRow("no system language is English") << QStringList{u"C"_qs, u"fr"_qs, u"POSIX"_qs}
                                                   << QStringList{u"en"_qs, u"fr"_qs, u"en"_qs};
}

void tst_QBLanguages::preferenceList()
{
    QFETCH(QStringList, languages);
    QFETCH(QStringList, list);
    QCOMPARE(QBLanguages::preferenceList(languages), list);
}

void tst_QBLanguages::overrideComesFirst()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    QCOMPARE(QBLanguages::userLanguages(), QBLanguages::reduce(QLocale::system().uiLanguages()));
    QBSettings::setValue(SettingsKey::languages, QStringList{u"de"_qs, u"en"_qs});
    QCOMPARE(QBLanguages::userLanguages(), (QStringList{u"de"_qs, u"en"_qs}));
    QBLanguages::setOverride({u"ja"_qs});
    QCOMPARE(QBLanguages::userLanguages(), QStringList{u"ja"_qs});
    QBLanguages::setOverride({});
    QCOMPARE(QBLanguages::userLanguages(), (QStringList{u"de"_qs, u"en"_qs}));
}

QTEST_GUILESS_MAIN(tst_QBLanguages)
#include "tst_qblanguages.moc"
