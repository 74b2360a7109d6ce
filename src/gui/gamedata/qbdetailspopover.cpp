// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdetailspopover.h"

#include "base/qbkeys.h"
#include "gamedata/qbgamebundle.h"
#include "gamedata/qbgamecenter.h"

#include <QApplication>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QScreen>
#include <QTextBlockFormat>
#include <QTextBrowser>
#include <QTextCursor>
#include <QTextDocument>
#include <QVBoxLayout>
#include <QWindow>

#include <cmath>

namespace {

// Wide enough for a synopsis to read as a paragraph; as high as the text
// needs, up to what the screen gives.
constexpr int popoverWidth = 500;
constexpr int maxHeight = 720;
constexpr QSize coverBox(128, 180);
constexpr int margin = 10;
// Between the anchoring rectangle and the popover.
constexpr int gap = 4;

QPointer<QBDetailsPopover> sharedPopover;

}

QBDetailsPopover::QBDetailsPopover(QBGameCenter *center, QWidget *parent)
    : QFrame(parent, Qt::Tool | Qt::FramelessWindowHint)
    , m_center(center)
    , m_cover(new QLabel(this))
    , m_title(new QLabel(this))
    , m_infos(new QTextBrowser(this))
{
    setObjectName(QStringLiteral("detailsPopover"));
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);

    m_cover->setFixedSize(coverBox);
    m_cover->setAlignment(Qt::AlignCenter);
    QFont titleFont = m_title->font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.25);
    m_title->setFont(titleFont);
    m_title->setWordWrap(true);
    m_title->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_title->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_infos->setOpenExternalLinks(true);
    m_infos->setFrameShape(QFrame::NoFrame);

    auto *top = new QHBoxLayout;
    top->setSpacing(10);
    top->addWidget(m_cover);
    top->addWidget(m_title, 1);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(margin, margin, margin, margin);
    layout->addLayout(top);
    layout->addWidget(m_infos, 1);
    resize(popoverWidth, coverBox.height() + 2 * margin);

    m_closeTimer.setSingleShot(true);
    connect(&m_closeTimer, &QTimer::timeout, this, &QBDetailsPopover::hideDetailsView);
    if (center) {
        connect(center, &QBGameCenter::detailsViewHideRequested, this, &QBDetailsPopover::hideDetailsView);
        connect(center, &QBGameCenter::detailsViewUpdateRequested, this, &QBDetailsPopover::updateDetailsView);
    }
}

QBDetailsPopover::~QBDetailsPopover()
{
    qApp->removeEventFilter(this);
}

QBDetailsPopover *QBDetailsPopover::shared()
{
    if (!sharedPopover) {
        sharedPopover = new QBDetailsPopover(QBGameCenter::sharedGameCenter());
        QObject::connect(qApp, &QCoreApplication::aboutToQuit, sharedPopover.data(), &QObject::deleteLater);
        if (QBGameCenter *center = QBGameCenter::sharedGameCenter())
            QObject::connect(center, &QObject::destroyed, sharedPopover.data(), &QObject::deleteLater);
    }
    return sharedPopover;
}

void QBDetailsPopover::showDetailsViewForGame(QBGameBundle *game, const QRect &rect, QWidget *view, QObject *sender)
{
    if (isVisible())
        return;
    setDetailsViewGame(game, {});
    show(rect, view, sender);
}

void QBDetailsPopover::showDetailsViewForGame(const QVariantMap &game, const QRect &rect, QWidget *view,
                                              QObject *sender)
{
    if (isVisible())
        return;
    setDetailsViewGame(nullptr, game);
    show(rect, view, sender);
}

void QBDetailsPopover::setDetailsViewGame(QBGameBundle *game, const QVariantMap &record)
{
    if (m_game)
        disconnect(m_game, nullptr, this, nullptr);
    m_game = game;
    m_record = record;
    if (game)
        connect(game, &QBGameBundle::coverChanged, this, &QBDetailsPopover::updateCover);
}

void QBDetailsPopover::show(const QRect &rect, QWidget *view, QObject *sender)
{
    updateDetailsView();
    if (m_center)
        m_center->setDetailsViewOwner(sender);
    m_view = view;
    if (view) {
        // Kept above the document's window.
        create();
        if (QWindow *window = windowHandle())
            window->setTransientParent(view->window()->windowHandle());
    }
    place(view ? QRect(view->mapToGlobal(rect.topLeft()), rect.size()) : rect);
    qApp->installEventFilter(this);
    QFrame::show();
    raise();
}

void QBDetailsPopover::updateDetailsView()
{
    const QVariantMap game = m_game ? m_game->infosDictionary() : m_record;
    const QString id = game.value(GameKey::id).toString();
    m_title->setText(QBGameCenter::textForValue(game.value(GameKey::title)));

    // Points as the screen has them: the text is laid out in pixels.
    const qreal pixelsPerPoint = logicalDpiY() / 72.0;
    QFont font = this->font();
    font.setPointSizeF(11.0);
    QTextCharFormat text;
    text.setFont(font);
    QTextBlockFormat paragraph;
    // Lines that wrap are indented under the key.
    paragraph.setLeftMargin(6.0 * pixelsPerPoint);
    paragraph.setTextIndent(-6.0 * pixelsPerPoint);
    paragraph.setBottomMargin(1.0 * pixelsPerPoint);

    const QUrl page = QBGameCenter::gamePageUrl(id);
    QString domain = page.host();
    if (domain.startsWith(QLatin1String("www.")))
        domain.remove(0, 4);
    QTextCharFormat link = text;
    link.setAnchor(true);
    link.setAnchorHref(page.toString());
    link.setForeground(palette().link());
    link.setFontUnderline(true);

    m_infos->clear();
    QTextCursor cursor(m_infos->document());
    cursor.setBlockFormat(paragraph);
    cursor.insertText(QStringLiteral("Powered by ") + domain, link);
    const QStringList lines = QBGameCenter::detailsText(game).split(u'\n', Qt::SkipEmptyParts);
    for (const QString &line : lines) {
        cursor.insertBlock(paragraph, text);
        cursor.insertText(line, text);
    }
    m_infos->moveCursor(QTextCursor::Start);
    updateCover();
    fitToText();
}

void QBDetailsPopover::fitToText()
{
    // The text's height at the width it is given, so that a typical
    // synopsis reads without scrolling.
    QTextDocument *text = m_infos->document();
    text->setTextWidth(popoverWidth - 2 * margin - 2 * m_infos->frameWidth());
    const int top = qMax(coverBox.height(), m_title->heightForWidth(popoverWidth - 3 * margin - coverBox.width()));
    const int wanted = margin + top + layout()->spacing() + int(std::ceil(text->size().height()))
            + 2 * m_infos->frameWidth() + margin;
    QScreen *screen = this->screen();
    const int room = screen ? screen->availableGeometry().height() - 2 * gap : maxHeight;
    resize(popoverWidth, qBound(coverBox.height() + 2 * margin, wanted, qMin(maxHeight, room)));
}

void QBDetailsPopover::updateCover()
{
    QImage cover = m_game ? m_game->cover() : m_record.value(QStringLiteral("cover")).value<QImage>();
    if (cover.isNull())
        cover = QBGameBundle::missingCover();
    const qreal ratio = devicePixelRatioF();
    QPixmap pixmap = QPixmap::fromImage(
            cover.scaled(coverBox * ratio, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    pixmap.setDevicePixelRatio(ratio);
    m_cover->setPixmap(pixmap);
}

void QBDetailsPopover::place(const QRect &globalRect)
{
    QScreen *screen = QGuiApplication::screenAt(globalRect.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect available = screen ? screen->availableGeometry() : QRect(0, 0, 4096, 4096);
    // The view's own area: the toolbar and its search field are above it.
    const QRect view = m_view ? QRect(m_view->mapToGlobal(QPoint(0, 0)), m_view->size()) : globalRect;
    int x = globalRect.right() + 1 + gap;
    int y = globalRect.center().y() - height() / 2;
    if (x + width() > available.right() + 1)
        x = globalRect.left() - gap - width();
    if (x < available.left()) {
        // No room beside the game (a table's row spans the window): over
        // the view, below the game or above it, never over the toolbar.
        x = view.right() + 1 - width();
        if (globalRect.bottom() + gap + height() <= available.bottom() + 1)
            y = globalRect.bottom() + 1 + gap;
        else
            y = qMax(view.top(), globalRect.top() - gap - height());
    }
    x = qBound(available.left(), x, qMax(available.left(), available.right() + 1 - width()));
    y = qBound(available.top(), y, qMax(available.top(), available.bottom() + 1 - height()));
    move(x, y);
}

void QBDetailsPopover::hideDetailsView()
{
    m_closeTimer.stop();
    hide();
    if (m_center)
        m_center->setDetailsViewOwner(nullptr);
}

bool QBDetailsPopover::eventFilter(QObject *watched, QEvent *event)
{
    const QEvent::Type type = event->type();
    // Escape in the popover or in the window it belongs to closes it, and
    // only then: a dialog or menu over that window, or another window,
    // keeps its own Escape.
    if (type == QEvent::KeyPress && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape) {
        auto *target = qobject_cast<QWidget *>(watched);
        const bool ours = target && !QApplication::activePopupWidget() && !QApplication::activeModalWidget()
                && (target->window() == this || (m_view && target->window() == m_view->window()));
        if (ours)
            hideDetailsView();
        return ours;
    }
    if (type != QEvent::MouseButtonPress && type != QEvent::MouseButtonDblClick)
        return false;
    auto *widget = qobject_cast<QWidget *>(watched);
    if (!widget || widget == this || isAncestorOf(widget))
        return false;
    if (m_view && (widget == m_view || m_view->isAncestorOf(widget))) {
        if (type == QEvent::MouseButtonDblClick)
            m_closeTimer.stop();
        else
            m_closeTimer.start(QApplication::doubleClickInterval());
        return false;
    }
    hideDetailsView();
    return false;
}

void QBDetailsPopover::hideEvent(QHideEvent *event)
{
    QFrame::hideEvent(event);
    popoverWillClose();
}

void QBDetailsPopover::popoverWillClose()
{
    m_closeTimer.stop();
    qApp->removeEventFilter(this);
    if (m_center)
        m_center->setDetailsViewOwner(nullptr);
}
