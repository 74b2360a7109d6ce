// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qblogging.h"
#include "base/qbsettings.h"
#include "qbfaketool.h"
#include "tasks/qbtask.h"

#include <QFile>
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

}

class tst_QBTask : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void reader_data();
    void reader();

    void runsToolAndReadsItsOutput();
    void cancelledBeforeStartNeverLaunches();
    void cancelledWhileRunningDrainsWithoutStop();
    void missingToolFinishesWithError();
    void permissionStepRunsBeforeWwtOnly_data();
    void permissionStepRunsBeforeWwtOnly();
    void logsArgumentsAndOutput();
    void badOutput_data();
    void badOutput();
};

void tst_QBTask::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QBSettings::setValue(SettingsKey::permissionCommand, QString());
}

void tst_QBTask::reader_data()
{
    QTest::addColumn<QStringList>("chunks");
    QTest::addColumn<QStringList>("accepted");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<int>("status");

    const QStringList all{QStringLiteral("*")};
    QTest::newRow("one section") << QStringList{u"[disc-1]\nid=ABCD01\n\n"_qs} << all
                                 << QStringList{u"header:disc-1:yes"_qs, u"key:id=ABCD01@disc-1"_qs,
                                                u"end:disc-1"_qs}
                                 << 0;
    QTest::newRow("chunk end closes the section")
            << QStringList{u"[s]\nk=v\n"_qs} << all
            << QStringList{u"header:s:yes"_qs, u"key:k=v@s"_qs, u"end:s"_qs} << 0;
    QTest::newRow("no partial line carried")
            << QStringList{u"[s]\nkey="_qs, u"value\nk=v\n"_qs} << all
            << QStringList{u"header:s:yes"_qs, u"key:k=v@s"_qs, u"end:s"_qs} << 0;
    QTest::newRow("a cut inside the key leaves a stray key")
            << QStringList{u"[s]\nke"_qs, u"y=v"_qs} << all
            << QStringList{u"header:s:yes"_qs, u"key:y=v@s"_qs} << 0;
    QTest::newRow("equals rules")
            << QStringList{u"[s]\nkey=a=b\nkey=\n=value\nnoequals\n"_qs} << all
            << QStringList{u"header:s:yes"_qs, u"key:=value@s"_qs, u"end:s"_qs} << 0;
    QTest::newRow("no trimming")
            << QStringList{u" [s]\n[t]\n k = v \n"_qs} << all
            << QStringList{u"header:t:yes"_qs, u"key: k = v @t"_qs, u"end:t"_qs} << 0;
    QTest::newRow("error section reported though rejected, once")
            << QStringList{u"[error]\ncode=80\n\n!! later\n[error]\n"_qs} << QStringList()
            << QStringList{u"error"_qs, u"header:error:no"_qs, u"header:error:no"_qs} << 1;
    QTest::newRow("!! outside a section")
            << QStringList{u"!! wit: ERROR\n!!   more\n"_qs} << all << QStringList{u"error"_qs} << 1;
    QTest::newRow("!! inside a section is an ordinary line")
            << QStringList{u"[s]\n!! a=b\n!! text\n\n"_qs} << all
            << QStringList{u"header:s:yes"_qs, u"key:!! a=b@s"_qs, u"end:s"_qs} << 0;
    QTest::newRow("single ! is a warning") << QStringList{u"! DISC already exists\n"_qs} << all
                                           << QStringList() << 0;
    QTest::newRow("CR LF closes sections after their first line")
            << QStringList{u"[s]\r\na=1\r\nb=2\r\n"_qs} << all
            << QStringList{u"header:s:yes"_qs, u"end:s"_qs} << 0;
    QTest::newRow("every newline character separates")
            << QStringList{u"[s]\va=1\fb=2\u0085c=3\u2028d=4\u2029e=5\n\n"_qs} << all
            << QStringList{u"header:s:yes"_qs, u"key:a=1@s"_qs, u"key:b=2@s"_qs, u"key:c=3@s"_qs,
                           u"key:d=4@s"_qs, u"key:e=5@s"_qs, u"end:s"_qs}
            << 0;
    QTest::newRow("header replaces an open section without ending it")
            << QStringList{u"[a]\nx=1\n[b]\ny=2\n\n"_qs} << all
            << QStringList{u"header:a:yes"_qs, u"key:x=1@a"_qs, u"header:b:yes"_qs,
                           u"key:y=2@b"_qs, u"end:b"_qs}
            << 0;
    QTest::newRow("rejected section is skipped whole")
            << QStringList{u"[version]\nprog=wit\n\n[COPY]\ndest-path=x\n\n"_qs}
            << QStringList{u"COPY"_qs}
            << QStringList{u"header:version:no"_qs, u"header:COPY:yes"_qs, u"key:dest-path=x@COPY"_qs,
                           u"end:COPY"_qs}
            << 0;
    QTest::newRow("header without closing bracket loses its last character")
            << QStringList{u"[abc\n[]\n\n"_qs} << all
            << QStringList{u"header:ab:yes"_qs, u"header::yes"_qs, u"end:"_qs} << 0;
    QTest::newRow("lone bracket is ignored")
            << QStringList{u"[s]\n[\nk=v\n\n[\n!! x\n"_qs} << all
            << QStringList{u"header:s:yes"_qs, u"key:k=v@s"_qs, u"end:s"_qs, u"error"_qs} << 1;
}

void tst_QBTask::reader()
{
    QFETCH(QStringList, chunks);
    QFETCH(QStringList, accepted);
    QFETCH(QStringList, expected);
    QFETCH(int, status);

    // Texts handed to the parser directly are read each by itself; what
    // the pipe delivers is joined into whole lines first (badOutput).
    RecordingTask task(accepted);
    for (const QString &chunk : std::as_const(chunks))
        task.readString(chunk);
    QCOMPARE(task.events, expected);
    QCOMPARE(task.terminationStatus(), status);
}

void tst_QBTask::runsToolAndReadsItsOutput()
{
    QBFakeTool tool;
    tool.setScript(u"out [version]\\nprog=wit\\n\\n[s]\\nk=v\\n\\n\nout !! wit: failed\\n\nexit 0\n"_qs);
    RecordingTask task({u"s"_qs}, 0, {u"list"_qs, u"--source"_qs, u"dir with space"_qs});
    QSignalSpy executing(&task, &QBOperation::executingChanged);
    QSignalSpy finished(&task, &QBOperation::finished);
    task.start();
    QVERIFY(task.isExecuting());
    QVERIFY(finished.wait(5000));
    QCOMPARE(task.events, (QStringList{u"willStart"_qs, u"header:version:no"_qs, u"header:s:yes"_qs,
                                       u"key:k=v@s"_qs, u"end:s"_qs, u"error"_qs, u"stop"_qs}));
    QCOMPARE(task.terminationStatus(), 1);
    QVERIFY(!task.isExecuting());
    QVERIFY(task.isFinished());
    QCOMPARE(executing.size(), 2);
    QCOMPARE(finished.size(), 1);
    QCOMPARE(tool.invocations(), QStringList{u"wit | list | --source | dir with space"_qs});
}

void tst_QBTask::cancelledBeforeStartNeverLaunches()
{
    QBFakeTool tool;
    RecordingTask task;
    QSignalSpy executing(&task, &QBOperation::executingChanged);
    QSignalSpy finished(&task, &QBOperation::finished);
    task.cancel();
    task.start();
    QVERIFY(task.isFinished());
    QCOMPARE(finished.size(), 1);
    QCOMPARE(executing.size(), 0);
    QTest::qWait(100);
    QVERIFY(task.events.isEmpty());
    QVERIFY(tool.invocations().isEmpty());
}

void tst_QBTask::cancelledWhileRunningDrainsWithoutStop()
{
    QBFakeTool tool;
    tool.setScript(u"out [s]\\na=1\\n\\n\npause 200\nout [t]\\nb=2\\n\\n!! x\\n\n"_qs);
    RecordingTask task;
    QSignalSpy finished(&task, &QBOperation::finished);
    task.start();
    QTRY_VERIFY(task.events.contains(u"end:s"_qs));
    task.cancel();
    QVERIFY(finished.wait(5000));
    QCOMPARE(task.events, (QStringList{u"willStart"_qs, u"header:s:yes"_qs, u"key:a=1@s"_qs, u"end:s"_qs}));
    QCOMPARE(task.terminationStatus(), 0);
    QVERIFY(!task.isExecuting());
}

void tst_QBTask::missingToolFinishesWithError()
{
    QBFakeTool tool;
    QFile::remove(tool.supportFolder() + u"/wwt"_qs);
    const QByteArray path = qgetenv("PATH");
    QTemporaryDir empty;
    qputenv("PATH", empty.path().toLocal8Bit());
    RecordingTask task({}, 2);
    QSignalSpy finished(&task, &QBOperation::finished);
    task.start();
    const bool ended = finished.wait(5000);
    qputenv("PATH", path);
    QVERIFY(ended);
    QCOMPARE(task.events, (QStringList{u"willStart"_qs, u"error"_qs, u"stop"_qs}));
    QCOMPARE(task.terminationStatus(), 1);
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

void tst_QBTask::badOutput_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<int>("repeatedLines");
    QTest::addColumn<int>("status");

    QTest::newRow("line split across two writes")
            << u"out [progress]\\npercent=4\npause 150\nout 2\\nmib-per-sec=3.5\\n\\n\n"_qs
            << QStringList{u"header:progress:yes"_qs, u"key:percent=42@progress"_qs,
                           u"key:mib-per-sec=3.5@progress"_qs, u"end:progress"_qs}
            << 0 << 0;
    QTest::newRow("malformed header") << u"out [\\n[\\n!! x\\n\n"_qs << QStringList{u"error"_qs} << 0 << 1;
    QTest::newRow("line of megabytes")
            << u"out [s]\\n\nrepeat 4000000 a\nout \\n\\n\n"_qs
            << QStringList{u"header:s:yes"_qs, u"end:s"_qs} << 0 << 0;
    // However the pipe cuts them, every line is read inside the section.
    QTest::newRow("never-ending section")
            << u"out [s]\\n\nrepeat 300000 n=1\\n\n"_qs << QStringList{u"header:s:yes"_qs} << 300000 << 0;
    QTest::newRow("binary garbage")
            << u"out \\x00\\x01\\xff\\xfe[\\x80\\n\\x00=\\x00\\n\npause 150\nout [s]\\nk=\\x01\\x02\\n\\n\n"_qs
            << QStringList{u"header:s:yes"_qs, u"key:k=\u0001\u0002@s"_qs, u"end:s"_qs} << 0 << 0;
    QTest::newRow("stops without an empty line")
            << u"out [s]\\nk=v"_qs << QStringList{u"header:s:yes"_qs, u"key:k=v@s"_qs} << 0 << 0;
    QTest::newRow("dies mid-output")
            << u"out [s]\\nk=v\\n\ncrash\nout never=printed\\n\\n\n"_qs
            << QStringList{u"header:s:yes"_qs, u"key:k=v@s"_qs} << 0 << 0;
    QTest::newRow("no output at all") << u"exit 3\n"_qs << QStringList() << 0 << 0;
}

void tst_QBTask::badOutput()
{
    QFETCH(QString, script);
    QFETCH(QStringList, expected);
    QFETCH(int, repeatedLines);
    QFETCH(int, status);

    QBFakeTool tool;
    tool.setScript(script);
    RecordingTask task;
    QSignalSpy finished(&task, &QBOperation::finished);
    task.start();
    QVERIFY(finished.wait(20000));
    QCOMPARE(task.events.removeAll(u"key:n=1@s"_qs), repeatedLines);
    QCOMPARE(task.events, QStringList{u"willStart"_qs} + expected + QStringList{u"stop"_qs});
    QCOMPARE(task.terminationStatus(), status);
}

QTEST_GUILESS_MAIN(tst_QBTask)
#include "tst_qbtask.moc"
