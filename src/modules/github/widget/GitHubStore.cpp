#include "modules/github/widget/GitHubStore.h"

#include <algorithm>

namespace tessary {

namespace {

// Keeps the changes that `report` still raises.
void keepStanding(std::vector<GitHubChange>& changes, const GitHubReport& report) {
    const QSet<QString> standing = GitHubChanges::changeFactIDs(report);
    std::erase_if(changes, [&standing](const GitHubChange& change) { return !standing.contains(change.id); });
}

} // namespace

std::optional<GitHubReport> GitHubStore::latestReport() const {
    return read(&Memory::latestReport);
}

std::optional<QString> GitHubStore::lastErrorDescription() const {
    return read(&Memory::lastErrorDescription);
}

std::vector<GitHubChange> GitHubStore::activeChanges() const {
    return read(&Memory::activeChanges);
}

std::optional<QString> GitHubStore::mergeFailure(const QString& pullRequestID) const {
    const QMutexLocker lock(&m_lock);
    const auto found = m_memory.mergeFailures.constFind(pullRequestID);
    return found == m_memory.mergeFailures.cend() ? std::nullopt : std::optional(*found);
}

void GitHubStore::transform(const std::function<void(Memory&)>& change) {
    for (;;) {
        Memory memory;
        quint64 generation = 0;
        {
            const QMutexLocker lock(&m_lock);
            memory = m_memory;
            generation = m_generation;
        }
        change(memory);
        const QMutexLocker lock(&m_lock);
        if (generation == m_generation) {
            std::swap(m_memory, memory);
            ++m_generation;
            return;
        }
    }
}

void GitHubStore::update(GitHubReport report) {
    transform([&report](Memory& memory) {
        QSet<QString> seen;
        for (const GitHubChange& change : memory.activeChanges) {
            seen.insert(change.id);
        }
        GitHubChanges::Step step =
            GitHubChanges::changes(report, memory.latestReport, seen, memory.lastKnownMergeable);
        keepStanding(memory.activeChanges, report);
        std::move(step.changes.begin(), step.changes.end(), std::back_inserter(memory.activeChanges));
        memory.lastKnownMergeable = std::move(step.lastKnownMergeable);
        memory.lastErrorDescription.reset();
        for (auto it = memory.mergeFailures.begin(); it != memory.mergeFailures.end();) {
            it = report.pullRequest(it.key()) ? std::next(it) : memory.mergeFailures.erase(it);
        }
        memory.latestReport = report;
    });
}

void GitHubStore::updateErrorDescription(QString text) {
    transform([&text](Memory& memory) { memory.lastErrorDescription = text; });
}

void GitHubStore::recordMergeFailure(const QString& pullRequestID, const QString& message) {
    transform([&](Memory& memory) { memory.mergeFailures.insert(pullRequestID, message); });
}

void GitHubStore::clearMergeFailure(const QString& pullRequestID) {
    transform([&](Memory& memory) { memory.mergeFailures.remove(pullRequestID); });
}

void GitHubStore::removePullRequest(const QString& pullRequestID) {
    transform([&](Memory& memory) {
        memory.mergeFailures.remove(pullRequestID);
        if (!memory.latestReport) {
            return;
        }
        std::erase_if(memory.latestReport->pullRequests,
                      [&](const PullRequestStatus& pullRequest) { return pullRequest.id == pullRequestID; });
        keepStanding(memory.activeChanges, *memory.latestReport);
    });
}

std::optional<ChangeSignal> GitHubStore::changeSignal(const Localization& localization) const {
    std::vector<ChangeSignal::Fact> facts;
    for (const GitHubChange& change : activeChanges()) {
        facts.push_back(change.fact(localization));
    }
    return ChangeSignal::make(std::move(facts));
}

} // namespace tessary
