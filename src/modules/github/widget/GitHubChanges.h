#pragma once

#include "core/localization/Localization.h"
#include "modulekit/ChangeSignal.h"
#include "modules/github/GitHubReport.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QString>

#include <vector>

namespace tessary {

// One thing about the user's pull requests that changed between two reports and wants a look.
struct GitHubChange {
    enum class Kind {
        checksFailed,
        reviewRequested,
        checksPassed,
        approved,
        changesRequested,
        conflict,
        newCommitsSinceReview,
    };

    // The fact's identity, such as "ci:owner/web#4:failed"; acknowledgements are kept by it.
    QString id;
    Kind kind = Kind::checksFailed;
    // "<short repository>#<number>"
    QString label;
    // The capture time of the report that raised it.
    QDateTime since;
    bool operator==(const GitHubChange&) const = default;

    [[nodiscard]] ChangeSignal::Fact::Tone tone() const;
    [[nodiscard]] QString text(const Localization& localization) const;
    [[nodiscard]] ChangeSignal::Fact fact(const Localization& localization) const;
};

// The last mergeable state seen of each pull request other than "unknown", by pull request id.
using MergeableMemory = QHash<QString, MergeableState>;

namespace GitHubChanges {

struct Step {
    std::vector<GitHubChange> changes;
    // The memory brought up to date with the previous report.
    MergeableMemory lastKnownMergeable;
};

// The facts that `report` raises over `previous`. The first report of a run is only a baseline;
// facts in `seen` or already standing in `previous` aren't raised again; a pull request that
// arrives failing, green or conflicting is no news, a new review request is.
[[nodiscard]] Step changes(const GitHubReport& report, const std::optional<GitHubReport>& previous,
                           const QSet<QString>& seen, const MergeableMemory& lastKnownMergeable);

// Records each tracked pull request's mergeable state; "unknown" keeps the older entry.
[[nodiscard]] MergeableMemory lastKnownMergeable(MergeableMemory memory, const GitHubReport& updating);

// The identities of every fact that holds in `report`, raised or not.
[[nodiscard]] QSet<QString> changeFactIDs(const GitHubReport& report);

} // namespace GitHubChanges

} // namespace tessary
