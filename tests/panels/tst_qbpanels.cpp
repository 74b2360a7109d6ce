// SPDX-License-Identifier: GPL-3.0-or-later
// The panels that name games and choose a partition, and the token field
// in which file names are composed.
#include "base/qbsettings.h"
#include "gamedata/qbgamebundle.h"
#include "panels/qbconvertpanel.h"
#include "panels/qbfilenamepattern.h"
#include "panels/qbrenamepanel.h"
#include "panels/qbselectpartitionpanel.h"
#include "qbfaketool.h"
#include "qbpaneltestutil.h"
#include "qbscriptedalerts.h"
#include "qbtestfiles.h"
#include "qbtestimages.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QVBoxLayout>

namespace {

const QString scanning = u"Scanning WBFS partitions ..."_qs;

QString partitionSection(int n, const QString &path, const QString &bytes)
{
    return u"[part-%1]\\npath=%2\\nreal-path=%2\\nis-wbfs=1\\nsize=%3\\n\\n"_qs.arg(n).arg(path, bytes);
}

// Patterns hold literals as strings, tokens as one-string lists.
QVariant token(const QString &key)
{
    return QStringList{key};
}

// What the panel shows: label, whether the wheel, menu and OK button are
// on, and the menu's titles.
QString state(const QBSelectPartitionPanel &panel)
{
    QStringList titles;
    for (int i = 0; i < panel.selectPartitionMenu()->count(); ++i)
        titles << panel.selectPartitionMenu()->itemText(i);
    return u"%1 | wheel %2 | menu %3 | ok %4 | %5"_qs.arg(
            panel.selectPartitionLabel()->text(),
            panel.selectPartitionWheel()->isVisible() ? u"on"_qs : u"off"_qs,
            panel.selectPartitionMenu()->isEnabled() ? u"on"_qs : u"off"_qs,
            panel.okButton()->isEnabled() ? u"on"_qs : u"off"_qs, titles.join(u", "_qs));
}

}

class tst_QBPanels : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void composesLiteralsAndTokens();
    void refusesIllegalCharacters_data();
    void refusesIllegalCharacters();
    void tokenItemsFollowTheRepresentedGames();

    void sharedPanelsKeepTheirOwnPatterns();
    void onlyTheConfirmingButtonConfirms_data();
    void onlyTheConfirmingButtonConfirms();
    void refusesAnEmptyName();

    void listsTheScannedPartitions_data();
    void listsTheScannedPartitions();
    void oneScanAcrossOpenings();
    void opensAWbfsFile();

    void stringValueForGame_data();
    void stringValueForGame();

private:
    using Elements = QList<QBFilenamePattern::Element>;
    void showField();
    QStringList menuItems();

    QWidget *m_window = nullptr;
    QBTokenField *m_field = nullptr;
    const QVariantMap m_game{{u"id"_qs, u"RQAE01"_qs}, {u"title"_qs, u"Alpha: Quest"_qs},
                             {u"filename"_qs, u"/v/Alpha Quest [RQAE01].wbfs"_qs}};

};

void tst_QBPanels::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QBSettings::setValue(SettingsKey::permissionCommand, QString());
}

void tst_QBPanels::cleanup()
{
    delete std::exchange(m_window, nullptr);
}

// A token field in a window of its own.
void tst_QBPanels::showField()
{
    m_window = new QWidget;
    m_field = new QBTokenField(m_window);
    auto *layout = new QVBoxLayout(m_window);
    layout->addWidget(m_field);
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window));
    m_field->setFocus();
}

// The enabled items of the "+" menu as it pops up.
QStringList tst_QBPanels::menuItems()
{
    QMenu *menu = m_field->menuButton()->tokenMenu();
    QTest::mouseClick(m_field->menuButton(), Qt::LeftButton);
    QStringList keys;
    if (QTest::qWaitFor([menu] { return menu->isVisible(); })) {
        for (const QAction *item : menu->actions()) {
            if (item->isEnabled())
                keys << item->text();
        }
    }
    menu->close();
    return keys;
}

void tst_QBPanels::composesLiteralsAndTokens()
{
    showField();
    QTest::keyClicks(m_field, u"Game "_qs);

    // Typing the name of a key keeps it literal; tokens come from the menu.
    QTest::keyClicks(m_field, u"id "_qs);
    QVERIFY(chooseToken(m_field, u"title"_qs));
    QTest::keyClicks(m_field, u" ["_qs);
    QVERIFY(chooseToken(m_field, u"id"_qs));
    QTest::keyClicks(m_field, u"]"_qs);
    const Elements composed{{false, u"Game id "_qs}, {true, u"title"_qs}, {false, u" ["_qs},
                            {true, u"id"_qs}, {false, u"]"_qs}};
    QCOMPARE(m_field->objectValue().elements(), composed);

    // The chip is drawn as a filled shape after the literal.
    QTextCursor cursor(m_field->document());
    cursor.setPosition(8);
    const QRect chipStart = m_field->cursorRect(cursor).translated(m_field->viewport()->pos());
    const QPoint inChip(chipStart.left() + 4, chipStart.center().y());
    QVERIFY(m_field->grab().toImage().pixelColor(inChip) != m_field->palette().color(QPalette::Base));

    // A double click does not open the chip for editing; Backspace after a
    // chip deletes it whole.
    QTest::mouseDClick(m_field->viewport(), Qt::LeftButton, {}, inChip - m_field->viewport()->pos());
    QCOMPARE(m_field->objectValue().elements(), composed);
    m_field->moveCursor(QTextCursor::End);
    QTest::keyClick(m_field, Qt::Key_Left);
    QTest::keyClick(m_field, Qt::Key_Backspace);
    QCOMPARE(m_field->objectValue().elements(),
             (Elements{{false, u"Game id "_qs}, {true, u"title"_qs}, {false, u" []"_qs}}));

    // Cut and paste carry the chips.
    QTest::keySequence(m_field, QKeySequence::SelectAll);
    QTest::keySequence(m_field, QKeySequence::Cut);
    QVERIFY(m_field->objectValue().isEmpty());
    QTest::keySequence(m_field, QKeySequence::Paste);
    QTest::keySequence(m_field, QKeySequence::Paste);
    QCOMPARE(m_field->objectValue().elements(),
             (Elements{{false, u"Game id "_qs}, {true, u"title"_qs}, {false, u" []Game id "_qs},
                       {true, u"title"_qs}, {false, u" []"_qs}}));
}

void tst_QBPanels::refusesIllegalCharacters_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("pasted");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("beeps");

    QTest::newRow("typed slash") << u"a/b"_qs << QString() << u"ab"_qs << 1;
    QTest::newRow("every illegal character typed") << u"/?<>\\:*|\"^="_qs << QString() << QString() << 11;
    QTest::newRow("pasted text with a question mark") << u"x"_qs << u"y?z"_qs << u"x"_qs << 1;
    QTest::newRow("pasted line break") << QString() << u"one\ntwo"_qs << QString() << 1;
    QTest::newRow("pasted clean text") << u"x"_qs << u"Mario & Co."_qs << u"xMario & Co."_qs << 0;
}

void tst_QBPanels::refusesIllegalCharacters()
{
    showField();
    QFETCH(QString, typed);
    QFETCH(QString, pasted);
    QFETCH(QString, text);
    QFETCH(int, beeps);

    QSignalSpy refused(m_field, &QBTokenField::changeRefused);
    QTest::keyClicks(m_field, typed);
    if (!pasted.isEmpty()) {
        QApplication::clipboard()->setText(pasted);
        QTest::keySequence(m_field, QKeySequence::Paste);
    }
    QCOMPARE(refused.size(), beeps);
    const Elements expected = text.isEmpty() ? Elements() : Elements{{false, text}};
    QCOMPARE(m_field->objectValue().elements(), expected);
}

void tst_QBPanels::tokenItemsFollowTheRepresentedGames()
{
    showField();
    m_field->setRepresentedGames({{{u"id"_qs, u"RQAE01"_qs}, {u"title"_qs, u"Alpha"_qs}, {u"players"_qs, 4}},
                                  {{u"id"_qs, u"RQBP01"_qs}, {u"title"_qs, u"Beta"_qs}}});
    // Named for reading; the pattern keeps the keys.
    QCOMPARE(menuItems(), (QStringList{u"ID"_qs, u"Title"_qs}));
    // A disabled item cannot be chosen.
    QVERIFY(!chooseToken(m_field, u"players"_qs));
    QVERIFY(m_field->objectValue().isEmpty());
}

void tst_QBPanels::sharedPanelsKeepTheirOwnPatterns()
{
    QBRenamePanel *rename = QBRenamePanel::renamePanel();
    QBConvertPanel *convert = QBConvertPanel::convertPanel();

    QBGameBundle bundle(m_game);
    QString shownTitle;
    whenShown(rename, [&] {
        shownTitle = rename->windowTitle();
        rename->tokenField()->selectAll();
        QTest::keyClick(rename->tokenField(), Qt::Key_Delete);
        QVERIFY(chooseToken(rename->tokenField(), u"title"_qs));
        QTest::keyClicks(rename->tokenField(), u" - "_qs);
        QVERIFY(chooseToken(rename->tokenField(), u"id"_qs));
        QTest::keyClick(rename, Qt::Key_Escape);
    });
    QVERIFY(!rename->runModalWithTitle(u"Rename 'Alpha Quest [RQAE01].wbfs'"_qs, {&bundle}));
    QCOMPARE(shownTitle, u"Rename 'Alpha Quest [RQAE01].wbfs'"_qs);

    // The convert panel starts with the loaders' naming, ready to confirm;
    // the rename panel shows its pattern again, and its example.
    QString example;
    whenShown(convert, [&] {
        QVERIFY(convert->okButton()->isEnabled());
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
    QCOMPARE(convert->stringForGame(bundle), u"Alpha Quest [RQAE01]"_qs);
}

void tst_QBPanels::onlyTheConfirmingButtonConfirms_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<bool>("confirmed");
    // The window tests confirm by the button and by Return.
    QTest::newRow("confirming button") << u"ok"_qs << true;
    QTest::newRow("cancelling button") << u"cancel"_qs << false;
    QTest::newRow("Escape") << u"escape"_qs << false;
    QTest::newRow("closing the window") << u"close"_qs << false;
}

void tst_QBPanels::onlyTheConfirmingButtonConfirms()
{
    QFETCH(QString, how);
    QFETCH(bool, confirmed);

    QBRenamePanel panel;
    whenShown(&panel, [&] {
        QTest::keyClicks(panel.tokenField(), u"Name"_qs);
        if (how == u"ok")
            QTest::mouseClick(panel.okButton(), Qt::LeftButton);
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
    QCOMPARE(panel.stringForGame(m_game), u"Alpha Quest [RQAE01]Name"_qs);
}

void tst_QBPanels::refusesAnEmptyName()
{
    QBScriptedAlerts alerts;
    QBRenamePanel panel;
    const QList<QVariantMap> games{m_game, {{u"id"_qs, u"RQBP01"_qs}, {u"title"_qs, u"??"_qs},
                                            {u"filename"_qs, u"/v/b.iso"_qs}}};
    bool stayedOpen = false;
    whenShown(&panel, [&] {
        panel.tokenField()->selectAll();
        QTest::keyClick(panel.tokenField(), Qt::Key_Delete);
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

void tst_QBPanels::listsTheScannedPartitions_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("found");
    QTest::addColumn<bool>("confirmed");
    QTest::addColumn<QString>("selected");

    QTest::newRow("none") << u"[FIND]\\nn-partitions=0\\n\\n"_qs
                          << u"No WBFS partitions found. | wheel off | menu off | ok on | "_qs << false
                          << QString();
    QTest::newRow("one") << partitionSection(1, u"/dev/sdb1"_qs, u"500107862016"_qs)
                         << u"1 partition found. | wheel off | menu on | ok on | 1. /dev/sdb1 (500 GB)"_qs
                         << true << u"/dev/sdb1"_qs;
    QTest::newRow("two") << partitionSection(1, u"/dev/sdb1"_qs, u"500107862016"_qs)
                                    + partitionSection(2, u"/dev/disk/by-id/usb-%1 disk-part2"_qs,
                                                       u"2000398934016"_qs)
                         << u"2 partitions found. | wheel off | menu on | ok on | 1. /dev/sdb1 (500 GB), "
                            "2. /dev/disk/by-id/usb-%1 disk-part2 (2000 GB)"_qs
                         << true << u"/dev/sdb1"_qs;
    // Sizes in whole decimal gigabytes; an unfinished section is no partition.
    QTest::newRow("size not a number, last cut off")
            << partitionSection(1, u"/a"_qs, u"big"_qs) + partitionSection(2, u"/b"_qs, u"1999999999"_qs)
                    + u"[part-3]\\npath=/c\\nsize=3"_qs
            << u"2 partitions found. | wheel off | menu on | ok on | 1. /a (0 GB), 2. /b (1 GB)"_qs << true << u"/a"_qs;
}

void tst_QBPanels::listsTheScannedPartitions()
{
    QFETCH(QString, output);
    QFETCH(QString, found);
    QFETCH(bool, confirmed);
    QFETCH(QString, selected);

    QBFakeTool tool;
    tool.setScript(u"out "_qs + output + u'\n');
    QBSelectPartitionPanel panel;
    QString scanningState;
    QString foundState;
    whenShown(&panel, [&] {
        scanningState = state(panel);
        QTRY_VERIFY(!panel.selectPartitionWheel()->isVisible());
        foundState = state(panel);
        QTest::mouseClick(panel.okButton(), Qt::LeftButton);
    });
    QCOMPARE(panel.runModalWithTitle(u"Open Partition"_qs), confirmed);
    QCOMPARE(scanningState, scanning + u" | wheel on | menu off | ok off | "_qs);
    QCOMPARE(foundState, found);
    QCOMPARE(panel.selectedPartition(), selected);
    QCOMPARE(tool.invocations(), QStringList{u"wwt | find | --auto | --all | --sections"_qs});
}

void tst_QBPanels::oneScanAcrossOpenings()
{
    QBFakeTool tool;
    tool.setScript(u"pause 1500\nout "_qs + partitionSection(1, u"/dev/sdb1"_qs, u"1500000000"_qs) + u'\n');
    QBSelectPartitionPanel panel;
    whenShown(&panel, [&] { QTest::keyClick(&panel, Qt::Key_Escape); });
    QVERIFY(!panel.runModalWithTitle(u"Open Partition"_qs));

    // Reopened while that scan runs: the same scan fills the menu.
    QString reopenedState;
    whenShown(&panel, [&] {
        reopenedState = state(panel);
        QTRY_COMPARE(panel.selectPartitionLabel()->text(), u"1 partition found."_qs);
        QTest::mouseClick(panel.okButton(), Qt::LeftButton);
    });
    QVERIFY(panel.runModalWithTitle(u"Open Partition"_qs));
    QCOMPARE(reopenedState, scanning + u" | wheel on | menu off | ok off | "_qs);
    QCOMPARE(panel.selectedPartition(), u"/dev/sdb1"_qs);
    QCOMPARE(tool.invocations().size(), 1);

    // Once it has ended, the next opening scans afresh.
    whenShown(&panel, [&] {
        reopenedState = state(panel);
        QTest::mouseClick(panel.findChild<QPushButton *>(u"cancel"_qs), Qt::LeftButton);
    });
    QVERIFY(!panel.runModalWithTitle(u"Open Partition"_qs));
    QCOMPARE(reopenedState, scanning + u" | wheel on | menu off | ok off | "_qs);
    QTRY_COMPARE(tool.invocations().size(), 2);
}

void tst_QBPanels::opensAWbfsFile()
{
    QTemporaryDir dir;
    const QString container = QBTestImages::makeWbfsFile(dir.filePath(u"games.wbfs"_qs), {}, 1);
    QVERIFY2(!container.isEmpty(), qPrintable(QBTestImages::lastError()));
    const QString notes = dir.filePath(u"notes.wbfs"_qs);
    QVERIFY(QBTestFiles::write(notes, "not a partition"));

    QBScriptedAlerts alerts;
    QBFakeTool tool;
    tool.setScript(u"out "_qs + partitionSection(1, u"/dev/sdb1"_qs, u"1500000000"_qs) + u'\n');
    QBSelectPartitionPanel panel;
    QStringList answers{notes, QString(), container};
    panel.setFileChooser([&](QWidget *parent) { return parent == &panel && !answers.isEmpty() ? answers.takeFirst() : QString(); });
    bool openAfterRefusals = false;
    whenShown(&panel, [&] {
        QTest::mouseClick(panel.fileButton(), Qt::LeftButton);
        QTest::mouseClick(panel.fileButton(), Qt::LeftButton);
        openAfterRefusals = panel.isVisible();
        QTest::mouseClick(panel.fileButton(), Qt::LeftButton);
    });
    QVERIFY(panel.runModalWithTitle(u"Open Partition"_qs));
    QVERIFY(openAfterRefusals);
    QVERIFY(answers.isEmpty());
    QCOMPARE(alerts.messages(), QStringList{u"“notes.wbfs” is not a WBFS file."_qs});
    QCOMPARE(panel.selectedPartition(), container);

    // The file counts for that opening only.
    whenShown(&panel, [&] {
        QTRY_VERIFY(panel.selectPartitionMenu()->isEnabled());
        QTest::keyClick(&panel, Qt::Key_Return);
    });
    QVERIFY(panel.runModalWithTitle(u"Open Partition"_qs));
    QCOMPARE(panel.selectedPartition(), u"/dev/sdb1"_qs);
}

void tst_QBPanels::stringValueForGame_data()
{
    QTest::addColumn<QVariantList>("elements");
    QTest::addColumn<QVariantMap>("game");
    QTest::addColumn<QString>("name");

    const QVariantList titleAndId{token(u"title"_qs), u" ["_qs, token(u"id"_qs), u"]"_qs};
    QTest::newRow("illegal characters of a value are removed")
            << titleAndId << QVariantMap{{u"title"_qs, u"Space Race: Two"_qs}, {u"id"_qs, u"ABCD01"_qs}}
            << u"Space Race Two [ABCD01]"_qs;
    QTest::newRow("a missing value adds nothing")
            << titleAndId << QVariantMap{{u"id"_qs, u"ABCD01"_qs}} << u"[ABCD01]"_qs;
    QTest::newRow("spaces and full stops trimmed from both ends only")
            << QVariantList{u" ."_qs, token(u"title"_qs), u". "_qs}
            << QVariantMap{{u"title"_qs, u"Dr. Who v1.0"_qs}} << u"Dr. Who v1.0"_qs;
    QTest::newRow("only illegal characters and dots")
            << QVariantList{token(u"title"_qs)} << QVariantMap{{u"title"_qs, u"..?:*\"..<>|^="_qs}}
            << QString();
    // Every separator is removed, and what is left cannot climb out of the
    // destination folder: ".." is trimmed away.
    QTest::newRow("path separators in a title")
            << QVariantList{token(u"title"_qs)} << QVariantMap{{u"title"_qs, u"../..\\Up/Down"_qs}}
            << u"UpDown"_qs;
    QTest::newRow("control characters of a damaged title")
            << QVariantList{token(u"title"_qs)} << QVariantMap{{u"title"_qs, u"Line\nTwo\t\u2028!"_qs}}
            << u"LineTwo!"_qs;
    QTest::newRow("numbers as digits, lists joined as the database joins them")
            << QVariantList{token(u"players"_qs), u"P "_qs, token(u"languages"_qs), u" "_qs,
                            token(u"wi-fi-players"_qs)}
            << QVariantMap{{u"players"_qs, 4}, {u"languages"_qs, QStringList{u"EN"_qs, u"FR"_qs}},
                           {u"wi-fi-players"_qs, QVariantList{2, u"x"_qs}}}
            << u"4P EN, FR 2, x"_qs;
    QTest::newRow("typed illegal text from a stored pattern")
            << QVariantList{u"a/b"_qs, token(u"region"_qs)} << QVariantMap{{u"region"_qs, u"NTSC-U"_qs}}
            << u"abNTSC-U"_qs;
}

void tst_QBPanels::stringValueForGame()
{
    QFETCH(QVariantList, elements);
    QFETCH(QVariantMap, game);
    QFETCH(QString, name);
    const QBFilenamePattern composed = QBFilenamePattern::fromVariantList(elements);
    QCOMPARE(composed.toVariantList(), elements);
    QCOMPARE(composed.stringValueForGame(game), name);
}

QTEST_MAIN(tst_QBPanels)
#include "tst_qbpanels.moc"
