#include "modules/sessions/ClaudeSessionFileProvider.h"

#include "core/json/JsonFields.h"
#include "modules/sessions/ClaudeContextWindow.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

namespace tessary {

namespace {

using namespace Qt::StringLiterals;

// Settings files are small; one that isn't is not a settings file worth reading whole.
constexpr qint64 settingsBytesLimit = qint64{4} * 1024 * 1024;

QString baseName(const QString& path) {
    const QString name = QFileInfo(path).fileName();
    return name.endsWith(".jsonl"_L1) ? name.chopped(6) : name;
}

// The session that owns a subagent's transcript (<session>/subagents/agent-<id>.jsonl), or
// nothing for a main transcript.
std::optional<QString> subagentOwner(const QString& path) {
    const QStringList parts = path.split(u'/', Qt::SkipEmptyParts);
    if (parts.size() >= 3 && parts.at(parts.size() - 2) == "subagents"_L1) {
        return parts.at(parts.size() - 3);
    }
    return std::nullopt;
}

ClaudeSessionFileProvider::FileStamp stamp(const SessionFile::Listed& file) {
    return {file.modified, file.size};
}

bool hasText(const std::optional<QString>& text) {
    return text && !text->isEmpty();
}

} // namespace

ClaudeSessionFileProvider::ClaudeSessionFileProvider(Configuration configuration, const Clock& clock,
                                                     std::shared_ptr<const ClaudeDesktopDirectory> desktop)
    : m_configuration(std::move(configuration))
    , m_clock(clock)
    , m_desktop(std::move(desktop)) {}

ClaudeSessionFileProvider::Configuration ClaudeSessionFileProvider::forHome(const QString& home,
                                                                            const QString& configDirectory) {
    const QString folder = configDirectory.isEmpty() ? home + "/.claude"_L1 : configDirectory;
    return {folder + "/projects"_L1, folder + "/settings.json"_L1, 300.0};
}

std::optional<QString> ClaudeSessionFileProvider::configuredModel(const QString& settingsFile) {
    // Only a regular file: opening a pipe put in its place would wait for a writer forever.
    if (!QFileInfo(settingsFile).isFile()) {
        return std::nullopt;
    }
    QFile file(settingsFile);
    if (!file.open(QIODevice::ReadOnly) || file.size() > settingsBytesLimit) {
        return std::nullopt;
    }
    const QJsonDocument document = QJsonDocument::fromJson(file.read(settingsBytesLimit));
    if (!document.isObject()) {
        return std::nullopt;
    }
    return json::string(document.object(), "model"_L1);
}

std::optional<ClaudeSessionFileProvider::MainReading>
ClaudeSessionFileProvider::readMain(const QString& path) {
    MainReading reading;
    for (const QString& line : SessionFile::tailLines(path, tailBytes)) {
        reading.tail.apply(line.toUtf8());
    }
    if (!reading.tail.lastTokens || *reading.tail.lastTokens < 1) {
        return std::nullopt;
    }
    const QString head = SessionFile::head(path, headBytes).value_or(QString());
    reading.startedAt = ClaudeTranscript::startedAt(head);
    if (!reading.tail.customTitle) {
        reading.headCustomTitle = ClaudeTranscript::lastValue("customTitle"_L1, "custom-title"_L1, head);
    }
    if (!reading.tail.agentColor) {
        reading.headAgentColor = ClaudeTranscript::lastValue("agentColor"_L1, "agent-color"_L1, head);
    }
    return reading;
}

ClaudeSessionFileProvider::SubagentReading ClaudeSessionFileProvider::readSubagent(const QString& path) {
    SubagentReading reading;
    for (const QString& line : SessionFile::tailLines(path, subagentTailBytes)) {
        reading.tail.apply(line.toUtf8());
    }
    reading.headDescription =
        ClaudeTranscript::headDescription(SessionFile::head(path, subagentHeadBytes).value_or(QString()));
    return reading;
}

std::optional<ClaudeDesktopSessionInfo> ClaudeSessionFileProvider::desktopSession(const QString& id) const {
    return m_desktop ? m_desktop->session(id) : std::nullopt;
}

SessionFetchResult ClaudeSessionFileProvider::fetchSessions(int limit) const {
    if (limit < 1) {
        return QList<AgentSession>{};
    }
    const QDateTime now = m_clock.now();
    const QList<SessionFile::Listed> listing = SessionFile::newest(m_configuration.root);

    QHash<QString, QList<SessionFile::Listed>> subagentGroups;
    QList<Candidate> candidates;
    for (const SessionFile::Listed& file : listing) {
        if (const auto owner = subagentOwner(file.path)) {
            subagentGroups[*owner].append(file);
            continue;
        }
        if (candidates.size() >= limit) {
            continue;
        }
        QString name = baseName(file.path);
        // An archived Claude Desktop session doesn't take a place: the next transcript does.
        if (const auto desktop = desktopSession(name); desktop && desktop->isArchived) {
            continue;
        }
        candidates.append({file, std::move(name)});
    }
    const std::optional<QString> configured = configuredModel(m_configuration.settingsFile);

    // The caches are copied out, refreshed without the lock, and swapped back in.
    ModifiedFileCache<MainReading, FileStamp> mainCache;
    ModifiedFileCache<SubagentReading, FileStamp> subagentCache;
    {
        const std::lock_guard lock(m_cacheLock);
        mainCache = m_mainCache;
        subagentCache = m_subagentCache;
    }

    QHash<QString, FileStamp> mainListing;
    mainListing.reserve(candidates.size());
    for (const Candidate& candidate : std::as_const(candidates)) {
        mainListing.insert(candidate.file.path, stamp(candidate.file));
    }
    mainCache = mainCache.refreshed(mainListing,
                                    [](const QString& path, const FileStamp&) { return readMain(path); });
    const QHash<QString, MainReading> readings = mainCache.valuesByPath();

    // Subagents of the sessions shown, written to within the window.
    QHash<QString, QList<SessionFile::Listed>> chosenSubagents;
    QHash<QString, FileStamp> subagentListing;
    for (const Candidate& candidate : std::as_const(candidates)) {
        const auto reading = readings.constFind(candidate.file.path);
        if (reading == readings.constEnd()) {
            continue;
        }
        const QString id = reading->tail.sessionID.value_or(candidate.baseName);
        const auto group = subagentGroups.constFind(candidate.baseName);
        const QList<SessionFile::Listed> files =
            group != subagentGroups.constEnd() ? *group : subagentGroups.value(id);
        QList<SessionFile::Listed> alive;
        for (const SessionFile::Listed& file : files) {
            if (secondsBetween(file.modified, now) < m_configuration.subagentWindow) {
                alive.append(file);
                subagentListing.insert(file.path, stamp(file));
            }
        }
        chosenSubagents.insert(candidate.file.path, alive);
    }
    subagentCache = subagentCache.refreshed(
        subagentListing, [](const QString& path, const FileStamp&) { return readSubagent(path); });
    const QHash<QString, SubagentReading> subagentReadings = subagentCache.valuesByPath();

    QList<AgentSession> sessions;
    sessions.reserve(readings.size());
    for (const Candidate& candidate : std::as_const(candidates)) {
        const auto reading = readings.constFind(candidate.file.path);
        if (reading != readings.constEnd()) {
            sessions.append(session(candidate, *reading, chosenSubagents.value(candidate.file.path),
                                    subagentReadings, configured));
        }
    }

    {
        const std::lock_guard lock(m_cacheLock);
        m_mainCache = std::move(mainCache);
        m_subagentCache = std::move(subagentCache);
    }
    return sessions;
}

AgentSession ClaudeSessionFileProvider::session(const Candidate& candidate, const MainReading& reading,
                                                const QList<SessionFile::Listed>& subagents,
                                                const QHash<QString, SubagentReading>& subagentReadings,
                                                const std::optional<QString>& configured) const {
    const ClaudeTranscriptReading& tail = reading.tail;
    AgentSession made;
    made.id = tail.sessionID.value_or(candidate.baseName);

    std::optional<ClaudeDesktopSessionInfo> desktop = desktopSession(made.id);
    if (!desktop && made.id != candidate.baseName) {
        desktop = desktopSession(candidate.baseName);
    }

    made.title = desktop && hasText(desktop->title) ? desktop->title : tail.aiTitle;
    made.role = tail.customTitle ? tail.customTitle : reading.headCustomTitle;
    made.roleColor = tail.agentColor ? tail.agentColor : reading.headAgentColor;
    made.project = SessionFile::projectName(tail.directory, candidate.file.path);
    made.contextTokens = tail.lastTokens.value_or(0);
    made.contextWindow = ClaudeContextWindow::resolve(tail.model, tail.maximumTokens, configured);
    made.lastSpeaker = tail.lastSpeaker;
    made.lastActivity = candidate.file.modified;
    made.directory = tail.directory;
    made.model = tail.model;
    made.effort = tail.effort;
    made.origin = desktop ? std::optional(u"Desktop"_s) : tail.origin;
    made.toolName = u"Claude Code"_s;
    made.toolVersion = tail.version;
    made.agentName = u"claude"_s;
    if (desktop) {
        made.desktopSessionID = desktop->sessionID;
    }
    made.branch = tail.branch;
    made.startedAt = reading.startedAt;
    made.lastTurnDuration = tail.lastTurnDuration;
    made.compaction = tail.compaction;
    made.pullRequest = tail.pullRequest;

    for (const SessionFile::Listed& file : subagents) {
        const auto found = subagentReadings.constFind(file.path);
        if (found == subagentReadings.constEnd()) {
            continue;
        }
        AgentSession::Subagent subagent;
        subagent.id = baseName(file.path);
        if (subagent.id.startsWith("agent-"_L1)) {
            subagent.id.remove(0, 6);
        }
        for (auto launch = tail.launches.constBegin(); launch != tail.launches.constEnd(); ++launch) {
            if (!subagent.id.isEmpty() && launch.key().startsWith(subagent.id)) {
                subagent.description = launch.value();
                break;
            }
        }
        if (!subagent.description) {
            subagent.description = found->headDescription;
        }
        subagent.model = found->tail.model;
        subagent.effort = found->tail.effort;
        subagent.tool = found->tail.tool;
        subagent.contextTokens = found->tail.lastTokens.value_or(0);
        subagent.contextWindow =
            ClaudeContextWindow::resolve(found->tail.model, found->tail.maximumTokens,
                                         ClaudeContextWindow::configuredModel(configured, found->tail.model));
        subagent.lastActivity = file.modified;
        made.subagents.append(subagent);
    }
    return made;
}

} // namespace tessary
