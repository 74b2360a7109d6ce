// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbgamelistmodel.h"

#include "base/qbkeys.h"
#include "gamedata/qbgamecenter.h"

#include <QDateTime>

#include <algorithm>

namespace {

const QString coverKey = QStringLiteral("cover");

// How values of different kinds order against each other.
enum class Kind { Missing, Number, Date, Text, Other };

Kind kindOf(const QVariant &value)
{
    if (QBGameCenter::isNumber(value))
        return Kind::Number;
    switch (value.metaType().id()) {
    case QMetaType::UnknownType:
        return Kind::Missing;
    case QMetaType::QDate:
    case QMetaType::QDateTime:
        return Kind::Date;
    case QMetaType::QString:
    case QMetaType::QStringList:
    case QMetaType::QVariantList:
        return Kind::Text;
    default:
        return Kind::Other;
    }
}

QString cellText(const QString &key, const QVariant &value)
{
    if (key == GameKey::size && value.isValid())
        return QString::number(double(value.toFloat()), 'f', 2) + QStringLiteral(" GB");
    if (key == coverKey)
        return QString();
    return QBGameCenter::displayText(key, value);
}

}

QBGameListModel::QBGameListModel(QObject *parent)
    : QAbstractTableModel(parent)
{
}

QBGameListModel::~QBGameListModel() = default;

int QBGameListModel::columnForKey(const QString &key)
{
    return int(QBGameCenter::tableViewKeys().indexOf(key));
}

QString QBGameListModel::keyForColumn(int column)
{
    return QBGameCenter::tableViewKeys().value(column);
}

const QStringList &QBGameListModel::foldKeys()
{
    // Every key that a column shows or the search looks in.
    static const QStringList keys = [] {
        QStringList list = QBGameCenter::tableViewKeys();
        for (const QString &key : QBGameCenter::searchMenuKeys()) {
            if (!list.contains(key))
                list << key;
        }
        return list;
    }();
    return keys;
}

int QBGameListModel::foldIndex(const QString &key)
{
    static const QHash<QString, int> indexes = [] {
        QHash<QString, int> hash;
        for (int i = 0; i < foldKeys().size(); ++i)
            hash.insert(foldKeys().at(i), i);
        return hash;
    }();
    return indexes.value(key, -1);
}

int QBGameListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int QBGameListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(QBGameCenter::tableViewKeys().size());
}

QVariant QBGameListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Row &row = m_rows[size_t(index.row())];
    const QString key = keyForColumn(index.column());
    switch (role) {
    case Qt::DisplayRole:
        return cellText(key, value(index.row(), key));
    case Qt::ToolTipRole: {
        const QString text = cellText(key, value(index.row(), key));
        return text.isEmpty() ? QVariant() : QVariant(text);
    }
    case Qt::TextAlignmentRole:
        return key == GameKey::size ? QVariant(int(Qt::AlignRight | Qt::AlignVCenter)) : QVariant();
    case RawValueRole:
        return value(index.row(), key);
    case CoverRole: {
        if (row.bundle)
            return row.bundle->cover();
        const QImage cover = row.record.value(coverKey).value<QImage>();
        return cover.isNull() ? QBGameBundle::missingCover() : cover;
    }
    case CoverKeyRole: {
        if (row.bundle)
            return row.bundle->record()->coverCacheKey();
        const QImage cover = row.record.value(coverKey).value<QImage>();
        return (cover.isNull() ? QBGameBundle::missingCover() : cover).cacheKey();
    }
    case TitleRole:
        return QBGameCenter::textForValue(value(index.row(), GameKey::title));
    case SubtitleRole:
        return row.bundle ? row.bundle->imageSubtitle() : QBGameBundle::subtitle(row.record);
    case VersionRole:
        return row.bundle ? row.bundle->imageVersion() : QVariant();
    default:
        return {};
    }
}

QVariant QBGameListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= columnCount())
        return QAbstractTableModel::headerData(section, orientation, role);
    if (role == Qt::DisplayRole)
        return QBGameCenter::capitalizedKey(keyForColumn(section));
    return {};
}

Qt::ItemFlags QBGameListModel::flags(const QModelIndex &index) const
{
    const Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    return index.isValid() ? flags | Qt::ItemIsDragEnabled : flags;
}

void QBGameListModel::addGame(std::unique_ptr<QBGameBundle> bundle, const QVariantMap &listed)
{
    std::vector<std::pair<std::unique_ptr<QBGameBundle>, QVariantMap>> games;
    games.emplace_back(std::move(bundle), listed);
    addGames(std::move(games));
}

void QBGameListModel::addGames(std::vector<std::pair<std::unique_ptr<QBGameBundle>, QVariantMap>> games)
{
    if (games.empty())
        return;
    const int first = int(m_rows.size());
    beginInsertRows({}, first, first + int(games.size()) - 1);
    m_rows.reserve(m_rows.size() + games.size());
    for (auto &[bundle, listed] : games) {
        QBGameBundle *game = bundle.get();
        connect(game, &QBGameBundle::valueChanged, this,
                [this, game](const QString &key) { bundleValueChanged(game, key); });
        connect(game, &QBGameBundle::imageVersionChanged, this, [this, game] { bundleVersionChanged(game); });
        if (m_rowOfValid)
            m_rowOf.insert(game, int(m_rows.size()));
        m_rows.push_back({std::move(bundle), {}, listed, {}});
    }
    endInsertRows();
}

void QBGameListModel::addRecords(const QList<QVariantMap> &records)
{
    if (records.isEmpty())
        return;
    const int first = int(m_rows.size());
    beginInsertRows({}, first, first + int(records.size()) - 1);
    m_rows.reserve(m_rows.size() + size_t(records.size()));
    for (const QVariantMap &record : records)
        m_rows.push_back({nullptr, record, {}, {}});
    endInsertRows();
}

void QBGameListModel::removeGames(const QList<int> &rows)
{
    if (rows.isEmpty())
        return;
    // One reset rather than a removal per run of rows: the rows of a
    // filtered list are scattered, and every removal costs the proxy and
    // the views a pass over the whole list.
    std::vector<char> removed(m_rows.size(), 0);
    for (const int row : rows) {
        if (row >= 0 && size_t(row) < m_rows.size())
            removed[size_t(row)] = 1;
    }
    beginResetModel();
    std::vector<Row> kept;
    kept.reserve(m_rows.size());
    for (size_t i = 0; i < m_rows.size(); ++i) {
        if (!removed[i])
            kept.push_back(std::move(m_rows[i]));
    }
    m_rows = std::move(kept);
    m_rowOf.clear();
    m_rowOfValid = false;
    endResetModel();
}

void QBGameListModel::removeGamesInPlace(const QList<int> &rows)
{
    QList<int> sorted;
    for (const int row : rows) {
        if (row >= 0 && size_t(row) < m_rows.size())
            sorted << row;
    }
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    // From the last run back, so that the rows before keep their numbers.
    while (!sorted.isEmpty()) {
        const int last = sorted.takeLast();
        int first = last;
        while (!sorted.isEmpty() && sorted.last() == first - 1)
            first = sorted.takeLast();
        beginRemoveRows({}, first, last);
        m_rows.erase(m_rows.begin() + first, m_rows.begin() + last + 1);
        m_rowOf.clear();
        m_rowOfValid = false;
        endRemoveRows();
    }
}

QVariantMap QBGameListModel::listedRecord(int row) const
{
    return row < 0 || size_t(row) >= m_rows.size() ? QVariantMap() : m_rows[size_t(row)].listed;
}

bool QBGameListModel::updateListedRecord(int row, const QVariantMap &listed)
{
    QBGameBundle *game = bundle(row);
    if (!game || m_rows[size_t(row)].listed == listed)
        return false;
    m_rows[size_t(row)].listed = listed;
    QVariantMap entries = listed;
    const QBGameCenter *center = QBGameCenter::sharedGameCenter();
    if (center && center->hasDatabase())
        entries.insert(QBGameBundle::databaseEntries(center->databaseRecord(listed.value(GameKey::id).toString())));
    mergeEntries({{row, entries}});
    game->setImageSubtitle(QBGameBundle::subtitle(game->infosDictionary()));
    return true;
}

QBListedGame QBGameListModel::game(int row) const
{
    if (row < 0 || size_t(row) >= m_rows.size())
        return {};
    const Row &entry = m_rows[size_t(row)];
    return {entry.bundle.get(), entry.record};
}

QBGameBundle *QBGameListModel::bundle(int row) const
{
    return row < 0 || size_t(row) >= m_rows.size() ? nullptr : m_rows[size_t(row)].bundle.get();
}

QVariant QBGameListModel::value(int row, const QString &key) const
{
    const Row &entry = m_rows[size_t(row)];
    return entry.bundle ? entry.bundle->value(key) : entry.record.value(key);
}

const QBGameListModel::Cell &QBGameListModel::cell(int row, int index) const
{
    const Row &entry = m_rows[size_t(row)];
    if (entry.cells.empty())
        entry.cells.resize(size_t(foldKeys().size()));
    Cell &cell = entry.cells[size_t(index)];
    if (!cell.made) {
        const QString &key = foldKeys().at(index);
        const QVariant value = entry.bundle ? entry.bundle->value(key) : entry.record.value(key);
        const Kind kind = kindOf(value);
        cell.kind = int(kind);
        if (kind == Kind::Number)
            cell.number = value.toDouble();
        else if (kind == Kind::Date)
            cell.number = double(value.toDateTime().toMSecsSinceEpoch());
        cell.folded = fold(QBGameCenter::displayText(key, value));
        cell.made = true;
    }
    return cell;
}

QString QBGameListModel::foldedValue(int row, const QString &key) const
{
    const int index = foldIndex(key);
    if (index < 0)
        return fold(QBGameCenter::displayText(key, value(row, key)));
    return cell(row, index).folded;
}

bool QBGameListModel::lessThan(int left, int right, int column) const
{
    // The columns are the first keys of the cells.
    const Cell &a = cell(left, column);
    const Cell &b = cell(right, column);
    if (a.kind != b.kind)
        return a.kind < b.kind;
    switch (Kind(a.kind)) {
    case Kind::Number:
    case Kind::Date:
        return a.number < b.number;
    case Kind::Text: {
        const int folded = a.folded.compare(b.folded);
        if (folded != 0)
            return folded < 0;
        const QString key = keyForColumn(column);
        return QBGameCenter::displayText(key, value(left, key)) < QBGameCenter::displayText(key, value(right, key));
    }
    default:
        return false;
    }
}

void QBGameListModel::mergeEntries(const QList<std::pair<int, QVariantMap>> &merges)
{
    if (merges.isEmpty())
        return;
    m_merging = true;
    int first = int(m_rows.size());
    int last = -1;
    for (const auto &[row, entries] : merges) {
        QBGameBundle *game = bundle(row);
        if (!game || entries.isEmpty())
            continue;
        m_rows[size_t(row)].cells.clear();
        game->record()->addEntries(entries);
        first = qMin(first, row);
        last = qMax(last, row);
    }
    m_merging = false;
    if (last >= first)
        emit dataChanged(index(first, 0), index(last, columnCount() - 1));
}

namespace {

// Appends c without its accents: the base letters of its canonical
// decomposition, taken apart again where they decompose further.
void appendBare(QString &out, char32_t c)
{
    if (QChar::decompositionTag(c) == QChar::Canonical) {
        const QString parts = QChar::decomposition(c);
        for (const char32_t part : parts.toUcs4())
            appendBare(out, part);
        return;
    }
    switch (QChar::category(c)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_SpacingCombining:
    case QChar::Mark_Enclosing:
        return;
    default:
        if (QChar::requiresSurrogates(c)) {
            out += QChar(QChar::highSurrogate(c));
            out += QChar(QChar::lowSurrogate(c));
        } else {
            out += QChar(char16_t(c));
        }
    }
}

}

QString QBGameListModel::fold(const QString &text)
{
    const qsizetype size = text.size();
    const QChar *data = text.constData();
    qsizetype i = 0;
    while (i < size && data[i].unicode() < 0x80)
        ++i;
    if (i == size)
        return text.toLower();
    // Letters without accents in one pass, then case folding: "Ça märche"
    // becomes "ca marche". Texts with a few letters that decompose go
    // faster this way than through the general normalisation.
    QString bare;
    bare.reserve(size);
    bare.append(data, i);
    for (; i < size; ++i) {
        const char16_t c = data[i].unicode();
        if (c < 0x80) {
            bare += QChar(c);
        } else if (QChar::isHighSurrogate(c) && i + 1 < size && data[i + 1].isLowSurrogate()) {
            appendBare(bare, QChar::surrogateToUcs4(c, data[i + 1].unicode()));
            ++i;
        } else {
            appendBare(bare, c);
        }
    }
    return bare.toCaseFolded();
}

int QBGameListModel::rowOf(const QBGameBundle *bundle) const
{
    if (!m_rowOfValid) {
        m_rowOf.clear();
        m_rowOf.reserve(qsizetype(m_rows.size()));
        for (size_t i = 0; i < m_rows.size(); ++i) {
            if (m_rows[i].bundle)
                m_rowOf.insert(m_rows[i].bundle.get(), int(i));
        }
        m_rowOfValid = true;
    }
    return m_rowOf.value(bundle, -1);
}

void QBGameListModel::bundleValueChanged(QBGameBundle *bundle, const QString &key)
{
    if (m_merging)
        return;
    const int row = rowOf(bundle);
    if (row < 0)
        return;
    const int fold = foldIndex(key);
    std::vector<Cell> &cells = m_rows[size_t(row)].cells;
    if (fold >= 0 && size_t(fold) < cells.size())
        cells[size_t(fold)].made = false;
    const int column = columnForKey(key);
    if (column >= 0)
        emit dataChanged(index(row, column), index(row, column));
    // The grid shows the title under the cover of the first column.
    if (key == GameKey::title && column != 0)
        emit dataChanged(index(row, 0), index(row, 0), {TitleRole});
}

void QBGameListModel::bundleVersionChanged(QBGameBundle *bundle)
{
    const int row = rowOf(bundle);
    if (row >= 0)
        emit dataChanged(index(row, 0), index(row, 0), {VersionRole});
}
