// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QAbstractListModel>
#include <QList>

class QBConversionBundle;

// The conversion bundles in the order they were handed over, one row per
// bundle, as the conversions list shows them. The model owns its bundles:
// a bundle is deleted (later, from the event loop) when its row is removed,
// so whoever still holds it - its task - must hold it weakly, as the task
// does. A change of one value of a bundle is announced as dataChanged of
// that row and of the roles that show the value.
class QBConversionListModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role {
        DisplayRole = Qt::DisplayRole, // "display", also the tooltip
        CoverRole = Qt::DecorationRole, // "cover", or the missing-cover image
        InfosRole = Qt::UserRole + 1, // "infos"
        PercentRole, // "percent", a double
        StopImageRole, // "stopImage"
        IsWaitingRole, // "isWaiting"
        TerminationStatusRole, // "terminationStatus"
        HasTaskRole, // whether the bundle still has its "task"
        BundleRole, // the bundle itself, as a QObject pointer
        DestinationRole, // "destinationPath"
    };

    explicit QBConversionListModel(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return int(m_bundles.size()); }
    QBConversionBundle *bundleAt(int row) const;
    int indexOf(const QBConversionBundle *bundle) const;
    const QList<QBConversionBundle *> &bundles() const { return m_bundles; }

    // Takes the bundle over and adds its row at the end.
    void append(QBConversionBundle *bundle);
    void removeAt(int row);

private:
    void bundleValueChanged(QBConversionBundle *bundle, const QString &key);

    QList<QBConversionBundle *> m_bundles;
};
