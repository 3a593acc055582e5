#pragma once

#include "core/time/Clock.h"
#include "modules/sessions/ClaudeTranscript.h"
#include "modules/sessions/ModifiedFileCache.h"
#include "modules/sessions/SessionFile.h"
#include "modules/sessions/SessionProvider.h"

#include <QDateTime>
#include <QHash>
#include <QString>

#include <memory>
#include <mutex>
#include <optional>

namespace tessary {

// What Claude Desktop knows of a Claude Code session, for the transcript reader.
struct ClaudeDesktopSessionInfo {
    // Claude Desktop's own id of the session.
    QString sessionID;
    std::optional<QString> title;
    bool isArchived = false;
    bool operator==(const ClaudeDesktopSessionInfo&) const = default;
};

// The sessions Claude Desktop knows, looked up by Claude Code's session id (or transcript name).
// Called from the session monitor's worker thread: implementations lock for each lookup.
class ClaudeDesktopDirectory {
public:
    ClaudeDesktopDirectory() = default;
    ClaudeDesktopDirectory(const ClaudeDesktopDirectory&) = delete;
    ClaudeDesktopDirectory& operator=(const ClaudeDesktopDirectory&) = delete;
    ClaudeDesktopDirectory(ClaudeDesktopDirectory&&) = delete;
    ClaudeDesktopDirectory& operator=(ClaudeDesktopDirectory&&) = delete;
    virtual ~ClaudeDesktopDirectory() = default;

    [[nodiscard]] virtual std::optional<ClaudeDesktopSessionInfo> session(const QString& id) const = 0;
};

// Claude Code's sessions, read from the transcripts it writes under ~/.claude/projects, without
// any help from Claude Code. Only the newest `limit` main transcripts are read, and of each only a
// bounded tail (256 KiB) and head (8 KiB); a subagent's transcript is read (its last 64 KiB) only
// while it changed within `subagentWindow` seconds. What a file gave is kept with its modification
// date and size, so a poll in which nothing changed reads directory metadata alone.
class ClaudeSessionFileProvider final : public SessionProvider {
public:
    struct Configuration {
        // ~/.claude/projects
        QString root;
        // ~/.claude/settings.json: its `model` decides the context window of a session that hasn't
        // shown it by its size.
        QString settingsFile;
        double subagentWindow = 300.0;
    };

    static constexpr qint64 tailBytes = 262'144;
    static constexpr qint64 headBytes = 8'192;
    static constexpr qint64 subagentTailBytes = 65'536;
    static constexpr qint64 subagentHeadBytes = 4'096;

    // `desktop` may be null (no Claude Desktop). `clock` must outlive the provider.
    ClaudeSessionFileProvider(Configuration configuration, const Clock& clock,
                              std::shared_ptr<const ClaudeDesktopDirectory> desktop = nullptr);
    // The configuration of the user's home folder: ~/.claude/projects and ~/.claude/settings.json, or
    // the same under `configDirectory` when Claude Code is told to keep its files there
    // (CLAUDE_CONFIG_DIR).
    static Configuration forHome(const QString& home, const QString& configDirectory = {});

    [[nodiscard]] SessionFetchResult fetchSessions(int limit) const override;
    [[nodiscard]] DiagnosticLiteral providerName() const override { return "ClaudeSessionFileProvider"; }

    // The `model` of a settings file; nothing for a missing or malformed file.
    static std::optional<QString> configuredModel(const QString& settingsFile);

    // What one main transcript gives on its own, before its subagents and Claude Desktop are
    // looked at; nothing when its tail holds no token reading (an empty or still-starting session).
    struct MainReading {
        ClaudeTranscriptReading tail;
        // From the head: a title or colour set early, and the first timestamp.
        std::optional<QString> headCustomTitle;
        std::optional<QString> headAgentColor;
        std::optional<QDateTime> startedAt;
        bool operator==(const MainReading&) const = default;
    };
    static std::optional<MainReading> readMain(const QString& path);

    struct SubagentReading {
        ClaudeSubagentReading tail;
        // The task it was given, from the first lines of its transcript.
        std::optional<QString> headDescription;
        bool operator==(const SubagentReading&) const = default;
    };
    static SubagentReading readSubagent(const QString& path);

    // A file is read again only when its modification date or its size changed.
    struct FileStamp {
        QDateTime modified;
        qint64 size = 0;
        bool operator==(const FileStamp&) const = default;
    };

private:
    struct Candidate {
        SessionFile::Listed file;
        QString baseName;
    };

    [[nodiscard]] AgentSession session(const Candidate& candidate, const MainReading& reading,
                                       const QList<SessionFile::Listed>& subagents,
                                       const QHash<QString, SubagentReading>& subagentReadings,
                                       const std::optional<QString>& configured) const;
    [[nodiscard]] std::optional<ClaudeDesktopSessionInfo> desktopSession(const QString& id) const;

    Configuration m_configuration;
    const Clock& m_clock;
    std::shared_ptr<const ClaudeDesktopDirectory> m_desktop;

    // What the files read at the last poll gave; replaced whole by each poll, never locked across
    // a file read.
    mutable std::mutex m_cacheLock;
    mutable ModifiedFileCache<MainReading, FileStamp> m_mainCache;
    mutable ModifiedFileCache<SubagentReading, FileStamp> m_subagentCache;
};

} // namespace tessary
