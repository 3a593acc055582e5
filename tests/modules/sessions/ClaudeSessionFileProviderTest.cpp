#include "modules/sessions/ClaudeSessionFileProvider.h"

#include "core/time/Clock.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <sys/stat.h>
#include <thread>
#include <utime.h>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

const QDateTime now = QDateTime(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC);

QByteArray json(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

// An assistant line with `tokens` in its context (split over the three counted fields).
QByteArray assistant(qint64 tokens, const QString& model = u"claude-opus-4-6"_s,
                     const QString& session = u"s-1"_s) {
    const qint64 read = tokens / 2;
    const QJsonObject usage{{"input_tokens"_L1, 3},
                            {"cache_creation_input_tokens"_L1, static_cast<double>(tokens - 3 - read)},
                            {"cache_read_input_tokens"_L1, static_cast<double>(read)},
                            {"output_tokens"_L1, 999}};
    return json({{"type"_L1, "assistant"_L1},
                 {"sessionId"_L1, session},
                 {"cwd"_L1, "/home/ana/work/atlas"_L1},
                 {"message"_L1, QJsonObject{{"model"_L1, model}, {"usage"_L1, usage}}}});
}

// One line of a transcript, as written.
QByteArray line(const char* json) {
    return QByteArray(json) + '\n';
}

// A line that no reader cares for, `bytes` long, to push other lines out of the tail or the head.
QByteArray filler(qint64 bytes) {
    const QByteArray prefix = R"({"type":"progress","data":")";
    const QByteArray suffix = "\"}\n";
    return prefix + QByteArray(bytes - prefix.size() - suffix.size(), 'x') + suffix;
}

// Sets the file's modification date to `secondsAgo` before the test's now.
void age(const QString& path, double secondsAgo) {
    const auto at = static_cast<time_t>(now.toSecsSinceEpoch() - static_cast<qint64>(secondsAgo));
    const utimbuf times{at, at};
    QCOMPARE(::utime(QFile::encodeName(path).constData(), &times), 0);
}

class FakeDesktop final : public ClaudeDesktopDirectory {
public:
    std::optional<ClaudeDesktopSessionInfo> session(const QString& id) const override {
        const auto found = sessions.constFind(id);
        return found == sessions.constEnd() ? std::nullopt : std::optional(*found);
    }
    QHash<QString, ClaudeDesktopSessionInfo> sessions;
};

QList<AgentSession> fetched(const ClaudeSessionFileProvider& provider, int limit = 20) {
    SessionFetchResult result = provider.fetchSessions(limit);
    if (!std::holds_alternative<QList<AgentSession>>(result)) {
        qWarning() << "the provider failed";
        return {};
    }
    return std::get<QList<AgentSession>>(result);
}

} // namespace

class ClaudeSessionFileProviderTest : public QObject {
    Q_OBJECT
private slots:
    void init();

    void realTranscripts();
    void subagentLayout();
    void subagentWindow_data();
    void subagentWindow();
    void whatMakesASession_data();
    void whatMakesASession();
    void contextWindow_data();
    void contextWindow();
    void titlesSurviveTheTailWindow();
    void laterReadingsWin();
    void claudeDesktop();
    void damagedLinesAreSkipped();
    void appendedFiles();
    void concurrentWriter();
    void unchangedFilesAreNotReadAgain();
    void limitsAndMissingRoot();

private:
    QString root() const { return m_dir->path() + u"/projects"_s; }
    QString settings() const { return m_dir->path() + u"/settings.json"_s; }
    QString transcript(const QString& name, const QString& project = u"-home-ana-work-atlas"_s) const {
        return root() + u'/' + project + u'/' + name + u".jsonl"_s;
    }
    ClaudeSessionFileProvider
    provider(std::shared_ptr<const ClaudeDesktopDirectory> desktop = nullptr) const {
        return {{root(), settings(), 300.0}, m_clock, std::move(desktop)};
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    ManualClock m_clock{now};
};

void ClaudeSessionFileProviderTest::init() {
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void ClaudeSessionFileProviderTest::realTranscripts() {
    const QString shortPath =
        transcript(u"55604662-cf2a-4331-851a-ec234028f8ca"_s, u"-home-marco-projects-spotter"_s);
    QDir().mkpath(QFileInfo(shortPath).absolutePath());
    QVERIFY(QFile::copy(testData(u"claude-transcripts/short.jsonl"_s), shortPath));
    const QString heavyPath =
        transcript(u"d6e0bada-1959-4eec-a9d2-0bfade768d8f"_s, u"-home-marco-projects-spotter"_s);
    QVERIFY(QFile::copy(testData(u"claude-transcripts/tool_heavy.jsonl"_s), heavyPath));
    age(shortPath, 10);
    age(heavyPath, 20);

    const QList<AgentSession> sessions = fetched(provider());
    QCOMPARE(idsOf(sessions), (QStringList{u"55604662-cf2a-4331-851a-ec234028f8ca"_s,
                                           u"d6e0bada-1959-4eec-a9d2-0bfade768d8f"_s}));
    const AgentSession& first = sessions.first();
    QCOMPARE(first.project, u"spotter"_s);
    QCOMPARE(first.directory, u"/home/marco/projects/spotter"_s);
    QCOMPARE(first.model, u"claude-opus-4-6"_s);
    QCOMPARE(first.contextTokens, 25353);
    QCOMPARE(first.contextWindow, 200000);
    QCOMPARE(first.toolName, u"Claude Code"_s);
    QCOMPARE(first.toolVersion, u"2.1.38"_s);
    QCOMPARE(first.agentName, u"claude"_s);
    QCOMPARE(first.branch, u"master"_s);
    QCOMPARE(first.lastSpeaker, AgentSession::Speaker::user);
    QCOMPARE(first.lastActivity, now.addSecs(-10));
    QCOMPARE(first.startedAt, QDateTime(QDate(2026, 2, 10), QTime(21, 11, 52, 438), Qt::UTC));
    QVERIFY(first.subagents.isEmpty());
    QCOMPARE(sessions.at(1).contextTokens, 27666);
}

void ClaudeSessionFileProviderTest::subagentLayout() {
    // <root>/<project>/<session>.jsonl with <root>/<project>/<session>/subagents/agent-<id>.jsonl
    const QString session = u"ae4a77f8-aedd-4bc1-888f-c94edc91af04"_s;
    const QString main = transcript(session);
    writeFile(main, assistant(50'000, u"claude-opus-4-6"_s, session) +
                        line(R"({"type":"user","toolUseResult":{"agentId":"b77c1e2-long-id",)"
                             R"("description":"Read the changelog"}})"));
    const QString folder = root() + u"/-home-ana-work-atlas/"_s + session + u"/subagents/"_s;
    QDir().mkpath(folder);
    // The real subagent: no launch record, so its first prompt describes it.
    QVERIFY(QFile::copy(testData(u"claude-transcripts/subagent-agent-aac57f5.jsonl"_s),
                        folder + u"agent-aac57f5.jsonl"_s));
    writeFile(
        folder + u"agent-b77c1e2.jsonl"_s,
        line(R"({"type":"assistant","message":{"model":"claude-haiku-4-5","usage":{"input_tokens":1200},)"
             R"("content":[{"type":"tool_use","name":"mcp__docs__search"}]}})"));
    age(main, 5);
    age(folder + u"agent-aac57f5.jsonl"_s, 1);
    age(folder + u"agent-b77c1e2.jsonl"_s, 2);

    const QList<AgentSession> sessions = fetched(provider());
    // A subagent's transcript is never a session of its own, however new.
    QCOMPARE(idsOf(sessions), QStringList{session});
    const QList<AgentSession::Subagent>& subagents = sessions.first().subagents;
    QCOMPARE(subagents.size(), 2);
    const AgentSession::Subagent& real = subagents.at(0);
    QCOMPARE(real.id, u"aac57f5"_s);
    QCOMPARE(real.description, u"Search hex.pm for the latest versions of these Elixir packag"_s);
    QCOMPARE(real.model, u"claude-sonnet-4-5-20250929"_s);
    QCOMPARE(real.tool, u"WebFetch"_s);
    QCOMPARE(real.contextTokens, 18893);
    QCOMPARE(real.contextWindow, 200000);
    QCOMPARE(real.lastActivity, now.addSecs(-1));
    QCOMPARE(real.isWorking, std::nullopt);
    const AgentSession::Subagent& launched = subagents.at(1);
    QCOMPARE(launched.description, u"Read the changelog"_s);
    QCOMPARE(launched.tool, u"search"_s);
    QCOMPARE(launched.contextTokens, 1200);
}

void ClaudeSessionFileProviderTest::subagentWindow_data() {
    QTest::addColumn<double>("secondsAgo");
    QTest::addColumn<bool>("read");
    QTest::newRow("just written") << 0.0 << true;
    QTest::newRow("299 s") << 299.0 << true;
    QTest::newRow("300 s") << 300.0 << false;
    QTest::newRow("an hour") << 3600.0 << false;
}

void ClaudeSessionFileProviderTest::subagentWindow() {
    QFETCH(double, secondsAgo);
    QFETCH(bool, read);
    // The folder is named by the session id of the lines, not the file's name.
    const QString main = transcript(u"renamed"_s);
    writeFile(main, assistant(10'000, u"claude-opus-4-6"_s, u"the-id"_s));
    const QString subagent = root() + u"/-home-ana-work-atlas/the-id/subagents/agent-1.jsonl"_s;
    writeFile(subagent, assistant(500));
    age(subagent, secondsAgo);
    const QList<AgentSession> sessions = fetched(provider());
    QCOMPARE(sessions.size(), 1);
    QCOMPARE(sessions.first().id, u"the-id"_s);
    QCOMPARE(sessions.first().subagents.size(), read ? 1 : 0);
}

void ClaudeSessionFileProviderTest::whatMakesASession_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<qint64>("tokens"); // -1: no session

    const QByteArray zeroUsage =
        line(R"({"type":"assistant","message":{"usage":{"input_tokens":0,"output_tokens":40}}})");
    QTest::newRow("empty file") << QByteArray() << qint64(-1);
    QTest::newRow("no usage at all") << line(R"({"type":"user","message":{"content":"hi"}})") << qint64(-1);
    QTest::newRow("usage all zero") << zeroUsage + zeroUsage << qint64(-1);
    QTest::newRow("last count zero after a real one") << assistant(800) + zeroUsage << qint64(-1);
    QTest::newRow("usage on a line of any type")
        << line(R"({"type":"progress","message":{"usage":{"input_tokens":70}}})") << qint64(70);
    QTest::newRow("output tokens don't count") << assistant(1000) << qint64(1000);
    QTest::newRow("non-numbers count 0")
        << line(R"({"type":"assistant","message":{"usage":{"input_tokens":"12",)"
                R"("cache_read_input_tokens":40.5,"cache_creation_input_tokens":9}}})")
        << qint64(9);
    QTest::newRow("an absurd number counts 0")
        << line(
               R"({"type":"assistant","message":{"usage":{"input_tokens":1e300,"cache_read_input_tokens":5}}})")
        << qint64(5);
    QTest::newRow("usage that isn't an object")
        << line(R"({"type":"assistant","message":{"usage":500}})") << qint64(-1);
}

void ClaudeSessionFileProviderTest::whatMakesASession() {
    QFETCH(QByteArray, content);
    QFETCH(qint64, tokens);
    writeFile(transcript(u"t"_s), content);
    const QList<AgentSession> sessions = fetched(provider());
    if (tokens < 0) {
        QVERIFY(sessions.isEmpty());
        return;
    }
    QCOMPARE(sessions.size(), 1);
    QCOMPARE(sessions.first().contextTokens, tokens);
    // No sessionId on the lines: the file's name stands in.
    QVERIFY(sessions.first().id == u"t"_s || sessions.first().id == u"s-1"_s);
}

void ClaudeSessionFileProviderTest::contextWindow_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("settings");
    QTest::addColumn<qint64>("window");
    QTest::addColumn<QString>("label");

    QTest::newRow("small session, no settings")
        << assistant(30'000) << QByteArray() << qint64(200'000) << u"15%"_s;
    QTest::newRow("after a compaction the maximum decides")
        << assistant(400'000) + assistant(30'000) << QByteArray() << qint64(1'000'000) << u"3%"_s;

    QTest::newRow("configured large window")
        << assistant(20'000) << QByteArray(R"({"model":"opus[1m]"})") << qint64(1'000'000) << u"2%"_s;

    QTest::newRow("malformed settings")
        << assistant(20'000) << QByteArray(R"({"model": [1m]})") << qint64(200'000) << u"10%"_s;
    QTest::newRow("settings not an object")
        << assistant(20'000) << QByteArray("[\"opus[1m]\"]") << qint64(200'000) << u"10%"_s;
}

void ClaudeSessionFileProviderTest::contextWindow() {
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, settings);
    QFETCH(qint64, window);
    QFETCH(QString, label);
    writeFile(transcript(u"t"_s), content);
    if (!settings.isEmpty()) {
        writeFile(this->settings(), settings);
    }
    const QList<AgentSession> sessions = fetched(provider());
    QCOMPARE(sessions.size(), 1);
    QCOMPARE(sessions.first().contextWindow, window);
    QCOMPARE(sessions.first().contextLabel(Localization()), label);
}

void ClaudeSessionFileProviderTest::titlesSurviveTheTailWindow() {
    // Written early, then pushed out of the 256 KiB tail: found in the first 8 KiB.
    const QString early = transcript(u"early"_s);
    writeFile(early, line(R"({"type":"custom-title","customTitle":"reviewer"})") +
                         line(R"({"type":"agent-color","agentColor":"purple"})") + filler(300'000) +
                         assistant(1000));
    // Past the first 8 KiB and before the tail: in neither.
    const QString lost = transcript(u"lost"_s);
    writeFile(lost, filler(10'000) + line(R"({"type":"custom-title","customTitle":"gone"})") +
                        filler(300'000) + assistant(1000));
    age(lost, 1);
    const QList<AgentSession> sessions = fetched(provider());
    QCOMPARE(idsOf(sessions), (QStringList{u"s-1"_s, u"s-1"_s}));
    QCOMPARE(sessions.at(0).role, u"reviewer"_s);
    QCOMPARE(sessions.at(0).roleColor, u"purple"_s);
    QCOMPARE(sessions.at(0).displayTitle(), u"reviewer"_s);
    QCOMPARE(sessions.at(1).role, std::nullopt);
    QCOMPARE(sessions.at(1).displayTitle(), u"atlas"_s);
}

void ClaudeSessionFileProviderTest::laterReadingsWin() {
    writeFile(
        transcript(u"t"_s),
        line(R"({"type":"ai-title","aiTitle":"Fix the parser"})") +
            line(R"({"type":"pr-link","prNumber":42,"prRepository":"ana/atlas",)"
                 R"("prUrl":"https://github.com/ana/atlas/pull/42"})") +
            line(R"({"type":"pr-link","prNumber":43,"prRepository":"ana/atlas","prUrl":"not a url"})") +
            line(R"({"type":"system","subtype":"compact_boundary","timestamp":"2026-03-01T11:00:00.000Z",)"
                 R"("compactMetadata":{"trigger":"auto","preTokens":180000,"postTokens":20000}})") +
            // A compaction without a date does not replace the one with.
            line(R"({"type":"system","subtype":"compact_boundary",)"
                 R"("compactMetadata":{"trigger":"manual","preTokens":1,"postTokens":1}})") +
            line(R"({"type":"system","subtype":"turn_duration","durationMs":65500})") +
            line(R"({"type":"assistant","entrypoint":"cli","effort":"high","gitBranch":"main",)"
                 R"("version":"2.1.330"})") +
            assistant(5000) + line(R"({"entrypoint":"something-new"})") +
            line(R"({"type":"user","message":{"content":"thanks"}})"));
    const QList<AgentSession> sessions = fetched(provider());
    QCOMPARE(sessions.size(), 1);
    const AgentSession& session = sessions.first();
    QCOMPARE(session.title, u"Fix the parser"_s);
    QCOMPARE(session.displayTitle(), u"Fix the parser"_s);
    QVERIFY(session.pullRequest);
    QCOMPARE(session.pullRequest->number, 42);
    QCOMPARE(session.pullRequest->url, QUrl(u"https://github.com/ana/atlas/pull/42"_s));
    QVERIFY(session.compaction);
    QCOMPARE(session.compaction->trigger, u"auto"_s);
    QCOMPARE(session.compaction->before, 180000);
    QCOMPARE(session.compaction->at, QDateTime(QDate(2026, 3, 1), QTime(11, 0), Qt::UTC));
    QCOMPARE(session.lastTurnDuration, 65.5);
    QCOMPARE(session.origin, u"CLI"_s);
    QCOMPARE(session.effort, u"high"_s);
    QCOMPARE(session.branch, u"main"_s);
    QCOMPARE(session.toolVersion, u"2.1.330"_s);
    QCOMPARE(session.lastSpeaker, AgentSession::Speaker::user);
    QCOMPARE(session.project, u"atlas"_s);
}

void ClaudeSessionFileProviderTest::claudeDesktop() {
    auto desktop = std::make_shared<FakeDesktop>();
    desktop->sessions.insert(u"archived"_s, {u"local_1"_s, u"Old"_s, true});
    desktop->sessions.insert(u"s-desk"_s, {u"local_2"_s, u"From the app"_s, false});
    desktop->sessions.insert(u"by-name"_s, {u"local_3"_s, std::nullopt, false});
    writeFile(transcript(u"archived"_s), assistant(100, u"claude-opus-4-6"_s, u"x-1"_s));
    writeFile(transcript(u"desk-file"_s), assistant(100, u"claude-opus-4-6"_s, u"s-desk"_s) +
                                              line(R"({"type":"ai-title","aiTitle":"Generated"})"));
    writeFile(transcript(u"by-name"_s), assistant(100, u"claude-opus-4-6"_s, u"s-other"_s) +
                                            line(R"({"type":"ai-title","aiTitle":"Generated"})"));
    writeFile(transcript(u"plain"_s), assistant(100, u"claude-opus-4-6"_s, u"s-plain"_s));
    age(transcript(u"archived"_s), 1);
    age(transcript(u"desk-file"_s), 2);
    age(transcript(u"by-name"_s), 3);
    age(transcript(u"plain"_s), 4);

    // The archived session takes no place: with a limit of 2 the next file comes in.
    QList<AgentSession> sessions = fetched(provider(desktop), 2);
    QCOMPARE(idsOf(sessions), (QStringList{u"s-desk"_s, u"s-other"_s}));
    QCOMPARE(sessions.at(0).title, u"From the app"_s);
    QCOMPARE(sessions.at(0).origin, u"Desktop"_s);
    QCOMPARE(sessions.at(0).desktopSessionID, u"local_2"_s);
    // Known by file name only, with no title of its own there.
    QCOMPARE(sessions.at(1).desktopSessionID, u"local_3"_s);
    QCOMPARE(sessions.at(1).title, u"Generated"_s);

    sessions = fetched(provider(), 4);
    QCOMPARE(sessions.size(), 4);
    QCOMPARE(sessions.at(1).desktopSessionID, std::nullopt);
    QCOMPARE(sessions.at(1).origin, std::nullopt);
}

void ClaudeSessionFileProviderTest::damagedLinesAreSkipped() {
    QByteArray content;
    content += assistant(1000);
    content += "\xff\xfe\x00\x01 binary\n"_ba;
    content += "{\"type\":\"assistant\",\"message\":{\"usage\":{\"input_tokens\":9\n"_ba; // cut
    content += "[1,2,3]\n42\n\"text\"\nnull\n{}\n"_ba;
    content += QByteArray(5000, '{') + '\n';
    content += R"({"type":"assistant","message":"not an object","sessionId":7})"_ba + '\n';
    content += R"({"type":["user"],"cwd":{"a":1},"gitBranch":null})"_ba + '\n';
    content += "{\"type\":\"ai-title\",\"aiTitle\":\"caf\xc3\xa9 \xe2\x98\x95\"}\n"_ba;
    content += assistant(2000);
    // A writer in the middle of its last line.
    content += R"({"type":"assistant","message":{"model":"claude-haiku-4-5","usage":{"input_tokens":77)"_ba;
    writeFile(transcript(u"t"_s), content);
    const QList<AgentSession> sessions = fetched(provider());
    QCOMPARE(sessions.size(), 1);
    const AgentSession& session = sessions.first();
    QCOMPARE(session.contextTokens, 2000);
    QCOMPARE(session.model, u"claude-opus-4-6"_s);
    QCOMPARE(session.id, u"s-1"_s);
    QCOMPARE(session.directory, u"/home/ana/work/atlas"_s);
    QCOMPARE(session.title, u"café ☕"_s);
    QCOMPARE(session.lastSpeaker, AgentSession::Speaker::agent);
}

void ClaudeSessionFileProviderTest::appendedFiles() {
    const QString path = transcript(u"t"_s);
    writeFile(path, assistant(1000));
    const ClaudeSessionFileProvider reader = provider();
    QCOMPARE(fetched(reader).first().contextTokens, 1000);

    // A line half written: the reading before it stands.
    const QByteArray next = assistant(4000, u"claude-sonnet-4-6"_s);
    appendFile(path, next.left(next.size() / 2));
    QList<AgentSession> sessions = fetched(reader);
    QCOMPARE(sessions.first().contextTokens, 1000);
    QCOMPARE(sessions.first().model, u"claude-opus-4-6"_s);

    // Finished: read again although the date may not have moved, since the size did.
    appendFile(path, next.mid(next.size() / 2));
    sessions = fetched(reader);
    QCOMPARE(sessions.first().contextTokens, 4000);
    QCOMPARE(sessions.first().model, u"claude-sonnet-4-6"_s);

    // Grown far past the tail: only the newest 256 KiB count, and the cut first line is dropped.
    QByteArray more;
    for (int index = 0; index < 400; ++index) {
        more += filler(1000);
    }
    more += assistant(9000);
    appendFile(path, more);
    QCOMPARE(fetched(reader).first().contextTokens, 9000);
}

void ClaudeSessionFileProviderTest::concurrentWriter() {
    const QString path = transcript(u"t"_s);
    writeFile(path, assistant(1));
    const ClaudeSessionFileProvider reader = provider();
    std::atomic<bool> done = false;
    std::thread writer([&] {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)) {
            done = true;
            return;
        }
        for (qint64 tokens = 2; tokens <= 3000; ++tokens) {
            const QByteArray line = assistant(tokens);
            // Two writes a line, so that readers meet half-written lines.
            file.write(line.left(line.size() / 3));
            file.write(line.mid(line.size() / 3));
        }
        done = true;
    });
    qint64 previous = 0;
    int readings = 0;
    while (!done || readings == 0) {
        const QList<AgentSession> sessions = fetched(reader);
        QCOMPARE(sessions.size(), 1);
        // Never a count from a cut line, and never going back.
        QVERIFY(sessions.first().contextTokens >= previous);
        QVERIFY(sessions.first().contextTokens <= 3000);
        previous = sessions.first().contextTokens;
        ++readings;
    }
    writer.join();
    QCOMPARE(fetched(reader).first().contextTokens, 3000);
}

void ClaudeSessionFileProviderTest::unchangedFilesAreNotReadAgain() {
    const QString path = transcript(u"t"_s);
    writeFile(path, assistant(5555));
    age(path, 30);
    const ClaudeSessionFileProvider reader = provider();
    QCOMPARE(fetched(reader).first().contextTokens, 5555);

    // Same size, same date, other bytes: the reading kept from the last poll stands.
    writeFile(path, assistant(6666));
    age(path, 30);
    QCOMPARE(fetched(reader).first().contextTokens, 5555);
    // A fresh provider, or a new date, reads the file.
    QCOMPARE(fetched(provider()).first().contextTokens, 6666);
    age(path, 29);
    QCOMPARE(fetched(reader).first().contextTokens, 6666);

    // A file that gave nothing isn't read again either, until it changes.
    const QString empty = transcript(u"empty"_s);
    writeFile(empty, line(R"({"type":"user","sessionId":"e"})"));
    QCOMPARE(fetched(reader).size(), 1);
    appendFile(empty, assistant(5));
    QCOMPARE(fetched(reader).size(), 2);
}

void ClaudeSessionFileProviderTest::limitsAndMissingRoot() {
    QVERIFY(fetched(provider()).isEmpty());
    // A pipe where the settings belong must not hold the reading up.
    QCOMPARE(::mkfifo(QFile::encodeName(settings()).constData(), 0600), 0);
    for (int index = 0; index < 3; ++index) {
        const QString path = transcript(u"t"_s + QString::number(index));
        writeFile(path, assistant(100, u"claude-opus-4-6"_s, u"s"_s + QString::number(index)));
        age(path, index * 10);
    }
    // A transcript in a hidden folder isn't one.
    writeFile(root() + u"/.trash/old.jsonl"_s, assistant(100, u"claude-opus-4-6"_s, u"hidden"_s));
    QCOMPARE(idsOf(fetched(provider(), 2)), (QStringList{u"s0"_s, u"s1"_s}));
    QCOMPARE(idsOf(fetched(provider(), 10)), (QStringList{u"s0"_s, u"s1"_s, u"s2"_s}));
    QVERIFY(fetched(provider(), 0).isEmpty());
    // A file that vanishes gives no session, not a failure.
    QVERIFY(QFile::remove(transcript(u"t0"_s)));
    QCOMPARE(idsOf(fetched(provider(), 10)), (QStringList{u"s1"_s, u"s2"_s}));
}

QTEST_GUILESS_MAIN(ClaudeSessionFileProviderTest)
#include "ClaudeSessionFileProviderTest.moc"
