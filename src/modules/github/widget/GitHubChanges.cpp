#include "modules/github/widget/GitHubChanges.h"

#include "modules/github/widget/GitHubLabels.h"

#include <optional>

namespace tessary {

using namespace Qt::StringLiterals;

ChangeSignal::Fact::Tone GitHubChange::tone() const {
    using Tone = ChangeSignal::Fact::Tone;
    switch (kind) {
    case Kind::checksFailed:
        return Tone::critical;
    case Kind::checksPassed:
    case Kind::approved:
        return Tone::success;
    case Kind::reviewRequested:
    case Kind::changesRequested:
    case Kind::conflict:
    case Kind::newCommitsSinceReview:
        break;
    }
    return Tone::attention;
}

QString GitHubChange::text(const Localization& localization) const {
    switch (kind) {
    case Kind::checksFailed:
        return localization.format(u"CI failed on %1"_s, label);
    case Kind::reviewRequested:
        return localization.format(u"%1 wants your review"_s, label);
    case Kind::checksPassed:
        return localization.format(u"CI passed on %1"_s, label);
    case Kind::approved:
        return localization.format(u"%1 approved"_s, label);
    case Kind::changesRequested:
        return localization.format(u"Changes requested on %1"_s, label);
    case Kind::conflict:
        return localization.format(u"%1 has conflicts"_s, label);
    case Kind::newCommitsSinceReview:
        break;
    }
    return localization.format(u"New commits on %1"_s, label);
}

ChangeSignal::Fact GitHubChange::fact(const Localization& localization) const {
    return {id, tone(), text(localization), since};
}

namespace GitHubChanges {

namespace {

struct Candidate {
    GitHubChange change;
    // The pull request the fact is about; a review request has none, since it needs no history.
    std::optional<QString> pullRequestID;
};

std::vector<Candidate> candidates(const GitHubReport& report) {
    std::vector<Candidate> found;
    const QDateTime& since = report.capturedAt;
    for (const ReviewRequest& request : report.reviewRequests) {
        found.push_back({{u"review:"_s + request.id(), GitHubChange::Kind::reviewRequested,
                          GitHubLabels::label(request.repository, request.number), since},
                         std::nullopt});
    }
    for (const PullRequestStatus& pullRequest : report.tracked()) {
        const QString label = GitHubLabels::label(pullRequest.repository, pullRequest.number);
        const auto add = [&](const QString& id, GitHubChange::Kind kind) {
            found.push_back({{id, kind, label, since}, pullRequest.id});
        };
        if (pullRequest.checks == CheckState::passing) {
            add(u"ci:"_s + pullRequest.id + u":passed"_s, GitHubChange::Kind::checksPassed);
        } else if (pullRequest.checks == CheckState::failing) {
            add(u"ci:"_s + pullRequest.id + u":failed"_s, GitHubChange::Kind::checksFailed);
        }
        if (pullRequest.reviewDecision == ReviewDecision::approved) {
            add(u"approved:"_s + pullRequest.id, GitHubChange::Kind::approved);
        } else if (pullRequest.reviewDecision == ReviewDecision::changesRequested) {
            add(u"changesRequested:"_s + pullRequest.id, GitHubChange::Kind::changesRequested);
        }
        if (pullRequest.mergeable == MergeableState::conflicting) {
            add(u"conflict:"_s + pullRequest.id, GitHubChange::Kind::conflict);
        }
    }
    for (const ChangesRequestedReview& review : report.changesRequestedReviews) {
        if (review.hasNewCommits) {
            found.push_back({{u"newCommits:"_s + review.id() + u':' + review.headOID.value_or(QString()),
                              GitHubChange::Kind::newCommitsSinceReview,
                              GitHubLabels::label(review.repository, review.number), since},
                             review.id()});
        }
    }
    return found;
}

} // namespace

Step changes(const GitHubReport& report, const std::optional<GitHubReport>& previous,
             const QSet<QString>& seen, const MergeableMemory& lastKnownMergeable) {
    if (!previous) {
        return {{}, lastKnownMergeable};
    }
    const QSet<QString> previousFacts = changeFactIDs(*previous);
    QSet<QString> previousTracked;
    for (const PullRequestStatus& pullRequest : previous->tracked()) {
        previousTracked.insert(pullRequest.id);
    }
    QSet<QString> previousReviews;
    for (const ChangesRequestedReview& review : previous->changesRequestedReviews) {
        previousReviews.insert(review.id());
    }
    Step step{{}, GitHubChanges::lastKnownMergeable(lastKnownMergeable, *previous)};

    for (Candidate& candidate : candidates(report)) {
        const QString& id = candidate.change.id;
        if (previousFacts.contains(id) || seen.contains(id)) {
            continue;
        }
        if (candidate.pullRequestID) {
            const QString& pullRequest = *candidate.pullRequestID;
            bool hasHistory = false;
            switch (candidate.change.kind) {
            case GitHubChange::Kind::conflict:
                // Only a pull request once seen mergeable can fall into conflict.
                hasHistory = step.lastKnownMergeable.value(pullRequest, MergeableState::unknown) ==
                             MergeableState::mergeable;
                break;
            case GitHubChange::Kind::newCommitsSinceReview:
                hasHistory = previousReviews.contains(pullRequest);
                break;
            default:
                hasHistory = previousTracked.contains(pullRequest);
                break;
            }
            if (!hasHistory) {
                continue;
            }
        }
        step.changes.push_back(std::move(candidate.change));
    }
    return step;
}

MergeableMemory lastKnownMergeable(MergeableMemory memory, const GitHubReport& updating) {
    for (const PullRequestStatus& pullRequest : updating.pullRequests) {
        if (!pullRequest.isDraft && pullRequest.mergeable != MergeableState::unknown) {
            memory.insert(pullRequest.id, pullRequest.mergeable);
        }
    }
    return memory;
}

QSet<QString> changeFactIDs(const GitHubReport& report) {
    QSet<QString> ids;
    for (const Candidate& candidate : candidates(report)) {
        ids.insert(candidate.change.id);
    }
    return ids;
}

} // namespace GitHubChanges

} // namespace tessary
