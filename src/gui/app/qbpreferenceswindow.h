// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDialog>

#include <functional>

// The settings that the user chooses: conversions (output format,
// compression, split size, a folder per game, a notice at the end),
// listing (deep search, covers, the export format, languages) and the
// tools' access and servers. Each control is named after its setting and
// writes it as soon as it changes; the controls read the settings again
// whenever the window is shown or comes forward, since the open and
// export panels change some of them too.
class QBPreferencesWindow : public QDialog
{
    Q_OBJECT

public:
    explicit QBPreferencesWindow(QWidget *parent = nullptr);

    // The values of the conversions' output format control.
    static const QStringList &conversionFormats();

    void readSettings();
    // Brings the tab that holds the control of that setting forward and
    // gives the control the focus.
    void showSetting(const QString &key);

protected:
    void showEvent(QShowEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    QList<std::function<void()>> m_readers;
};
