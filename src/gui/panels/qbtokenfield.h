// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "panels/qbfilenamepattern.h"
#include "qbtokenfieldmenu.h"

#include <QAbstractButton>
#include <QPointer>
#include <QTextEdit>
#include <QTextObjectInterface>

// A one-line field in which the user composes a file-name pattern: typed
// text stays literal, tokens come only from the "+" menu and show as
// rounded chips that can be deleted whole but never edited. Text holding
// an illegal file-name character is refused with a beep. Return clicks the
// action button, which is enabled only while the pattern is not empty.
class QBTokenField : public QTextEdit, public QTextObjectInterface
{
    Q_OBJECT
    Q_INTERFACES(QTextObjectInterface)

public:
    explicit QBTokenField(QWidget *parent = nullptr);

    // The panel's confirming button.
    QAbstractButton *actionButton() const { return m_actionButton; }
    void setActionButton(QAbstractButton *button);

    // The games the pattern will be applied to: the menu offers only the
    // tokens that all of them have a value for.
    const QList<QVariantMap> &representedGames() const { return m_representedGames; }
    void setRepresentedGames(const QList<QVariantMap> &games);

    QBTokenFieldMenu *menuButton() const { return m_menuButton; }

    const QBFilenamePattern &objectValue() const { return m_objectValue; }
    // Replaces the field's pattern.
    void setObjectValue(const QBFilenamePattern &pattern);

    // Appends the token for key at the end and puts the cursor after it.
    void addToken(const QString &key);
    QString stringValueForGame(const QVariantMap &game) const;
    // Whether the token item may be chosen for the represented games.
    bool validateMenuItem(const QAction *item) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    // QTextObjectInterface: the chips.
    QSizeF intrinsicSize(QTextDocument *document, int position, const QTextFormat &format) override;
    void drawObject(QPainter *painter, const QRectF &rect, QTextDocument *document, int position,
                    const QTextFormat &format) override;

signals:
    // A change was refused because of an illegal character; the user heard
    // a beep.
    void changeRefused();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void inputMethodEvent(QInputMethodEvent *event) override;
    void insertFromMimeData(const QMimeData *source) override;
    QMimeData *createMimeDataFromSelection() const override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    QBFilenamePattern patternBetween(int from, int to) const;
    void insertPattern(QTextCursor &cursor, const QBFilenamePattern &pattern);
    bool acceptsText(QStringView text);
    void validateTokenMenu();
    void textDidChange();
    void layoutMenuButton();
    int lineHeight() const;

    QPointer<QAbstractButton> m_actionButton;
    QList<QVariantMap> m_representedGames;
    QBTokenFieldMenu *m_menuButton;
    QBFilenamePattern m_objectValue;
};
