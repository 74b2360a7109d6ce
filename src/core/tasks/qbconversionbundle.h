// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QPointer>
#include <QVariantMap>

class QBConversionTask;

// The record of one conversion, shared by the document that asked for it,
// its task, the conversion queue and the conversions list. Values are kept
// under the BundleKey names; every change is announced with the old and the
// new value, which is what the overall progress and the list follow.
//
// The "task" entry is a back reference for cancelling from a row; it is
// held weakly so that a bundle never keeps a task alive.
class QBConversionBundle : public QObject
{
    Q_OBJECT

public:
    explicit QBConversionBundle(const QVariantMap &values = {}, QObject *parent = nullptr);

    QVariant value(const QString &key) const;
    bool contains(const QString &key) const;
    void setValue(const QString &key, const QVariant &value);
    void remove(const QString &key);
    // Every value, the task included as a QObject pointer.
    QVariantMap values() const;

    QString sourcePath() const;
    QString destinationPath() const;
    double percent() const;
    int terminationStatus() const;
    QBConversionTask *task() const;
    void setTask(QBConversionTask *task);

signals:
    void valueChanged(const QString &key, const QVariant &oldValue, const QVariant &newValue);

private:
    QVariantMap m_values;
    QPointer<QBConversionTask> m_task;
    bool m_hasTask = false;
};
