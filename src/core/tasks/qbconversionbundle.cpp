// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbconversionbundle.h"

#include "base/qbkeys.h"
#include "qbconversiontask.h"

QBConversionBundle::QBConversionBundle(const QVariantMap &values, QObject *parent)
    : QObject(parent)
    , m_values(values)
{
    m_values.remove(BundleKey::task);
}

QVariant QBConversionBundle::value(const QString &key) const
{
    if (key == BundleKey::task)
        return contains(key) ? QVariant::fromValue<QObject *>(m_task.data()) : QVariant();
    return m_values.value(key);
}

bool QBConversionBundle::contains(const QString &key) const
{
    if (key == BundleKey::task)
        return m_hasTask && m_task;
    return m_values.contains(key);
}

void QBConversionBundle::setValue(const QString &key, const QVariant &value)
{
    if (key == BundleKey::task) {
        setTask(qobject_cast<QBConversionTask *>(value.value<QObject *>()));
        return;
    }
    const QVariant old = m_values.value(key);
    if (m_values.contains(key) && old == value && old.metaType() == value.metaType())
        return;
    m_values.insert(key, value);
    emit valueChanged(key, old, value);
}

void QBConversionBundle::remove(const QString &key)
{
    if (key == BundleKey::task) {
        if (!m_hasTask)
            return;
        const QVariant old = value(key);
        m_hasTask = false;
        m_task.clear();
        emit valueChanged(key, old, QVariant());
        return;
    }
    if (!m_values.contains(key))
        return;
    const QVariant old = m_values.take(key);
    emit valueChanged(key, old, QVariant());
}

QVariantMap QBConversionBundle::values() const
{
    QVariantMap all = m_values;
    if (contains(BundleKey::task))
        all.insert(BundleKey::task, value(BundleKey::task));
    return all;
}

QString QBConversionBundle::sourcePath() const
{
    return m_values.value(BundleKey::sourcePath).toString();
}

QString QBConversionBundle::destinationPath() const
{
    return m_values.value(BundleKey::destinationPath).toString();
}

double QBConversionBundle::percent() const
{
    return m_values.value(BundleKey::percent).toDouble();
}

int QBConversionBundle::terminationStatus() const
{
    return m_values.value(BundleKey::terminationStatus).toInt();
}

QBConversionTask *QBConversionBundle::task() const
{
    return m_hasTask ? m_task.data() : nullptr;
}

void QBConversionBundle::setTask(QBConversionTask *task)
{
    if (!task) {
        remove(BundleKey::task);
        return;
    }
    if (m_hasTask && m_task == task)
        return;
    const QVariant old = value(BundleKey::task);
    m_task = task;
    m_hasTask = true;
    emit valueChanged(BundleKey::task, old, value(BundleKey::task));
}
