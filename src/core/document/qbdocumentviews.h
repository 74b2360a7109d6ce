// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QString>

// What a document asks of the views that show its games. Indexes are
// arranged indexes (rows of the document's gameListController), in
// ascending order; -1 is no row.
class QBDocumentViews
{
public:
    virtual ~QBDocumentViews();
    // The row right-clicked while its menu is open, or double-clicked while
    // its command runs.
    virtual int tableClickedRow() const = 0;
    virtual QList<int> tableSelectedRows() const = 0;
    virtual QList<int> gridSelectionIndexes() const = 0;
    virtual bool isColumnVisible(const QString &key) const = 0;
};
