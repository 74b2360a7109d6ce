// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbtokenfield.h"

#include "gamedata/qbgamecenter.h"

#include <QAbstractButton>
#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QContextMenuEvent>
#include <QDataStream>
#include <QMenu>
#include <QMimeData>
#include <QPainter>

#include <algorithm>

namespace {

constexpr int TokenFormat = QTextFormat::UserObject + 1;
constexpr int TokenKey = QTextFormat::UserProperty + 1;
// Carries a pattern, tokens included, from one token field to another (or
// back into the same one), so that cut, paste and dragging keep the chips.
const QString patternMimeType = QStringLiteral("application/x-palomet-filename-pattern");
constexpr qreal chipPadding = 6;

// Text that must never enter the field: what a name never holds, and what
// would pass for a chip.
bool isInsertable(QStringView text)
{
    return std::none_of(text.begin(), text.end(), [](QChar c) {
        return QBFilenamePattern::isRemovedCharacter(c) || c == QChar::ObjectReplacementCharacter;
    });
}

}

QBTokenField::QBTokenField(QWidget *parent)
    : QTextEdit(parent)
    , m_menuButton(new QBTokenFieldMenu(this))
{
    setAcceptRichText(false);
    setTabChangesFocus(true);
    setLineWrapMode(QTextEdit::NoWrap);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setPlaceholderText(QStringLiteral("Select '+' to compose the filename ..."));
    document()->documentLayout()->registerHandler(TokenFormat, this);

    connect(m_menuButton, &QBTokenFieldMenu::tokenChosen, this, &QBTokenField::addToken);
    connect(m_menuButton->tokenMenu(), &QMenu::aboutToShow, this, &QBTokenField::validateTokenMenu);
    connect(this, &QTextEdit::textChanged, this, &QBTokenField::textDidChange);
    setFixedHeight(sizeHint().height());
    layoutMenuButton();
}

void QBTokenField::setActionButton(QAbstractButton *button)
{
    m_actionButton = button;
    textDidChange();
}

void QBTokenField::setRepresentedGames(const QList<QVariantMap> &games)
{
    m_representedGames = games;
}


void QBTokenField::setObjectValue(const QBFilenamePattern &pattern)
{
    clear();
    QTextCursor cursor(document());
    insertPattern(cursor, pattern);
    setTextCursor(cursor);
}

void QBTokenField::addToken(const QString &key)
{
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    QBFilenamePattern token;
    token.appendToken(key);
    insertPattern(cursor, token);
    setTextCursor(cursor);
    ensureCursorVisible();
}

QString QBTokenField::stringValueForGame(const QVariantMap &game) const
{
    return m_objectValue.stringValueForGame(game);
}

bool QBTokenField::validateMenuItem(const QAction *item) const
{
    return QBFilenamePattern::allGamesHaveValue(m_representedGames, item->data().toString());
}

void QBTokenField::validateTokenMenu()
{
    const QList<QAction *> items = m_menuButton->tokenMenu()->actions();
    for (QAction *item : items)
        item->setEnabled(validateMenuItem(item));
}

QBFilenamePattern QBTokenField::patternBetween(int from, int to) const
{
    QBFilenamePattern pattern;
    QTextCursor cursor(document());
    QString literal;
    for (int position = from; position < to; ++position) {
        const QChar c = document()->characterAt(position);
        if (c == QChar::ObjectReplacementCharacter) {
            // A cursor's format is that of the character before it.
            cursor.setPosition(position + 1);
            const QTextCharFormat format = cursor.charFormat();
            if (format.objectType() == TokenFormat) {
                pattern.appendLiteral(literal);
                literal.clear();
                pattern.appendToken(format.property(TokenKey).toString());
            }
        } else if (c != QChar::ParagraphSeparator) {
            literal += c;
        }
    }
    pattern.appendLiteral(literal);
    return pattern;
}

void QBTokenField::insertPattern(QTextCursor &cursor, const QBFilenamePattern &pattern)
{
    cursor.beginEditBlock();
    for (const QBFilenamePattern::Element &element : pattern.elements()) {
        if (element.isToken) {
            QTextCharFormat format;
            format.setObjectType(TokenFormat);
            format.setProperty(TokenKey, element.text);
            format.setFont(font());
            format.setVerticalAlignment(QTextCharFormat::AlignBaseline);
            cursor.insertText(QString(QChar::ObjectReplacementCharacter), format);
        } else {
            cursor.insertText(element.text, QTextCharFormat());
        }
    }
    cursor.endEditBlock();
}

bool QBTokenField::acceptsText(QStringView text)
{
    if (isInsertable(text))
        return true;
    QApplication::beep();
    emit changeRefused();
    return false;
}

void QBTokenField::textDidChange()
{
    // Read once per change rather than once per game: the panels' callers
    // ask for a name for every game of a selection. The document ends with
    // a paragraph separator that is not part of the pattern.
    m_objectValue = patternBetween(0, document()->characterCount() - 1);
    if (m_actionButton)
        m_actionButton->setEnabled(!m_objectValue.isEmpty());
}

void QBTokenField::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        // Never a new line: Return confirms, as the panel's default button.
        if (m_actionButton)
            m_actionButton->click();
        event->accept();
        return;
    }
    // Only printable text is checked: keys such as Backspace carry control
    // characters of their own.
    if (QBFilenamePattern::containsIllegalCharacter(event->text())) {
        acceptsText(event->text());
        event->accept();
        return;
    }
    QTextEdit::keyPressEvent(event);
}

void QBTokenField::inputMethodEvent(QInputMethodEvent *event)
{
    if (event->commitString().isEmpty() || acceptsText(event->commitString())) {
        QTextEdit::inputMethodEvent(event);
        return;
    }
    QInputMethodEvent withoutCommit(event->preeditString(), event->attributes());
    QTextEdit::inputMethodEvent(&withoutCommit);
}

void QBTokenField::insertFromMimeData(const QMimeData *source)
{
    QBFilenamePattern pattern;
    if (source->hasFormat(patternMimeType)) {
        QDataStream in(source->data(patternMimeType));
        QVariantList list;
        in >> list;
        pattern = QBFilenamePattern::fromVariantList(list);
    } else {
        pattern.appendLiteral(source->text());
    }
    QString literals;
    for (const QBFilenamePattern::Element &element : pattern.elements()) {
        if (!element.isToken)
            literals += element.text;
    }
    if (!acceptsText(literals))
        return;
    QTextCursor cursor = textCursor();
    insertPattern(cursor, pattern);
    setTextCursor(cursor);
    ensureCursorVisible();
}

QMimeData *QBTokenField::createMimeDataFromSelection() const
{
    const QTextCursor cursor = textCursor();
    const QBFilenamePattern pattern = patternBetween(cursor.selectionStart(), cursor.selectionEnd());
    auto *data = new QMimeData;
    QByteArray encoded;
    QDataStream out(&encoded, QIODevice::WriteOnly);
    out << pattern.toVariantList();
    data->setData(patternMimeType, encoded);
    // Elsewhere a token reads as its key.
    QString text;
    for (const QBFilenamePattern::Element &element : pattern.elements())
        text += element.text;
    data->setText(text);
    return data;
}

void QBTokenField::contextMenuEvent(QContextMenuEvent *event)
{
    // The tokens also from the keyboard: the context menu offers them.
    QMenu *menu = createStandardContextMenu();
    menu->addSeparator();
    QAction *tokens = menu->addMenu(m_menuButton->tokenMenu());
    tokens->setText(tr("Add Token"));
    validateTokenMenu();
    menu->exec(event->globalPos());
    delete menu;
}

void QBTokenField::resizeEvent(QResizeEvent *event)
{
    QTextEdit::resizeEvent(event);
    layoutMenuButton();
}

void QBTokenField::layoutMenuButton()
{
    // A square at the left edge, inside the frame; the text starts after it.
    const int frame = frameWidth();
    const int side = height() - 2 * frame;
    m_menuButton->setGeometry(frame, frame, side, side);
    setViewportMargins(side, 0, 0, 0);
}

int QBTokenField::lineHeight() const
{
    return fontMetrics().height() + 2;
}

QSize QBTokenField::sizeHint() const
{
    const int height = lineHeight() + 2 * int(document()->documentMargin()) + 2 * frameWidth();
    return QSize(320, height);
}

QSize QBTokenField::minimumSizeHint() const
{
    const QSize hint = sizeHint();
    return QSize(4 * hint.height(), hint.height());
}

QSizeF QBTokenField::intrinsicSize(QTextDocument *, int, const QTextFormat &format)
{
    const QFontMetricsF metrics(font());
    return QSizeF(metrics.horizontalAdvance(QBGameCenter::labelForKey(format.property(TokenKey).toString()))
                          + 2 * chipPadding,
                  lineHeight());
}

void QBTokenField::drawObject(QPainter *painter, const QRectF &rect, QTextDocument *, int,
                              const QTextFormat &format)
{
    const QColor accent = palette().color(QPalette::Highlight);
    QColor fill = palette().color(QPalette::Base);
    fill = QColor::fromRgbF(fill.redF() * 0.75f + accent.redF() * 0.25f,
                            fill.greenF() * 0.75f + accent.greenF() * 0.25f,
                            fill.blueF() * 0.75f + accent.blueF() * 0.25f);
    // The object's bottom is the line's descent below the baseline; the
    // chip sits one pixel lower than its box, so that the key, drawn on the
    // baseline of the text around it, looks centred in it.
    const QFontMetricsF metrics(font());
    const QRectF chip = rect.adjusted(1, 1.5, -1, 0.5);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(QPen(accent, 1));
    painter->setBrush(fill);
    painter->drawRoundedRect(chip, chip.height() / 2, chip.height() / 2);
    painter->setFont(font());
    painter->setPen(palette().color(QPalette::Text));
    painter->drawText(QPointF(rect.left() + chipPadding, rect.bottom() - metrics.descent()),
                      QBGameCenter::labelForKey(format.property(TokenKey).toString()));
    painter->restore();
}
