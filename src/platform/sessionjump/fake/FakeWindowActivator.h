#pragma once

#include "platform/sessionjump/WindowActivator.h"

namespace tessary {

// Windows by owner, and the owners activated, in order.
class FakeWindowActivator final : public WindowActivator {
public:
    QList<qint32> owners;
    QList<qint32> activated;

    [[nodiscard]] QList<qint32> windowOwners() const override { return owners; }
    bool activate(qint32 pid) override {
        if (!owners.contains(pid)) {
            return false;
        }
        activated.append(pid);
        return true;
    }
};

} // namespace tessary
