// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbpaneltestutil.h"

#include <QApplication>
#include <QClipboard>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QVBoxLayout>

class tst_QBTokenField : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void composesLiteralsAndTokens();
    void refusesIllegalCharacters_data();
    void refusesIllegalCharacters();
    void returnClicksTheEnabledButton();
    void tokenItemsFollowTheRepresentedGames();

private:
    using Elements = QList<QBFilenamePattern::Element>;
    QStringList menuItems();
    QWidget *m_window = nullptr;
    QBTokenField *m_field = nullptr;
    QPushButton *m_button = nullptr;
};

void tst_QBTokenField::init()
{
    m_window = new QWidget;
    m_field = new QBTokenField(m_window);
    m_button = new QPushButton(u"OK"_qs, m_window);
    m_field->setActionButton(m_button);
    auto *layout = new QVBoxLayout(m_window);
    layout->addWidget(m_field);
    layout->addWidget(m_button);
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window));
    m_field->setFocus();
}

void tst_QBTokenField::cleanup()
{
    delete m_window;
}

// The enabled items of the "+" menu as it pops up.
QStringList tst_QBTokenField::menuItems()
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

void tst_QBTokenField::composesLiteralsAndTokens()
{
    QCOMPARE(m_field->placeholderText(), u"Select '+' to compose the filename ..."_qs);
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
    QCOMPARE(m_field->stringValueForGame({{u"title"_qs, u"Space Race: Two"_qs}, {u"id"_qs, u"ABCD01"_qs}}),
             u"Game id Space Race Two [ABCD01]"_qs);

    // The chip is drawn as a filled shape after the literal, and the text
    // starts clear of the "+" button.
    QTextCursor cursor(m_field->document());
    cursor.setPosition(8);
    const QRect chipStart = m_field->cursorRect(cursor).translated(m_field->viewport()->pos());
    cursor.setPosition(0);
    const QRect textStart = m_field->cursorRect(cursor).translated(m_field->viewport()->pos());
    QVERIFY(textStart.left() >= m_field->menuButton()->geometry().right());
    const QImage image = m_field->grab().toImage();
    const QColor base = m_field->palette().color(QPalette::Base);
    const QPoint inChip(chipStart.left() + 4, chipStart.center().y());
    QVERIFY(image.pixelColor(inChip) != base);
    QCOMPARE(image.pixelColor(chipStart.left() - 2, chipStart.top() + 1), base);
    bool plusDrawn = false;
    const QRect plus = m_field->menuButton()->geometry();
    for (int x = plus.left(); x <= plus.right(); ++x)
        plusDrawn = plusDrawn || image.pixelColor(x, plus.center().y()) != base;
    QVERIFY(plusDrawn);

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

void tst_QBTokenField::refusesIllegalCharacters_data()
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

void tst_QBTokenField::refusesIllegalCharacters()
{
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

void tst_QBTokenField::returnClicksTheEnabledButton()
{
    QSignalSpy clicks(m_button, &QPushButton::clicked);
    QVERIFY(!m_button->isEnabled());
    QTest::keyClick(m_field, Qt::Key_Return);
    QCOMPARE(clicks.size(), 0);

    QVERIFY(chooseToken(m_field, u"region"_qs));
    QVERIFY(m_button->isEnabled());
    QTest::keyClick(m_field, Qt::Key_Return);
    QCOMPARE(clicks.size(), 1);
    QCOMPARE(m_field->objectValue().elements(), (Elements{{true, u"region"_qs}}));

    QTest::keyClick(m_field, Qt::Key_Backspace);
    QVERIFY(!m_button->isEnabled());
    QTest::keyClick(m_field, Qt::Key_A);
    QVERIFY(m_button->isEnabled());
}

void tst_QBTokenField::tokenItemsFollowTheRepresentedGames()
{
    m_field->setRepresentedGames({{{u"id"_qs, u"RQAE01"_qs}, {u"title"_qs, u"Alpha"_qs}, {u"players"_qs, 4}},
                                  {{u"id"_qs, u"RQBP01"_qs}, {u"title"_qs, u"Beta"_qs}}});
    QCOMPARE(menuItems(), (QStringList{u"id"_qs, u"title"_qs}));
    // A disabled item cannot be chosen.
    QVERIFY(!chooseToken(m_field, u"players"_qs));
    QVERIFY(m_field->objectValue().isEmpty());
}

QTEST_MAIN(tst_QBTokenField)
#include "tst_qbtokenfield.moc"
