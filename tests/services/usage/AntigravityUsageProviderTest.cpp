#include "services/usage/AntigravityUsageProvider.h"

#include "services/shell/Shell.h"
#include "support/TestFiles.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

// The agy tool as the tests play it: it writes where it runs and how it was called, refuses any
// argument list but the usage reading, and then does what the file "mode" beside it says.
constexpr auto fakeAgy = R"sh(#!/bin/sh
folder=$(dirname "$0")
pwd > "$folder/cwd"
if [ "$*" != "--print /usage --output-format json --log-file /dev/null --print-timeout 20s" ]; then
  echo "unexpected arguments: $*" >&2; exit 64
fi
case "$(cat "$folder/mode")" in
  ok) echo "Loaded cached credentials."
      echo '{"status":"SUCCESS","command":{"data":{"groups":[{"name":"Gemini models","buckets":[{"id":"w","remainingFraction":0.125}]}]}}}' ;;
  signed-out) echo '{"status":"UNAUTHENTICATED","error":"sign in first"}'; exit 1 ;;
  broken) echo "panic: no such file" >&2; exit 2 ;;
  hang) exec sleep 30 ;;
esac
)sh";

} // namespace

class AntigravityUsageProviderTest : public QObject {
    Q_OBJECT
private slots:
    void readsTheQuotaThroughTheTool_data() {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("failure");
        QTest::newRow("log lines, then the answer") << u"ok"_s << QString();
        QTest::newRow("signed out") << u"signed-out"_s << u"session expired; run 'agy' and sign in again"_s;
        QTest::newRow("failure status, no answer") << u"broken"_s << u"usage unavailable"_s;
        QTest::newRow("overruns its time-out") << u"hang"_s << u"usage unavailable"_s;
        QTest::newRow("not installed") << u"missing"_s << u"Antigravity CLI (agy) not found"_s;
    }
    void readsTheQuotaThroughTheTool() {
        QFETCH(QString, mode);
        QFETCH(QString, failure);
        QTemporaryDir folder;
        QTemporaryDir work;
        const QString tool = folder.filePath(u"bin/agy"_s);
        if (mode != u"missing"_s) {
            writeFile(tool, fakeAgy);
            QVERIFY(QFile::setPermissions(tool, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
            writeFile(folder.filePath(u"bin/mode"_s), mode.toUtf8());
        }
        // Not executable, so passed over.
        writeFile(folder.filePath(u"first/agy"_s), "#!/bin/sh\nexit 9\n");

        const Shell shell;
        const ManualClock clock(QDateTime(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC));
        AntigravityUsageProvider::Configuration configuration;
        configuration.candidates = {folder.filePath(u"first/agy"_s), tool};
        configuration.workingDirectory = work.path();
        configuration.timeoutSeconds = 0.5;
        const AntigravityUsageProvider provider(shell, clock, configuration);
        QCOMPARE(provider.isInstalled(), mode != u"missing"_s);

        QElapsedTimer elapsed;
        elapsed.start();
        const ProviderResult<UsageReport> result = provider.provider()(CancellationToken());
        QVERIFY2(elapsed.elapsed() < 5000, "a tool that overruns is stopped");
        if (failure.isEmpty()) {
            const auto& report = std::get<UsageReport>(result);
            QCOMPARE(report.limits.size(), std::size_t{1});
            QCOMPARE(report.limits.front().kind, UsageLimitKind(usage_kind::WeeklyScoped{u"Gemini"_s}));
            QCOMPARE(report.limits.front().percent, 88);
            QCOMPARE(report.fetchedAt, clock.now());
        } else {
            QCOMPARE(std::get<ProviderFailure>(result).userText, failure);
        }
        if (mode != u"missing"_s) {
            QCOMPARE(readFile(folder.filePath(u"bin/cwd"_s)).trimmed(), work.path().toUtf8());
        }
    }
};

QTEST_GUILESS_MAIN(AntigravityUsageProviderTest)
#include "AntigravityUsageProviderTest.moc"
