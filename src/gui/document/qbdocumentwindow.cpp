// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdocumentwindow.h"

#include "base/qbsettings.h"
#include "conversion/qbconversionsbutton.h"
#include "document/qbgamefiltermodel.h"
#include "gamedata/qbgamecenter.h"
#include "qbimagebrowserview.h"
#include "qbtableview.h"

#include <QButtonGroup>
#include <QCloseEvent>
#include <QDir>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>

namespace {

const QStringList &fileColumns()
{
    static const QStringList keys{u"cover"_qs, u"filename"_qs, u"filetype"_qs, u"size"_qs};
    return keys;
}

}

QBDocumentWindow *QBDocumentWindow::create(const QString &filename, int type, int displayMode,
                                           const QBGameDataMenus &menus, QWidget *parent)
{
    QBDocument *document = QBDocument::create(filename, type, displayMode);
    if (!document)
        return nullptr;
    return new QBDocumentWindow(document, menus, parent);
}

QBDocumentWindow::QBDocumentWindow(QBDocument *document, const QBGameDataMenus &menus, QWidget *parent)
    : QMainWindow(parent)
    , m_document(document)
{
    document->setParent(this);
    document->setViews(this);
    setAttribute(Qt::WA_DeleteOnClose);
    buildWidgets();
    buildActions();
    buildMenus(menus);

    setWindowTitle(m_document->documentType() == QBDocument::Database
                           ? m_document->filename()
                           : QDir::toNativeSeparators(QDir::cleanPath(m_document->filename())));

    connect(m_tableView, &QAbstractItemView::doubleClicked, this, &QBDocumentWindow::tableDoubleClicked);
    m_document->setImageBrowserClickedIndex(-1);

    setUpColumns();

    const int mode = m_document->displayMode();
    displayModeSegment(mode == 0 ? 0 : 1)->setChecked(true);
    m_scrollView->setCurrentWidget(mode == 0 ? static_cast<QWidget *>(m_imageBrowserView) : m_tableView);

    m_searchField->setPlaceholderText(QBGameCenter::capitalizedKey(m_document->searchContext()));

    if (m_document->documentType() == QBDocument::Database) {
        displayModeSegment(0)->setEnabled(false);
        m_imageBrowserView->setModel(nullptr);
        for (const QString &key : fileColumns())
            m_tableView->setColumnHidden(QBGameListModel::columnForKey(key), true);
        // No covers to show: rows of text height.
        m_tableView->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 10);
    }

    m_document->registerObservers();
    m_document->browse();
    validateActions();
}

QBDocumentWindow::~QBDocumentWindow()
{
    // Hidden while this object is whole: hiding makes the views lay out and
    // signal, and their receivers here must not run half destroyed.
    hide();
    m_tableView->horizontalHeader()->disconnect(this);
    // The document goes with the widget's children, after this part of the
    // window; when it closes the details view, the game center's signal
    // must not come back here.
    if (QBGameCenter *center = QBGameCenter::sharedGameCenter())
        disconnect(center, nullptr, this, nullptr);
    m_document->setViews(nullptr);
}

void QBDocumentWindow::buildWidgets()
{
    resize(960, 640);
    buildViews();

    // The toolbar: display mode on the left; conversions and search on the
    // right.
    auto *toolbar = addToolBar(QStringLiteral("Document"));
    toolbar->setObjectName(QStringLiteral("documentToolbar"));
    toolbar->setMovable(false);
    toolbar->setFloatable(false);
    toolbar->toggleViewAction()->setVisible(false);
    m_displayModeControl = new QWidget;
    m_displayModeControl->setObjectName(QStringLiteral("displayModeControl"));
    auto *segments = new QHBoxLayout(m_displayModeControl);
    segments->setContentsMargins(0, 0, 0, 0);
    segments->setSpacing(0);
    m_displayModeGroup = new QButtonGroup(this);
    const std::pair<QString, QString> segmentLooks[] = {
            {QStringLiteral(":/palomet/document/covers.svg"), QStringLiteral("Covers")},
            {QStringLiteral(":/palomet/document/table.svg"), QStringLiteral("List")},
    };
    for (int segment = 0; segment < 2; ++segment) {
        auto *button = new QToolButton;
        button->setCheckable(true);
        button->setIcon(QIcon(segmentLooks[segment].first));
        button->setIconSize(QSize(20, 20));
        button->setToolTip(segmentLooks[segment].second);
        button->setAutoRaise(true);
        segments->addWidget(button);
        m_displayModeGroup->addButton(button, segment);
    }
    connect(m_displayModeGroup, &QButtonGroup::idClicked, this, &QBDocumentWindow::setDisplayMode);
    toolbar->addWidget(m_displayModeControl);
    auto *spacer = new QWidget;
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolbar->addWidget(spacer);
    m_conversionButton = new QBConversionsButton;
    toolbar->addWidget(m_conversionButton);
    m_searchField = new QLineEdit;
    m_searchField->setObjectName(QStringLiteral("searchField"));
    m_searchField->setClearButtonEnabled(true);
    m_searchField->setFixedWidth(220);
    toolbar->addWidget(m_searchField);
    connect(m_searchField, &QLineEdit::textChanged, m_document, &QBDocument::updateFilter);

    // The status line, with the reload button on its left.
    m_reloadButton = new QToolButton;
    m_reloadButton->setObjectName(QStringLiteral("reloadButton"));
    m_reloadButton->setIcon(style()->standardIcon(QStyle::SP_BrowserReload));
    m_reloadButton->setToolTip(QStringLiteral("Reload"));
    m_reloadButton->setAutoRaise(true);
    connect(m_reloadButton, &QToolButton::clicked, this, &QBDocumentWindow::reload);
    m_statusTextField = new QLabel;
    m_statusTextField->setObjectName(QStringLiteral("statusTextField"));
    m_statusTextField->setAlignment(Qt::AlignCenter);
    statusBar()->setSizeGripEnabled(false);
    // While the source is listed (also behind the cached games shown at
    // once), a busy bar says that the list is being checked.
    m_browsingIndicator = new QProgressBar;
    m_browsingIndicator->setObjectName(QStringLiteral("browsingIndicator"));
    m_browsingIndicator->setRange(0, 0);
    m_browsingIndicator->setTextVisible(false);
    m_browsingIndicator->setFixedSize(80, 10);
    m_browsingIndicator->setVisible(false);
    statusBar()->addWidget(m_reloadButton);
    statusBar()->addWidget(m_statusTextField, 1);
    statusBar()->addPermanentWidget(m_browsingIndicator);
    connect(m_document, &QBDocument::statusTextChanged, m_statusTextField, &QLabel::setText);
    connect(m_document, &QBDocument::isBrowsingChanged, m_reloadButton, [this](bool browsing) {
        m_reloadButton->setEnabled(!browsing);
        m_browsingIndicator->setVisible(browsing);
    });
}

QToolButton *QBDocumentWindow::displayModeSegment(int segment) const
{
    return static_cast<QToolButton *>(m_displayModeGroup->button(segment));
}

// --- Window state ---------------------------------------------------------

bool QBDocumentWindow::setFrameUsingName()
{
    const QByteArray frame = QBSettings::windowFrame(m_document->filename());
    return !frame.isEmpty() && restoreGeometry(frame);
}

void QBDocumentWindow::saveFrameUsingName() const
{
    QBSettings::setWindowFrame(m_document->filename(), saveGeometry());
}

void QBDocumentWindow::changeEvent(QEvent *event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        m_document->windowDidBecomeKey();
}

void QBDocumentWindow::closeEvent(QCloseEvent *event)
{
    saveFrameUsingName();
    m_tableStateSaver->stop();
    saveTableState();
    m_document->windowWillClose();
    QMainWindow::closeEvent(event);
}
