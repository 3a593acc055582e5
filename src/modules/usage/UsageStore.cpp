#include "modules/usage/UsageStore.h"

#include "modules/usage/UsageWidgetPresenter.h"

namespace tessary {

std::optional<UsageReport> UsageStore::latestReport() const {
    const std::lock_guard lock(m_lock);
    return m_latestReport;
}

std::optional<QString> UsageStore::lastErrorDescription() const {
    const std::lock_guard lock(m_lock);
    return m_lastErrorDescription;
}

QString UsageStore::primaryChoice() const {
    const std::lock_guard lock(m_lock);
    return m_primaryChoice;
}

UsageLimitWatch UsageStore::limitWatch() const {
    const std::lock_guard lock(m_lock);
    return m_limitWatch;
}

void UsageStore::update(UsageReport report) {
    std::optional<UsageReport> previous(std::move(report));
    std::optional<QString> previousError;
    {
        const std::lock_guard lock(m_lock);
        // Choices are stable identifiers; "week" is matched in English and needs no language here.
        const auto shown = UsageWidgetPresenter::primary(*previous, m_primaryChoice, Localization());
        m_limitWatch.advance(*previous, shown ? std::optional(shown->kind) : std::nullopt);
        std::swap(m_latestReport, previous);
        std::swap(m_lastErrorDescription, previousError);
    }
}

void UsageStore::updateErrorDescription(QString text) {
    std::optional<QString> previous(std::move(text));
    const std::lock_guard lock(m_lock);
    std::swap(m_lastErrorDescription, previous);
}

void UsageStore::updatePrimaryChoice(QString choice) {
    const std::lock_guard lock(m_lock);
    std::swap(m_primaryChoice, choice);
}

std::optional<ChangeSignal> UsageStore::limitChangeSignal(const Localization& localization,
                                                          const std::optional<UsageLimitKind>& hiding) const {
    std::vector<UsageLimitChange> active;
    {
        const std::lock_guard lock(m_lock);
        active = m_limitWatch.active;
    }
    const std::optional<QString> hiddenKey =
        hiding ? std::optional(UsageLimitKinds::watchKey(*hiding)) : std::nullopt;
    std::vector<ChangeSignal::Fact> facts;
    for (const UsageLimitChange& change : active) {
        if (change.isThreshold() && hiddenKey == UsageLimitKinds::watchKey(change.limit)) {
            continue;
        }
        facts.push_back({change.id, change.tone(), change.text(localization), change.since});
    }
    return ChangeSignal::make(std::move(facts));
}

} // namespace tessary
