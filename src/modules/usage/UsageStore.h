#pragma once

#include "modulekit/ChangeSignal.h"
#include "modules/usage/UsageLimitWatch.h"
#include "modules/usage/UsageReport.h"

#include <QString>

#include <mutex>
#include <optional>

namespace tessary {

// The latest usage report of one agent and the text of the latest failure, for any thread; it
// advances the limit watch with each report. The lock is held only for copies, swaps and the
// watch's bookkeeping. Nothing is kept on disk: the watch starts anew with each launch.
class UsageStore {
public:
    static constexpr auto automaticChoice = "auto";

    UsageStore() = default;
    UsageStore(const UsageStore&) = delete;
    UsageStore& operator=(const UsageStore&) = delete;
    UsageStore(UsageStore&&) = delete;
    UsageStore& operator=(UsageStore&&) = delete;
    ~UsageStore() = default;

    [[nodiscard]] std::optional<UsageReport> latestReport() const;
    [[nodiscard]] std::optional<QString> lastErrorDescription() const;
    [[nodiscard]] QString primaryChoice() const;
    [[nodiscard]] UsageLimitWatch limitWatch() const;

    // A new report: advances the watch with the limit that the current choice puts on show, keeps
    // the report and clears the failure.
    void update(UsageReport report);
    // A failure keeps the old report on show.
    void updateErrorDescription(QString text);
    // The limit on show from the next report on.
    void updatePrimaryChoice(QString choice);

    // The watch's notices as facts; threshold notices of `hiding` are left out, resets always pass.
    [[nodiscard]] std::optional<ChangeSignal>
    limitChangeSignal(const Localization& localization, const std::optional<UsageLimitKind>& hiding) const;
    [[nodiscard]] std::optional<ChangeSignal> limitChangeSignal(const Localization& localization) const {
        return limitChangeSignal(localization, std::nullopt);
    }

private:
    mutable std::mutex m_lock;
    std::optional<UsageReport> m_latestReport;
    std::optional<QString> m_lastErrorDescription;
    UsageLimitWatch m_limitWatch;
    QString m_primaryChoice = QLatin1StringView(automaticChoice);
};

} // namespace tessary
