#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

// The real capture in a child process, crashed for real: it must die of the signal (the marker doesn't
// swallow it), leave the marker in its log, and its next start must note the crash exactly once.
class CrashCaptureTest : public QObject {
    Q_OBJECT
private:
    static QProcessEnvironment environment(const QString& root) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HOME"_s, root);
        environment.insert(u"XDG_STATE_HOME"_s, root + u"/state"_s);
        environment.insert(u"XDG_CONFIG_HOME"_s, root + u"/config"_s);
        // The sanitizers' own handlers would report and exit instead of letting the signal end the child.
        environment.insert(u"ASAN_OPTIONS"_s,
                           u"handle_segv=0:handle_sigbus=0:handle_abort=0:handle_sigfpe=0:"
                           u"handle_sigill=0:handle_sigtrap=0:use_sigaltstack=0:detect_leaks=0"_s);
        environment.insert(u"UBSAN_OPTIONS"_s, u"handle_segv=0:handle_sigbus=0:handle_abort=0"_s);
        return environment;
    }

    static QString check(const QString& root) {
        QProcess child;
        child.setProcessEnvironment(environment(root));
        child.start(QString::fromLatin1(CRASH_CHILD), {u"check"_s});
        if (!child.waitForFinished(30000) || child.exitStatus() != QProcess::NormalExit) {
            return u"check failed"_s;
        }
        return QString::fromLatin1(child.readAllStandardOutput()).trimmed();
    }

private slots:
    void diesOfTheSignalAndIsNotedOnce_data() {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<int>("signal");
        QTest::addColumn<bool>("sentWithKill");
        QTest::newRow("SIGSEGV") << u"segv"_s << SIGSEGV << false;
        QTest::newRow("SIGBUS") << u"bus"_s << SIGBUS << false;
        QTest::newRow("SIGILL") << u"ill"_s << SIGILL << false;
        QTest::newRow("SIGTRAP") << u"trap"_s << SIGTRAP << false;
        QTest::newRow("SIGABRT") << u"abort"_s << SIGABRT << false;
        QTest::newRow("stack overflow") << u"overflow"_s << SIGSEGV << false;
        QTest::newRow("uncaught exception") << u"throw"_s << SIGABRT << false;
        QTest::newRow("kill -SEGV") << u"wait"_s << SIGSEGV << true;
        QTest::newRow("kill -BUS") << u"wait"_s << SIGBUS << true;
        QTest::newRow("kill -ABRT") << u"wait"_s << SIGABRT << true;
    }
    void diesOfTheSignalAndIsNotedOnce() {
        QFETCH(QString, mode);
        QFETCH(int, signal);
        QFETCH(bool, sentWithKill);
        QTemporaryDir root;
        QVERIFY(root.isValid());
        // The first start with crash noting remembers where it began and reports nothing.
        QCOMPARE(check(root.path()), u"none 0"_s);

        QProcess child;
        child.setProcessEnvironment(environment(root.path()));
        child.start(QString::fromLatin1(CRASH_CHILD), {mode});
        QVERIFY(child.waitForStarted());
        if (sentWithKill) {
            QVERIFY(child.waitForReadyRead(30000));
            QCOMPARE(child.readLine().trimmed(), QByteArray("ready"));
            QCOMPARE(::kill(static_cast<pid_t>(child.processId()), signal), 0);
        }
        QVERIFY(child.waitForFinished(30000));
        QCOMPARE(child.exitStatus(), QProcess::CrashExit);
        QCOMPARE(child.exitCode(), signal);

        QFile log(root.path() + u"/state/tessary/logs/tessary.log"_s);
        QVERIFY(log.open(QIODevice::ReadOnly));
        const QByteArray text = log.readAll();
        const QByteArray marker =
            " crash error signal name=" + QByteArray(sigabbrev_np(signal)).prepend("SIG") +
            " number=" + QByteArray::number(signal) + "\n";
        QVERIFY2(text.contains(marker), text.constData());
        if (mode == u"throw"_s) {
            QVERIFY(text.contains("  reason cannot open /#/#/#"));
            QVERIFY(!text.contains("ana"));
        }

        QCOMPARE(check(root.path()), u"crashed %1"_s.arg(signal));
        QCOMPARE(check(root.path()), u"none 0"_s);
    }
};

QTEST_GUILESS_MAIN(CrashCaptureTest)
#include "CrashCaptureTest.moc"
