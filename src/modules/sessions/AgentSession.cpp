#include "modules/sessions/AgentSession.h"

#include "core/time/Clock.h"

#include <QLocale>

#include <array>
#include <cmath>

namespace tessary {

namespace {

struct Unit {
    double size;
    char suffix;
};
constexpr std::array<Unit, 4> units{{{1e3, 'K'}, {1e6, 'M'}, {1e9, 'B'}, {1e12, 'T'}}};

// `fractionBelow`: the scaled value under which one fraction digit is shown.
QString compact(qint64 value, const QLocale& locale, double fractionBelow) {
    const double magnitude = std::abs(static_cast<double>(value));
    if (magnitude < 1000) {
        return locale.toString(value);
    }
    const QString sign = value < 0 ? locale.negativeSign() : QString();
    for (std::size_t index = 0; index < units.size(); ++index) {
        const double scaled = magnitude / units[index].size;
        const bool withFraction = scaled < fractionBelow;
        const double rounded = withFraction ? std::round(scaled * 10) / 10 : std::round(scaled);
        // 999,960 is "1M", not "1000K".
        if (rounded >= 1000 && index + 1 < units.size()) {
            continue;
        }
        const bool showsFraction = withFraction && std::fmod(rounded, 1.0) != 0.0;
        return sign + locale.toString(rounded, 'f', showsFraction ? 1 : 0) +
               QChar::fromLatin1(units[index].suffix);
    }
    return locale.toString(value);
}

bool hasText(const std::optional<QString>& text) {
    return text && !text->isEmpty();
}

} // namespace

namespace CompactNumber {

QString name(qint64 value, const QLocale& locale) {
    return compact(value, locale, 10);
}

QString detailed(qint64 value, const QLocale& locale) {
    return compact(value, locale, 1000);
}

} // namespace CompactNumber

QString AgentSession::displayTitle() const {
    if (hasText(role)) {
        return *role;
    }
    if (hasText(title)) {
        return *title;
    }
    return project;
}

void AgentSession::attachHost(const QString& host, const QString& item,
                              const std::optional<QString>& itemProject) {
    hostOrigin = host;
    hostItemID = item;
    hostProject = itemProject;
}

QString AgentSession::contextLabel(const Localization& localization) const {
    return contextLabel(contextTokens, contextWindow, localization);
}

QString AgentSession::contextLabel(qint64 tokens, std::optional<qint64> window,
                                   const Localization& localization) {
    if (window && *window > 0) {
        return localization.percent(static_cast<double>(tokens) / static_cast<double>(*window));
    }
    return CompactNumber::name(tokens, localization.locale());
}

QString AgentSession::contextDetail(const Localization& localization) const {
    return contextDetail(contextTokens, contextWindow, localization);
}

QString AgentSession::contextDetail(qint64 tokens, std::optional<qint64> window,
                                    const Localization& localization) {
    const QLocale locale = localization.locale();
    QString used = CompactNumber::detailed(tokens, locale);
    if (!window || *window <= 0) {
        return used;
    }
    return used + u" / " + CompactNumber::detailed(*window, locale) + u" (" +
           localization.percent(static_cast<double>(tokens) / static_cast<double>(*window)) + u')';
}

QString AgentSession::Subagent::contextDetail(const Localization& localization) const {
    return AgentSession::contextDetail(contextTokens, contextWindow, localization);
}

QList<AgentSession::Subagent> AgentSession::liveSubagents(const QDateTime& moment, double window) const {
    QList<Subagent> alive;
    for (const Subagent& subagent : subagents) {
        const double age = secondsBetween(subagent.lastActivity, moment);
        if (!subagent.isWorking) {
            if (age < window) {
                alive.append(subagent);
            }
        } else if (*subagent.isWorking && age < workingSubagentLifetime) {
            alive.append(subagent);
        }
    }
    return alive;
}

} // namespace tessary
