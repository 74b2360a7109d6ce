// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbgamecenter.h"

#include "base/qblogging.h"
#include "base/qbsavefile.h"
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "qbarchiveextractor.h"
#include "qbcovercache.h"
#include "qbfiledownload.h"
#include "qblanguages.h"
#include "tasks/qboperationqueue.h"

#include <QDate>
#include <QDateTime>
#include <QNetworkAccessManager>
#include <QLocale>

namespace {

QBGameCenter *sharedInstance = nullptr;

}

QBGameCenter::QBGameCenter(QObject *parent)
    : QObject(parent)
    , m_operationQueue(new QBOperationQueue(2, this))
    , m_network(new QNetworkAccessManager(this))
{
    sharedInstance = this;
    m_supportFolder = QBSupportFolder::path();
    if (m_supportFolder.isEmpty())
        qCWarning(lcGameData).noquote() << "The support folder cannot be made:" << QBSupportFolder::location();
    else
        QBSupportFolder::removeLeftovers();
    m_languages = QBLanguages::preferenceList(QBLanguages::userLanguages());
    m_coverCache = new QBCoverCache(m_supportFolder, m_operationQueue, m_network, this);
    connect(m_coverCache, &QBCoverCache::imageDidDownload, this, &QBGameCenter::imageDidDownload);
    parseDatabase();
}

QBGameCenter::~QBGameCenter()
{
    delete m_extractor;
    delete m_download;
    // No cover reader outlives the game center.
    delete m_coverCache;
    m_coverCache = nullptr;
    m_operationQueue->cancelAllOperations();
    if (sharedInstance == this)
        sharedInstance = nullptr;
}

QBGameCenter *QBGameCenter::sharedGameCenter()
{
    return sharedInstance;
}

const QStringList &QBGameCenter::databaseKeys()
{
    static const QStringList keys{
            u"id"_qs, u"region"_qs, u"genre"_qs, u"languages"_qs, u"players"_qs, u"wi-fi-players"_qs,
            u"wi-fi-features"_qs, u"requirements"_qs, u"optional-controls"_qs, u"developer"_qs,
            u"publisher"_qs, u"rating"_qs, u"synopsis"_qs};
    return keys;
}

const QStringList &QBGameCenter::tableViewKeys()
{
    static const QStringList keys{
            u"cover"_qs, u"developer"_qs, u"filename"_qs, u"filetype"_qs, u"genre"_qs, u"id"_qs,
            u"languages"_qs, u"optional-controls"_qs, u"players"_qs, u"publisher"_qs, u"rating"_qs,
            u"region"_qs, u"requirements"_qs, u"size"_qs, u"title"_qs, u"wi-fi-players"_qs,
            u"wi-fi-features"_qs};
    return keys;
}

const QStringList &QBGameCenter::searchMenuKeys()
{
    static const QStringList keys{
            u"developer"_qs, u"genre"_qs, u"id"_qs, u"languages"_qs, u"optional-controls"_qs,
            u"publisher"_qs, u"rating"_qs, u"region"_qs, u"requirements"_qs, u"synopsis"_qs, u"title"_qs};
    return keys;
}

QString QBGameCenter::capitalizedKey(const QString &key)
{
    QString text = key.toLower();
    bool wordStart = true;
    for (QChar &c : text) {
        const bool separator = c == u' ' || c == u'\t' || c == u'\n' || c == u'\r';
        if (wordStart && !separator)
            c = c.toUpper();
        wordStart = separator;
    }
    return text;
}

// --- Covers ---------------------------------------------------------------

bool QBGameCenter::getImageForGame(const QVariantMap &game)
{
    return m_coverCache->getImageForGame(game);
}

QString QBGameCenter::pathForCoverOfGame(const QVariantMap &game) const
{
    return m_coverCache->pathForCoverOfGame(game);
}

const QHash<QString, QImage> &QBGameCenter::images() const
{
    return m_coverCache->images();
}

void QBGameCenter::setImage(const QString &id, const QImage &image)
{
    m_coverCache->setImage(id, image);
}

const QSet<QString> &QBGameCenter::imagesDownloading() const
{
    return m_coverCache->imagesDownloading();
}

QBCoverEntry *QBGameCenter::coverEntry(const QString &id)
{
    return m_coverCache->coverEntry(id);
}

void QBGameCenter::setCoverMemoryBudget(qint64 bytes)
{
    m_coverCache->setMemoryBudget(bytes);
}

qint64 QBGameCenter::coverImageBytes() const
{
    return m_coverCache->imageBytes();
}

void QBGameCenter::touchImage(const QString &id)
{
    m_coverCache->touchImage(id);
}

bool QBGameCenter::isReadingCovers() const
{
    return m_coverCache->isReading();
}

// --- The details view -----------------------------------------------------

void QBGameCenter::setDetailsViewOwner(QObject *owner)
{
    if (m_detailsViewOwner == owner)
        return;
    m_detailsViewOwner = owner;
    emit detailsViewOwnerChanged(owner);
}

void QBGameCenter::hideDetailsView()
{
    emit detailsViewHideRequested();
    setDetailsViewOwner(nullptr);
}

void QBGameCenter::updateDetailsView()
{
    emit detailsViewUpdateRequested();
}

QString QBGameCenter::labelForKey(const QString &key)
{
    static const QHash<QString, QString> labels{
            {u"id"_qs, u"ID"_qs},
            {u"wi-fi-players"_qs, u"Wi-Fi players"_qs},
            {u"wi-fi-features"_qs, u"Wi-Fi features"_qs},
            {u"optional-controls"_qs, u"Optional controls"_qs},
            {u"date"_qs, u"Release date"_qs},
            {u"filetype"_qs, u"File type"_qs},
            {u"filename"_qs, u"File"_qs},
    };
    return labels.value(key, capitalizedKey(key));
}

QString QBGameCenter::detailsText(const QVariantMap &game)
{
    static const QStringList keys = [] {
        QStringList list = databaseKeys();
        list.insert(list.indexOf(u"publisher"_qs) + 1, u"date"_qs);
        return list;
    }();
    QString text;
    for (const QString &key : keys) {
        const auto it = game.constFind(key);
        if (it == game.cend() || !it->isValid())
            continue;
        text += u'\n' + labelForKey(key) + QStringLiteral(": ") + displayText(key, *it);
    }
    return text;
}

QString QBGameCenter::displayText(const QString &key, const QVariant &value)
{
    if (key == QLatin1String("region") && value.metaType().id() == QMetaType::QString)
        return regionText(value.toString());
    return textForValue(value);
}

// The tool's codes come from the fourth letter of the ID; the title
// database says NTSC-U, NTSC-J, NTSC-K and PAL for every European and
// Australian disc. Codes it has no word for keep their own, trimmed.
QString QBGameCenter::regionText(const QString &region)
{
    static const QHash<QString, QString> names{
            {u"USA"_qs, u"NTSC-U"_qs}, {u"JAPA"_qs, u"NTSC-J"_qs}, {u"KORE"_qs, u"NTSC-K"_qs},
            {u"PAL"_qs, u"PAL"_qs},    {u"EURO"_qs, u"PAL"_qs},    {u"GERM"_qs, u"PAL"_qs},
            {u"FREN"_qs, u"PAL"_qs},   {u"ITAL"_qs, u"PAL"_qs},    {u"SPAN"_qs, u"PAL"_qs},
            {u"NL"_qs, u"PAL"_qs},     {u"SCAN"_qs, u"PAL"_qs},    {u"RUS"_qs, u"PAL"_qs},
            {u"AUS"_qs, u"PAL"_qs},
    };
    const QString code = region.trimmed();
    return names.value(code, code);
}

bool QBGameCenter::isNumber(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Float:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

QString QBGameCenter::textForValue(const QVariant &value)
{
    if (isNumber(value)) {
        switch (value.metaType().id()) {
        case QMetaType::Bool:
            return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
        case QMetaType::Float:
            return QString::number(value.toFloat());
        case QMetaType::Double:
            return QString::number(value.toDouble());
        default:
            return value.toString();
        }
    }
    switch (value.metaType().id()) {
    case QMetaType::UnknownType:
        return QString();
    case QMetaType::QString:
        return value.toString();
    case QMetaType::QDate:
        return QLocale().toString(value.toDate(), QLocale::LongFormat);
    case QMetaType::QDateTime:
        return QLocale().toString(value.toDateTime().toUTC().date(), QLocale::LongFormat);
    case QMetaType::QStringList:
        return value.toStringList().join(QStringLiteral(", "));
    case QMetaType::QVariantList: {
        QStringList items;
        const QVariantList list = value.toList();
        for (const QVariant &item : list)
            items << textForValue(item);
        return items.join(QStringLiteral(", "));
    }
    default:
        return value.canConvert<QString>() ? value.toString() : QString();
    }
}

QUrl QBGameCenter::gamePageUrl(const QString &id)
{
    QUrl url(QBSettings::databaseServer());
    url.setPath(QStringLiteral("/Wii/") + id);
    return url;
}
