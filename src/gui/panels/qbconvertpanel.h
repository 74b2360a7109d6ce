// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbrenamepanel.h"

class QComboBox;
class QLabel;

// The same panel for converting or extracting games into a folder, with
// its own shared instance and so its own pattern, and a chooser of the
// layout the games get there (the conversionLayout setting): with a USB
// loader's layout the pattern names each game's folder, and the loader the
// file.
class QBConvertPanel : public QBRenamePanel
{
    Q_OBJECT

public:
    explicit QBConvertPanel(QWidget *parent = nullptr);

    // The one convert panel of the application, never the rename panel.
    static QBConvertPanel *convertPanel();

    QComboBox *layoutChooser() const { return m_layoutChooser; }
    using QBRenamePanel::runModalWithTitle;
    bool runModalWithTitle(const QString &title, const QList<QVariantMap> &games) override;

private:
    void showLayout();
    void layoutChosen(int index);

    QComboBox *m_layoutChooser;
    QLabel *m_layoutNote;
};
