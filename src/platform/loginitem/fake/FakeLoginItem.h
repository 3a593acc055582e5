#pragma once

#include "platform/loginitem/LoginItem.h"

namespace tessary {

// Records requests; can be told to refuse.
class FakeLoginItem final : public LoginItem {
public:
    [[nodiscard]] bool isRegistered() const override { return registered; }
    MaybeFailure setRegistered(bool value) override {
        ++calls;
        if (refuse) {
            return Failure{QStringLiteral("refused")};
        }
        registered = value;
        return std::nullopt;
    }

    bool registered = false;
    bool refuse = false;
    int calls = 0;
};

} // namespace tessary
