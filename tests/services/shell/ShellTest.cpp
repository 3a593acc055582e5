#include "services/shell/Shell.h"

#include "support/TestFiles.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace tessary;
using namespace Qt::StringLiterals;

class ShellTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void outcomeOfAChildThatEnds_data();
    void outcomeOfAChildThatEnds();
    void bothPipesAreDrainedTogether();
    void missingOrUnusableExecutable_data();
    void missingOrUnusableExecutable();
    void childThatOutlivesItsDeadlineIsTerminated();
    void childIgnoringTerminationIsKilledASecondLater();
    void crashIsAFailure();
    void environmentReplacesTheChildsButThePathIsExtended();
    void pathIsExtendedWithTheUsualFolders();

private:
    QTemporaryDir m_folder;
    QString m_plainFile;
};

namespace {

const Shell shell;

ShellOutcome outcomeOf(const ShellResult& result) {
    if (const auto* failure = std::get_if<ShellFailure>(&result)) {
        qWarning() << "unexpected failure" << failure->message;
        return {-1000, {}, {}};
    }
    return std::get<ShellOutcome>(result);
}

bool processExists(qint64 pid) {
    return ::kill(static_cast<pid_t>(pid), 0) == 0;
}

} // namespace

void ShellTest::initTestCase() {
    // A script without execute bits: found, but not runnable.
    m_plainFile = m_folder.filePath(u"plain.sh"_s);
    testing::writeFile(m_plainFile, "#!/bin/sh\necho no\n");
    QVERIFY(QFile::setPermissions(m_plainFile, QFile::ReadOwner | QFile::WriteOwner));
}

void ShellTest::outcomeOfAChildThatEnds_data() {
    QTest::addColumn<QString>("script");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("errorOutput");

    QTest::newRow("plain") << u"echo hello"_s << 0 << u"hello\n"_s << QString();
    QTest::newRow("status and error output")
        << u"echo out; echo oops >&2; exit 3"_s << 3 << u"out\n"_s << u"oops\n"_s;
    QTest::newRow("input is closed at once") << u"cat; echo done"_s << 0 << u"done\n"_s << QString();
    QTest::newRow("utf-8 output") << u"printf 'caf\\303\\251'"_s << 0 << u"café"_s << QString();
}

void ShellTest::outcomeOfAChildThatEnds() {
    QFETCH(QString, script);
    const ShellOutcome outcome = outcomeOf(shell.run(u"/bin/sh"_s, {u"-c"_s, script}, 10.0, std::nullopt));
    QTEST(outcome.status, "status");
    QTEST(outcome.output, "output");
    QTEST(outcome.errorOutput, "errorOutput");
}

void ShellTest::bothPipesAreDrainedTogether() {
    // Far more than a pipe holds, on both streams, interleaved: a runner that reads one stream to
    // its end before the other would stall with the child.
    const QString script = u"i=0; while [ $i -lt 40 ]; do head -c 65536 /dev/zero | tr '\\0' a; "
                           "head -c 65536 /dev/zero | tr '\\0' b >&2; i=$((i+1)); done"_s;
    const ShellOutcome outcome = outcomeOf(shell.run(u"/bin/sh"_s, {u"-c"_s, script}, 20.0, std::nullopt));
    QCOMPARE(outcome.status, 0);
    QCOMPARE(outcome.output.size(), 40 * 65536);
    QCOMPARE(outcome.errorOutput.size(), 40 * 65536);
    QVERIFY(!outcome.output.contains(u'b'));
}

void ShellTest::missingOrUnusableExecutable_data() {
    QTest::addColumn<QString>("executable");
    QTest::newRow("absent path") << u"/nonexistent/tool"_s;
    QTest::newRow("absent name") << u"tessary-no-such-tool"_s;
    QTest::newRow("empty") << QString();
    QTest::newRow("not executable") << m_plainFile;
    QTest::newRow("a folder") << u"/usr/bin"_s;
}

void ShellTest::missingOrUnusableExecutable() {
    QFETCH(QString, executable);
    const ShellResult result = shell.run(executable, {}, 5.0, std::nullopt);
    QVERIFY(std::holds_alternative<ShellFailure>(result));
    QCOMPARE(std::get<ShellFailure>(result).kind, ShellFailure::Kind::notFound);
}

void ShellTest::childThatOutlivesItsDeadlineIsTerminated() {
    QElapsedTimer timer;
    timer.start();
    const ShellResult result = shell.run(u"sleep"_s, {u"30"_s}, 0.3, std::nullopt);
    QVERIFY(std::holds_alternative<ShellFailure>(result));
    QCOMPARE(std::get<ShellFailure>(result).kind, ShellFailure::Kind::timedOut);
    // sleep ends on SIGTERM: no need for the kill.
    QVERIFY2(timer.elapsed() < 1200, qPrintable(QString::number(timer.elapsed())));
}

void ShellTest::childIgnoringTerminationIsKilledASecondLater() {
    QTemporaryDir folder;
    const QString pidFile = folder.filePath(u"pid"_s);
    // The system's own shell, which sets the trap within a millisecond or two of starting, whatever
    // the machine's load or PATH; a script of an interpreter found on PATH may not be so quick.
    const QString script = u"trap '' TERM; echo $$ > '%1'; while :; do sleep 1; done"_s.arg(pidFile);
    QElapsedTimer timer;
    timer.start();
    const ShellResult result = shell.run(u"/bin/sh"_s, {u"-c"_s, script}, 1.0, std::nullopt);
    const qint64 elapsed = timer.elapsed();
    QVERIFY(std::holds_alternative<ShellFailure>(result));
    QCOMPARE(std::get<ShellFailure>(result).kind, ShellFailure::Kind::timedOut);
    // Asked to end at one second, killed a second later.
    QVERIFY2(elapsed >= 1900 && elapsed < 5000, qPrintable(QString::number(elapsed)));

    const qint64 pid = testing::readFile(pidFile).toLongLong();
    QVERIFY(pid > 1);
    QVERIFY(!processExists(pid));
}

void ShellTest::crashIsAFailure() {
    const ShellResult result = shell.run(u"/bin/sh"_s, {u"-c"_s, u"kill -SEGV $$"_s}, 5.0, std::nullopt);
    QVERIFY(std::holds_alternative<ShellFailure>(result));
    QCOMPARE(std::get<ShellFailure>(result).kind, ShellFailure::Kind::crashed);
}

void ShellTest::environmentReplacesTheChildsButThePathIsExtended() {
    QProcessEnvironment environment;
    environment.insert(u"TESSARY_PROBE"_s, u"given"_s);
    environment.insert(u"PATH"_s, u"/opt/custom"_s);
    // "sh" is found although the given PATH lacks it: the usual folders are added.
    const ShellOutcome outcome = outcomeOf(
        shell.run(u"sh"_s, {u"-c"_s, u"echo \"$TESSARY_PROBE|${HOME:-unset}|$PATH\""_s}, 5.0, environment));
    const QStringList parts = outcome.output.trimmed().split(u'|');
    QCOMPARE(parts.size(), 3);
    QCOMPARE(parts[0], u"given"_s);
    QCOMPARE(parts[1], u"unset"_s);
    QVERIFY(parts[2].startsWith(u"/opt/custom:"_s));
    QVERIFY(parts[2].split(u':').contains(u"/usr/local/bin"_s));
}

void ShellTest::pathIsExtendedWithTheUsualFolders() {
    QProcessEnvironment environment;
    environment.insert(u"PATH"_s, u"/usr/bin:/sbin"_s);
    const QStringList path = Shell::extendedEnvironment(environment).value(u"PATH"_s).split(u':');
    QCOMPARE(path.mid(0, 2), (QStringList{u"/usr/bin"_s, u"/sbin"_s}));
    QCOMPARE(path.count(u"/usr/bin"_s), 1);
    QVERIFY(path.contains(u"/bin"_s));
    QVERIFY(path.contains(QDir::homePath() + u"/.local/bin"_s));
}

QTEST_GUILESS_MAIN(ShellTest)
#include "ShellTest.moc"
