#include "modules/sessions/CodexSessionFileProvider.h"

#include "support/TestFiles.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <utime.h>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

const qint64 baseTime = QDateTime(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC).toSecsSinceEpoch();

QByteArray json(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

QByteArray line(const char* type, const QJsonObject& payload) {
    return json({{"timestamp"_L1, "2026-03-01T11:00:00.000Z"_L1},
                 {"type"_L1, QLatin1StringView(type)},
                 {"payload"_L1, payload}});
}

// The first line as Codex 0.169 writes it: the ids, the source, the whole system prompt and then
// the git fields, so that `branch` stands past `instructionBytes` of instructions.
QByteArray meta(const QString& id, const QJsonValue& source, qint64 instructionBytes = 100) {
    // Written by hand, since QJsonDocument sorts keys and would put `git` before the instructions.
    const QByteArray sourceText =
        QJsonDocument(QJsonArray{source}).toJson(QJsonDocument::Compact).mid(1).chopped(1);
    return R"({"timestamp":"2026-03-01T11:00:00.000Z","ordinal":0,"type":"session_meta","payload":{"session_id":")" +
           id.toUtf8() + R"(","id":")" + id.toUtf8() +
           R"(","timestamp":"2026-03-01T10:59:58.500Z","cwd":"/home/ana/work/atlas","cli_version":"0.169.0","source":)" +
           sourceText + R"(,"base_instructions":{"text":")" + QByteArray(instructionBytes, 'x') +
           R"("},"git":{"commit_hash":"86b4a8d9","branch":"feature/ünïcode","repository_url":"https://example.org/a"}}})" +
           '\n';
}

QByteArray userMessage(const QString& text) {
    return line("response_item",
                {{"type"_L1, "message"_L1},
                 {"role"_L1, "user"_L1},
                 {"content"_L1, QJsonArray{QJsonObject{{"type"_L1, "input_text"_L1}, {"text"_L1, text}}}}});
}

QByteArray turnContext(const QString& model, const QString& effort) {
    return line("turn_context",
                {{"model"_L1, model}, {"effort"_L1, effort}, {"cwd"_L1, "/home/ana/work/atlas"_L1}});
}

QByteArray tokenCount(qint64 tokens, qint64 window) {
    return line("event_msg",
                {{"type"_L1, "token_count"_L1},
                 {"info"_L1, QJsonObject{{"last_token_usage"_L1, QJsonObject{{"total_tokens"_L1, tokens}}},
                                         {"model_context_window"_L1, window}}},
                 {"rate_limits"_L1, QJsonObject{{"limit_id"_L1, "codex"_L1}, {"primary"_L1, QJsonValue()}}}});
}

QByteArray taskComplete(qint64 milliseconds) {
    return line("event_msg", {{"type"_L1, "task_complete"_L1}, {"duration_ms"_L1, milliseconds}});
}

QByteArray filler(qint64 bytes) {
    const QByteArray prefix =
        R"({"type":"response_item","payload":{"type":"function_call_output","output":")";
    const QByteArray suffix = "\"}}\n";
    return prefix + QByteArray(bytes - prefix.size() - suffix.size(), 'o') + suffix;
}

// An ordinary session: the envelopes, the prompt, one turn.
QByteArray session(const QString& id, const QJsonValue& source = u"cli"_s) {
    return meta(id, source) + userMessage(u"<environment_context>\n  <cwd>/x</cwd>"_s) +
           userMessage(u"Fix the flaky test\nand explain"_s) + turnContext(u"gpt-5.1-codex"_s, u"high"_s) +
           tokenCount(60'010, 258'400) + taskComplete(2538);
}

void age(const QString& path, qint64 secondsAgo) {
    const auto at = static_cast<time_t>(baseTime - secondsAgo);
    const utimbuf times{at, at};
    QCOMPARE(::utime(QFile::encodeName(path).constData(), &times), 0);
}

QList<AgentSession> fetched(const CodexSessionFileProvider& provider, int limit = 20) {
    SessionFetchResult result = provider.fetchSessions(limit);
    return std::holds_alternative<QList<AgentSession>>(result) ? std::get<QList<AgentSession>>(result)
                                                               : QList<AgentSession>{};
}

} // namespace

class CodexSessionFileProviderTest : public QObject {
    Q_OBJECT
private slots:
    void init();

    void field_data();
    void field();
    void whatMakesASession_data();
    void whatMakesASession();
    void titles_data();
    void titles();
    void tailTable();
    void valuesFromFurtherBack();
    void limitAndOrder();
    void unchangedFilesAreNotReadAgain();

private:
    QString file(const QString& id) const {
        return m_dir->path() + u"/sessions/2026/03/01/rollout-2026-03-01T11-00-00-"_s + id + u".jsonl"_s;
    }
    QString index() const { return m_dir->path() + u"/session_index.jsonl"_s; }
    CodexSessionFileProvider provider() const {
        return CodexSessionFileProvider(CodexSessionFileProvider::forHome(u"/nowhere"_s, m_dir->path()));
    }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void CodexSessionFileProviderTest::init() {
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void CodexSessionFileProviderTest::field_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("key");
    QTest::addColumn<std::optional<QString>>("expected");
    QTest::newRow("plain") << uR"({"a":1,"source":"cli","b":2})"_s << u"source"_s << std::optional(u"cli"_s);
    QTest::newRow("spaces") << uR"({"source" : "exec"})"_s << u"source"_s << std::optional(u"exec"_s);
    QTest::newRow("cut after the value") << uR"({"source":"cli","base_instructions":{"text":"You are)"_s
                                         << u"source"_s << std::optional(u"cli"_s);
    QTest::newRow("cut in the value") << uR"({"branch":"mai)"_s << u"branch"_s << std::optional<QString>();
    QTest::newRow("object value") << uR"({"source":{"subagent":{"other":"guardian"}}})"_s << u"source"_s
                                  << std::optional<QString>();
    QTest::newRow("key quoted inside a text")
        << uR"({"text":"say \"source\":\"vscode\" now","source":"cli"})"_s << u"source"_s
        << std::optional(u"cli"_s);
    QTest::newRow("key that ends alike")
        << uR"({"thread_source":"user","source":"exec"})"_s << u"source"_s << std::optional(u"exec"_s);
    QTest::newRow("escapes") << uR"({"cwd":"C:\\work \"a\" \u00e9\n"})"_s << u"cwd"_s
                             << std::optional(u"C:\\work \"a\" é\n"_s);
    QTest::newRow("broken escape") << uR"({"cwd":"\u00zz"})"_s << u"cwd"_s << std::optional<QString>();
    QTest::newRow("missing") << uR"({"id":"x"})"_s << u"source"_s << std::optional<QString>();
}

void CodexSessionFileProviderTest::field() {
    QFETCH(QString, line);
    QFETCH(QString, key);
    QFETCH(std::optional<QString>, expected);
    QCOMPARE(CodexSessionFile::field(line, key), expected);
}

void CodexSessionFileProviderTest::whatMakesASession_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<std::optional<QString>>("origin");
    QTest::addColumn<std::optional<QString>>("branch");
    const QString id = u"019c8a4d-8f45-7010-8b5d-7fad920aa6f9"_s;
    const std::optional<QString> none;
    const std::optional<QString> cli(u"CLI"_s);
    const std::optional<QString> branch(u"feature/ünïcode"_s);
    QTest::newRow("terminal") << session(id) << cli << branch;
    QTest::newRow("exec") << session(id, u"exec"_s) << std::optional(u"exec"_s) << branch;
    QTest::newRow("editor") << session(id, u"vscode"_s) << none << none;
    QTest::newRow("guardian subagent")
        << session(id, QJsonObject{{"subagent"_L1, QJsonObject{{"other"_L1, "guardian"_L1}}}}) << none
        << none;
    QTest::newRow("no source") << session(id, QJsonValue()) << none << none;
    QTest::newRow("not a session file") << userMessage(u"hello"_s) + session(id) << none << none;
    QTest::newRow("empty file") << QByteArray() << none << none;
    QTest::newRow("not JSON") << QByteArray("\x00\xff{{{\n\n", 7) << none << none;
    // The branch stands past 8 KiB, as Codex 0.169 writes it.
    QTest::newRow("branch 21,700 bytes in")
        << meta(id, u"cli"_s, 21'500) + userMessage(u"Go"_s) << cli << branch;
    // A first line longer than the head is cut: what stands early in it still serves.
    QTest::newRow("first line past the head")
        << meta(id, u"cli"_s, 70'000) + turnContext(u"m"_s, u"low"_s) << cli << none;
}

void CodexSessionFileProviderTest::whatMakesASession() {
    QFETCH(QByteArray, content);
    QFETCH(std::optional<QString>, origin);
    QFETCH(std::optional<QString>, branch);
    const QString path = file(u"019c8a4d-8f45-7010-8b5d-7fad920aa6f9"_s);
    writeFile(path, content);
    age(path, 10);
    const QList<AgentSession> sessions = fetched(provider());
    QCOMPARE(sessions.size(), origin ? 1 : 0);
    if (!origin) {
        return;
    }
    const AgentSession& found = sessions.first();
    QCOMPARE(found.id, u"019c8a4d-8f45-7010-8b5d-7fad920aa6f9"_s);
    QCOMPARE(found.origin, origin);
    QCOMPARE(found.branch, branch);
    QCOMPARE(found.agentName, u"codex"_s);
    QCOMPARE(found.toolVersion, u"0.169.0"_s);
    QCOMPARE(found.directory, u"/home/ana/work/atlas"_s);
    QCOMPARE(found.project, u"atlas"_s);
    QCOMPARE(found.startedAt, QDateTime(QDate(2026, 3, 1), QTime(10, 59, 58, 500), Qt::UTC));
    QCOMPARE(found.lastActivity.toSecsSinceEpoch(), baseTime - 10);
}

void CodexSessionFileProviderTest::titles_data() {
    QTest::addColumn<QByteArray>("index");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<std::optional<QString>>("title");
    const QByteArray envelopes =
        meta(u"s-1"_s, u"cli"_s) + userMessage(u"# AGENTS.md instructions for /x"_s) +
        userMessage(u"  <environment_context><cwd>/x</cwd>"_s) + userMessage(u"<INSTRUCTIONS>be brief"_s) +
        userMessage(u"<user_instructions>"_s);
    QTest::newRow("no index: the first prompt")
        << QByteArray() << session(u"s-1"_s) << std::optional(u"Fix the flaky test"_s);
    QTest::newRow("repeated ids: the last wins")
        << json({{"id"_L1, "s-1"_L1}, {"thread_name"_L1, "Old name"_L1}}) + "{cut\n" +
               json({{"id"_L1, "s-2"_L1}, {"thread_name"_L1, "Other"_L1}}) +
               json({{"id"_L1, "s-1"_L1}, {"thread_name"_L1, "Flaky test hunt"_L1}})
        << session(u"s-1"_s) << std::optional(u"Flaky test hunt"_s);
    QTest::newRow("envelopes are no prompt")
        << QByteArray() << envelopes + userMessage(u"Real question"_s) << std::optional(u"Real question"_s);
    QTest::newRow("only envelopes") << QByteArray() << envelopes << std::optional<QString>();
}

void CodexSessionFileProviderTest::titles() {
    QFETCH(QByteArray, index);
    QFETCH(QByteArray, content);
    QFETCH(std::optional<QString>, title);
    if (!index.isEmpty()) {
        writeFile(this->index(), index);
    }
    writeFile(file(u"s-1"_s), content);
    const QList<AgentSession> sessions = fetched(provider());
    QCOMPARE(sessions.size(), 1);
    QCOMPARE(sessions.first().title, title);
    QCOMPARE(CodexSessionFileProvider::indexedNames(m_dir->path() + u"/missing.jsonl"_s),
             (QHash<QString, QString>{}));
}

void CodexSessionFileProviderTest::tailTable() {
    // Later values win; unknown kinds, a line that isn't JSON and a cut last line are passed over.
    const QString path = file(u"s-1"_s);
    writeFile(path, session(u"s-1"_s) + turnContext(u"gpt-5.2"_s, u"xhigh"_s) +
                        line("token_usage_record", {{"thread_id"_L1, "s-1"_L1}}) + "not json\n" +
                        line("world_state", {{"full"_L1, true}}) + tokenCount(70'000, 400'000) +
                        line("event_msg", {{"type"_L1, "token_count"_L1}, {"info"_L1, QJsonValue()}}) +
                        taskComplete(1500) + tokenCount(99'999, 1).left(40));
    const QList<AgentSession> sessions = fetched(provider());
    QCOMPARE(sessions.size(), 1);
    const AgentSession& found = sessions.first();
    QCOMPARE(found.model, u"gpt-5.2"_s);
    QCOMPARE(found.effort, u"xhigh"_s);
    QCOMPARE(found.contextTokens, 70'000);
    QCOMPARE(found.contextWindow, 400'000);
    QCOMPARE(found.lastTurnDuration, 1.5);
}

void CodexSessionFileProviderTest::valuesFromFurtherBack() {
    // The tail holds neither the model nor the window: they are looked for further back.
    const QString path = file(u"s-1"_s);
    writeFile(path, session(u"s-1"_s) + filler(300'000) + taskComplete(10));
    const QList<AgentSession> sessions = fetched(provider());
    QCOMPARE(sessions.size(), 1);
    QCOMPARE(sessions.first().model, u"gpt-5.1-codex"_s);
    QCOMPARE(sessions.first().contextWindow, 258'400);
    // Tokens are only what the tail says.
    QCOMPARE(sessions.first().contextTokens, 0);
}

void CodexSessionFileProviderTest::limitAndOrder() {
    // Newest first; a subagent's thread takes no place.
    const QJsonObject guardian{{"subagent"_L1, QJsonObject{{"other"_L1, "guardian"_L1}}}};
    writeFile(file(u"a"_s), session(u"a"_s));
    writeFile(file(u"guardian"_s), session(u"guardian"_s, guardian));
    writeFile(file(u"b"_s), session(u"b"_s, u"exec"_s));
    writeFile(file(u"c"_s), session(u"c"_s));
    age(file(u"a"_s), 50);
    age(file(u"guardian"_s), 10);
    age(file(u"b"_s), 30);
    age(file(u"c"_s), 40);
    const CodexSessionFileProvider reader = provider();
    QCOMPARE(idsOf(fetched(reader, 2)), (QStringList{u"b"_s, u"c"_s}));
    QCOMPARE(fetched(reader, 2).first().origin, u"exec"_s);
    QCOMPARE(idsOf(fetched(reader)), (QStringList{u"b"_s, u"c"_s, u"a"_s}));
    QCOMPARE(fetched(reader, 0), QList<AgentSession>{});

    CodexSessionFileProvider::Configuration narrow = CodexSessionFileProvider::forHome(u"/"_s, m_dir->path());
    narrow.scanLimit = 2;
    QCOMPARE(idsOf(fetched(CodexSessionFileProvider(narrow))), (QStringList{u"b"_s}));
    QCOMPARE(fetched(CodexSessionFileProvider(CodexSessionFileProvider::forHome(m_dir->path() + u"/none"_s))),
             QList<AgentSession>{});
}

void CodexSessionFileProviderTest::unchangedFilesAreNotReadAgain() {
    const QString path = file(u"s-1"_s);
    writeFile(path, session(u"s-1"_s));
    writeFile(index(), json({{"id"_L1, "s-1"_L1}, {"thread_name"_L1, "Named"_L1}}));
    age(path, 10);
    age(index(), 10);
    const CodexSessionFileProvider reader = provider();
    const QList<AgentSession> first = fetched(reader);
    QCOMPARE(first.size(), 1);

    // Same size and date, other bytes: a reader that read again would see the other model and name.
    QByteArray changed = session(u"s-1"_s);
    changed.replace("gpt-5.1-codex", "gpt-9.9-codex");
    writeFile(path, changed);
    writeFile(index(), json({{"id"_L1, "s-1"_L1}, {"thread_name"_L1, "Other"_L1}}));
    age(path, 10);
    age(index(), 10);
    QCOMPARE(fetched(reader), first);

    // A change of date is read.
    age(path, 5);
    age(index(), 5);
    const QList<AgentSession> later = fetched(reader);
    QCOMPARE(later.first().model, u"gpt-9.9-codex"_s);
    QCOMPARE(later.first().title, u"Other"_s);
}

QTEST_GUILESS_MAIN(CodexSessionFileProviderTest)
#include "CodexSessionFileProviderTest.moc"
