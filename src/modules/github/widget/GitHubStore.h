#pragma once

#include "modulekit/ChangeSignal.h"
#include "modules/github/GitHubReport.h"
#include "modules/github/widget/GitHubChanges.h"

#include <QHash>
#include <QMutex>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace tessary {

// The latest GitHub report, the facts it raised and the merges that failed, for any thread. The
// lock is held only to copy or swap the value; comparing reports happens outside it.
class GitHubStore {
public:
    GitHubStore() = default;
    GitHubStore(const GitHubStore&) = delete;
    GitHubStore& operator=(const GitHubStore&) = delete;
    GitHubStore(GitHubStore&&) = delete;
    GitHubStore& operator=(GitHubStore&&) = delete;
    ~GitHubStore() = default;

    [[nodiscard]] std::optional<GitHubReport> latestReport() const;
    [[nodiscard]] std::optional<QString> lastErrorDescription() const;
    [[nodiscard]] std::vector<GitHubChange> activeChanges() const;

    // A new report: raises what changed since the last, keeps the facts that still hold, clears the
    // error and forgets the merge failures of pull requests that are gone.
    void update(GitHubReport report);
    // A failed poll keeps the old report on show.
    void updateErrorDescription(QString text);

    // One fact per active change; nothing when there are none.
    [[nodiscard]] std::optional<ChangeSignal> changeSignal(const Localization& localization) const;

    void recordMergeFailure(const QString& pullRequestID, const QString& message);
    void clearMergeFailure(const QString& pullRequestID);
    [[nodiscard]] std::optional<QString> mergeFailure(const QString& pullRequestID) const;
    // A merged pull request leaves at once, ahead of the next poll, with its facts and failure.
    void removePullRequest(const QString& pullRequestID);

private:
    struct Memory {
        std::optional<GitHubReport> latestReport;
        std::optional<QString> lastErrorDescription;
        QHash<QString, QString> mergeFailures;
        std::vector<GitHubChange> activeChanges;
        MergeableMemory lastKnownMergeable;
    };

    // Runs `change` on a copy outside the lock and swaps the result in, starting over when another
    // writer came first, so that no write is lost.
    void transform(const std::function<void(Memory&)>& change);
    template <typename Value>
    [[nodiscard]] Value read(Value Memory::*field) const {
        const QMutexLocker lock(&m_lock);
        return m_memory.*field;
    }

    mutable QMutex m_lock;
    Memory m_memory;
    quint64 m_generation = 0;
};

} // namespace tessary
