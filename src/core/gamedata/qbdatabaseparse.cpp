// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdatabaseparse.h"

#include "qblogging.h"
#include "tasks/qbtextnumber.h"

#include <QDateTime>
#include <QFile>
#include <QFutureWatcher>
#include <QtConcurrent>

#include <pugixml.hpp>

#include <cstring>
#include <string>

namespace {

bool isText(const pugi::xml_node &node)
{
    return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

void appendText(const pugi::xml_node &node, std::string &text)
{
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (isText(child))
            text += child.value();
        else if (child.type() == pugi::node_element)
            appendText(child, text);
    }
}

// The element's string value: all the text it contains, nested elements'
// included. Nearly every element holds one text node, which is read in
// place.
QString stringValue(const pugi::xml_node &node)
{
    const pugi::xml_node first = node.first_child();
    if (!first)
        return QString();
    if (!first.next_sibling() && isText(first))
        return QString::fromUtf8(first.value());
    std::string text;
    appendText(node, text);
    return QString::fromUtf8(text);
}

QString attribute(const pugi::xml_node &node, const char *name)
{
    return QString::fromUtf8(node.attribute(name).value());
}

int integerAttribute(const pugi::xml_node &node, const char *name)
{
    return int(QBTextNumber::toInteger(attribute(node, name)));
}

// Record keys that every game repeats share one string each.
const QString &recordKey(const char *name)
{
    static const QString *const known[] = {
            &DatabaseKey::id, &DatabaseKey::developer, &DatabaseKey::genre, &DatabaseKey::languages,
            &DatabaseKey::publisher, &DatabaseKey::region, &DatabaseKey::title, &DatabaseKey::synopsis,
    };
    static thread_local QString other;
    for (const QString *key : known) {
        if (*key == QLatin1String(name))
            return *key;
    }
    other = QString::fromUtf8(name);
    return other;
}

// "year-month-day 00:00:00 +0000" read as a date: three whole numbers,
// unpadded or not, that name a day of the calendar. Anything else is no date.
std::optional<QDateTime> readDate(const pugi::xml_node &node)
{
    int parts[3];
    const char *names[] = {"year", "month", "day"};
    for (int i = 0; i < 3; ++i) {
        const char *text = node.attribute(names[i]).value();
        const size_t length = std::strlen(text);
        if (length == 0 || length > 6)
            return std::nullopt;
        int value = 0;
        for (size_t c = 0; c < length; ++c) {
            if (text[c] < '0' || text[c] > '9')
                return std::nullopt;
            value = value * 10 + (text[c] - '0');
        }
        parts[i] = value;
    }
    const QDate date(parts[0], parts[1], parts[2]);
    if (!date.isValid())
        return std::nullopt;
    return date.startOfDay(Qt::UTC);
}

// Rank of a code in the preference list; codes not listed come after all
// listed ones and tie with each other.
qsizetype rank(const QStringList &languages, const QString &code)
{
    if (code.isNull())
        return languages.size();
    const qsizetype index = languages.indexOf(code);
    return index < 0 ? languages.size() : index;
}

}

QBDatabaseParse::QBDatabaseParse(const QString &databasePath, const QStringList &languages,
                                 QObject *parent)
    : QBOperation(parent)
    , m_databasePath(databasePath)
    , m_languages(languages)
    , m_cancelFlag(std::make_shared<std::atomic_bool>(false))
{
}

QBDatabaseParse::~QBDatabaseParse()
{
    // A worker still running has nobody left to tell; let it stop early.
    m_cancelFlag->store(true);
}

void QBDatabaseParse::cancel()
{
    m_cancelFlag->store(true);
    QBOperation::cancel();
}

void QBDatabaseParse::main()
{
    using Result = std::optional<QBDatabase>;
    auto *watcher = new QFutureWatcher<Result>(this);
    connect(watcher, &QFutureWatcher<Result>::finished, this, [this, watcher] {
        const Result result = watcher->result();
        watcher->deleteLater();
        if (result && !isCancelled())
            emit databaseDidParse(*result);
        finish();
    });
    watcher->setFuture(QtConcurrent::run(
            [path = m_databasePath, languages = m_languages, flag = m_cancelFlag] {
                return parse(path, languages, flag.get());
            }));
}

std::optional<QBDatabase> QBDatabaseParse::parse(const QString &path, const QStringList &languages,
                                                 const std::atomic_bool *cancelled)
{
    pugi::xml_document document;
    // Whitespace-only text is kept where it is an element's only content,
    // so that a title of blanks still counts as a non-empty text.
    const pugi::xml_parse_result loaded = document.load_file(
            QFile::encodeName(path).constData(), pugi::parse_default | pugi::parse_ws_pcdata_single);
    if (!loaded) {
        qCInfo(lcGameData).noquote() << "Title database not loaded:" << path << loaded.description();
        return std::nullopt;
    }
    QBDatabase database;
    const pugi::xml_node root = document.document_element();
    for (pugi::xml_node child = root.first_child(); child; child = child.next_sibling()) {
        if (child.type() == pugi::node_element && std::strcmp(child.name(), "game") == 0) {
            std::optional<QVariantMap> record = dictionaryForGameNode(child, languages);
            if (!record) {
                qCInfo(lcGameData) << "Title database parse ended at offset"
                                   << child.offset_debug() << "by a game it cannot store";
                return std::nullopt;
            }
            const QString id = record->value(DatabaseKey::id).toString();
            database.insert(id, std::move(*record));
        }
        if (cancelled && cancelled->load(std::memory_order_relaxed))
            return std::nullopt;
    }
    return database;
}

std::optional<QVariantMap> QBDatabaseParse::dictionaryForGameNode(const pugi::xml_node &game,
                                                                  const QStringList &languages)
{
    QVariantMap record;
    for (pugi::xml_node child = game.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element)
            continue;
        const char *name = child.name();
        if (!std::strcmp(name, "id") || !std::strcmp(name, "developer") || !std::strcmp(name, "genre")
            || !std::strcmp(name, "languages") || !std::strcmp(name, "publisher")
            || !std::strcmp(name, "region")) {
            QString text = stringValue(child);
            if (!text.isEmpty())
                record.insert(recordKey(name), std::move(text));
        } else if (!std::strcmp(name, "locale")) {
            const QString code = attribute(child, "lang").toLower();
            const QString current = record.value(DatabaseKey::lang).toString();
            if (rank(languages, code) >= rank(languages, current))
                continue;
            record.insert(DatabaseKey::lang, code);
            for (pugi::xml_node entry = child.first_child(); entry; entry = entry.next_sibling()) {
                if (entry.type() != pugi::node_element)
                    continue;
                QString text = stringValue(entry);
                if (!text.isEmpty())
                    record.insert(recordKey(entry.name()), std::move(text));
            }
        } else if (!std::strcmp(name, "date")) {
            const std::optional<QDateTime> date = readDate(child);
            if (!date)
                return std::nullopt;
            record.insert(DatabaseKey::date, *date);
        } else if (!std::strcmp(name, "input")) {
            record.insert(DatabaseKey::players, integerAttribute(child, "players"));
            QStringList required;
            QStringList optional;
            for (pugi::xml_node control = child.first_child(); control; control = control.next_sibling()) {
                if (control.type() != pugi::node_element)
                    continue;
                const pugi::xml_attribute type = control.attribute("type");
                if (!type)
                    return std::nullopt;
                const bool isRequired = std::strcmp(control.attribute("required").value(), "true") == 0;
                (isRequired ? required : optional) << QString::fromUtf8(type.value());
            }
            if (!required.isEmpty())
                record.insert(DatabaseKey::requirements, required.join(QStringLiteral(", ")));
            if (!optional.isEmpty())
                record.insert(DatabaseKey::optionalControls, optional.join(QStringLiteral(", ")));
        } else if (!std::strcmp(name, "wi-fi")) {
            record.insert(DatabaseKey::wifiPlayers, integerAttribute(child, "players"));
            QStringList features;
            for (pugi::xml_node feature = child.first_child(); feature; feature = feature.next_sibling()) {
                if (feature.type() == pugi::node_element)
                    features << stringValue(feature);
            }
            if (!features.isEmpty())
                record.insert(DatabaseKey::wifiFeatures, features.join(QStringLiteral(", ")));
        } else if (!std::strcmp(name, "rating")) {
            const pugi::xml_attribute value = child.attribute("value");
            if (value.value()[0] != '\0') {
                const pugi::xml_attribute type = child.attribute("type");
                // A missing type prints as a missing object does.
                const QString typeText = type ? QString::fromUtf8(type.value()) : QStringLiteral("(null)");
                record.insert(DatabaseKey::rating, QString(typeText + u' ' + QString::fromUtf8(value.value())));
            }
        }
    }
    if (record.value(DatabaseKey::id).toString().isEmpty())
        return std::nullopt;
    return record;
}
