#include "modules/sessions/OrcaSessionProvider.h"

#include "modules/sessions/OrcaSessionHosting.h"
#include "modules/sessions/SessionFile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

std::optional<QString> text(const QJsonObject& object, QLatin1StringView key) {
    const QJsonValue value = object.value(key);
    if (!value.isString()) {
        return std::nullopt;
    }
    return value.toString();
}

// The `result` of an answer; nothing when the answer isn't a JSON object.
std::optional<QJsonValue> result(const QByteArray& data) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    return document.object().value("result"_L1);
}

std::optional<OrcaSessionProvider::Terminal> terminal(const QJsonObject& object) {
    OrcaSessionProvider::Terminal made;
    const auto path = text(object, "worktreePath"_L1);
    const auto lastOutput = text(object, "lastOutputAt"_L1);
    const auto when = lastOutput ? SessionFile::date(*lastOutput) : std::nullopt;
    if (!path || path->isEmpty() || !when) {
        return std::nullopt;
    }
    made.worktreePath = *path;
    made.lastOutputAt = *when;
    made.handle = text(object, "handle"_L1).value_or(QString());
    made.title = text(object, "title"_L1).value_or(QString());
    made.worktreeID = text(object, "worktreeId"_L1);
    made.branch = text(object, "branch"_L1);
    if (made.branch && made.branch->startsWith("refs/heads/"_L1)) {
        made.branch = made.branch->mid(11);
    }
    made.agentName = text(object, "agentIdentity"_L1);
    if (made.agentName == u"claude-code"_s) {
        made.agentName = u"claude"_s;
    }
    made.executionHostID = text(object, "executionHostId"_L1);
    made.orphaned = object.value("orphaned"_L1).toBool(false);
    return made;
}

} // namespace

OrcaSessionProvider::OrcaSessionProvider(Agent agent, Runner runner)
    : m_agent(agent)
    , m_runner(std::move(runner)) {}

QStringList OrcaSessionProvider::terminalListArguments(int limit) {
    return {u"terminal"_s, u"list"_s, u"--json"_s, u"--limit"_s, QString::number(limit)};
}

QStringList OrcaSessionProvider::worktreeListArguments() {
    return {u"worktree"_s, u"list"_s, u"--json"_s};
}

SessionFetchResult OrcaSessionProvider::fetchSessions(int limit) const {
    if (limit <= 0 || !m_runner) {
        return QList<AgentSession>{};
    }
    RunResult listed = m_runner(terminalListArguments(limit));
    if (std::holds_alternative<NotInstalled>(listed)) {
        return QList<AgentSession>{};
    }
    if (std::holds_alternative<RunFailed>(listed)) {
        return SessionProviderError{"OrcaCLI.failed", u"Orca's command line failed"_s};
    }
    auto terminals = parse(std::get<QByteArray>(listed));
    if (std::holds_alternative<InvalidJSON>(terminals)) {
        return SessionProviderError{"OrcaSessionProvider.ParseError.invalidJSON",
                                    u"Orca's terminal list isn't JSON"_s};
    }
    Projects projects;
    // Without project names the terminals still tell where each session runs.
    const RunResult worktrees = m_runner(worktreeListArguments());
    if (const auto* data = std::get_if<QByteArray>(&worktrees)) {
        projects = parseProjects(*data);
    }
    QList<AgentSession> sessions;
    for (const Terminal& found : std::get<QList<Terminal>>(terminals)) {
        if (suits(found, m_agent)) {
            sessions.append(session(found, projects));
        }
    }
    std::stable_sort(sessions.begin(), sessions.end(), [](const AgentSession& a, const AgentSession& b) {
        return a.lastActivity > b.lastActivity;
    });
    if (sessions.size() > limit) {
        sessions.resize(limit);
    }
    return sessions;
}

std::variant<QList<OrcaSessionProvider::Terminal>, OrcaSessionProvider::InvalidJSON>
OrcaSessionProvider::parse(const QByteArray& data) {
    const auto answer = result(data);
    if (!answer) {
        return InvalidJSON{};
    }
    // The list stands in `result` itself or under its `terminals`.
    const QJsonValue listed = answer->isArray() ? *answer : answer->toObject().value("terminals"_L1);
    QList<Terminal> terminals;
    for (const auto& entry : listed.toArray()) {
        if (auto made = terminal(entry.toObject())) {
            terminals.append(std::move(*made));
        }
    }
    return terminals;
}

OrcaSessionProvider::Projects OrcaSessionProvider::parseProjects(const QByteArray& data) {
    Projects projects;
    const QJsonObject answer = result(data).value_or(QJsonValue()).toObject();
    for (const auto& entry : answer.value("worktrees"_L1).toArray()) {
        const QJsonObject worktree = entry.toObject();
        const auto repo = text(worktree, "repo"_L1);
        if (!repo || repo->isEmpty()) {
            continue;
        }
        if (const auto id = text(worktree, "worktreeId"_L1)) {
            projects.byID.insert(*id, *repo);
        }
        if (const auto path = text(worktree, "path"_L1)) {
            projects.byPath.insert(*path, *repo);
        }
    }
    return projects;
}

QString OrcaSessionProvider::cleanTitle(const QString& title, const QString& fallback) {
    QString cleaned = title.trimmed();
    if (!cleaned.isEmpty() && cleaned.front().unicode() >= 0x2800 && cleaned.front().unicode() <= 0x28FF) {
        cleaned = cleaned.mid(1).trimmed();
    }
    return cleaned.isEmpty() ? fallback : cleaned;
}

bool OrcaSessionProvider::suits(const Terminal& terminal, Agent agent) {
    if (terminal.orphaned || (terminal.executionHostID && *terminal.executionHostID != "local"_L1)) {
        return false;
    }
    switch (agent) {
    case Agent::claude:
        return terminal.agentName == u"claude"_s;
    case Agent::codex:
        return terminal.agentName == u"codex"_s;
    case Agent::any:
        return true;
    }
    return false;
}

AgentSession OrcaSessionProvider::session(const Terminal& terminal, const Projects& projects) {
    std::optional<QString> project;
    if (terminal.worktreeID && projects.byID.contains(*terminal.worktreeID)) {
        project = projects.byID.value(*terminal.worktreeID);
    } else if (projects.byPath.contains(terminal.worktreePath)) {
        project = projects.byPath.value(terminal.worktreePath);
    }
    const QString origin = QLatin1StringView(OrcaSessionHosting::origin);
    AgentSession made;
    made.id = u"orca:"_s + terminal.handle;
    made.title = cleanTitle(terminal.title, project.value_or(origin));
    made.project = project.value_or(SessionFile::projectFolder(terminal.worktreePath).value_or(origin));
    made.directory = terminal.worktreePath;
    made.lastActivity = terminal.lastOutputAt;
    made.origin = origin;
    made.agentName = terminal.agentName;
    made.branch = terminal.branch;
    made.hostItemID = terminal.handle;
    made.hostProject = project;
    made.hostOrigin = origin;
    made.contextTokens = 0;
    return made;
}

} // namespace tessary
