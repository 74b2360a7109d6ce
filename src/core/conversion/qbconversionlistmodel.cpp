// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbconversionlistmodel.h"

#include "base/qbkeys.h"
#include "tasks/qbconversionbundle.h"

#include <QImage>

namespace {

// Decoded once: every row without a cover shows it, at every repaint.
const QImage &missingCover()
{
    static const QImage image(QStringLiteral(":/palomet/images/missingcover.png"));
    return image;
}

QList<int> rolesForKey(const QString &key)
{
    using R = QBConversionListModel;
    if (key == BundleKey::display)
        return {R::DisplayRole, Qt::ToolTipRole};
    if (key == BundleKey::destinationPath)
        return {R::DestinationRole};
    if (key == BundleKey::infos)
        return {R::InfosRole};
    if (key == BundleKey::percent)
        return {R::PercentRole};
    if (key == BundleKey::cover)
        return {R::CoverRole};
    if (key == BundleKey::stopImage)
        return {R::StopImageRole};
    if (key == BundleKey::isWaiting)
        return {R::IsWaitingRole};
    if (key == BundleKey::terminationStatus)
        return {R::TerminationStatusRole};
    if (key == BundleKey::task)
        return {R::HasTaskRole};
    return {};
}

}

QBConversionListModel::QBConversionListModel(QObject *parent)
    : QAbstractListModel(parent)
{
}

int QBConversionListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant QBConversionListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const QBConversionBundle *bundle = m_bundles.at(index.row());
    switch (role) {
    case DisplayRole:
    case Qt::ToolTipRole:
        return bundle->value(BundleKey::display).toString();
    case DestinationRole:
        return bundle->destinationPath();
    case CoverRole: {
        // A cover that is not an image yet (or any more) shows the
        // placeholder, so a row never goes blank.
        const QVariant cover = bundle->value(BundleKey::cover);
        if (cover.canConvert<QImage>()) {
            const QImage image = cover.value<QImage>();
            if (!image.isNull())
                return image;
        }
        return missingCover();
    }
    case InfosRole:
        return bundle->value(BundleKey::infos).toString();
    case PercentRole:
        return bundle->percent();
    case StopImageRole:
        return bundle->value(BundleKey::stopImage);
    case IsWaitingRole:
        return bundle->value(BundleKey::isWaiting).toBool();
    case TerminationStatusRole:
        return bundle->terminationStatus();
    case HasTaskRole:
        return bundle->contains(BundleKey::task);
    case BundleRole:
        return QVariant::fromValue<QObject *>(const_cast<QBConversionBundle *>(bundle));
    default:
        return {};
    }
}

QHash<int, QByteArray> QBConversionListModel::roleNames() const
{
    return {{DisplayRole, "display"},
            {CoverRole, "cover"},
            {InfosRole, "infos"},
            {PercentRole, "percent"},
            {StopImageRole, "stopImage"},
            {IsWaitingRole, "isWaiting"},
            {TerminationStatusRole, "terminationStatus"},
            {HasTaskRole, "hasTask"},
            {BundleRole, "bundle"},
            {DestinationRole, "destinationPath"}};
}

QBConversionBundle *QBConversionListModel::bundleAt(int row) const
{
    return row >= 0 && row < count() ? m_bundles.at(row) : nullptr;
}

int QBConversionListModel::indexOf(const QBConversionBundle *bundle) const
{
    return int(m_bundles.indexOf(bundle));
}

void QBConversionListModel::append(QBConversionBundle *bundle)
{
    if (!bundle || m_bundles.contains(bundle))
        return;
    bundle->setParent(this);
    const int row = count();
    beginInsertRows(QModelIndex(), row, row);
    m_bundles.append(bundle);
    endInsertRows();
    connect(bundle, &QBConversionBundle::valueChanged, this,
            [this, bundle](const QString &key) { bundleValueChanged(bundle, key); });
}

void QBConversionListModel::removeAt(int row)
{
    if (row < 0 || row >= count())
        return;
    QBConversionBundle *bundle = m_bundles.at(row);
    beginRemoveRows(QModelIndex(), row, row);
    m_bundles.removeAt(row);
    endRemoveRows();
    bundle->disconnect(this);
    // Later, not now: the caller may be in the middle of a call on it
    // (a task writing its status while it is being cancelled).
    bundle->deleteLater();
}

void QBConversionListModel::bundleValueChanged(QBConversionBundle *bundle, const QString &key)
{
    const int row = indexOf(bundle);
    if (row < 0)
        return;
    // Values that no row shows (the game, the paths) change nothing here.
    const QList<int> roles = rolesForKey(key);
    if (roles.isEmpty())
        return;
    const QModelIndex changed = index(row);
    emit dataChanged(changed, changed, roles);
}
