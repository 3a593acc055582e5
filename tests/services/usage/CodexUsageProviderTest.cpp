// The app-server client and the provider against small stand-in executables that play Codex's
// `app-server` over real pipes: answers among notifications, a line split across writes, a late
// answer, none at all.
#include "services/usage/CodexUsageProvider.h"

#include "services/shell/Shell.h"
#include "services/usage/CodexAppServerClient.h"
#include "support/TestFiles.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QByteArray answer =
    R"({"id":2,"result":{"rateLimits":{"limitId":"codex","primary":{"usedPercent":42.5}}}})";

// A stand-in that records its input and working folder, then plays `body`; STANDIN is its folder.
QString writeStandIn(const QTemporaryDir& folder, const QByteArray& body) {
    QString path = folder.filePath(u"codex"_s);
    testing::writeFile(path, "#!/bin/bash\nSTANDIN='" + folder.path().toUtf8() +
                                 "'\necho $$ > \"$STANDIN/pid\"\npwd > \"$STANDIN/pwd\"\n"
                                 "head -n 3 > \"$STANDIN/input\"\necho 'noise on standard error' >&2\n" +
                                 body + "\n");
    QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner);
    return path;
}

bool isRunning(const QString& pidFile) {
    const qint64 pid = testing::readFile(pidFile).trimmed().toLongLong();
    return pid > 0 && ::kill(static_cast<pid_t>(pid), 0) == 0;
}

QString describe(const std::variant<QByteArray, CodexAppServerClient::Failure>& result) {
    if (const auto* failure = std::get_if<CodexAppServerClient::Failure>(&result)) {
        return rawValue(*failure);
    }
    return QString::fromUtf8(std::get<QByteArray>(result));
}

} // namespace

class CodexUsageProviderTest : public QObject {
    Q_OBJECT

private slots:
    void client_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<double>("timeout");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("leftByItself");

        const QByteArray rest = "cat > /dev/null; touch \"$STANDIN/input-closed\"";
        QTest::newRow("answer after notifications and the answer to initialize")
            << QByteArray(
                   "echo '{\"id\":1,\"result\":{}}'\necho '{\"method\":\"configWarning\",\"params\":{}}'\n"
                   "echo '" +
                   answer + "'\n" + rest)
            << 5.0 << QString::fromUtf8(answer) << true;
        QTest::newRow("a line split across writes is joined")
            << QByteArray("printf '{\"id\":2,\"res'; sleep 0.4; printf 'ult\":{}}\\n{\"id\":3}\\n'\n" + rest)
            << 5.0 << uR"({"id":2,"result":{}})"_s << true;
        QTest::newRow("a late answer inside the time-out")
            << QByteArray("sleep 1.2; echo '" + answer + "'\n" + rest) << 3.0 << QString::fromUtf8(answer)
            << true;
        QTest::newRow("the last line without a newline")
            << QByteArray("printf '%s' '" + answer + "'") << 5.0 << QString::fromUtf8(answer) << false;
        QTest::newRow("output ends without the answer")
            << QByteArray("echo '{\"id\":1,\"result\":{}}'") << 5.0 << u"noResponse"_s << false;
        QTest::newRow("output closed by a child that runs on")
            << QByteArray("exec 1>&-; exec sleep 30") << 1.0 << u"noResponse"_s << false;
        QTest::newRow("no answer: stopped at the time-out")
            << QByteArray("exec sleep 30") << 1.0 << u"noResponse"_s << false;
    }

    void client() {
        QFETCH(QByteArray, body);
        QFETCH(double, timeout);
        QFETCH(QString, expected);
        QFETCH(bool, leftByItself);
        QTemporaryDir folder;
        QTemporaryDir work;
        const Shell shell;
        const CodexAppServerClient client(shell, {writeStandIn(folder, body), timeout, work.path()});
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(describe(client.rateLimitsResponse({})), expected);
        QVERIFY2(clock.elapsed() < qint64(timeout * 1000) + Shell::killGraceMilliseconds + 1500,
                 "the child is stopped soon after the time-out");
        QCOMPARE(testing::readFile(folder.filePath(u"input"_s)), CodexAppServerClient::requestLines());
        QCOMPARE(testing::readFile(folder.filePath(u"pwd"_s)).trimmed(), work.path().toUtf8());
        // Its input closed, the child leaves by itself; one that doesn't is stopped.
        QCOMPARE(QFile::exists(folder.filePath(u"input-closed"_s)), leftByItself);
        QVERIFY(!isRunning(folder.filePath(u"pid"_s)));
    }

    void requestLines() {
        QCOMPARE(
            CodexAppServerClient::requestLines(),
            QByteArray(
                R"({"id":1,"method":"initialize","params":{"clientInfo":{"name":"tessary","version":"1"},)"
                R"("capabilities":{"experimentalApi":true}}})"
                "\n"
                R"({"method":"initialized","params":{}})"
                "\n"
                R"({"id":2,"method":"account/rateLimits/read","params":{"excludeResetCreditDetails":true,)"
                R"("supportsLunaReserve":false}})"
                "\n"));
    }

    // The first executable candidate answers; any failure of the app-server falls back on the
    // session files, and with no record there the user reads why.
    void provider_data() {
        QTest::addColumn<QByteArray>("body"); // empty: no executable candidate
        QTest::addColumn<bool>("withSessionFile");
        QTest::addColumn<QString>("expected");

        const QByteArray error =
            R"(echo '{"error":{"code":-32600,"message":"codex account authentication required"},"id":2}')";
        QTest::newRow("the app-server answers")
            << QByteArray("echo '" + answer + "'") << true << u"session=43 live"_s;
        QTest::newRow("no login: the files") << error << true << u"session=9 measured"_s;
        QTest::newRow("no answer: the files")
            << QByteArray("exec sleep 30") << true << u"session=9 measured"_s;
        QTest::newRow("no executable: the files") << QByteArray() << true << u"session=9 measured"_s;
        QTest::newRow("no login, no files")
            << error << false << u"no Codex session found in ~/.codex/sessions"_s;
    }

    void provider() {
        QFETCH(QByteArray, body);
        QFETCH(bool, withSessionFile);
        QFETCH(QString, expected);
        QTemporaryDir folder;
        QTemporaryDir sessions;
        CodexUsageProvider::Configuration configuration;
        const QString notExecutable = folder.filePath(u"plain-file"_s);
        testing::writeFile(notExecutable, "#!/bin/sh\n");
        configuration.appServerCandidates = {folder.filePath(u"missing"_s), notExecutable};
        if (!body.isEmpty()) {
            configuration.appServerCandidates.append(writeStandIn(folder, body));
        }
        configuration.sessionsDirectory = sessions.path();
        configuration.appServerTimeoutSeconds = 1;
        if (withSessionFile) {
            testing::writeFile(sessions.filePath(u"2026/09/21/rollout.jsonl"_s),
                               R"({"timestamp":"2026-09-21T10:00:00Z","payload":{"type":"token_count",)"
                               R"("rate_limits":{"primary":{"used_percent":9.2,"resets_at":1790003600}}}})"
                               "\n");
        }
        const Shell shell;
        const ManualClock clock;
        const CodexUsageProvider provider(shell, clock, configuration);
        const ProviderResult<UsageReport> result = provider.fetchUsage({});
        if (const auto* failure = std::get_if<ProviderFailure>(&result)) {
            QCOMPARE(failure->userText, expected);
            return;
        }
        const UsageReport& report = std::get<UsageReport>(result);
        QCOMPARE(report.fetchedAt, clock.now());
        QCOMPARE(report.limits.size(), size_t(1));
        QCOMPARE(u"session=%1 %2"_s.arg(report.limits.front().percent)
                     .arg(report.capturedAt ? u"measured"_s : u"live"_s),
                 expected);
    }
};

QTEST_GUILESS_MAIN(CodexUsageProviderTest)
#include "CodexUsageProviderTest.moc"
