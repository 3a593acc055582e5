#include "modules/agents/live/ClaudeAgentList.h"

#include "modules/agents/live/ClaudeJobNeeds.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QTimeZone>

#include <cmath>
#include <limits>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

std::optional<QString> text(const QJsonObject& entry, QLatin1StringView key) {
    const QJsonValue value = entry.value(key);
    if (!value.isString() || value.toString().isEmpty()) {
        return std::nullopt;
    }
    return value.toString();
}

std::optional<qint32> pid(const QJsonObject& entry) {
    const QJsonValue value = entry.value("pid"_L1);
    if (!value.isDouble()) {
        return std::nullopt;
    }
    const double number = value.toDouble();
    if (std::trunc(number) != number || number < 1 || number > std::numeric_limits<qint32>::max()) {
        return std::nullopt;
    }
    return static_cast<qint32>(number);
}

// Milliseconds since 1970, or ISO text.
std::optional<QDateTime> startedAt(const QJsonObject& entry) {
    const QJsonValue value = entry.value("startedAt"_L1);
    QDateTime date;
    if (value.isDouble()) {
        const double milliseconds = value.toDouble();
        // Within years 1970 to about 5138: anything else is no time this program can show.
        if (!std::isfinite(milliseconds) || milliseconds < 0 || milliseconds > 1e14) {
            return std::nullopt;
        }
        date = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(milliseconds), QTimeZone::utc());
    } else if (value.isString()) {
        date = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    }
    return date.isValid() ? std::optional(date) : std::nullopt;
}

template <typename Enum>
std::optional<Enum> word(const QJsonObject& entry, QLatin1StringView key, Enum unknown) {
    const QJsonValue value = entry.value(key);
    if (!value.isString()) {
        return std::nullopt;
    }
    return enumFromRaw<Enum>(value.toString().trimmed().toLower()).value_or(unknown);
}

} // namespace

ClaudeAgentList::WaitingFor ClaudeAgentList::waitingFor(const QString& text) {
    // The phrases of the list, and the single words of older versions.
    static const std::array<std::pair<QLatin1StringView, WaitingFor>, 6> phrases{{
        {"permission prompt"_L1, WaitingFor::permission},
        {"goal proposal"_L1, WaitingFor::permission},
        {"input needed"_L1, WaitingFor::input},
        {"sandbox request"_L1, WaitingFor::sandbox},
        {"worker request"_L1, WaitingFor::worker},
        {"dialog open"_L1, WaitingFor::dialog},
    }};
    const QString simplified = text.simplified().toLower();
    for (const auto& [phrase, meaning] : phrases) {
        if (simplified == phrase) {
            return meaning;
        }
    }
    return enumFromRaw<WaitingFor>(simplified).value_or(WaitingFor::unknown);
}

std::optional<ClaudeAgentList> ClaudeAgentList::parse(QByteArrayView json) {
    const QJsonDocument document = QJsonDocument::fromJson(json.toByteArray());
    if (!document.isArray()) {
        return std::nullopt;
    }
    ClaudeAgentList list;
    const QJsonArray entries = document.array();
    for (const auto& value : entries) {
        const QJsonObject entry = value.toObject();
        const std::optional<QString> sessionID = text(entry, "sessionId"_L1);
        if (!sessionID) {
            continue;
        }
        const QString kind = entry.value("kind"_L1).toString();
        if (kind == "interactive"_L1) {
            Session session;
            session.sessionID = *sessionID;
            session.pid = pid(entry);
            session.directory = text(entry, "cwd"_L1);
            session.name = text(entry, "name"_L1);
            session.startedAt = startedAt(entry);
            session.status = word(entry, "status"_L1, Status::unknown);
            if (const QJsonValue waiting = entry.value("waitingFor"_L1); waiting.isString()) {
                session.waitingFor = waitingFor(waiting.toString());
            }
            list.sessions.append(session);
        } else if (kind == "background"_L1) {
            BackgroundAgent agent;
            agent.id = text(entry, "id"_L1);
            agent.sessionID = *sessionID;
            agent.directory = text(entry, "cwd"_L1);
            agent.name = text(entry, "name"_L1);
            agent.startedAt = startedAt(entry);
            agent.state = word(entry, "state"_L1, BackgroundAgent::State::unknown);
            agent.needs = text(entry, "needs"_L1);
            list.background.append(agent);
        }
    }
    return list;
}

void ClaudeAgentList::readNeeds(const QString& jobsDirectory) {
    for (BackgroundAgent& agent : background) {
        if (agent.id && !agent.needs) {
            agent.needs = ClaudeJobNeeds::read(*agent.id, jobsDirectory);
        }
    }
}

} // namespace tessary
