// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbgamefiltermodel.h"

#include "qbgamelistmodel.h"

QBGameFilterModel::QBGameFilterModel(QBGameListModel *games, QObject *parent)
    : QSortFilterProxyModel(parent)
    , m_games(games)
{
    setSourceModel(games);
    setSortRole(QBGameListModel::RawValueRole);
}

void QBGameFilterModel::setFilter(const QString &key, const QString &text)
{
    if (key == m_key && text == m_text)
        return;
    const bool wasFiltering = !m_text.isEmpty();
    m_key = key;
    m_text = text;
    m_foldedText = QBGameListModel::fold(text);
    // One layout change, not a removal per run of rows: a keystroke in a
    // long list changes thousands of scattered rows, and views pay for each
    // removal with a pass over all their rows. The sort that follows runs
    // on cached keys.
    if (wasFiltering || !m_text.isEmpty())
        invalidate();
}

QList<int> QBGameFilterModel::arrangedSourceRows() const
{
    QList<int> rows;
    const int count = rowCount();
    rows.reserve(count);
    for (int row = 0; row < count; ++row)
        rows << mapToSource(index(row, 0)).row();
    return rows;
}

bool QBGameFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    if (sourceParent.isValid() || m_foldedText.isEmpty())
        return true;
    return m_games->foldedValue(sourceRow, m_key).contains(m_foldedText);
}

bool QBGameFilterModel::lessThan(const QModelIndex &left, const QModelIndex &right) const
{
    return m_games->lessThan(left.row(), right.row(), left.column());
}
