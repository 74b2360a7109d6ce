// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbconversionspopover.h"

#include "conversion/qbconversioncontroller.h"
#include "conversion/qbconversionlistmodel.h"
#include "conversion/qbprogressdrawing.h"
#include "qbconversiondelegate.h"

#include <QApplication>
#include <QCursor>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QHeaderView>
#include <QScreen>
#include <QTableView>
#include <QVBoxLayout>

namespace {

constexpr int popoverWidth = 440;
// The caption, the buttons and the frame take 56 pixels of the height
// together.
constexpr int verticalMargin = 4;
constexpr int captionHeight = 20;
constexpr int spacing = 2;
constexpr int buttonsHeight = 24;
static_assert(2 * verticalMargin + captionHeight + 2 * spacing + buttonsHeight == 56);

QPointer<QBConversionsPopover> sharedPopover;

}

QBConversionsPopover::QBConversionsPopover(QBConversionController *controller, QWidget *parent)
    : QFrame(parent, Qt::Popup)
    , m_controller(controller)
    , m_table(new QTableView(this))
    , m_caption(new QLabel(this))
    , m_empty(new QLabel(tr("No conversions.\nDrag games onto a window to convert or copy them."), this))
    , m_clear(new QPushButton(QStringLiteral("Clear"), this))
    , m_cancelAll(new QPushButton(QStringLiteral("Cancel all"), this))
{
    setFrameShape(QFrame::StyledPanel);
    setObjectName(QStringLiteral("conversionPopover"));

    auto *delegate = new QBConversionDelegate(m_table);
    m_table->setItemDelegate(delegate);
    m_table->setModel(controller->conversionList());
    // A one-column table rather than a list view: a change of one row then
    // repaints that row only, where a list view lays out all its items again.
    m_table->horizontalHeader()->hide();
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_table->verticalHeader()->setDefaultSectionSize(QBConversionDelegate::rowHeight);
    m_table->setShowGrid(false);
    m_table->setFrameShape(QFrame::NoFrame);
    m_table->setSelectionMode(QAbstractItemView::NoSelection);
    m_table->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_table->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // The popover's height decides how many rows show, not the list's
    // own idea of its smallest size.
    m_table->setMinimumHeight(1);

    m_caption->setFixedHeight(captionHeight);
    QFont bold = m_caption->font();
    bold.setBold(true);
    m_caption->setFont(bold);
    m_caption->setText(controller->caption());

    auto *buttons = new QWidget(this);
    buttons->setFixedHeight(buttonsHeight);
    auto *buttonRow = new QHBoxLayout(buttons);
    buttonRow->setContentsMargins(0, 0, 0, 0);
    buttonRow->addWidget(m_clear);
    buttonRow->addStretch();
    buttonRow->addWidget(m_cancelAll);
    m_clear->setEnabled(controller->isConversionListNotEmpty());
    m_cancelAll->setEnabled(controller->isConverting());

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, verticalMargin - frameWidth(), 8, verticalMargin - frameWidth());
    layout->setSpacing(spacing);
    layout->addWidget(m_caption);
    layout->addWidget(m_table, 1);
    m_empty->setAlignment(Qt::AlignCenter);
    m_empty->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(m_empty, 1);
    layout->addWidget(buttons);

    connect(controller, &QBConversionController::captionChanged, m_caption, &QLabel::setText);
    connect(controller, &QBConversionController::conversionListNotEmptyChanged, m_clear, &QWidget::setEnabled);
    connect(controller, &QBConversionController::convertingChanged, m_cancelAll, &QWidget::setEnabled);
    connect(m_clear, &QPushButton::clicked, controller, &QBConversionController::clearConversions);
    connect(m_cancelAll, &QPushButton::clicked, controller, &QBConversionController::cancelAllConversions);
    connect(delegate, &QBConversionDelegate::stopClicked, controller, &QBConversionController::cancelConversion);

    const QBConversionListModel *list = controller->conversionList();
    auto resizeWhenShown = [this] {
        const bool empty = !m_controller || m_controller->conversionList()->count() == 0;
        m_table->setHidden(empty);
        m_empty->setVisible(empty);
        if (isVisible())
            setConversionPopoverSize();
    };
    resizeWhenShown();
    connect(list, &QAbstractItemModel::rowsInserted, this, resizeWhenShown);
    connect(list, &QAbstractItemModel::rowsRemoved, this, resizeWhenShown);
    connect(list, &QAbstractItemModel::modelReset, this, resizeWhenShown);

    resize(popoverWidth, int(QBProgressDrawing::popoverHeight(0, QBConversionDelegate::rowHeight)));
}

QBConversionsPopover *QBConversionsPopover::shared()
{
    if (!sharedPopover) {
        sharedPopover = new QBConversionsPopover(QBConversionController::sharedController());
        QObject::connect(qApp, &QCoreApplication::aboutToQuit, sharedPopover.data(), &QObject::deleteLater);
    }
    return sharedPopover;
}

void QBConversionsPopover::toggleConversionsView(QWidget *anchor)
{
    if (isVisible()) {
        close();
        return;
    }
    if (anchor)
        showNextTo(QRect(anchor->mapToGlobal(QPoint(0, 0)), anchor->size()));
    else
        showNextTo(QRect(QCursor::pos(), QSize()));
}

void QBConversionsPopover::showNextTo(const QRect &globalAnchor)
{
    m_anchor = globalAnchor;
    popoverWillShow();
    show();
    // Before the first show, the window's frame is only guessed; place it
    // again now that it is known.
    place();
    raise();
    activateWindow();
}

void QBConversionsPopover::popoverWillShow()
{
    setConversionPopoverSize();
}

void QBConversionsPopover::setConversionPopoverSize()
{
    const int rows = m_controller ? m_controller->conversionList()->count() : 0;
    resize(width(), int(QBProgressDrawing::popoverHeight(rows, QBConversionDelegate::rowHeight)));
    place();
}

void QBConversionsPopover::place()
{
    const QPoint centre = m_anchor.isValid() ? m_anchor.center() : m_anchor.topLeft();
    QScreen *screen = QGuiApplication::screenAt(centre);
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect available = screen ? screen->availableGeometry() : QRect(QPoint(0, 0), QSize(4096, 4096));
    int x = centre.x() - width() / 2;
    int y = m_anchor.top() - height();
    if (y < available.top())
        y = m_anchor.isValid() ? m_anchor.bottom() + 1 : m_anchor.top();
    x = qBound(available.left(), x, qMax(available.left(), available.right() + 1 - width()));
    y = qBound(available.top(), y, qMax(available.top(), available.bottom() + 1 - height()));
    move(x, y);
}

void QBConversionsPopover::hideEvent(QHideEvent *event)
{
    QFrame::hideEvent(event);
    emit popoverDidClose();
}

void QBConversionsPopover::mousePressEvent(QMouseEvent *event)
{
    // A click on the control that opened the popover only closes it; it
    // must not reach the control and open it again at once.
    if (!rect().contains(event->position().toPoint())
        && m_anchor.contains(event->globalPosition().toPoint()))
        setAttribute(Qt::WA_NoMouseReplay);
    QFrame::mousePressEvent(event);
}
