// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "panels/qbnamingpanel.h"

#include <QDialog>
#include <QVariantMap>

class QBGameBundle;
class QBTokenField;
class QLabel;
class QPushButton;

// The modal panel in which the user composes the file name that each game
// concerned will get when it is renamed. The pattern stays in the panel
// from one use to the next.
class QBRenamePanel : public QDialog, public QBNamingPanel
{
    Q_OBJECT

public:
    explicit QBRenamePanel(QWidget *parent = nullptr);

    // The one rename panel of the application.
    static QBRenamePanel *renamePanel();

    // Shows the panel with the title for the games and waits. True only
    // when the user confirmed with the confirming button (or Return in the
    // field); closing the panel any other way answers false. The games are
    // read when the panel opens.
    bool runModalWithTitle(const QString &title, const QList<QBGameBundle *> &games);
    bool runModalWithTitle(const QString &title, const QList<QVariantMap> &games) override;

    // The composed file name for one game, without folder or extension.
    QString stringForGame(const QVariantMap &game) const override;
    QString stringForGame(const QBGameBundle &game) const;

    QBTokenField *tokenField() const { return m_tokenField; }
    QPushButton *okButton() const { return m_okButton; }

    // Confirms, unless the pattern leaves a game without a name: then the
    // user is told which, and the panel stays open.
    void ok();
    void cancel();

private:
    void updateExample();

    QBTokenField *m_tokenField;
    QLabel *m_example;
    QPushButton *m_okButton;
};
