// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbpreferenceswindow.h"

#include "base/qbsettings.h"
#include "conversion/qbconversioncontroller.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QEvent>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>

namespace {

// An empty text gives the setting back its default.
void storeText(const QString &key, const QString &text)
{
    if (text.trimmed().isEmpty())
        QBSettings::remove(key);
    else
        QBSettings::setValue(key, text.trimmed());
}

}

const QStringList &QBPreferencesWindow::conversionFormats()
{
    static const QStringList formats{u"wbfs"_qs, u"iso"_qs, u"ciso"_qs, u"wdf"_qs, u"wia"_qs};
    return formats;
}

QBPreferencesWindow::QBPreferencesWindow(QWidget *parent)
    : QDialog(parent)
{
    setWindowTitle(tr("Preferences"));

    auto choice = [this](const QString &key, const QStringList &values, std::function<void(const QString &)> also = {}) {
        auto *box = new QComboBox;
        box->setObjectName(key);
        box->addItems(values);
        connect(box, &QComboBox::activated, this, [box, key, also] {
            QBSettings::setValue(key, box->currentText());
            if (also)
                also(box->currentText());
        });
        m_readers << [box, key] {
            const QString value = QBSettings::value(key).toString();
            if (box->findText(value) < 0)
                box->addItem(value);
            box->setCurrentText(value);
        };
        return box;
    };
    auto check = [this](const QString &key, const QString &text) {
        auto *box = new QCheckBox(text);
        box->setObjectName(key);
        connect(box, &QCheckBox::toggled, this, [key](bool on) { QBSettings::setValue(key, on); });
        m_readers << [box, key] {
            const QSignalBlocker blocker(box);
            box->setChecked(QBSettings::value(key).toBool());
        };
        return box;
    };
    auto line = [this](const QString &key, const QString &placeholder) {
        auto *edit = new QLineEdit;
        edit->setObjectName(key);
        edit->setPlaceholderText(placeholder);
        connect(edit, &QLineEdit::editingFinished, this, [edit, key] { storeText(key, edit->text()); });
        m_readers << [edit, key] {
            // A setting left at its default shows the default as a hint.
            if (!edit->hasFocus())
                edit->setText(QBSettings::storedValue(key).toString());
        };
        return edit;
    };

    // Conversions.
    auto *conversions = new QWidget;
    auto *conversionForm = new QFormLayout(conversions);
    conversionForm->addRow(tr("Output format:"), choice(SettingsKey::conversionFormat, conversionFormats(), [](const QString &format) {
                               QBConversionController::sharedController()->setFormat(format);
                           }));
    conversionForm->addRow(tr("WIA compression:"),
                           choice(SettingsKey::compressionMode,
                                  {u"none"_qs, u"purge"_qs, u"bzip2"_qs, u"lzma"_qs, u"lzma2"_qs, u"fast"_qs,
                                   u"good"_qs, u"best"_qs}));
    auto *split = new QSpinBox;
    split->setObjectName(SettingsKey::splitSize);
    split->setRange(0, 1024 * 1024);
    split->setSingleStep(512);
    split->setSuffix(tr(" MiB"));
    split->setSpecialValueText(tr("Do not split"));
    connect(split, &QSpinBox::valueChanged, this, [](int size) { QBSettings::setValue(SettingsKey::splitSize, size); });
    m_readers << [split] {
        const QSignalBlocker blocker(split);
        split->setValue(QBSettings::value(SettingsKey::splitSize).toInt());
    };
    conversionForm->addRow(tr("Split files at:"), split);
    conversionForm->addRow(check(SettingsKey::shouldCreateParentDirectory, tr("Put each converted game in a folder of its own")));
    conversionForm->addRow(check(SettingsKey::notifyWhenDone, tr("Notify me when the conversions are done")));

    // Lists.
    auto *lists = new QWidget;
    auto *listForm = new QFormLayout(lists);
    listForm->addRow(check(SettingsKey::browseRecursively, tr("Deep search: list the games in sub-folders too")));
    listForm->addRow(check(SettingsKey::downloadCovers, tr("Download missing covers")));
    listForm->addRow(tr("Export game lists as:"), choice(SettingsKey::exportFormat, {u"html"_qs, u"txt"_qs}));
    auto *languages = new QLineEdit;
    languages->setObjectName(SettingsKey::languages);
    languages->setPlaceholderText(tr("The system's languages"));
    languages->setToolTip(tr("Language codes, best first, for example “fr, en”. Titles follow at the next start."));
    connect(languages, &QLineEdit::editingFinished, this, [languages] {
        const QStringList codes = languages->text().split(QRegularExpression(QStringLiteral("[,\\s]+")), Qt::SkipEmptyParts);
        if (codes.isEmpty())
            QBSettings::remove(SettingsKey::languages);
        else
            QBSettings::setValue(SettingsKey::languages, codes);
    });
    m_readers << [languages] {
        if (!languages->hasFocus())
            languages->setText(QBSettings::storedValue(SettingsKey::languages).toStringList().join(u", "));
    };
    listForm->addRow(tr("Languages:"), languages);

    // Tools and servers.
    auto *tools = new QWidget;
    auto *toolForm = new QFormLayout(tools);
    QLineEdit *permission = line(SettingsKey::permissionCommand, tr("None"));
    permission->setToolTip(tr("A command run before each run of wwt, for example to give access to the WBFS devices."));
    toolForm->addRow(tr("Before each wwt run:"), permission);
    toolForm->addRow(tr("Title database server:"),
                     line(SettingsKey::databaseServer, QBSettings::defaultValue(SettingsKey::databaseServer).toString()));
    toolForm->addRow(tr("Cover server:"),
                     line(SettingsKey::coverServer, QBSettings::defaultValue(SettingsKey::coverServer).toString()));
    toolForm->addRow(tr("Palomet's web site:"), line(SettingsKey::toolServer, tr("None")));

    auto *tabs = new QTabWidget;
    tabs->addTab(conversions, tr("Conversions"));
    tabs->addTab(lists, tr("Lists"));
    tabs->addTab(tools, tr("Tools"));
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(tabs);
    layout->addWidget(buttons);
    readSettings();
}

void QBPreferencesWindow::readSettings()
{
    for (const std::function<void()> &read : std::as_const(m_readers))
        read();
}

void QBPreferencesWindow::showSetting(const QString &key)
{
    auto *control = findChild<QWidget *>(key);
    auto *tabs = findChild<QTabWidget *>();
    if (!control || !tabs)
        return;
    for (int i = 0; i < tabs->count(); ++i) {
        if (tabs->widget(i)->isAncestorOf(control))
            tabs->setCurrentIndex(i);
    }
    control->setFocus(Qt::OtherFocusReason);
}

void QBPreferencesWindow::showEvent(QShowEvent *event)
{
    readSettings();
    QDialog::showEvent(event);
}

void QBPreferencesWindow::changeEvent(QEvent *event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        readSettings();
}
