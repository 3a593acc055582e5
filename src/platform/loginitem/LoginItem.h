#pragma once

#include "core/records/Failure.h"

namespace tessary {

// Starting the program when the user logs in.
class LoginItem {
public:
    LoginItem() = default;
    LoginItem(const LoginItem&) = delete;
    LoginItem& operator=(const LoginItem&) = delete;
    LoginItem(LoginItem&&) = delete;
    LoginItem& operator=(LoginItem&&) = delete;
    virtual ~LoginItem() = default;

    [[nodiscard]] virtual bool isRegistered() const = 0;
    virtual MaybeFailure setRegistered(bool registered) = 0;
};

} // namespace tessary
