#include "modules/sessions/AntigravitySessions.h"

#include "modules/sessions/SessionFile.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QUrl>

#include <algorithm>

namespace tessary::AntigravitySessions {

using namespace Qt::StringLiterals;

namespace {

// The word shown for a subagent that has no title.
constexpr auto subagentWord = "agent";

std::optional<bool> working(const Row& row) {
    static const QSet<QString> busy{u"CASCADE_RUN_STATUS_RUNNING"_s, u"CASCADE_RUN_STATUS_BUSY"_s,
                                    u"CASCADE_RUN_STATUS_CANCELING"_s};
    if (row.notFullyIdle || busy.contains(row.status)) {
        return true;
    }
    if (row.status.isEmpty() || row.status == "CASCADE_RUN_STATUS_IDLE"_L1) {
        return false;
    }
    return std::nullopt;
}

QDateTime lastActivity(const Row& row, const QHash<QString, QDateTime>& lastWrites) {
    QDateTime latest = date(row.lastModified).value_or(QDateTime());
    const QDateTime written = lastWrites.value(row.conversationID);
    if (written.isValid() && (!latest.isValid() || written > latest)) {
        latest = written;
    }
    return latest.isValid() ? latest : QDateTime::fromSecsSinceEpoch(0, Qt::UTC);
}

bool isWithin(const QString& path, const QString& folder) {
    if (path == folder) {
        return true;
    }
    const QString prefix = folder.endsWith(u'/') ? folder : folder + u'/';
    return path.startsWith(prefix);
}

struct Dated {
    const Row* row;
    QDateTime lastActivity;
};

} // namespace

QString query(const QSet<QString>& available) {
    QStringList expressions;
    expressions.reserve(static_cast<qsizetype>(columns.size()));
    for (const Column& column : columns) {
        const QString name = QLatin1StringView(column.name);
        const QString value = available.contains(name) || column.fallback == nullptr
                                  ? name
                                  : QLatin1StringView(column.fallback);
        expressions.append(value + u" AS `"_s + name + u'`');
    }
    const QString order =
        available.contains(u"last_modified_time"_s) ? u"`last_modified_time`"_s : u"rowid"_s;
    return u"SELECT "_s + expressions.join(u", "_s) + u"\nFROM conversation_summaries\nORDER BY "_s + order +
           u" DESC\nLIMIT ?1"_s;
}

std::optional<QDateTime> date(const QString& text) {
    if (auto iso = SessionFile::date(text)) {
        return iso;
    }
    QString spaced = text.trimmed();
    if (spaced.size() > 10 && spaced.at(10) == u' ') {
        spaced[10] = u'T';
        if (!spaced.endsWith(u'Z') && !spaced.contains(u'+') && spaced.lastIndexOf(u'-') < 10) {
            spaced.append(u'Z');
        }
        return SessionFile::date(spaced);
    }
    return std::nullopt;
}

std::optional<QString> title(const Row& row) {
    const QString own = row.title.trimmed();
    if (!own.isEmpty()) {
        return own;
    }
    const QString firstLine = row.preview.section(u'\n', 0, 0).trimmed();
    return firstLine.isEmpty() ? std::nullopt : std::optional<QString>(firstLine);
}

std::optional<QString> directory(const QString& workspaceURIs) {
    const QJsonDocument document = QJsonDocument::fromJson(workspaceURIs.toUtf8());
    for (const auto& entry : document.array()) {
        const QUrl url(entry.toString());
        if (url.isValid() && url.scheme() == "file"_L1 && !url.path().isEmpty()) {
            return url.path();
        }
    }
    return std::nullopt;
}

bool isBusy(const Row& row) {
    return working(row) == true;
}

bool hasLiveAgent(const QString& directory, const QStringList& liveDirectories, const ResolvePath& resolve) {
    const QString session = resolve ? resolve(directory) : directory;
    return std::any_of(liveDirectories.begin(), liveDirectories.end(), [&](const QString& live) {
        return isWithin(resolve ? resolve(live) : live, session);
    });
}

QList<AgentSession> sessions(const QList<Row>& rows, const QHash<QString, QDateTime>& lastWrites,
                             const QStringList& liveDirectories, int limit, const ResolvePath& resolve) {
    std::vector<Dated> kept;
    kept.reserve(static_cast<std::size_t>(rows.size()));
    for (const Row& row : rows) {
        // A zero time is written by an agent that never stamped the row.
        if (row.conversationID.isEmpty() || row.killed || row.lastModified.startsWith("0001-"_L1)) {
            continue;
        }
        kept.push_back({&row, lastActivity(row, lastWrites)});
    }
    std::stable_sort(kept.begin(), kept.end(),
                     [](const Dated& a, const Dated& b) { return a.lastActivity > b.lastActivity; });

    QList<AgentSession> result;
    QHash<QString, qsizetype> indexOf;
    for (const Dated& dated : kept) {
        const Row& row = *dated.row;
        if (!row.parentConversationID.isEmpty() || result.size() >= limit) {
            continue;
        }
        AgentSession session;
        session.id = row.conversationID;
        session.title = title(row);
        session.directory = directory(row.workspaceURIs);
        session.project = session.directory
                              ? SessionFile::projectFolder(*session.directory).value_or(*session.directory)
                              : u"Antigravity"_s;
        session.lastActivity = dated.lastActivity;
        session.toolName = u"Antigravity"_s;
        session.agentName = QLatin1StringView(agentName);
        session.contextTokens = 0;
        // A busy status outlives an agent that was killed, so it counts only with an agent running.
        const bool busy =
            isBusy(row) && session.directory && hasLiveAgent(*session.directory, liveDirectories, resolve);
        session.lastSpeaker = busy ? AgentSession::Speaker::user : AgentSession::Speaker::agent;
        indexOf.insert(session.id, result.size());
        result.append(std::move(session));
    }
    // Subagents come in newest first already.
    for (const Dated& dated : kept) {
        const Row& row = *dated.row;
        const auto parent = indexOf.constFind(row.parentConversationID);
        if (row.parentConversationID.isEmpty() || parent == indexOf.constEnd()) {
            continue;
        }
        AgentSession::Subagent subagent;
        subagent.id = row.conversationID;
        const QString own = row.title.trimmed();
        subagent.description = own.isEmpty() ? QString::fromLatin1(subagentWord) : own;
        subagent.tool = u"Antigravity"_s;
        subagent.lastActivity = dated.lastActivity;
        subagent.isWorking = working(row);
        result[*parent].subagents.append(std::move(subagent));
    }
    return result;
}

} // namespace tessary::AntigravitySessions
