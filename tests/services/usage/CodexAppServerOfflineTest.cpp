// The real Codex CLI from the npm registry (tests/support/agents-offline), its `app-server` asked
// for the plan's rate limits offline: without a login it refuses and the session files answer;
// signed in to a stand-in ChatGPT backend on loopback it gives the real answer.
#include "services/shell/Shell.h"
#include "services/usage/CodexUsageProvider.h"
#include "support/OfflineAgents.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

QString codexPath;

QByteArray base64URL(const QByteArray& bytes) {
    return bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
}

// A ChatGPT login as Codex keeps it; its token is unsigned, which Codex doesn't check.
QByteArray chatGPTAuth() {
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    const QJsonObject claims{
        {u"email"_s, u"someone@example.com"_s},
        {u"exp"_s, now + 86400},
        {u"iat"_s, now},
        {u"https://api.openai.com/auth"_s, QJsonObject{{u"chatgpt_plan_type"_s, u"plus"_s},
                                                       {u"chatgpt_account_id"_s, u"account-stand-in"_s},
                                                       {u"chatgpt_user_id"_s, u"user-stand-in"_s}}}};
    const QByteArray token = base64URL(R"({"alg":"none","typ":"JWT"})") + '.' +
                             base64URL(QJsonDocument(claims).toJson(QJsonDocument::Compact)) + '.' +
                             base64URL("unsigned");
    const QJsonObject auth{{u"auth_mode"_s, u"chatgpt"_s},
                           {u"OPENAI_API_KEY"_s, QJsonValue::Null},
                           {u"tokens"_s, QJsonObject{{u"id_token"_s, QString::fromLatin1(token)},
                                                     {u"access_token"_s, QString::fromLatin1(token)},
                                                     {u"refresh_token"_s, u"refresh-stand-in"_s},
                                                     {u"account_id"_s, u"account-stand-in"_s}}},
                           {u"last_refresh"_s, QDateTime::currentDateTimeUtc().toString(Qt::ISODate)}};
    return QJsonDocument(auth).toJson();
}

// "session=42 weekly=7 weekly:GPT-5.3-Codex-Spark=12" or the failure's text; "(file)" marks a
// reading from the session files.
QString describe(const ProviderResult<UsageReport>& result) {
    if (const auto* failure = std::get_if<ProviderFailure>(&result)) {
        return failure->userText;
    }
    const UsageReport& report = std::get<UsageReport>(result);
    QStringList parts;
    for (const UsageReport::Limit& limit : report.limits) {
        parts.append(UsageLimitKinds::watchKey(limit.kind) + u'=' + QString::number(limit.percent));
    }
    if (report.capturedAt) {
        parts.append(u"(file)"_s);
    }
    return parts.join(u' ');
}

} // namespace

class CodexAppServerOfflineTest : public QObject {
    Q_OBJECT

    ProviderResult<UsageReport> fetch(const QString& sessionsDirectory) {
        CodexUsageProvider::Configuration configuration;
        configuration.appServerCandidates = {codexPath};
        configuration.sessionsDirectory = sessionsDirectory;
        const CodexUsageProvider provider(m_shell, m_clock, configuration);
        return provider.fetchUsage({});
    }

    Shell m_shell;
    SystemClock m_clock;

private slots:
    void withoutLoginTheFilesAnswer_data() {
        QTest::addColumn<bool>("withSessionFile");
        QTest::addColumn<QString>("expected");
        QTest::newRow("a session file") << true << u"session=31 (file)"_s;
        QTest::newRow("none") << false << u"no Codex session found in ~/.codex/sessions"_s;
    }

    void withoutLoginTheFilesAnswer() {
        QFETCH(bool, withSessionFile);
        QFETCH(QString, expected);
        QVERIFY(!QFile::exists(QDir::homePath() + u"/.codex/auth.json"_s));
        QTemporaryDir sessions;
        if (withSessionFile) {
            testing::writeFile(
                sessions.filePath(u"2026/11/25/rollout.jsonl"_s),
                R"({"timestamp":"2026-11-25T10:00:00.000Z","type":"event_msg","payload":)"
                R"({"type":"token_count","rate_limits":{"limit_id":"codex","primary":)"
                R"({"used_percent":31.0,"window_minutes":300,"resets_at":4102444800},"secondary":null}}})"
                "\n");
        }
        QCOMPARE(describe(fetch(sessions.path())), expected);
    }

    void signedInTheAppServerAnswers() {
        QProcess backend;
        backend.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        backend.start(u"python3"_s, {qEnvironmentVariable("TESSARY_SOURCE_DIR") +
                                     u"/tests/services/usage/stand_in_chatgpt_backend.py"_s});
        QVERIFY(backend.waitForReadyRead(10000));
        const QByteArray port = backend.readLine().trimmed();
        const QString codexHome = QDir::homePath() + u"/.codex"_s;
        testing::writeFile(codexHome + u"/auth.json"_s, chatGPTAuth());
        testing::writeFile(codexHome + u"/config.toml"_s,
                           "chatgpt_base_url = \"http://127.0.0.1:" + port + "/backend-api/\"\n");
        QTemporaryDir noSessions;
        QCOMPARE(describe(fetch(noSessions.path())), u"session=42 weekly=7 weekly:GPT-5.3-Codex-Spark=12"_s);
        QFile::remove(codexHome + u"/auth.json"_s);
        backend.kill();
        backend.waitForFinished();
    }
};

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const OfflineAgents agents = installOfflineAgents();
    codexPath = agents.status == 0 ? agents.codex : QString();
    if (codexPath.isEmpty()) {
        qWarning("Codex could not be installed from the npm registry: skipped");
        return 77;
    }
    CodexAppServerOfflineTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "CodexAppServerOfflineTest.moc"
