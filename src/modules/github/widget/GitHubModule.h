#pragma once

#include "core/time/Clock.h"
#include "modulekit/CorvaneModule.h"
#include "modules/github/GitHubProvider.h"
#include "modules/github/widget/GitHubStore.h"

namespace tessary {

// The "GitHub" widget: CI of the user's pull requests, reviews waiting on the user and the pull
// requests on which the user asked for changes, with a squash merge from the detail panel.
class GitHubModule final : public CorvaneModule {
public:
    static constexpr auto moduleID = "tessary.github";
    static constexpr auto mergePrefix = "merge:";
    static constexpr auto primarySignalKey = "primary-signal";

    // Without a provider nothing can be merged, and the rows offer no merge.
    GitHubModule(GitHubStore& store, const Clock& clock, const GitHubProvider* provider = nullptr);

    [[nodiscard]] QString id() const override { return QLatin1StringView(moduleID); }
    [[nodiscard]] QString displayName() const override { return QStringLiteral("GitHub"); }
    [[nodiscard]] QString summary() const override {
        return QStringLiteral("CI for your pull requests: passed, running, or broken.");
    }
    [[nodiscard]] std::vector<ModuleSetting> settings() const override;
    [[nodiscard]] ModuleGroup group() const override { return ModuleGroup::code; }

    std::optional<ModuleSnapshot> handle(HostEvent event, const ModuleContext& context) override;
    // "merge:<pull request id>": a squash merge of the head the latest report knows.
    QFuture<void> perform(const DetailCommand& command) override;

    // "2 CI broken", "web running", "3 builds running", "all green", "no open PRs".
    static QString headline(const GitHubReport& report, const Localization& localization);
    static ModuleState state(const GitHubReport& report);
    static GaugeMetric ciGauge(const GitHubReport& report, bool isPrimary, const Localization& localization);
    static GaugeMetric reviewGauge(const GitHubReport& report, bool isPrimary,
                                   const Localization& localization);
    static GaugeMetric openGauge(const GitHubReport& report, const Localization& localization);

private:
    [[nodiscard]] DetailVariant detail(const GitHubReport& report, const QDateTime& now,
                                       const Localization& localization) const;
    [[nodiscard]] DetailSection pullRequestRow(const PullRequestStatus& pullRequest,
                                               const Localization& localization) const;
    [[nodiscard]] std::optional<DetailCommand> mergeCommand(const PullRequestStatus& pullRequest,
                                                            const Localization& localization) const;
    QFuture<void> merge(const QString& pullRequestID);

    GitHubStore& m_store;
    const Clock& m_clock;
    const GitHubProvider* m_provider;
    // The language of the last snapshot, for the failure texts of a merge.
    Localization m_localization;
};

} // namespace tessary
