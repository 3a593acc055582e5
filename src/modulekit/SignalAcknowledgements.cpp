#include "modulekit/SignalAcknowledgements.h"

namespace tessary {

void SignalAcknowledgements::acknowledge(const QString& moduleID, const QDateTime& at) {
    if (!at.isValid()) {
        return;
    }
    const auto found = m_acknowledged.constFind(moduleID);
    if (found == m_acknowledged.constEnd() || *found < at) {
        m_acknowledged.insert(moduleID, at);
    }
}

std::optional<QDateTime> SignalAcknowledgements::acknowledgedAt(const QString& moduleID) const {
    const auto found = m_acknowledged.constFind(moduleID);
    return found == m_acknowledged.constEnd() ? std::nullopt : std::optional(*found);
}

ModuleSnapshot SignalAcknowledgements::visible(const ModuleSnapshot& snapshot, const QDateTime& now) const {
    if (!snapshot.variants.signal) {
        return snapshot;
    }
    return snapshot.withSignal(snapshot.variants.signal->visible(acknowledgedAt(snapshot.id), now));
}

std::vector<ModuleSnapshot> SignalAcknowledgements::visible(std::vector<ModuleSnapshot> snapshots,
                                                            const QDateTime& now) const {
    for (ModuleSnapshot& snapshot : snapshots) {
        if (snapshot.variants.signal) {
            snapshot = visible(snapshot, now);
        }
    }
    return snapshots;
}

} // namespace tessary
