#include "core/diagnostics/DiagnosticFailureTracker.h"

#include <cstring>

namespace tessary {

bool DiagnosticFailureTracker::failed(const DiagnosticValue& kind) {
    QString rendered = kind.rendered();
    const bool isNew = !m_last || *m_last != rendered;
    m_last = std::move(rendered);
    return isNew;
}

bool DiagnosticFailureTracker::succeeded() {
    const bool hadFailure = m_last.has_value();
    m_last.reset();
    return hadFailure;
}

bool DiagnosticFailureTracker::isCancellation(const std::error_code& error) {
    return error == std::errc::operation_canceled;
}

bool DiagnosticFailureTracker::isCancellationKey(const char* key) {
    return key != nullptr && std::strcmp(key, "OperationCanceledError") == 0;
}

} // namespace tessary
