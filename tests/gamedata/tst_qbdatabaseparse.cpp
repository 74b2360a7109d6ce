// SPDX-License-Identifier: GPL-3.0-or-later
#include "gamedata/qbdatabaseparse.h"
#include "gamedata/qblanguages.h"
#include "qbtestfiles.h"

#include <QDateTime>
#include <QSettings>
#include <QStandardPaths>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using Record = QVariantMap;
Q_DECLARE_METATYPE(std::optional<QVariantMap>)

class tst_QBDatabaseParse : public QObject
{
    Q_OBJECT

private slots:
    void languages_data();
    void languages();
    void preferenceList_data();
    void preferenceList();
    void gameRecord_data();
    void gameRecord();
    void document_data();
    void document();
    void operationPostsOnItsThread();
    void cancelledOperationPostsNothing();

private:
    QString write(const QByteArray &xml);
    QTemporaryDir m_dir;
    int m_files = 0;
};

void tst_QBDatabaseParse::languages_data()
{
    QTest::addColumn<QStringList>("uiLanguages");
    QTest::addColumn<QStringList>("codes");
    QTest::newRow("regions dropped, duplicates too")
            << QStringList{u"fr-FR"_qs, u"fr"_qs, u"en_GB"_qs, u"en-US"_qs} << QStringList{u"fr"_qs, u"en"_qs};
    QTest::newRow("Chinese scripts kept whole")
            << QStringList{u"zh-Hant-TW"_qs, u"zh-TW"_qs, u"zh-Hans"_qs} << QStringList{u"zh-Hant"_qs, u"zh"_qs, u"zh-Hans"_qs};
}

void tst_QBDatabaseParse::languages()
{
    QFETCH(QStringList, uiLanguages);
    QFETCH(QStringList, codes);
    QCOMPARE(QBLanguages::reduce(uiLanguages), codes);
    // The system's, when the settings name none.
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    QCOMPARE(QBLanguages::userLanguages(), QBLanguages::reduce(QLocale::system().uiLanguages()));
}

void tst_QBDatabaseParse::preferenceList_data()
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

void tst_QBDatabaseParse::preferenceList()
{
    QFETCH(QStringList, languages);
    QFETCH(QStringList, list);
    QCOMPARE(QBLanguages::preferenceList(languages), list);
}

QString tst_QBDatabaseParse::write(const QByteArray &xml)
{
    const QString path = m_dir.filePath(QString::number(++m_files) + u".xml"_qs);
    return QBTestFiles::write(path, xml) ? path : QString();
}

// One game's children, the preference list, and the record expected (none:
// the game ends the parse).
void tst_QBDatabaseParse::gameRecord_data()
{
    QTest::addColumn<QByteArray>("children");
    QTest::addColumn<QStringList>("languages");
    QTest::addColumn<std::optional<Record>>("expected");

    const QByteArray fr = R"(<locale lang="FR"><title>Titre</title><synopsis>Résumé</synopsis></locale>)";
    const QByteArray en = R"(<locale lang="EN"><title>Title</title><synopsis>Story</synopsis></locale>)";
    const Record french{{u"id"_qs, u"RMCP01"_qs}, {u"lang"_qs, u"fr"_qs}, {u"title"_qs, u"Titre"_qs},
                        {u"synopsis"_qs, u"Résumé"_qs}};
    const QByteArray id = "<id>RMCP01</id>";
    const Record bare{{u"id"_qs, u"RMCP01"_qs}};

    QTest::newRow("text fields as they stand")
            << id + "<region>PAL</region><genre>racing,sports</genre><languages>EN,FR</languages>"
                    "<developer>Nin &amp; Co</developer><publisher> </publisher><other>x</other>"
            << QStringList{u"en"_qs}
            << std::optional(Record{{u"id"_qs, u"RMCP01"_qs}, {u"region"_qs, u"PAL"_qs},
                                    {u"genre"_qs, u"racing,sports"_qs}, {u"languages"_qs, u"EN,FR"_qs},
                                    {u"developer"_qs, u"Nin & Co"_qs}, {u"publisher"_qs, u" "_qs}});
    QTest::newRow("empty texts are not stored") << id + "<region></region><genre/>" << QStringList()
                                                << std::optional(bare);
    QTest::newRow("preferred locale after another") << id + en + fr << QStringList{u"fr"_qs, u"en"_qs}
                                                    << std::optional(french);
    QTest::newRow("preferred locale before another") << id + fr + en << QStringList{u"fr"_qs, u"en"_qs}
                                                     << std::optional(french);
    QTest::newRow("no fallback to English")
            << id + en + R"(<locale lang="JA"><title>タイトル</title></locale>)" << QStringList{u"de"_qs}
            << std::optional(bare);
    QTest::newRow("regional preference matches nothing") << id + en << QStringList{u"en-US"_qs}
                                                         << std::optional(bare);
    QTest::newRow("preference compared as it stands") << id + en << QStringList{u"EN"_qs}
                                                      << std::optional(bare);
    QTest::newRow("better locale overwrites only its keys")
            << id + en + R"(<locale lang="FR"><title>Titre</title><synopsis></synopsis></locale>)"
            << QStringList{u"fr"_qs, u"en"_qs}
            << std::optional(Record{{u"id"_qs, u"RMCP01"_qs}, {u"lang"_qs, u"fr"_qs},
                                    {u"title"_qs, u"Titre"_qs}, {u"synopsis"_qs, u"Story"_qs}});
    QTest::newRow("equal rank keeps the first")
            << id + en + R"(<locale lang="en"><title>Second</title></locale>)" << QStringList{u"en"_qs}
            << std::optional(Record{{u"id"_qs, u"RMCP01"_qs}, {u"lang"_qs, u"en"_qs},
                                    {u"title"_qs, u"Title"_qs}, {u"synopsis"_qs, u"Story"_qs}});
    QTest::newRow("locale children by their own names, nested text joined")
            << id + R"(<locale lang="EN"><title>A <b>bold</b>!<![CDATA[<move>]]></title><tagline>Go</tagline></locale>)"
            << QStringList{u"en"_qs}
            << std::optional(Record{{u"id"_qs, u"RMCP01"_qs}, {u"lang"_qs, u"en"_qs},
                                    {u"title"_qs, u"A bold!<move>"_qs}, {u"tagline"_qs, u"Go"_qs}});
    QTest::newRow("date, unpadded") << id + R"(<date year="2008" month="11" day="6"/>)" << QStringList()
                                    << std::optional(Record{{u"id"_qs, u"RMCP01"_qs},
                                                            {u"date"_qs, QDateTime(QDate(2008, 11, 6), QTime(0, 0), Qt::UTC)}});
    QTest::newRow("input: players and controls in order")
            << id + R"(<input players="4"><control type="wiimote" required="true"/><control type="nunchuk" required="false"/>)"
                    R"(<control type="gamecube"/><control type="wheel" required="true"/></input>)"
            << QStringList()
            << std::optional(Record{{u"id"_qs, u"RMCP01"_qs}, {u"players"_qs, 4},
                                    {u"requirements"_qs, u"wiimote, wheel"_qs},
                                    {u"optional-controls"_qs, u"nunchuk, gamecube"_qs}});
    QTest::newRow("input without players or controls") << id + R"(<input players="x"/>)" << QStringList()
                                                       << std::optional(Record{{u"id"_qs, u"RMCP01"_qs}, {u"players"_qs, 0}});
    QTest::newRow("wi-fi without features") << id + R"(<wi-fi players="0"></wi-fi>)" << QStringList()
                                            << std::optional(Record{{u"id"_qs, u"RMCP01"_qs}, {u"wi-fi-players"_qs, 0}});
    QTest::newRow("wi-fi features joined, empty ones too")
            << id + R"(<wi-fi players="12"><feature>online</feature><feature/><feature>score</feature></wi-fi>)"
            << QStringList()
            << std::optional(Record{{u"id"_qs, u"RMCP01"_qs}, {u"wi-fi-players"_qs, 12},
                                    {u"wi-fi-features"_qs, u"online, , score"_qs}});
    QTest::newRow("rating") << id + R"(<rating type="PEGI" value="3"/>)" << QStringList()
                            << std::optional(Record{{u"id"_qs, u"RMCP01"_qs}, {u"rating"_qs, u"PEGI 3"_qs}});
    QTest::newRow("rating without value") << id + R"(<rating type="PEGI" value=""/>)" << QStringList()
                                          << std::optional(bare);
    // The real database has such dates; the rest of the game stays.
    QTest::newRow("invalid or empty dates store none")
            << id + R"(<date year="2008" month="13" day="1"/><date year="" month="" day=""/><region>PAL</region>)"
            << QStringList() << std::optional(Record{{u"id"_qs, u"RMCP01"_qs}, {u"region"_qs, u"PAL"_qs}});
    QTest::newRow("control without a type is left out")
            << id + R"(<input players="1"><control required="true"/><control type="nunchuk"/></input>)" << QStringList()
            << std::optional(Record{{u"id"_qs, u"RMCP01"_qs}, {u"players"_qs, 1}, {u"optional-controls"_qs, u"nunchuk"_qs}});
}

void tst_QBDatabaseParse::gameRecord()
{
    QFETCH(QByteArray, children);
    QFETCH(QStringList, languages);
    QFETCH(std::optional<Record>, expected);

    const QString path = write("<datafile><game name=\"x\">" + children + "</game></datafile>");
    const std::optional<QBDatabase> database = QBDatabaseParse::parse(path, languages);
    QCOMPARE(database.has_value(), expected.has_value());
    if (expected) {
        QCOMPARE(database->keys(), QStringList{u"RMCP01"_qs});
        QCOMPARE(database->value(u"RMCP01"_qs), *expected);
    }
}

// Whole documents: which games the result holds, or no result at all.
void tst_QBDatabaseParse::document_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<std::optional<QStringList>>("ids");
    QTest::addColumn<QString>("titleOfRMCP01");

    QTest::newRow("no games, any root name") << QByteArray("<WiiTDB><companies/></WiiTDB>")
                                             << std::optional(QStringList()) << QString();
    QTest::newRow("other children skipped; later duplicate wins")
            << QByteArray(R"(<datafile><WiiTDB version="1"/><game><id>RMCP01</id><locale lang="EN"><title>Old</title></locale></game>)"
                          R"(<genres><game><id>NESTED</id></game></genres>)"
                          R"(<game><id>RSBE01</id></game><game><id>RMCP01</id><locale lang="EN"><title>New</title></locale></game></datafile>)")
            << std::optional(QStringList{u"RMCP01"_qs, u"RSBE01"_qs}) << u"New"_qs;
    QTest::newRow("not XML") << QByteArray("PK\x03\x04 not a database") << std::optional<QStringList>()
                             << QString();
    QTest::newRow("a game without an ID is skipped")
            << QByteArray(R"(<datafile><game><id></id><region>PAL</region></game><game><id>RMCP01</id><locale lang="EN">)"
                          R"(<title>Kept</title></locale></game><game><date year="x"/><id>RSBE01</id></game></datafile>)")
            << std::optional(QStringList{u"RMCP01"_qs, u"RSBE01"_qs}) << u"Kept"_qs;
}

void tst_QBDatabaseParse::document()
{
    QFETCH(QByteArray, xml);
    QFETCH(std::optional<QStringList>, ids);
    QFETCH(QString, titleOfRMCP01);

    const std::optional<QBDatabase> database = QBDatabaseParse::parse(write(xml), {u"en"_qs});
    QCOMPARE(database.has_value(), ids.has_value());
    if (!ids)
        return;
    QStringList keys = database->keys();
    keys.sort();
    QCOMPARE(keys, *ids);
    QCOMPARE(database->value(u"RMCP01"_qs).value(u"title"_qs).toString(), titleOfRMCP01);
}

void tst_QBDatabaseParse::operationPostsOnItsThread()
{
    QBDatabaseParse parse(write("<d><game><id>RMCP01</id></game></d>"), {});
    QSignalSpy posted(&parse, &QBDatabaseParse::databaseDidParse);
    QSignalSpy finished(&parse, &QBOperation::finished);
    QThread *postingThread = nullptr;
    connect(&parse, &QBDatabaseParse::databaseDidParse, this,
            [&postingThread] { postingThread = QThread::currentThread(); });
    parse.start();
    QVERIFY(parse.isExecuting());
    QVERIFY(finished.wait());
    QCOMPARE(posted.size(), 1);
    QCOMPARE(posted.first().first().value<QBDatabase>().keys(), QStringList{u"RMCP01"_qs});
    QCOMPARE(postingThread, thread());

}

void tst_QBDatabaseParse::cancelledOperationPostsNothing()
{
    const QString path = write("<d><game><id>RMCP01</id></game><game><id>RSBE01</id></game></d>");
    const std::atomic_bool cancelled{true};
    QVERIFY(!QBDatabaseParse::parse(path, {}, &cancelled));

    // Cancelled while the worker runs: the result is dropped.
    QBDatabaseParse parse(path, {});
    QSignalSpy posted(&parse, &QBDatabaseParse::databaseDidParse);
    QSignalSpy finished(&parse, &QBOperation::finished);
    parse.start();
    parse.cancel();
    QVERIFY(finished.wait());
    QCOMPARE(posted.size(), 0);
}

QTEST_GUILESS_MAIN(tst_QBDatabaseParse)
#include "tst_qbdatabaseparse.moc"
