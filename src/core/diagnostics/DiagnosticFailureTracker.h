#pragma once

#include "core/diagnostics/DiagnosticValue.h"

#include <QString>

#include <optional>
#include <system_error>

namespace tessary {

namespace diagnostics_detail {

template <typename E>
concept KnowsCancellation = requires(const E& error) {
    { error.isCancellation() } -> std::convertible_to<bool>;
};

} // namespace diagnostics_detail

// Lets a polling loop log a failure once instead of at every poll: `failed` is true only when the kind of
// failure changes, and `succeeded` says whether a recovery is worth a line.
class DiagnosticFailureTracker {
public:
    // True when no failure was in force or it was of another kind; the kind is kept either way.
    bool failed(const DiagnosticValue& kind);

    // False, changing nothing, for a cancelled task or a cancellation error; else `failed` on its errorKind.
    template <typename E>
    bool failed(const E& error, bool taskCancelled) {
        if (taskCancelled || isCancellation(error)) {
            return false;
        }
        return failed(DiagnosticValue::errorKind(error));
    }

    // Clears the failure in force; true if there was one.
    bool succeeded();

    [[nodiscard]] const std::optional<QString>& last() const { return m_last; }

    // A cancellation is no failure: ECANCELED as a system error, a Q_ENUM error whose case is
    // "OperationCanceledError" (QNetworkReply's, the -999 of URL loading), or an error that says so itself.
    template <typename E>
    static bool isCancellation(const E& error) {
        if constexpr (diagnostics_detail::KnowsCancellation<E>) {
            return error.isCancellation();
        } else if constexpr (diagnostics_detail::MetaEnum<E>) {
            return isCancellationKey(QMetaEnum::fromType<E>().valueToKey(static_cast<int>(error)));
        } else {
            return false;
        }
    }
    static bool isCancellation(const std::error_code& error);

private:
    static bool isCancellationKey(const char* key);

    std::optional<QString> m_last;
};

} // namespace tessary
