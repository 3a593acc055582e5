#pragma once

#include <QString>

#include <optional>

namespace tessary {

// A failed operation, with a short text that can be shown to the user.
struct Failure {
    QString userText;
    bool operator==(const Failure&) const = default;
};

// The result of an operation that gives nothing back when it succeeds.
using MaybeFailure = std::optional<Failure>;

} // namespace tessary
