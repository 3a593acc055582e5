#include "modules/agents/live/ClaudeStatusLineStore.h"

#include "core/json/JsonFields.h"

#include <QJsonArray>

#include <algorithm>
#include <cmath>

namespace tessary {

namespace {

std::optional<qint64> wholeNumber(const QJsonObject& object, const char* key) {
    const auto value = json::number(object, QLatin1StringView(key));
    constexpr double limit = 9.0e15;
    if (!value || !std::isfinite(*value) || std::abs(*value) > limit) {
        return std::nullopt;
    }
    return static_cast<qint64>(std::trunc(*value));
}

std::optional<double> finiteNumber(const QJsonObject& object, const char* key) {
    const auto value = json::number(object, QLatin1StringView(key));
    if (!value || !std::isfinite(*value)) {
        return std::nullopt;
    }
    return value;
}

QJsonObject objectAt(const QJsonObject& object, const char* key) {
    return json::object(object, QLatin1StringView(key)).value_or(QJsonObject());
}

std::optional<RateWindow> rateWindow(const QJsonObject& limits, const char* key) {
    const QJsonObject window = objectAt(limits, key);
    const auto used = finiteNumber(window, "used_percentage");
    if (!used) {
        return std::nullopt;
    }
    RateWindow rate{*used, std::nullopt};
    if (const auto resets = wholeNumber(window, "resets_at")) {
        rate.resetsAt = QDateTime::fromSecsSinceEpoch(*resets, Qt::UTC);
    }
    return rate;
}

// Keeps the `limit` most recent entries of a map of readings by their time.
template <typename Reading>
void keepLatest(QHash<QString, Reading>& readings, qsizetype limit) {
    while (readings.size() > limit) {
        auto oldest = readings.cbegin();
        for (auto it = readings.cbegin(); it != readings.cend(); ++it) {
            if (it->at < oldest->at) {
                oldest = it;
            }
        }
        readings.remove(oldest.key());
    }
}

} // namespace

std::optional<ClaudeStatusLinePayload> ClaudeStatusLineStore::read(const QJsonObject& json,
                                                                   const QDateTime& at) {
    const auto sessionID = json::string(json, QLatin1StringView("session_id"));
    if (!sessionID || sessionID->isEmpty()) {
        return std::nullopt;
    }
    const QJsonValue tasks = json.value(QLatin1StringView("tasks"));
    if (tasks.isArray()) {
        ClaudeSubagentStatusReading reading{*sessionID, {}, at};
        const QJsonArray array = tasks.toArray();
        for (const auto& item : array) {
            const QJsonObject task = item.toObject();
            const auto id = json::string(task, QLatin1StringView("id"));
            if (!id || id->isEmpty()) {
                continue;
            }
            // Claude Code names a subagent by its label, or by its description where it has none.
            auto name = json::string(task, QLatin1StringView("name"));
            for (const char* key : {"label", "description"}) {
                if (!name || name->isEmpty()) {
                    name = json::string(task, QLatin1StringView(key));
                }
            }
            reading.tasks.append({*id, name, json::string(task, QLatin1StringView("type")),
                                  json::string(task, QLatin1StringView("status")),
                                  json::string(task, QLatin1StringView("model")),
                                  wholeNumber(task, "tokenCount"), wholeNumber(task, "contextWindowSize")});
        }
        return reading;
    }
    const QJsonObject context = objectAt(json, "context_window");
    const QJsonObject cost = objectAt(json, "cost");
    const QJsonObject limits = objectAt(json, "rate_limits");
    ClaudeStatusLineReading reading;
    reading.sessionID = *sessionID;
    reading.usedPercentage = finiteNumber(context, "used_percentage");
    reading.contextWindowSize = wholeNumber(context, "context_window_size");
    reading.totalInputTokens = wholeNumber(context, "total_input_tokens");
    if (const auto usage = json::object(context, QLatin1StringView("current_usage"))) {
        qint64 tokens = 0;
        for (const char* key : {"input_tokens", "cache_creation_input_tokens", "cache_read_input_tokens"}) {
            tokens += std::max<qint64>(0, wholeNumber(*usage, key).value_or(0));
        }
        reading.contextTokens = tokens;
    }
    reading.linesAdded = wholeNumber(cost, "total_lines_added");
    reading.linesRemoved = wholeNumber(cost, "total_lines_removed");
    reading.fiveHour = rateWindow(limits, "five_hour");
    reading.sevenDay = rateWindow(limits, "seven_day");
    reading.at = at;
    reading.limitsAt = at;
    return reading;
}

bool ClaudeStatusLineStore::record(const QJsonObject& json, const QDateTime& at) {
    auto payload = read(json, at);
    if (!payload) {
        return false;
    }
    const std::lock_guard lock(m_lock);
    if (auto* session = std::get_if<ClaudeStatusLineReading>(&*payload)) {
        const auto previous = m_sessions.constFind(session->sessionID);
        bool changed = true;
        if (previous != m_sessions.cend()) {
            if (!session->fiveHour && !session->sevenDay) {
                session->fiveHour = previous->fiveHour;
                session->sevenDay = previous->sevenDay;
                session->limitsAt = previous->limitsAt;
            }
            ClaudeStatusLineReading comparable = *session;
            comparable.at = previous->at;
            comparable.limitsAt = previous->limitsAt;
            changed = comparable != *previous;
        }
        m_sessions.insert(session->sessionID, *session);
        keepLatest(m_sessions, sessionLimit);
        return changed;
    }
    auto& subagent = std::get<ClaudeSubagentStatusReading>(*payload);
    const auto previous = m_subagents.constFind(subagent.sessionID);
    const bool changed = previous == m_subagents.cend() || previous->tasks != subagent.tasks;
    m_subagents.insert(subagent.sessionID, subagent);
    keepLatest(m_subagents, sessionLimit);
    return changed;
}

QHash<QString, ClaudeStatusLineReading> ClaudeStatusLineStore::sessions() const {
    const std::lock_guard lock(m_lock);
    return m_sessions;
}

QHash<QString, ClaudeSubagentStatusReading> ClaudeStatusLineStore::subagents() const {
    const std::lock_guard lock(m_lock);
    return m_subagents;
}

std::optional<ClaudeStatusLineReading> ClaudeStatusLineStore::session(const QString& sessionID) const {
    const std::lock_guard lock(m_lock);
    if (const auto found = m_sessions.constFind(sessionID); found != m_sessions.cend()) {
        return *found;
    }
    return std::nullopt;
}

} // namespace tessary
