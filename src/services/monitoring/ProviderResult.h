#pragma once

#include "core/diagnostics/DiagnosticValue.h"
#include "services/monitoring/CancellationToken.h"

#include <QString>

#include <functional>
#include <variant>

namespace tessary {

// What a monitor needs to know of a failed reading. Each subsystem turns its own typed error into
// this, with the short text that the store shows.
struct ProviderFailure {
    // The kind of failure for the log, usually DiagnosticValue::errorKind of the typed error; a
    // failure of the same kind is logged once while it lasts.
    DiagnosticValue kind;
    // Shown to the user through the store.
    QString userText;
    // A cancelled reading is never a failure: nothing is stored or logged.
    bool isCancellation = false;

    [[nodiscard]] static ProviderFailure cancelled() { return {"cancelled", {}, true}; }

    bool operator==(const ProviderFailure&) const = default;
};

template <typename Value>
using ProviderResult = std::variant<Value, ProviderFailure>;

// A source read by a monitor. It runs on a worker thread, may block, and should look at the token
// now and then and give up when it is raised. It must not throw.
template <typename Value>
using Provider = std::function<ProviderResult<Value>(const CancellationToken& cancellation)>;

} // namespace tessary
