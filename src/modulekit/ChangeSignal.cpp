#include "modulekit/ChangeSignal.h"

#include "core/time/Clock.h"

#include <algorithm>
#include <limits>

namespace tessary {

bool ChangeSignal::Fact::isExpired(const QDateTime& now) const {
    return tone == Tone::success && since.msecsTo(now) >= static_cast<qint64>(successLifetimeSeconds * 1000);
}

std::optional<ChangeSignal> ChangeSignal::make(std::vector<Fact> facts) {
    if (facts.empty()) {
        return std::nullopt;
    }
    std::sort(facts.begin(), facts.end(), [](const Fact& a, const Fact& b) {
        if (a.tone != b.tone) {
            return a.tone < b.tone;
        }
        if (a.since != b.since) {
            return a.since > b.since;
        }
        return a.id < b.id;
    });
    return ChangeSignal(std::move(facts));
}

QDateTime ChangeSignal::since() const {
    QDateTime latest = distantPast();
    for (const Fact& fact : m_facts) {
        latest = std::max(latest, fact.since);
    }
    return latest;
}

std::optional<QDateTime> ChangeSignal::pulseSince() const {
    std::optional<QDateTime> latest;
    for (const Fact& fact : m_facts) {
        if (fact.tone == Fact::Tone::critical || fact.tone == Fact::Tone::attention) {
            latest = latest ? std::max(*latest, fact.since) : fact.since;
        }
    }
    return latest;
}

std::optional<ChangeSignal> ChangeSignal::visible(const std::optional<QDateTime>& acknowledgedAt,
                                                  const QDateTime& now) const {
    std::vector<Fact> kept;
    for (const Fact& fact : m_facts) {
        if (fact.isExpired(now) || (acknowledgedAt && fact.since <= *acknowledgedAt)) {
            continue;
        }
        kept.push_back(fact);
    }
    return make(std::move(kept));
}

} // namespace tessary
