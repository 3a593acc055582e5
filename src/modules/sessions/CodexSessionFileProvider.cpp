#include "modules/sessions/CodexSessionFileProvider.h"

#include "core/json/JsonFields.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <array>

namespace tessary {

namespace {

using namespace Qt::StringLiterals;

// The index holds one short line per named thread; its newest names are at its end.
constexpr qint64 indexBytes = qint64{4} * 1024 * 1024;

// A quote preceded by an odd number of backslashes stands inside a string.
bool isEscaped(QStringView line, qsizetype quote) {
    qsizetype backslashes = 0;
    for (qsizetype at = quote - 1; at >= 0 && line.at(at) == u'\\'; --at) {
        ++backslashes;
    }
    return backslashes % 2 == 1;
}

// Where the value of the first `"key":` at or after `from` begins; -1 when there is none.
qsizetype valueStart(QStringView line, QStringView key, qsizetype from) {
    const QString quoted = u'"' + key.toString() + u'"';
    for (qsizetype at = line.indexOf(quoted, from); at >= 0; at = line.indexOf(quoted, at + 1)) {
        if (isEscaped(line, at)) {
            continue;
        }
        qsizetype next = at + quoted.size();
        while (next < line.size() && line.at(next) == u' ') {
            ++next;
        }
        if (next >= line.size() || line.at(next) != u':') {
            continue;
        }
        ++next;
        while (next < line.size() && line.at(next) == u' ') {
            ++next;
        }
        return next;
    }
    return -1;
}

std::optional<char16_t> hexUnit(QStringView digits) {
    bool ok = false;
    const uint value = digits.toUInt(&ok, 16);
    return ok && digits.size() == 4 ? std::optional(static_cast<char16_t>(value)) : std::nullopt;
}

// The JSON text that opens at `quote`, unescaped; nothing when it is cut or malformed.
std::optional<QString> jsonText(QStringView line, qsizetype quote) {
    QString text;
    for (qsizetype at = quote + 1; at < line.size(); ++at) {
        const QChar c = line.at(at);
        if (c == u'"') {
            return text;
        }
        if (c != u'\\') {
            text.append(c);
            continue;
        }
        if (++at >= line.size()) {
            return std::nullopt;
        }
        switch (line.at(at).unicode()) {
        case u'n':
            text.append(u'\n');
            break;
        case u't':
            text.append(u'\t');
            break;
        case u'r':
            text.append(u'\r');
            break;
        case u'b':
            text.append(u'\b');
            break;
        case u'f':
            text.append(u'\f');
            break;
        case u'u': {
            const auto unit = hexUnit(line.mid(at + 1, 4));
            if (!unit) {
                return std::nullopt;
            }
            text.append(QChar(*unit));
            at += 4;
            break;
        }
        default:
            text.append(line.at(at));
            break;
        }
    }
    return std::nullopt;
}

std::optional<QString> nonEmpty(std::optional<QString> text) {
    return text && !text->isEmpty() ? text : std::nullopt;
}

std::optional<qint64> integer(const QJsonObject& object, QLatin1StringView key) {
    const auto value = json::number(object, key);
    return value && *value >= 0 && *value < 1e15 ? std::optional(static_cast<qint64>(*value)) : std::nullopt;
}

std::optional<QJsonObject> jsonLine(QStringView line) {
    const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8());
    return document.isObject() ? std::optional(document.object()) : std::nullopt;
}

// The model of a "turn_context" line.
std::optional<QString> turnModel(const QString& line) {
    const auto object = jsonLine(line);
    if (!object || json::string(*object, "type"_L1) != "turn_context"_L1) {
        return std::nullopt;
    }
    return nonEmpty(json::string(object->value("payload"_L1).toObject(), "model"_L1));
}

// The context window of a "token_count" or "task_started" line.
std::optional<qint64> contextWindow(const QString& line) {
    const auto object = jsonLine(line);
    if (!object || json::string(*object, "type"_L1) != "event_msg"_L1) {
        return std::nullopt;
    }
    const QJsonObject payload = object->value("payload"_L1).toObject();
    const QJsonObject info = payload.value("info"_L1).toObject();
    if (const auto window = integer(info, "model_context_window"_L1)) {
        return window;
    }
    return integer(payload, "model_context_window"_L1);
}

QString firstLine(QStringView text) {
    for (const QStringView line : text.split(u'\n')) {
        if (const QStringView trimmed = line.trimmed(); !trimmed.isEmpty()) {
            return trimmed.toString();
        }
    }
    return {};
}

QString baseName(const QString& path) {
    const QString name = QFileInfo(path).fileName();
    return name.endsWith(".jsonl"_L1) ? name.chopped(6) : name;
}

} // namespace

namespace CodexSessionFile {

std::optional<QString> field(QStringView line, QStringView key, qsizetype from) {
    const qsizetype start = valueStart(line, key, from);
    if (start < 0 || start >= line.size() || line.at(start) != u'"') {
        return std::nullopt;
    }
    return jsonText(line, start);
}

bool isUserWritten(QStringView text) {
    static constexpr std::array envelopes{"# AGENTS.md"_L1, "<environment_context>"_L1, "<INSTRUCTIONS>"_L1,
                                          "<user_instructions>"_L1};
    const QStringView trimmed = text.trimmed();
    return !trimmed.isEmpty() &&
           std::none_of(envelopes.begin(), envelopes.end(),
                        [&](QLatin1StringView envelope) { return trimmed.startsWith(envelope); });
}

// Which threads are sessions: `source` is "cli" for the terminal interface and "exec" for
// `codex exec`; the user started both, so both show. A subagent's `source` is an object (the
// approvals reviewer that `--approve-for-me` adds is one): its work belongs to the session that
// started it, whose own file already shows. Threads of editors and apps ("vscode", ...) belong
// to those programs and are passed over however new.
std::optional<Header> header(QStringView head, const QString& fallbackID) {
    const qsizetype end = head.indexOf(u'\n');
    const QStringView line = end >= 0 ? head.first(end) : head;
    if (field(line, u"type") != "session_meta"_L1) {
        return std::nullopt;
    }
    Header found;
    found.source = field(line, u"source").value_or(QString());
    if (found.source != "cli"_L1 && found.source != "exec"_L1) {
        return std::nullopt;
    }
    found.id =
        nonEmpty(field(line, u"session_id")).value_or(nonEmpty(field(line, u"id")).value_or(fallbackID));
    const qsizetype payload = std::max<qsizetype>(valueStart(line, u"payload", 0), 0);
    if (const auto timestamp = field(line, u"timestamp", payload)) {
        found.startedAt = SessionFile::date(*timestamp);
    }
    found.toolVersion = nonEmpty(field(line, u"cli_version"));
    found.directory = nonEmpty(field(line, u"cwd"));
    found.branch = nonEmpty(field(line, u"branch", std::max<qsizetype>(valueStart(line, u"git", 0), 0)));
    return found;
}

std::optional<QString> firstPrompt(QStringView head) {
    for (const QStringView line : head.split(u'\n', Qt::SkipEmptyParts)) {
        if (!line.contains(u"\"user\"")) {
            continue;
        }
        const auto object = jsonLine(line);
        if (!object || json::string(*object, "type"_L1) != "response_item"_L1) {
            continue;
        }
        const QJsonObject payload = object->value("payload"_L1).toObject();
        if (json::string(payload, "type"_L1) != "message"_L1 ||
            json::string(payload, "role"_L1) != "user"_L1) {
            continue;
        }
        for (const auto item : payload.value("content"_L1).toArray()) {
            const QString text = item.toObject().value("text"_L1).toString();
            if (isUserWritten(text)) {
                return firstLine(text);
            }
        }
    }
    return std::nullopt;
}

void TailReading::apply(QStringView line) {
    // Most lines are messages and tool output, which the table doesn't read: they aren't parsed.
    if (!line.contains(u"\"turn_context\"") && !line.contains(u"\"task_complete\"") &&
        !line.contains(u"\"token_count\"") && !line.contains(u"\"task_started\"")) {
        return;
    }
    const auto object = jsonLine(line);
    if (!object) {
        return;
    }
    const QString type = json::string(*object, "type"_L1).value_or(QString());
    const QJsonObject payload = object->value("payload"_L1).toObject();
    if (type == "turn_context"_L1) {
        if (auto value = nonEmpty(json::string(payload, "model"_L1))) {
            model = std::move(value);
        }
        // Newer versions keep the effort only in the collaboration settings.
        const QJsonObject settings =
            payload.value("collaboration_mode"_L1).toObject().value("settings"_L1).toObject();
        if (auto value = nonEmpty(json::string(payload, "effort"_L1))) {
            effort = std::move(value);
        } else if (auto chosen = nonEmpty(json::string(settings, "reasoning_effort"_L1))) {
            effort = std::move(chosen);
        }
        return;
    }
    if (type != "event_msg"_L1) {
        return;
    }
    const QString event = json::string(payload, "type"_L1).value_or(QString());
    if (event == "task_complete"_L1) {
        if (const auto milliseconds = json::number(payload, "duration_ms"_L1);
            milliseconds && *milliseconds >= 0) {
            lastTurnDuration = *milliseconds / 1000.0;
        }
    } else if (event == "task_started"_L1) {
        if (const auto window = integer(payload, "model_context_window"_L1)) {
            contextWindow = window;
        }
    } else if (event == "token_count"_L1) {
        const QJsonObject info = payload.value("info"_L1).toObject();
        if (const auto tokens = integer(info.value("last_token_usage"_L1).toObject(), "total_tokens"_L1)) {
            contextTokens = tokens;
        }
        if (const auto window = integer(info, "model_context_window"_L1)) {
            contextWindow = window;
        }
    }
}

} // namespace CodexSessionFile

CodexSessionFileProvider::CodexSessionFileProvider(Configuration configuration)
    : m_configuration(std::move(configuration)) {}

CodexSessionFileProvider::Configuration CodexSessionFileProvider::forHome(const QString& home,
                                                                          const QString& codexHome) {
    const QString folder = codexHome.isEmpty() ? home + "/.codex"_L1 : codexHome;
    return {folder + "/sessions"_L1, folder + "/session_index.jsonl"_L1, 400};
}

QHash<QString, QString> CodexSessionFileProvider::indexedNames(const QString& index) {
    QHash<QString, QString> names;
    // Only a regular file: opening a pipe put in its place would wait for a writer forever.
    if (!QFileInfo(index).isFile()) {
        return names;
    }
    for (const QString& line : SessionFile::tailLines(index, indexBytes)) {
        const auto object = jsonLine(line);
        if (!object) {
            continue;
        }
        const auto id = nonEmpty(json::string(*object, "id"_L1));
        const auto name = json::string(*object, "thread_name"_L1);
        if (id && name && !name->trimmed().isEmpty()) {
            names.insert(*id, name->trimmed());
        }
    }
    return names;
}

std::optional<CodexSessionFileProvider::Reading> CodexSessionFileProvider::read(const QString& path) {
    const QString head = SessionFile::head(path, CodexSessionFile::headBytes).value_or(QString());
    auto header = CodexSessionFile::header(head, baseName(path));
    if (!header) {
        return std::nullopt;
    }
    Reading reading{std::move(*header), {}, CodexSessionFile::firstPrompt(head)};
    for (const QString& line : SessionFile::tailLines(path, CodexSessionFile::tailBytes)) {
        reading.tail.apply(line);
    }
    if (!reading.tail.model) {
        reading.tail.model =
            SessionFile::latestValue(path, u"\"turn_context\""_s, CodexSessionFile::searchBytes,
                                     CodexSessionFile::searchLineBytes, turnModel);
    }
    if (!reading.tail.contextWindow) {
        reading.tail.contextWindow =
            SessionFile::latestValue(path, u"\"model_context_window\""_s, CodexSessionFile::searchBytes,
                                     CodexSessionFile::searchLineBytes, contextWindow);
    }
    return reading;
}

SessionFetchResult CodexSessionFileProvider::fetchSessions(int limit) const {
    if (limit < 1) {
        return QList<AgentSession>{};
    }
    QList<SessionFile::Listed> listing = SessionFile::newest(m_configuration.root);
    if (listing.size() > m_configuration.scanLimit) {
        listing.resize(std::max(m_configuration.scanLimit, 0));
    }
    QList<std::pair<QString, SessionFile::Listed>> stamps;
    stamps.reserve(listing.size());
    for (const SessionFile::Listed& file : std::as_const(listing)) {
        stamps.append({file.path, file});
    }
    const QFileInfo indexFile(m_configuration.index);
    const SessionFile::Listed indexStamp{m_configuration.index, indexFile.lastModified(),
                                         indexFile.exists() ? indexFile.size() : -1};

    // The cache is copied out, refreshed without the lock, and swapped back in.
    ModifiedFileCache<Reading, SessionFile::Listed> cache;
    std::optional<QHash<QString, QString>> names;
    {
        const std::lock_guard lock(m_cacheLock);
        cache = m_cache;
        if (m_indexStamp == indexStamp) {
            names = m_indexNames;
        }
    }
    if (!names) {
        names = indexedNames(m_configuration.index);
    }
    cache = cache.refreshedUntil(stamps, limit,
                                 [](const QString& path, const SessionFile::Listed&) { return read(path); });

    QList<AgentSession> sessions;
    for (const SessionFile::Listed& file : std::as_const(listing)) {
        const auto entry = cache.entries().constFind(file.path);
        if (entry == cache.entries().constEnd()) {
            break;
        }
        if (!entry->value) {
            continue;
        }
        const Reading& reading = *entry->value;
        AgentSession made;
        made.id = reading.header.id;
        made.title = names->contains(made.id) ? std::optional(names->value(made.id)) : reading.firstPrompt;
        made.project = SessionFile::projectName(reading.header.directory, file.path);
        made.contextTokens = reading.tail.contextTokens.value_or(0);
        made.contextWindow = reading.tail.contextWindow;
        made.lastActivity = file.modified;
        made.directory = reading.header.directory;
        made.model = reading.tail.model;
        made.effort = reading.tail.effort;
        made.origin = reading.header.source == "cli"_L1 ? u"CLI"_s : u"exec"_s;
        made.toolName = u"Codex"_s;
        made.toolVersion = reading.header.toolVersion;
        made.agentName = u"codex"_s;
        made.branch = reading.header.branch;
        made.startedAt = reading.header.startedAt;
        made.lastTurnDuration = reading.tail.lastTurnDuration;
        sessions.append(std::move(made));
    }

    {
        const std::lock_guard lock(m_cacheLock);
        m_cache = std::move(cache);
        m_indexStamp = indexStamp;
        m_indexNames = *names;
    }
    return sessions;
}

} // namespace tessary
