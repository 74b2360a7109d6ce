// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbconvertpanel.h"

#include "base/qbsettings.h"
#include "panels/qbconversionlayout.h"
#include "qbsharedpanel.h"

#include <QBoxLayout>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>

QBConvertPanel::QBConvertPanel(QWidget *parent)
    : QBRenamePanel(parent)
    , m_layoutChooser(new QComboBox(this))
    , m_layoutNote(new QLabel(this))
{
    for (const QString &key : QBConversionLayout::keys())
        m_layoutChooser->addItem(QBConversionLayout::title(*QBConversionLayout::fromKey(key)), key);
    m_layoutChooser->setObjectName(SettingsKey::conversionLayout);
    m_layoutNote->setWordWrap(true);
    m_layoutNote->setTextFormat(Qt::PlainText);
    auto *row = new QFormLayout;
    row->addRow(tr("Layout:"), m_layoutChooser);
    if (auto *box = qobject_cast<QBoxLayout *>(layout())) {
        box->insertLayout(0, row);
        box->insertWidget(1, m_layoutNote);
    }
    showLayout();
    connect(m_layoutChooser, &QComboBox::currentIndexChanged, this, &QBConvertPanel::layoutChosen);
}

QBConvertPanel *QBConvertPanel::convertPanel()
{
    return sharedPanel<QBConvertPanel>();
}

bool QBConvertPanel::runModalWithTitle(const QString &title, const QList<QVariantMap> &games)
{
    showLayout();
    return QBRenamePanel::runModalWithTitle(title, games);
}

void QBConvertPanel::showLayout()
{
    const int index = m_layoutChooser->findData(QBSettings::conversionLayout());
    const QSignalBlocker blocker(m_layoutChooser);
    m_layoutChooser->setCurrentIndex(qMax(0, index));
    switch (QBConversionLayout::Layout(m_layoutChooser->currentIndex())) {
    case QBConversionLayout::UsbLoader:
        m_layoutNote->setText(tr("Wii games go to wbfs/NAME/ID.wbfs and GameCube games to "
                                 "games/NAME/game.iso, NAME being the name below. Drop the games on "
                                 "the window of the drive's top folder."));
        break;
    case QBConversionLayout::Nintendont:
        m_layoutNote->setText(tr("GameCube games go to games/NAME/game.iso, NAME being the name below. "
                                 "Drop the games on the window of the drive's top folder."));
        break;
    case QBConversionLayout::Custom:
        m_layoutNote->clear();
        break;
    }
    m_layoutNote->setVisible(!m_layoutNote->text().isEmpty());
}

void QBConvertPanel::layoutChosen(int index)
{
    QBSettings::setConversionLayout(m_layoutChooser->itemData(index).toString());
    showLayout();
}
