// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbrenamepanel.h"

#include "base/qbalertpresenter.h"
#include "base/qbkeys.h"
#include "gamedata/qbgamebundle.h"
#include "qbsharedpanel.h"
#include "qbtokenfield.h"

#include <QDialogButtonBox>
#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QString nameInAlert(const QVariantMap &game)
{
    const QString filename = QFileInfo(game.value(GameKey::filename).toString()).fileName();
    return filename.isEmpty() ? game.value(GameKey::id).toString() : filename;
}

}

QBRenamePanel::QBRenamePanel(QWidget *parent)
    : QDialog(parent)
    , m_tokenField(new QBTokenField(this))
    , m_example(new QLabel(this))
{
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    m_okButton = buttons->button(QDialogButtonBox::Ok);
    m_tokenField->setActionButton(m_okButton);
    connect(m_okButton, &QPushButton::clicked, this, &QBRenamePanel::ok);
    connect(buttons->button(QDialogButtonBox::Cancel), &QPushButton::clicked, this, &QBRenamePanel::cancel);
    connect(m_tokenField, &QBTokenField::textChanged, this, &QBRenamePanel::updateExample);
    // Patterns are not kept from one run to the next: each starts with the
    // usual one, ready to confirm.
    m_tokenField->setObjectValue(QBFilenamePattern::defaultPattern());

    m_example->setTextFormat(Qt::PlainText);
    m_example->setForegroundRole(QPalette::PlaceholderText);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(tr("File name:"), this));
    layout->addWidget(m_tokenField);
    layout->addWidget(m_example);
    layout->addStretch();
    layout->addWidget(buttons);
    resize(420, sizeHint().height());
}

QBRenamePanel *QBRenamePanel::renamePanel()
{
    return sharedPanel<QBRenamePanel>();
}

bool QBRenamePanel::runModalWithTitle(const QString &title, const QList<QBGameBundle *> &games)
{
    // Records, not the bundles themselves: the document may drop its
    // bundles (a reload) while the panel is open.
    QList<QVariantMap> records;
    for (const QBGameBundle *game : games) {
        if (game)
            records << game->infosDictionary();
    }
    return runModalWithTitle(title, records);
}

bool QBRenamePanel::runModalWithTitle(const QString &title, const QList<QVariantMap> &games)
{
    setWindowTitle(title);
    m_tokenField->setRepresentedGames(games);
    m_okButton->setDefault(true);
    updateExample();
    m_tokenField->setFocus();
    return exec() == QDialog::Accepted;
}

QString QBRenamePanel::stringForGame(const QVariantMap &game) const
{
    return m_tokenField->stringValueForGame(game);
}

QString QBRenamePanel::stringForGame(const QBGameBundle &game) const
{
    return m_tokenField->objectValue().stringValueForGame(game);
}

void QBRenamePanel::ok()
{
    // An empty name would make a file called only by its extension; refuse
    // it here, where the pattern can still be changed.
    const QBFilenamePattern pattern = m_tokenField->objectValue();
    QStringList unnamed;
    for (const QVariantMap &game : m_tokenField->representedGames()) {
        if (pattern.stringValueForGame(game).isEmpty())
            unnamed << nameInAlert(game);
    }
    if (!unnamed.isEmpty()) {
        QBAlert alert;
        alert.message = unnamed.size() == 1
                ? tr("The file name would be empty for one game.")
                : tr("The file name would be empty for %1 games.").arg(unnamed.size());
        alert.informativeText = QBAlert::nameLines(unnamed);
        QBAlertPresenter::run(alert);
        return;
    }
    accept();
}

void QBRenamePanel::cancel()
{
    reject();
}

void QBRenamePanel::updateExample()
{
    const QList<QVariantMap> &games = m_tokenField->representedGames();
    m_example->setVisible(!games.isEmpty() && !m_tokenField->objectValue().isEmpty());
    if (games.isEmpty())
        return;
    const QString name = stringForGame(games.first());
    m_example->setText(name.isEmpty() ? tr("This pattern gives no name.") : tr("For example: %1").arg(name));
}
