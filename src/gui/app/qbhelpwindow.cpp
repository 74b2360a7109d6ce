// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbhelpwindow.h"

#include <QAction>
#include <QDialogButtonBox>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

const QString QBHelpWindow::guide = QStringLiteral("qrc:/palomet/help/guide.html");

QBHelpWindow::QBHelpWindow(QWidget *parent)
    : QWidget(parent, Qt::Window)
    , m_browser(new QTextBrowser(this))
{
    setWindowTitle(tr("Palomet Help"));
    setObjectName(QStringLiteral("helpWindow"));
    m_browser->setOpenExternalLinks(true);
    m_browser->setSource(QUrl(guide));
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QWidget::close);
    // Escape closes it, as it closes a dialog.
    auto *escape = new QAction(this);
    escape->setShortcut(Qt::Key_Escape);
    connect(escape, &QAction::triggered, this, &QWidget::close);
    addAction(escape);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_browser);
    layout->addWidget(buttons);
    resize(640, 620);
}
