// Starts the real program, as a user's session would, and stops it the ways a session does.
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

class AppProcessTest : public QObject {
    Q_OBJECT
private slots:
    void stopsCleanlyOnSignal_data();
    void stopsCleanlyOnSignal();
    void secondLaunchHandsOverAndExits();

private:
    static bool waitUntilRunning(QProcess& process);
};

namespace {
QString instanceSocket() {
    return qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/tessary-"_s + QString::number(getuid()) +
           u".instance"_s;
}
} // namespace

bool AppProcessTest::waitUntilRunning(QProcess& process) {
    if (!process.waitForStarted(5000)) {
        return false;
    }
    // The program listens on its single-instance socket once it is up.
    for (int i = 0; i < 100; ++i) {
        if (QFileInfo::exists(instanceSocket())) {
            QTest::qWait(200); // let it finish its start
            return process.state() == QProcess::Running;
        }
        QTest::qWait(100);
    }
    return false;
}

void AppProcessTest::stopsCleanlyOnSignal_data() {
    QTest::addColumn<int>("signalNumber");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void AppProcessTest::stopsCleanlyOnSignal() {
    QFETCH(int, signalNumber);
    QProcess app;
    app.setProcessChannelMode(QProcess::ForwardedChannels);
    app.start(QStringLiteral(TESSARY_BINARY), {});
    QVERIFY(waitUntilRunning(app));
    ::kill(static_cast<pid_t>(app.processId()), signalNumber);
    QVERIFY(app.waitForFinished(10000));
    QCOMPARE(app.exitStatus(), QProcess::NormalExit);
    QCOMPARE(app.exitCode(), 0);
    QVERIFY(!QFileInfo::exists(instanceSocket())); // the listener was closed on the way out

    // Both ends of the run are in the log file, in order.
    const QByteArray text =
        tessary::testing::readFile(qEnvironmentVariable("XDG_STATE_HOME") + u"/tessary/logs/tessary.log"_s);
    const qsizetype launch = text.lastIndexOf(" app info launch ");
    const qsizetype terminate = text.lastIndexOf(" app info terminate");
    QVERIFY2(launch >= 0 && terminate > launch, text.constData());
}

void AppProcessTest::secondLaunchHandsOverAndExits() {
    QProcess first;
    first.setProcessChannelMode(QProcess::ForwardedChannels);
    first.start(QStringLiteral(TESSARY_BINARY), {});
    QVERIFY(waitUntilRunning(first));

    QProcess second;
    second.start(QStringLiteral(TESSARY_BINARY), {});
    QVERIFY(second.waitForFinished(10000));
    QCOMPARE(second.exitCode(), 0);
    QCOMPARE(first.state(), QProcess::Running);

    first.terminate();
    QVERIFY(first.waitForFinished(10000));
    QCOMPARE(first.exitCode(), 0);
}

QTEST_GUILESS_MAIN(AppProcessTest)
#include "AppProcessTest.moc"
