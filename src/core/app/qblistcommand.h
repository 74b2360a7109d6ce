// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QVariant>

#include <functional>

class QIODevice;

// The headless "--list" command: browses one source as a document would
// and writes each game record as one JSON object per line, then a last
// line with the run's terminationStatus and, for a partition, its space
// figures. Each game carries its title-database record merged in, as a
// game bundle would, when a database is installed; "--list --database"
// writes the database's records instead. Both wait for the shared game
// center's parse to end before they write anything.
//
// Each record also goes out as gameListed; without an output device,
// that is all that is done with it.
class QBListCommand : public QObject
{
    Q_OBJECT

public:
    explicit QBListCommand(QIODevice *output, QObject *parent = nullptr);

    // Starts listing a folder or image (partition false) or a WBFS
    // partition or container file; finished() follows.
    void start(const QString &path, bool partition);
    // Writes every database record, by ID; a message on errors and exit
    // code 1 when no database could be loaded.
    void startDatabase(QIODevice *errors);

    // One record as compact JSON. Single-precision numbers are written with
    // the fewest digits that read back as the same float, so a size of 4.7
    // prints as 4.7; dates are written as YYYY-MM-DD.
    static QByteArray jsonLine(const QVariantMap &record);

signals:
    // A game record with its database record merged in, or a database
    // record.
    void gameListed(const QVariantMap &record);
    // 0 when the tool reported no error, else 1.
    void finished(int exitCode);

private:
    // Runs work once no database parse is under way.
    void afterParsing(std::function<void()> work);
    void list(const QString &path, bool partition);
    void write(const QVariantMap &record);

    QIODevice *m_output;
};
