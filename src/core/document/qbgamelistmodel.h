// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "gamedata/qbgamebundle.h"

#include <QAbstractTableModel>
#include <QHash>
#include <QPointer>
#include <QVariantMap>

#include <memory>
#include <vector>

// One listed game: a game bundle in a folder's or partition's list, a bare
// title-database record in the database's list.
struct QBListedGame
{
    QPointer<QBGameBundle> bundle;
    QVariantMap record;

    QVariant value(const QString &key) const { return bundle ? bundle->value(key) : record.value(key); }
    QVariantMap values() const { return bundle ? bundle->infosDictionary() : record; }
};

// The games of one document, one row each, with one column per key of the
// game center's tableViewKeys in that order. Rows are kept in the order the
// games were added; sorting and filtering belong to the proxy in front.
//
// Besides the texts, each cell answers its record value under RawValueRole,
// and the model compares two rows of a column the way the table sorts them:
// numbers by value, texts with case and diacritics folded away, a missing
// value before any other. Folded texts are made once per row and key, when
// first asked for, and dropped when the value changes.
class QBGameListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Role {
        RawValueRole = Qt::UserRole + 1,
        // What the cover grid draws: the cover (the missing-cover picture
        // when there is none), the title, "FILETYPE, SIZE GB", and the
        // version that changes when a downloaded cover must be redrawn.
        // The cover is null while it is read again after leaving memory;
        // CoverKeyRole names it all the same (QBGameRecord::coverCacheKey).
        CoverRole,
        CoverKeyRole,
        TitleRole,
        SubtitleRole,
        VersionRole,
    };

    explicit QBGameListModel(QObject *parent = nullptr);
    ~QBGameListModel() override;

    static int columnForKey(const QString &key);
    static QString keyForColumn(int column);

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    // Every game can be dragged to another document.
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    // Takes the bundle; its changes show in its row from now on. listed is
    // the game record as the tool gave it, before any merge.
    void addGame(std::unique_ptr<QBGameBundle> bundle, const QVariantMap &listed = {});
    // Several at once, announced as one insertion.
    void addGames(std::vector<std::pair<std::unique_ptr<QBGameBundle>, QVariantMap>> games);
    void addRecords(const QList<QVariantMap> &records);
    // Removes the rows (any order, no duplicates) and deletes their bundles.
    void removeGames(const QList<int> &rows);
    // The same, announced as removals of the runs of rows rather than as a
    // reset, so that views keep their selection and their place: for a few
    // rows among many.
    void removeGamesInPlace(const QList<int> &rows);

    QVariantMap listedRecord(int row) const;
    // The tool has listed the game of the row again: its record takes the
    // new values, with the database's merged over them as when the bundle
    // was made, announced as one change of the row. Nothing happens (false)
    // when the tool said the same as before.
    bool updateListedRecord(int row, const QVariantMap &listed);

    QBListedGame game(int row) const;
    QBGameBundle *bundle(int row) const;
    // The row of a bundle of this list; -1 for any other.
    int rowOf(const QBGameBundle *bundle) const;
    QVariant value(int row, const QString &key) const;
    // The text of a value with case and diacritics folded away, as the
    // filter compares it; empty for a missing value.
    QString foldedValue(int row, const QString &key) const;
    bool lessThan(int left, int right, int column) const;

    // Adds each record's entries to the bundle of its row. The rows' change
    // is announced once for all, not once per key.
    void mergeEntries(const QList<std::pair<int, QVariantMap>> &merges);

    static QString fold(const QString &text);

private:
    // What sorting and filtering read of one value, made when first asked
    // for.
    struct Cell
    {
        QString folded;
        double number = 0;
        int kind = 0;
        bool made = false;
    };
    struct Row
    {
        std::unique_ptr<QBGameBundle> bundle;
        QVariantMap record;
        QVariantMap listed;
        // Indexed like foldKeys(), whose first keys are the columns.
        mutable std::vector<Cell> cells;
    };

    static const QStringList &foldKeys();
    static int foldIndex(const QString &key);
    const Cell &cell(int row, int index) const;
    void bundleValueChanged(QBGameBundle *bundle, const QString &key);
    void bundleVersionChanged(QBGameBundle *bundle);

    std::vector<Row> m_rows;
    mutable QHash<const QBGameBundle *, int> m_rowOf;
    mutable bool m_rowOfValid = true;
    bool m_merging = false;
};
