// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QSortFilterProxyModel>

class QBGameListModel;

// The arranged games: the list filtered by one key and sorted by one
// column. A game passes the filter when its value for the search key
// contains the filter text, case and diacritics ignored; an empty text lets
// every game pass. Sorting compares the games' record values, not their
// texts (see QBGameListModel::lessThan).
class QBGameFilterModel : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    explicit QBGameFilterModel(QBGameListModel *games, QObject *parent = nullptr);

    QBGameListModel *games() const { return m_games; }

    QString filterKey() const { return m_key; }
    QString filterText() const { return m_text; }
    // Sets both and filters again once; the text is empty for no filter.
    void setFilter(const QString &key, const QString &text);

    // The source rows of the arranged games, in arranged order.
    QList<int> arrangedSourceRows() const;

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;
    bool lessThan(const QModelIndex &left, const QModelIndex &right) const override;

private:
    QBGameListModel *m_games;
    QString m_key;
    QString m_text;
    QString m_foldedText;
};
