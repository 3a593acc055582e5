#include "core/diagnostics/CrashExceptionDeduplicator.h"

namespace tessary {

bool CrashExceptionDeduplicator::shouldRecord(const void* exception, const QDateTime& at) {
    const std::lock_guard lock(m_mutex);
    if (m_last && m_last->exception == exception && m_last->at.msecsTo(at) < windowMilliseconds &&
        m_last->at.msecsTo(at) >= 0) {
        return false;
    }
    m_last = Last{exception, at};
    return true;
}

} // namespace tessary
