// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbgamelistexport.h"

#include "base/qbkeys.h"
#include "base/qblogging.h"
#include "gamedata/qbimagedownload.h"

#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSaveFile>
#include <QStringEncoder>
#include <QTimer>

namespace {

const QString playersKey = QStringLiteral("players");
const QString wifiPlayersKey = QStringLiteral("wi-fi-players");
const QString languagesKey = QStringLiteral("languages");

// Qt opens at most six connections to one server for one manager.
constexpr int connectionsPerManager = 6;
constexpr int checkTimeoutMs = 20000;

}

QBGameListExport::QBGameListExport(const QString &filename, const QList<QVariantMap> &games, const QString &format,
                                   const QString &chosenPath, QObject *parent)
    : QObject(parent)
    , m_filename(filename)
    , m_games(games)
    , m_format(format)
    , m_targetPath(targetPath(chosenPath, format))
{
}

QBGameListExport::~QBGameListExport()
{
    for (QNetworkReply *reply : std::as_const(m_replies))
        reply->disconnect(this);
}

QVariantMap QBGameListExport::exportedValues(const QVariantMap &game)
{
    QVariantMap values;
    for (const QString &key : {GameKey::id, GameKey::title, GameKey::region, playersKey, wifiPlayersKey, languagesKey}) {
        const auto value = game.constFind(key);
        if (value != game.cend())
            values.insert(key, *value);
    }
    return values;
}

QString QBGameListExport::targetPath(const QString &chosenPath, const QString &format)
{
    const QFileInfo chosen(chosenPath);
    QString name = chosen.fileName();
    // As a leading dot starts a hidden name rather than an extension.
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot > 0)
        name.truncate(dot);
    const QString folder = chosenPath.left(chosenPath.size() - chosen.fileName().size());
    return folder + name + u'.' + format;
}

QString QBGameListExport::textForm(const QVariant &value)
{
    if (!value.isValid() || value.isNull())
        return QStringLiteral("(null)");
    switch (value.metaType().id()) {
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
        return QString::number(value.toLongLong());
    case QMetaType::ULongLong:
        return QString::number(value.toULongLong());
    case QMetaType::QStringList:
        return value.toStringList().join(u", ");
    default:
        return value.toString();
    }
}

QString QBGameListExport::plainText(const QList<QVariantMap> &games)
{
    QString text;
    for (const QVariantMap &game : games)
        text += u'[' + textForm(game.value(GameKey::id)) + QStringLiteral("] ") + textForm(game.value(GameKey::title))
                + u'\n';
    return text;
}

// Nothing is escaped: titles go into the page as they stand.
QString QBGameListExport::htmlText(const QString &filename, const QList<QVariantMap> &games,
                                   const QStringList &coverUrls)
{
    QString text = QStringLiteral("<html>\n<head><title>") + filename
            + QStringLiteral("</title>\n"
                             "<style>table { text-align:left } th,td { padding:2px 10px } img { width:60px; "
                             "height:90px; }</style>\n"
                             "</head>\n"
                             "<body>\n"
                             "<table>\n"
                             "<tr><th>Cover</th><th>Id</th><th>Title</th><th>Players</th><th>Wi-Fi "
                             "Players</th><th>Languages</th></tr>\n");
    for (qsizetype i = 0; i < games.size(); ++i) {
        const QVariantMap &game = games.at(i);
        text += QStringLiteral("<tr><td><img src='") + coverUrls.value(i) + QStringLiteral("' /></td><td>")
                + textForm(game.value(GameKey::id)) + QStringLiteral("</td><td>")
                + textForm(game.value(GameKey::title)) + QStringLiteral("</td><td>")
                + textForm(game.value(playersKey)) + QStringLiteral("</td><td>")
                + textForm(game.value(wifiPlayersKey)) + QStringLiteral("</td><td>")
                + textForm(game.value(languagesKey)) + QStringLiteral("</td></tr>\n");
    }
    text += QStringLiteral("</table>\n</body>\n</html>");
    return text;
}

bool QBGameListExport::isHtml() const
{
    return m_format == QLatin1String("html");
}

int QBGameListExport::checkCount() const
{
    return isHtml() ? int(m_games.size()) : 0;
}

QBAlert QBGameListExport::failureAlert() const
{
    QBAlert alert;
    alert.message = QStringLiteral("The game list could not be saved as “%1”.").arg(QFileInfo(m_targetPath).fileName());
    alert.informativeText = m_errorString;
    return alert;
}

void QBGameListExport::start()
{
    if (m_result != Result::Pending || m_nextCheck > 0)
        return;
    const int count = checkCount();
    if (count == 0) {
        // Ends from the event loop, as an export with checks does.
        QTimer::singleShot(0, this, [this] {
            if (m_result == Result::Pending)
                write();
        });
        return;
    }
    m_coverUrls = QStringList(count, QString());
    const int running = qMin(checksInFlight, count);
    for (int i = 0; i < (running + connectionsPerManager - 1) / connectionsPerManager; ++i)
        m_networks << new QNetworkAccessManager(this);
    for (int i = 0; i < running; ++i)
        startCheck();
}

void QBGameListExport::startCheck()
{
    const int index = m_nextCheck++;
    const QVariantMap &game = m_games.at(index);
    const QString id = game.value(GameKey::id).toString();
    QNetworkRequest request(QBImageDownload::coverUrl(QBImageDownload::coverLanguage(game), id));
    request.setTransferTimeout(checkTimeoutMs);
    QNetworkReply *reply = m_networks.at(index % m_networks.size())->get(request);
    m_replies.insert(reply);
    // The first bytes of a good answer settle the check: the cover itself
    // is not kept, so the rest is not fetched.
    auto hasData = std::make_shared<bool>(false);
    connect(reply, &QNetworkReply::readyRead, this, [reply, hasData] {
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (!*hasData && reply->error() == QNetworkReply::NoError && status >= 200 && status < 300
            && reply->bytesAvailable() > 0) {
            *hasData = true;
            reply->abort();
        }
    });
    connect(reply, &QNetworkReply::finished, this,
            [this, reply, index, hasData] { checkFinished(reply, index, *hasData); });
}

void QBGameListExport::checkFinished(QNetworkReply *reply, int index, bool hasData)
{
    m_replies.remove(reply);
    reply->deleteLater();
    if (m_result != Result::Pending)
        return;
    const QVariantMap &game = m_games.at(index);
    const QUrl asked = reply->request().url();
    const bool found = hasData || (reply->error() == QNetworkReply::NoError && !reply->readAll().isEmpty());
    m_coverUrls[index] = found ? asked.toString()
                               : QBImageDownload::coverUrl(QStringLiteral("EN"), game.value(GameKey::id).toString())
                                         .toString();
    ++m_checksDone;
    emit progressChanged(m_checksDone, checkCount());
    if (m_nextCheck < checkCount())
        startCheck();
    else if (m_checksDone == checkCount())
        write();
}

void QBGameListExport::write()
{
    const QString text = isHtml() ? htmlText(m_filename, m_games, m_coverUrls) : plainText(m_games);
    QStringEncoder encoder(QStringEncoder::Utf16LE, QStringEncoder::Flag::WriteBom);
    const QByteArray bytes = encoder.encode(text);
    QSaveFile file(m_targetPath);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        m_errorString = file.errorString();
        qCWarning(lcApp).noquote() << "The game list could not be written to" << m_targetPath << m_errorString;
        end(Result::WriteFailed);
        return;
    }
    end(Result::Written);
}

void QBGameListExport::cancel()
{
    if (m_result != Result::Pending)
        return;
    m_result = Result::Cancelled;
    const QSet<QNetworkReply *> replies = std::exchange(m_replies, {});
    for (QNetworkReply *reply : replies) {
        reply->disconnect(this);
        reply->abort();
        reply->deleteLater();
    }
    emit finished();
}

void QBGameListExport::end(Result result)
{
    m_result = result;
    emit finished();
}
