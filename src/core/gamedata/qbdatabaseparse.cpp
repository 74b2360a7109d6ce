// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdatabaseparse.h"

#include "base/qblogging.h"
#include "base/qbregularfile.h"

#include <QDateTime>
#include <QFile>
#include <QFutureWatcher>
#include <QVarLengthArray>
#include <QtConcurrent>

#include <pugixml.hpp>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>

namespace {

bool isText(const pugi::xml_node &node)
{
    return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

// Calls visit with each text node below node, in document order, until it
// answers false. A loop, not recursion: how deep elements nest is the
// file's choice, and a stack is not a place for that.
template<typename Visit>
void forEachText(const pugi::xml_node &node, Visit visit)
{
    pugi::xml_node current = node.first_child();
    while (current) {
        if (isText(current)) {
            if (!visit(current))
                return;
        } else if (current.type() == pugi::node_element && current.first_child()) {
            current = current.first_child();
            continue;
        }
        while (!current.next_sibling()) {
            current = current.parent();
            if (current == node)
                return;
        }
        current = current.next_sibling();
    }
}

void appendText(const pugi::xml_node &node, std::string &text)
{
    forEachText(node, [&text](const pugi::xml_node &child) {
        text += child.value();
        return true;
    });
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

// Joins as it goes: list gets ", " and the item, or just the item when it
// is still null (a first item may be empty, so null marks "no item yet").
void appendItem(QString &list, const QString &item)
{
    if (list.isNull()) {
        list = item.isNull() ? QString(u""_qs) : item;
    } else {
        list += u", ";
        list += item;
    }
}

// Whether the element's string value would be non-empty, without making it.
bool hasText(const pugi::xml_node &node)
{
    bool found = false;
    forEachText(node, [&found](const pugi::xml_node &child) {
        found = child.value()[0] != '\0';
        return !found;
    });
    return found;
}

QString attribute(const pugi::xml_node &node, const char *name)
{
    return QString::fromUtf8(node.attribute(name).value());
}

// The forgiving integer reading of the tools' numbers (leading blanks and
// a plus sign skipped, the leading digits taken, anything else 0), done on
// the UTF-8 text in place since it runs twice per game.
int integerAttribute(const pugi::xml_node &node, const char *name)
{
    const char *text = node.attribute(name).value();
    while (*text == ' ' || *text == '\t' || *text == '\n')
        ++text;
    if (*text == '+')
        ++text;
    const char *end = text + (*text == '-');
    while (*end >= '0' && *end <= '9')
        ++end;
    qint64 value = 0;
    const auto result = std::from_chars(text, end, value);
    if (result.ec == std::errc::result_out_of_range)
        value = *text == '-' ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
    else if (result.ec != std::errc())
        value = 0;
    return int(std::clamp<qint64>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// Record keys that every game repeats share one string each.
const QString &recordKey(const char *name)
{
    static const QString *const known[] = {
            &DatabaseKey::title, &DatabaseKey::synopsis, &DatabaseKey::id, &DatabaseKey::region,
            &DatabaseKey::languages, &DatabaseKey::developer, &DatabaseKey::publisher, &DatabaseKey::genre,
    };
    static const char *const knownNames[] = {"title", "synopsis", "id", "region",
                                             "languages", "developer", "publisher", "genre"};
    for (size_t i = 0; i < std::size(knownNames); ++i) {
        if (std::strcmp(name, knownNames[i]) == 0)
            return *known[i];
    }
    static thread_local QString other;
    other = QString::fromUtf8(name);
    return other;
}

enum class Element { Text, Locale, Date, Input, WiFi, Rating, Other };

Element classify(const char *name)
{
    switch (name[0]) {
    case 'l':
        if (!std::strcmp(name, "locale"))
            return Element::Locale;
        return !std::strcmp(name, "languages") ? Element::Text : Element::Other;
    case 'i':
        if (!std::strcmp(name, "id"))
            return Element::Text;
        return !std::strcmp(name, "input") ? Element::Input : Element::Other;
    case 'd':
        if (!std::strcmp(name, "developer"))
            return Element::Text;
        return !std::strcmp(name, "date") ? Element::Date : Element::Other;
    case 'g':
        return !std::strcmp(name, "genre") ? Element::Text : Element::Other;
    case 'p':
        return !std::strcmp(name, "publisher") ? Element::Text : Element::Other;
    case 'r':
        if (!std::strcmp(name, "region"))
            return Element::Text;
        return !std::strcmp(name, "rating") ? Element::Rating : Element::Other;
    case 'w':
        return !std::strcmp(name, "wi-fi") ? Element::WiFi : Element::Other;
    default:
        return Element::Other;
    }
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

// The preference list, also as UTF-8 for comparing with the document's
// bytes in place.
struct Preferences
{
    explicit Preferences(const QStringList &languages)
        : list(languages)
    {
        for (const QString &language : languages)
            utf8 << language.toUtf8();
    }
    QStringList list;
    QList<QByteArray> utf8;
};

// Rank of a locale's lang attribute, lower-cased, in the preference list;
// codes not listed come after all listed ones and tie with each other.
qsizetype rank(const Preferences &preferences, const char *lang)
{
    char lower[32];
    size_t length = 0;
    for (; lang[length] != '\0'; ++length) {
        const unsigned char c = static_cast<unsigned char>(lang[length]);
        if (length == sizeof lower || c >= 0x80) {
            // Long or not ASCII: the general lower-casing.
            const qsizetype index = preferences.list.indexOf(QString::fromUtf8(lang).toLower());
            return index < 0 ? preferences.list.size() : index;
        }
        lower[length] = char(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
    }
    const QByteArrayView code(lower, qsizetype(length));
    for (qsizetype i = 0; i < preferences.utf8.size(); ++i) {
        if (preferences.utf8.at(i) == code)
            return i;
    }
    return preferences.list.size();
}

std::optional<QVariantMap> gameRecord(const pugi::xml_node &game, const Preferences &preferences)
{
    // A locale is chosen when it ranks strictly better than the one chosen
    // before it, so the chosen ones follow from the locales alone. Knowing
    // them first spares converting a text that a later chosen locale
    // replaces anyway (most games list English before the user's language).
    QVarLengthArray<pugi::xml_node, 4> chosen;
    qsizetype bestRank = preferences.list.size();
    for (pugi::xml_node locale = game.first_child(); locale; locale = locale.next_sibling()) {
        if (locale.type() != pugi::node_element || classify(locale.name()) != Element::Locale)
            continue;
        const qsizetype localeRank = rank(preferences, locale.attribute("lang").value());
        if (localeRank < bestRank) {
            bestRank = localeRank;
            chosen.append(locale);
        }
    }
    const auto replacedLater = [&chosen](qsizetype index, const char *key) {
        for (qsizetype later = index + 1; later < chosen.size(); ++later) {
            for (pugi::xml_node entry = chosen[later].child(key); entry; entry = entry.next_sibling(key)) {
                if (hasText(entry))
                    return true;
            }
        }
        return false;
    };

    QVariantMap record;
    qsizetype nextChosen = 0;
    for (pugi::xml_node child = game.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element)
            continue;
        const char *name = child.name();
        switch (classify(name)) {
        case Element::Text: {
            QString text = stringValue(child);
            if (!text.isEmpty())
                record.insert(recordKey(name), std::move(text));
            break;
        }
        case Element::Locale: {
            if (nextChosen == chosen.size() || chosen[nextChosen] != child)
                break;
            const qsizetype index = nextChosen++;
            record.insert(DatabaseKey::lang, attribute(child, "lang").toLower());
            for (pugi::xml_node entry = child.first_child(); entry; entry = entry.next_sibling()) {
                if (entry.type() != pugi::node_element || replacedLater(index, entry.name()))
                    continue;
                QString text = stringValue(entry);
                if (!text.isEmpty())
                    record.insert(recordKey(entry.name()), std::move(text));
            }
            break;
        }
        case Element::Date: {
            // The real database has dates with empty attributes: no date.
            if (const std::optional<QDateTime> date = readDate(child))
                record.insert(DatabaseKey::date, *date);
            break;
        }
        case Element::Input: {
            record.insert(DatabaseKey::players, integerAttribute(child, "players"));
            QString required;
            QString optional;
            for (pugi::xml_node control = child.first_child(); control; control = control.next_sibling()) {
                if (control.type() != pugi::node_element)
                    continue;
                const pugi::xml_attribute type = control.attribute("type");
                if (!type)
                    continue;
                const bool isRequired = std::strcmp(control.attribute("required").value(), "true") == 0;
                appendItem(isRequired ? required : optional, QString::fromUtf8(type.value()));
            }
            if (!required.isNull())
                record.insert(DatabaseKey::requirements, required);
            if (!optional.isNull())
                record.insert(DatabaseKey::optionalControls, optional);
            break;
        }
        case Element::WiFi: {
            record.insert(DatabaseKey::wifiPlayers, integerAttribute(child, "players"));
            QString features;
            for (pugi::xml_node feature = child.first_child(); feature; feature = feature.next_sibling()) {
                if (feature.type() == pugi::node_element)
                    appendItem(features, stringValue(feature));
            }
            if (!features.isNull())
                record.insert(DatabaseKey::wifiFeatures, features);
            break;
        }
        case Element::Rating: {
            const pugi::xml_attribute value = child.attribute("value");
            if (value.value()[0] != '\0') {
                const pugi::xml_attribute type = child.attribute("type");
                // A missing type prints as a missing object does.
                const QString typeText = type ? QString::fromUtf8(type.value()) : QStringLiteral("(null)");
                record.insert(DatabaseKey::rating, QString(typeText + u' ' + QString::fromUtf8(value.value())));
            }
            break;
        }
        case Element::Other:
            break;
        }
    }
    if (record.value(DatabaseKey::id).toString().isEmpty())
        return std::nullopt;
    return record;
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
    // Anything but a regular file (a FIFO would block the read for good)
    // counts as no database.
    QString why;
    QFile file;
    if (!QBRegularFile::open(file, path, maximumFileSize, &why)) {
        qCInfo(lcGameData).noquote() << "Title database not loaded:" << path << why;
        return std::nullopt;
    }
    // Read into memory that the document owns, as load_file would: kept
    // apart from the records' allocations, it parses measurably faster.
    const qint64 size = file.size();
    auto *contents = static_cast<char *>(pugi::get_memory_allocation_function()(size_t(qMax<qint64>(size, 1))));
    const qint64 read = contents ? file.read(contents, size) : -1;
    pugi::xml_document document;
    // Whitespace-only text is kept where it is an element's only content,
    // so that a title of blanks still counts as a non-empty text.
    const pugi::xml_parse_result loaded =
            read >= 0 ? document.load_buffer_inplace_own(contents, size_t(read),
                                                          pugi::parse_default | pugi::parse_ws_pcdata_single)
                      : pugi::xml_parse_result();
    if (read < 0)
        pugi::get_memory_deallocation_function()(contents);
    if (!loaded) {
        qCInfo(lcGameData).noquote() << "Title database not loaded:" << path
                                     << (read < 0 ? file.errorString() : QString::fromUtf8(loaded.description()));
        return std::nullopt;
    }
    const Preferences preferences(languages);
    QBDatabase database;
    const pugi::xml_node root = document.document_element();
    for (pugi::xml_node child = root.first_child(); child; child = child.next_sibling()) {
        if (child.type() == pugi::node_element && std::strcmp(child.name(), "game") == 0) {
            // A game without an ID has nothing to be found by, and is skipped.
            std::optional<QVariantMap> record = gameRecord(child, preferences);
            if (record) {
                const QString id = record->value(DatabaseKey::id).toString();
                database.insert(id, std::move(*record));
            }
        }
        if (cancelled && cancelled->load(std::memory_order_relaxed))
            return std::nullopt;
    }
    return database;
}

std::optional<QVariantMap> QBDatabaseParse::dictionaryForGameNode(const pugi::xml_node &game,
                                                                  const QStringList &languages)
{
    return gameRecord(game, Preferences(languages));
}
