// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qblogging.h"
#include "base/qbsettings.h"
#include "qbfaketool.h"
#include "tasks/qboperationqueue.h"
#include "tasks/qbtask.h"

#include <QFile>
#include <QPointer>
#include <QLoggingCategory>
#include <QStandardPaths>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Records every hook call as a line of text, in order.
class RecordingTask : public QBTask
{
public:
    RecordingTask(const QStringList &accepted = {QStringLiteral("*")}, int launchPath = 0,
                  const QStringList &arguments = {QStringLiteral("list")})
        : QBTask(arguments, launchPath, nullptr)
        , m_accepted(accepted)
    {
    }

    QStringList events;
    std::function<void()> onWillStart;

protected:
    void processWillStart() override
    {
        events << QStringLiteral("willStart");
        if (onWillStart)
            onWillStart();
    }
    bool shouldStartSectionWithHeader(const QString &header) override
    {
        const bool accept = m_accepted.contains(QStringLiteral("*")) || m_accepted.contains(header);
        events << QStringLiteral("header:%1:%2").arg(header, accept ? u"yes" : u"no");
        return accept;
    }
    void readKey(QStringView key, QStringView value, const QString &section) override
    {
        events << QStringLiteral("key:%1=%2@%3").arg(key, value, section);
    }
    void endSection(const QString &section) override { events << QStringLiteral("end:") + section; }
    void processDidStop() override { events << QStringLiteral("stop"); }
    void processDidRaiseError() override { events << QStringLiteral("error"); }

private:
    QStringList m_accepted;
};

// Runs until done() is called; records the order in which operations start.
class ManualOperation : public QBOperation
{
public:
    ManualOperation(QStringList *log, const QString &name, QObject *parent)
        : QBOperation(parent)
        , m_log(log)
        , m_name(name)
    {
    }
    void done() { finish(); }

protected:
    void main() override { m_log->append(m_name); }

private:
    QStringList *m_log;
    QString m_name;
};

}

class tst_QBTask : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void reader_data();
    void reader();

    void permissionStepRunsBeforeWwtOnly_data();
    void permissionStepRunsBeforeWwtOnly();
    void logsArgumentsAndOutput();
    void badOutput_data();
    void badOutput();

    void queueRunsInOrderWithinItsLimit();
    void queueCancelsSuspendsAndForgets();
};

void tst_QBTask::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QBSettings::setValue(SettingsKey::permissionCommand, QString());
}

// Events as "|"-joined text: the hooks called, in order.
void tst_QBTask::reader_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<QStringList>("accepted");
    QTest::addColumn<QString>("events");
    QTest::addColumn<int>("status");

    const QStringList all{QStringLiteral("*")};
    QTest::newRow("one section") << u"[disc-1]\nid=ABCD01\n\n"_qs << all
                                 << u"header:disc-1:yes|key:id=ABCD01@disc-1|end:disc-1"_qs << 0;
    QTest::newRow("the end of a read closes the section")
            << u"[s]\nk=v\n"_qs << all << u"header:s:yes|key:k=v@s|end:s"_qs << 0;
    QTest::newRow("equals rules") << u"[s]\nkey=a=b\nkey=\n=value\nnoequals\n"_qs << all
                                  << u"header:s:yes|key:=value@s|end:s"_qs << 0;
    QTest::newRow("no trimming") << u" [s]\n[t]\n k = v \n"_qs << all << u"header:t:yes|key: k = v @t|end:t"_qs << 0;
    QTest::newRow("error section reported though rejected, once")
            << u"[error]\ncode=80\n\n!! later\n[error]\n"_qs << QStringList()
            << u"error|header:error:no|header:error:no"_qs << 1;
    QTest::newRow("!! outside a section") << u"!! wit: ERROR\n!!   more\n"_qs << all << u"error"_qs << 1;
    QTest::newRow("!! inside a section is an ordinary line")
            << u"[s]\n!! a=b\n!! text\n\n"_qs << all << u"header:s:yes|key:!! a=b@s|end:s"_qs << 0;
    QTest::newRow("single ! is a warning") << u"! DISC already exists\n"_qs << all << QString() << 0;
    QTest::newRow("CR LF closes sections after their first line")
            << u"[s]\r\na=1\r\nb=2\r\n"_qs << all << u"header:s:yes|end:s"_qs << 0;
    QTest::newRow("every newline character separates")
            << u"[s]\va=1\fb=2\u0085c=3\u2028d=4\u2029e=5\n\n"_qs << all
            << u"header:s:yes|key:a=1@s|key:b=2@s|key:c=3@s|key:d=4@s|key:e=5@s|end:s"_qs << 0;
    QTest::newRow("header replaces an open section without ending it")
            << u"[a]\nx=1\n[b]\ny=2\n\n"_qs << all << u"header:a:yes|key:x=1@a|header:b:yes|key:y=2@b|end:b"_qs << 0;
    QTest::newRow("rejected section is skipped whole")
            << u"[version]\nprog=wit\n\n[COPY]\ndest-path=x\n\n"_qs << QStringList{u"COPY"_qs}
            << u"header:version:no|header:COPY:yes|key:dest-path=x@COPY|end:COPY"_qs << 0;
    QTest::newRow("header without closing bracket loses its last character")
            << u"[abc\n[]\n\n"_qs << all << u"header:ab:yes|header::yes|end:"_qs << 0;
    QTest::newRow("lone bracket is ignored")
            << u"[s]\n[\nk=v\n\n[\n!! x\n"_qs << all << u"header:s:yes|key:k=v@s|end:s|error"_qs << 1;
}

void tst_QBTask::reader()
{
    QFETCH(QString, output);
    QFETCH(QStringList, accepted);
    QFETCH(QString, events);

    // Text handed to the parser directly is read as whole lines; what the
    // pipe delivers is joined into whole lines first (badOutput).
    RecordingTask task(accepted);
    task.readString(output);
    QCOMPARE(task.events.join(u'|'), events);
    QTEST(task.terminationStatus(), "status");
}

void tst_QBTask::permissionStepRunsBeforeWwtOnly_data()
{
    QTest::addColumn<int>("launchPath");
    QTest::addColumn<QString>("tool");
    QTest::addColumn<bool>("permission");
    QTest::newRow("wit") << 0 << u"wit"_qs << false;
    QTest::newRow("wwt") << 1 << u"wwt"_qs << true;
    QTest::newRow("wwt by another selector") << 2 << u"wwt"_qs << false;
}

void tst_QBTask::permissionStepRunsBeforeWwtOnly()
{
    QFETCH(int, launchPath);
    QFETCH(QString, tool);
    QFETCH(bool, permission);

    QBFakeTool fake;
    const QString marks = fake.filePath(u"marks"_qs);
    QBSettings::setValue(SettingsKey::permissionCommand, fake.markCommand(marks, u"permission"_qs));
    RecordingTask task({}, launchPath);
    bool markedBeforeStart = false;
    task.onWillStart = [&] { markedBeforeStart = QFile::exists(marks); };
    QSignalSpy finished(&task, &QBOperation::finished);
    task.start();
    const bool ended = finished.wait(5000);
    QBSettings::setValue(SettingsKey::permissionCommand, QString());
    QVERIFY(ended);
    QCOMPARE(markedBeforeStart, permission);
    QCOMPARE(fake.invocations(), QStringList{tool + u" | list"_qs});
}

void tst_QBTask::logsArgumentsAndOutput()
{
    static QStringList messages;
    messages.clear();
    // The suite runs with the task diagnostics off; switch them on here.
    const_cast<QLoggingCategory &>(lcTasks()).setEnabled(QtInfoMsg, true);
    const_cast<QLoggingCategory &>(lcToolOutput()).setEnabled(QtInfoMsg, true);
    const QtMessageHandler previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &message) { messages << message; });
    QBFakeTool tool;
    tool.setScript(u"out [s]\\nk=v\\n\\n\n"_qs);
    RecordingTask task({}, 0, {u"list"_qs, u"my dir"_qs});
    QSignalSpy finished(&task, &QBOperation::finished);
    task.start();
    const bool ended = finished.wait(5000);
    qInstallMessageHandler(previous);
    const_cast<QLoggingCategory &>(lcTasks()).setEnabled(QtInfoMsg, false);
    const_cast<QLoggingCategory &>(lcToolOutput()).setEnabled(QtInfoMsg, false);
    QVERIFY(ended);
    QVERIFY(messages.contains(u"Task started with arguments: (list, \"my dir\")"_qs));
    QVERIFY(messages.contains(u"[s]\nk=v\n\n"_qs));
}

// The whole run, from willStart to stop, of a tool that misbehaves.
void tst_QBTask::badOutput_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("events");
    QTest::addColumn<int>("repeatedLines");
    QTest::addColumn<int>("status");

    QTest::newRow("line of megabytes")
            << u"out [s]\\n\nrepeat 4000000 a\nout \\n\\n\n"_qs << u"header:s:yes|end:s"_qs << 0 << 0;
    // However the pipe cuts them, every line is read inside the section.
    QTest::newRow("never-ending section") << u"out [s]\\n\nrepeat 300000 n=1\\n\n"_qs << u"header:s:yes"_qs << 300000 << 0;
    QTest::newRow("binary garbage")
            << u"out \\x00\\x01\\xff\\xfe[\\x80\\n\\x00=\\x00\\n\npause 150\nout [s]\\nk=\\x01\\x02\\n\\n\n"_qs
            << u"header:s:yes|key:k=\u0001\u0002@s|end:s"_qs << 0 << 0;
    QTest::newRow("stops without an empty line") << u"out [s]\\nk=v"_qs << u"header:s:yes|key:k=v@s"_qs << 0 << 0;
    QTest::newRow("dies mid-output")
            << u"out [s]\\nk=v\\n\ncrash\nout never=printed\\n\\n\n"_qs << u"header:s:yes|key:k=v@s"_qs << 0 << 0;
    QTest::newRow("no output at all") << u"exit 3\n"_qs << QString() << 0 << 0;
    // A null script: no tool to be found, in the support folder or on PATH.
    QTest::newRow("no tool") << QString() << u"error"_qs << 0 << 1;
}

void tst_QBTask::badOutput()
{
    QFETCH(QString, script);
    QFETCH(QString, events);
    QFETCH(int, repeatedLines);

    QBFakeTool tool;
    tool.setScript(script);
    const QByteArray path = qgetenv("PATH");
    QTemporaryDir empty;
    if (script.isNull()) {
        QFile::remove(tool.supportFolder() + u"/wit"_qs);
        qputenv("PATH", empty.path().toLocal8Bit());
    }
    RecordingTask task;
    QSignalSpy finished(&task, &QBOperation::finished);
    task.start();
    const bool ended = finished.wait(20000);
    qputenv("PATH", path);
    QVERIFY(ended);
    QCOMPARE(task.events.removeAll(u"key:n=1@s"_qs), repeatedLines);
    QCOMPARE(task.events.join(u'|'), u"willStart|"_qs + (events.isEmpty() ? QString() : events + u'|') + u"stop"_qs);
    QTEST(task.terminationStatus(), "status");
}

void tst_QBTask::queueRunsInOrderWithinItsLimit()
{
    QStringList log;
    QBOperationQueue queue(2);
    QSignalSpy count(&queue, &QBOperationQueue::operationCountChanged);
    QList<QPointer<ManualOperation>> ops;
    for (int i = 0; i < 4; ++i) {
        // The last has no owner: the queue takes it and deletes it when done.
        ops << new ManualOperation(&log, QString::number(i), i < 3 ? this : nullptr);
        queue.addOperation(ops.last());
    }
    // Started from the event loop, so that callers can connect first.
    QVERIFY(!ops.first()->isExecuting());
    QCOMPARE(queue.operationCount(), 4);
    QCOMPARE(ops.last()->parent(), &queue);
    QTRY_COMPARE(log, (QStringList{u"0"_qs, u"1"_qs}));
    QTest::qWait(20);
    QCOMPARE(log.size(), 2);

    ops[1]->done();
    QTRY_COMPARE(log, (QStringList{u"0"_qs, u"1"_qs, u"2"_qs}));
    QCOMPARE(queue.operations(), (QList<QBOperation *>{ops[0], ops[2], ops[3]}));
    ops[0]->done();
    ops[2]->done();
    QTRY_COMPARE(log.size(), 4);
    ops[3]->done();
    QCOMPARE(queue.operationCount(), 0);
    QCOMPARE(count.size(), 8);
    QTRY_VERIFY(ops[3].isNull());
    QVERIFY(!ops[2].isNull());
}

void tst_QBTask::queueCancelsSuspendsAndForgets()
{
    QStringList log;
    QBOperationQueue queue(1);
    ManualOperation running(&log, u"running"_qs, this);
    ManualOperation waiting(&log, u"waiting"_qs, this);
    ManualOperation last(&log, u"last"_qs, this);
    for (ManualOperation *op : {&running, &waiting, &last})
        queue.addOperation(op);
    QTRY_VERIFY(running.isExecuting());

    // A waiting operation cancelled finishes at once, without running and
    // without waiting for room.
    QSignalSpy finished(&waiting, &QBOperation::finished);
    waiting.cancel();
    QVERIFY(finished.wait(1000));
    QCOMPARE(queue.operations(), (QList<QBOperation *>{&running, &last}));

    // Cancelling all leaves the running one to its own end.
    queue.cancelAllOperations();
    QVERIFY(running.isCancelled() && last.isCancelled());
    QTRY_COMPARE(queue.operationCount(), 1);
    QVERIFY(last.isFinished() && running.isExecuting());
    running.done();
    QCOMPARE(queue.operationCount(), 0);
    QCOMPARE(log, QStringList{u"running"_qs});

    // Suspended, the queue starts nothing and lets nothing finish, not even
    // a cancelled operation.
    queue.setSuspended(true);
    auto *a = new ManualOperation(&log, u"a"_qs, this);
    ManualOperation b(&log, u"b"_qs, this);
    ManualOperation c(&log, u"c"_qs, this);
    for (ManualOperation *op : {a, &b, &c})
        queue.addOperation(op);
    b.cancel();
    QTest::qWait(30);
    QVERIFY(!b.isFinished());
    queue.setSuspended(false);
    QTRY_VERIFY(b.isFinished());
    QTRY_COMPARE(log, (QStringList{u"running"_qs, u"a"_qs}));

    // One deleted by its owner while it runs leaves the queue, and makes
    // room for the next.
    delete a;
    QCOMPARE(queue.operations(), QList<QBOperation *>{&c});
    QTRY_COMPARE(log, (QStringList{u"running"_qs, u"a"_qs, u"c"_qs}));
    c.done();
}

QTEST_GUILESS_MAIN(tst_QBTask)
#include "tst_qbtask.moc"
