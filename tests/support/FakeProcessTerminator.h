#pragma once

// A process terminator for tests: records the signals it is asked to send and the containers it is
// asked to stop, and lets the test decide which processes live on, refuse or ignore a polite signal.

#include "modules/vitals/ProcessControl.h"

#include <QFuture>
#include <QStringList>

#include <cstdint>
#include <set>
#include <utility>
#include <vector>

namespace tessary::testing {

class FakeProcessTerminator final : public ProcessTerminator {
public:
    MaybeFailure terminate(std::int32_t pid, bool force) override {
        sent.emplace_back(pid, force);
        if (refused.contains(pid)) {
            return Failure{QStringLiteral("could not signal pid ") + QString::number(pid)};
        }
        if (!stubborn.contains(pid) || force) {
            alive.erase(pid);
        }
        return std::nullopt;
    }
    QFuture<MaybeFailure> stopContainer(const QString& name) override {
        containers.append(name);
        return QtFuture::makeReadyFuture(MaybeFailure());
    }

    std::vector<std::pair<std::int32_t, bool>> sent;
    std::set<std::int32_t> alive;
    std::set<std::int32_t> stubborn; // ignore SIGTERM
    std::set<std::int32_t> refused;  // cannot be signalled at all
    QStringList containers;
};

} // namespace tessary::testing
