#pragma once

#include "modulekit/ModuleSnapshot.h"

#include <QDateTime>
#include <QMap>
#include <QString>

#include <optional>
#include <vector>

namespace tessary {

// When the user last looked at each module's detail. A fact that happened before that look has
// been seen and stays off the surfaces; only something newer brings the module's signal back.
class SignalAcknowledgements {
public:
    // The user opened the module's detail at `at`. A look never moves the mark back in time.
    void acknowledge(const QString& moduleID, const QDateTime& at);
    [[nodiscard]] std::optional<QDateTime> acknowledgedAt(const QString& moduleID) const;

    // The snapshot with only the facts that are still news: unexpired and newer than the last look.
    [[nodiscard]] ModuleSnapshot visible(const ModuleSnapshot& snapshot, const QDateTime& now) const;
    [[nodiscard]] std::vector<ModuleSnapshot> visible(std::vector<ModuleSnapshot> snapshots,
                                                      const QDateTime& now) const;

    bool operator==(const SignalAcknowledgements&) const = default;

private:
    QMap<QString, QDateTime> m_acknowledged;
};

} // namespace tessary
