#include "core/diagnostics/DiagnosticLogger.h"

namespace tessary {

DiagnosticLogger::DiagnosticLogger(const Clock& clock, std::optional<QTimeZone> timeZone,
                                   std::shared_ptr<DiagnosticSystemLog> systemLog)
    : m_clock(clock)
    , m_timeZone(std::move(timeZone))
    , m_systemLog(std::move(systemLog)) {}

DiagnosticLogger& DiagnosticLogger::shared() {
    // Leaked on purpose, with its clock: a thread or a static destructor may still log while the process
    // ends.
    static const auto* const clock = new SystemClock;
    static auto* const logger =
        new DiagnosticLogger(*clock, std::nullopt, std::make_shared<SyslogDiagnosticSystemLog>());
    return *logger;
}

QString DiagnosticLogger::formattedLine(DiagnosticLevel level, DiagnosticCategory category,
                                        DiagnosticLiteral event, const DiagnosticFields& fields) const {
    return DiagnosticLine::line(m_clock.now(), m_timeZone, category, level,
                                DiagnosticLine::message(event, fields));
}

bool DiagnosticLogger::isVerbose() const {
    const std::lock_guard lock(m_mutex);
    return m_state.isVerbose;
}

void DiagnosticLogger::setVerbose(bool verbose) {
    const std::lock_guard lock(m_mutex);
    m_state.isVerbose = verbose;
}

void DiagnosticLogger::attach(std::shared_ptr<DiagnosticFileSink> sink) {
    std::shared_ptr<DiagnosticFileSink> previous;
    {
        const std::lock_guard lock(m_mutex);
        previous = std::exchange(m_state.sink, std::move(sink));
    }
    // A replaced sink finishes its writes here, outside the lock.
}

std::shared_ptr<DiagnosticFileSink> DiagnosticLogger::sink() const {
    const std::lock_guard lock(m_mutex);
    return m_state.sink;
}

QStringList DiagnosticLogger::recentLines() const {
    const std::lock_guard lock(m_mutex);
    return m_state.recent.elements();
}

std::optional<QStringList> DiagnosticLogger::recentLinesIfAvailable() const {
    const std::unique_lock lock(m_mutex, std::try_to_lock);
    if (!lock.owns_lock()) {
        return std::nullopt;
    }
    return m_state.recent.elements();
}

std::optional<std::shared_ptr<DiagnosticFileSink>> DiagnosticLogger::sinkIfAvailable() const {
    const std::unique_lock lock(m_mutex, std::try_to_lock);
    if (!lock.owns_lock()) {
        return std::nullopt;
    }
    return m_state.sink;
}

void DiagnosticLogger::record(DiagnosticLevel level, DiagnosticCategory category, const QString& message) {
    const QString line = DiagnosticLine::line(m_clock.now(), m_timeZone, category, level, message);
    std::shared_ptr<DiagnosticFileSink> sink;
    {
        const std::lock_guard lock(m_mutex);
        m_state.recent.append(line);
        sink = m_state.sink;
    }
    if (sink) {
        sink->append(line);
    }
    if (m_systemLog) {
        m_systemLog->write(level, diagnosticRawText(category), message);
    }
}

} // namespace tessary
