#include "modules/github/widget/GitHubModule.h"

#include "modules/github/widget/GitHubLabels.h"
#include "modules/sessions/RelativeText.h"

#include <QStringList>

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

constexpr auto symbol = "arrow.triangle.branch";

QString count(std::size_t value) {
    return QString::number(value);
}

QString label(const PullRequestStatus& pullRequest) {
    return GitHubLabels::label(pullRequest.repository, pullRequest.number);
}

std::optional<QString> joined(const QStringList& parts) {
    QStringList kept = parts;
    kept.removeAll(QString());
    return kept.isEmpty() ? std::nullopt : std::optional(kept.join(u" · "_s));
}

std::optional<DetailAction> opening(const std::optional<QUrl>& url) {
    return url ? std::optional<DetailAction>(action::Open{*url}) : std::nullopt;
}

DetailSection heading(const QString& id, const QString& title) {
    DetailSection section;
    section.id = id;
    section.title = title;
    section.isHeading = true;
    return section;
}

GaugeMetric textualGauge(const QString& id, const QString& label, std::size_t value, bool isPrimary) {
    GaugeMetric gauge;
    gauge.id = id;
    gauge.label = label;
    gauge.display = count(value);
    gauge.isTextual = true;
    gauge.isEmphasized = isPrimary;
    return gauge;
}

QString reviewNote(const PullRequestStatus& pullRequest, const Localization& localization) {
    if (pullRequest.mergeable == MergeableState::conflicting) {
        return localization.text(u"merge conflict"_s);
    }
    if (pullRequest.reviewDecision == ReviewDecision::approved) {
        return localization.text(u"approved"_s);
    }
    if (pullRequest.reviewDecision == ReviewDecision::changesRequested) {
        return localization.text(u"changes requested"_s);
    }
    return {};
}

// The summary under the headline: what needs the user, else how many are open.
QString detailText(const GitHubReport& report, const Localization& localization) {
    QStringList notes;
    if (!report.reviewRequests.empty()) {
        notes.append(
            localization.format(u"%1 waiting for your review"_s, count(report.reviewRequests.size())));
    }
    if (const auto conflicting = report.conflicting().size(); conflicting > 0) {
        notes.append(localization.format(u"%1 with conflicts"_s, count(conflicting)));
    }
    if (const auto ready = report.readyToMerge().size(); ready > 0) {
        notes.append(localization.format(u"%1 ready to merge"_s, count(ready)));
    }
    if (notes.isEmpty()) {
        return localization.format(u"%1 open PRs, none needing attention"_s, count(report.tracked().size()));
    }
    return notes.join(u" · "_s);
}

DetailSection reviewRow(const ReviewRequest& request) {
    DetailSection row;
    row.id = u"reviews/"_s + request.id();
    row.title = GitHubLabels::label(request.repository, request.number);
    row.subtitle = joined({request.title, request.author.value_or(QString())});
    row.action = opening(request.url);
    return row;
}

DetailSection changesRequestedRow(const ChangesRequestedReview& review, const QDateTime& now,
                                  const Localization& localization) {
    DetailSection row;
    row.id = u"changes-requested/"_s + review.id();
    row.title = GitHubLabels::label(review.repository, review.number);
    row.subtitle = joined({review.title, review.author.value_or(QString())});
    row.action = opening(review.url);
    const QString prefix = u"changes-requested-"_s + review.id();
    const auto line = [&](const QString& suffix, const QString& title) {
        DetailSection child;
        child.id = prefix + u'/' + suffix;
        child.title = title;
        row.children.push_back(std::move(child));
    };
    if (review.submittedAt) {
        line(u"submitted"_s,
             localization.format(u"Changes requested · %1"_s,
                                 RelativeText::since(*review.submittedAt, now, localization)));
    }
    line(u"comments"_s, localization.format(u"%1 comments"_s, QString::number(review.commentCount)));
    if (review.hasNewCommits) {
        line(u"new-commits"_s, localization.text(u"New commits since your review"_s));
    }
    if (review.url) {
        line(u"link"_s, localization.format(u"PR #%1"_s, QString::number(review.number)));
        row.children.back().action = action::Open{*review.url};
    }
    return row;
}

} // namespace

GitHubModule::GitHubModule(GitHubStore& store, const Clock& clock, const GitHubProvider* provider)
    : m_store(store)
    , m_clock(clock)
    , m_provider(provider) {}

std::vector<ModuleSetting> GitHubModule::settings() const {
    return {
        {QLatin1StringView(primarySignalKey),
         u"Main reading"_s,
         u"What the compact bubble shows. The rest stays visible on hover."_s,
         {{u"ci"_s, u"CI on my PRs"_s}, {u"reviews"_s, u"Reviews waiting on me"_s}},
         u"ci"_s},
        highlightChangesSetting(),
    };
}

QString GitHubModule::headline(const GitHubReport& report, const Localization& localization) {
    if (const auto failing = report.failing(); !failing.empty()) {
        return localization.format(u"%1 CI broken"_s, count(failing.size()));
    }
    if (const auto running = report.running(); running.size() == 1) {
        return localization.format(u"%1 running"_s, running.front().shortRepository());
    } else if (!running.empty()) {
        return localization.format(u"%1 builds running"_s, count(running.size()));
    }
    return localization.text(report.tracked().empty() ? u"no open PRs"_s : u"all green"_s);
}

ModuleState GitHubModule::state(const GitHubReport& report) {
    if (!report.failing().empty()) {
        return ModuleState::critical;
    }
    if (!report.running().empty()) {
        return ModuleState::active;
    }
    return report.reviewRequests.empty() ? ModuleState::quiet : ModuleState::attention;
}

GaugeMetric GitHubModule::ciGauge(const GitHubReport& report, bool isPrimary,
                                  const Localization& localization) {
    GaugeMetric gauge;
    gauge.id = u"ci"_s;
    gauge.label = localization.text(u"CI"_s);
    gauge.isEmphasized = isPrimary;
    const auto failing = report.failing();
    const auto running = report.running();
    if (!failing.empty()) {
        gauge.display = failing.size() == 1 ? localization.text(u"broken"_s)
                                            : localization.format(u"%1 CI broken"_s, count(failing.size()));
        if (failing.size() == 1) {
            gauge.caption = label(failing.front());
        }
        gauge.fraction = std::clamp(report.pressure(), 0.0, 1.0);
        gauge.tone = GaugeMetric::Tone::critical;
        gauge.scale = GaugeMetric::Scale::pressure;
    } else if (!running.empty()) {
        gauge.display = localization.text(u"running"_s);
        int completed = 0;
        int total = 0;
        for (const PullRequestStatus& pullRequest : running) {
            completed += pullRequest.completedChecks;
            total += pullRequest.totalChecks;
        }
        if (running.size() == 1) {
            gauge.caption =
                localization.format(u"%1 of %2 checks"_s, QString::number(completed), QString::number(total));
        }
        gauge.fraction = total > 0 ? std::clamp(double(completed) / total, 0.0, 1.0) : 0.0;
    } else {
        const auto tracked = report.tracked().size();
        const auto passing = report.passing().size();
        gauge.display = localization.format(u"%1 green"_s, count(passing));
        gauge.caption = localization.format(u"of %1 open PRs"_s, count(tracked));
        gauge.fraction = tracked > 0 ? double(passing) / double(tracked) : 0.0;
    }
    return gauge;
}

GaugeMetric GitHubModule::reviewGauge(const GitHubReport& report, bool isPrimary,
                                      const Localization& localization) {
    return textualGauge(u"reviews"_s, localization.text(u"reviews"_s), report.reviewRequests.size(),
                        isPrimary);
}

GaugeMetric GitHubModule::openGauge(const GitHubReport& report, const Localization& localization) {
    // The identifier predates the English wording; saved layouts name it.
    return textualGauge(u"abertos"_s, localization.text(u"open"_s), report.tracked().size(), false);
}

std::optional<DetailCommand> GitHubModule::mergeCommand(const PullRequestStatus& pullRequest,
                                                        const Localization& localization) const {
    if (m_provider == nullptr || pullRequest.isDraft || pullRequest.mergeState != MergeState::clean ||
        !pullRequest.nodeID || !pullRequest.headOID) {
        return std::nullopt;
    }
    DetailCommand command;
    command.id = QLatin1StringView(mergePrefix) + pullRequest.id;
    command.moduleID = id();
    command.title = localization.text(u"Squash and merge"_s);
    command.confirmation =
        localization.format(u"Squash and merge into %1?"_s, pullRequest.baseBranch.value_or(u"main"_s));
    command.isDestructive = true;
    return command;
}

DetailSection GitHubModule::pullRequestRow(const PullRequestStatus& pullRequest,
                                           const Localization& localization) const {
    DetailSection row;
    row.id = pullRequest.id;
    row.title = label(pullRequest);
    const auto failure = m_store.mergeFailure(pullRequest.id);
    row.subtitle = joined({failure ? localization.format(u"merge failed: %1"_s, *failure) : QString(),
                           reviewNote(pullRequest, localization), pullRequest.title});
    row.action = opening(pullRequest.url);
    // The checks at a glance: a mark while they run or fail, and how far a running rollup is.
    if (pullRequest.checks == CheckState::running) {
        row.activity = DetailSection::Activity::working;
        if (pullRequest.totalChecks > 0) {
            row.badge = localization.format(u"%1 of %2 checks"_s, pullRequest.completedChecks,
                                            pullRequest.totalChecks);
        }
    } else if (pullRequest.checks == CheckState::failing) {
        row.activity = DetailSection::Activity::failed;
    }
    if (pullRequest.checks == CheckState::failing) {
        for (const PullRequestCheck& check : pullRequest.checkRuns) {
            if (check.state != PullRequestCheck::State::failed) {
                continue;
            }
            DetailSection child;
            child.id = pullRequest.id + u"/failed/"_s + check.name;
            child.title = check.name;
            child.action = opening(check.detailsURL);
            row.children.push_back(std::move(child));
        }
    }
    row.command = mergeCommand(pullRequest, localization);
    return row;
}

DetailVariant GitHubModule::detail(const GitHubReport& report, const QDateTime& now,
                                   const Localization& localization) const {
    DetailVariant detail;
    detail.title = localization.format(u"GitHub · %1"_s, report.login);
    if (const auto error = m_store.lastErrorDescription()) {
        DetailSection note;
        note.id = u"error"_s;
        note.title = *error;
        note.isNote = true;
        detail.sections.push_back(std::move(note));
    }
    if (!report.pullRequests.empty()) {
        detail.sections.push_back(heading(u"mine"_s, localization.text(u"Your open PRs"_s)));
        for (const PullRequestStatus& pullRequest : report.pullRequests) {
            detail.sections.push_back(pullRequestRow(pullRequest, localization));
        }
    }
    if (!report.reviewRequests.empty()) {
        detail.sections.push_back(heading(u"reviews"_s, localization.text(u"Waiting for your review"_s)));
        for (const ReviewRequest& request : report.reviewRequests) {
            detail.sections.push_back(reviewRow(request));
        }
    }
    if (!report.changesRequestedReviews.empty()) {
        detail.sections.push_back(
            heading(u"changes-requested"_s, localization.text(u"You requested changes"_s)));
        for (const ChangesRequestedReview& review : report.changesRequestedReviews) {
            detail.sections.push_back(changesRequestedRow(review, now, localization));
        }
    }
    return detail;
}

std::optional<ModuleSnapshot> GitHubModule::handle(HostEvent event, const ModuleContext& context) {
    Q_UNUSED(event);
    const Localization& localization = context.localization;
    m_localization = localization;
    const QDateTime now = m_clock.now();
    const QString title = localization.text(u"GitHub"_s);

    ModuleSnapshot snapshot;
    snapshot.id = id();
    snapshot.group = group();
    snapshot.generatedAt = now;
    const auto report = m_store.latestReport();
    if (!report) {
        const QString reason = m_store.lastErrorDescription().value_or(
            localization.text(u"run 'gh auth login' so the widget can read the credential"_s));
        snapshot.state = ModuleState::unavailable;
        snapshot.variants.compact = {title, localization.text(u"no data"_s), QLatin1StringView(symbol)};
        snapshot.variants.card = CardVariant{title, std::nullopt, reason};
        DetailSection note;
        note.id = u"unavailable"_s;
        note.title = reason;
        note.isNote = true;
        snapshot.variants.detail = DetailVariant{title, {std::move(note)}, std::nullopt};
        return snapshot;
    }

    const bool reviewsFirst =
        context.configuration.value(QLatin1StringView(primarySignalKey), u"ci"_s) == "reviews"_L1;
    const QString value = headline(*report, localization);
    snapshot.state = state(*report);
    snapshot.priority = static_cast<int>(std::clamp(report->pressure(), 0.0, 1.0) * 100);
    snapshot.variants.compact = {title, value, QLatin1StringView(symbol)};
    snapshot.variants.card = CardVariant{title, value, detailText(*report, localization)};
    snapshot.variants.gauges = {ciGauge(*report, !reviewsFirst, localization),
                                reviewGauge(*report, reviewsFirst, localization),
                                openGauge(*report, localization)};
    snapshot.variants.detail = detail(*report, now, localization);
    if (highlightsChanges(context.configuration)) {
        snapshot.variants.signal = m_store.changeSignal(localization);
    }
    return snapshot;
}

QFuture<void> GitHubModule::perform(const DetailCommand& command) {
    if (const auto pullRequestID = command.argument(mergePrefix)) {
        return merge(*pullRequestID);
    }
    return QtFuture::makeReadyFuture();
}

QFuture<void> GitHubModule::merge(const QString& pullRequestID) {
    const auto report = m_store.latestReport();
    const auto pullRequest = report ? report->pullRequest(pullRequestID) : std::nullopt;
    if (m_provider == nullptr || !pullRequest || !pullRequest->nodeID || !pullRequest->headOID) {
        return QtFuture::makeReadyFuture();
    }
    m_store.clearMergeFailure(pullRequestID);
    // The head the latest report knows: GitHub refuses the merge if it has moved since.
    const MergeRequest request{*pullRequest->nodeID, *pullRequest->headOID};
    return m_provider->merge(request).then([&store = m_store, pullRequestID, localization = m_localization](
                                               const std::optional<GitHubProviderError>& error) {
        if (!error) {
            store.removePullRequest(pullRequestID);
        } else if (error->kind != GitHubProviderError::Kind::cancelled) {
            store.recordMergeFailure(pullRequestID, error->userText(localization));
        }
    });
}

} // namespace tessary
