#pragma once

#include "core/diagnostics/DiagnosticCategory.h"
#include "core/diagnostics/DiagnosticFileSink.h"
#include "core/diagnostics/DiagnosticLine.h"
#include "core/diagnostics/DiagnosticRingBuffer.h"
#include "core/diagnostics/DiagnosticSystemLog.h"
#include "core/diagnostics/DiagnosticValue.h"
#include "core/time/Clock.h"

#include <QStringList>
#include <QTimeZone>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>

namespace tessary {

// Lets a test hold the logger's lock, to show that the crash path's getters never wait for it.
struct DiagnosticLoggerProbe;

template <typename F>
concept DiagnosticFieldsMaker = std::is_invocable_r_v<DiagnosticFields, F&>;

// The process-wide log: keeps the last lines in memory, hands each to the file sink when one is attached,
// and mirrors it to the system log. Lines are built only from literals and DiagnosticValues.
class DiagnosticLogger {
public:
    static constexpr qsizetype recentCapacity = 200;

    // `timeZone` empty: the system's local time, following its changes. `systemLog` empty: no mirror.
    DiagnosticLogger(const Clock& clock, std::optional<QTimeZone> timeZone,
                     std::shared_ptr<DiagnosticSystemLog> systemLog);
    DiagnosticLogger(const DiagnosticLogger&) = delete;
    DiagnosticLogger& operator=(const DiagnosticLogger&) = delete;
    DiagnosticLogger(DiagnosticLogger&&) = delete;
    DiagnosticLogger& operator=(DiagnosticLogger&&) = delete;
    ~DiagnosticLogger() = default;

    // The one logger of the process, made at first use without a sink, mirrored to syslog, in local time.
    // It is never destroyed, so that a line logged while the process ends is still safe.
    static DiagnosticLogger& shared();

    // A debug line with verbose off costs one lock: `makeFields` is not called.
    template <DiagnosticFieldsMaker MakeFields>
    void log(DiagnosticLevel level, DiagnosticCategory category, DiagnosticLiteral event,
             MakeFields&& makeFields) {
        if (level == DiagnosticLevel::debug && !isVerbose()) {
            return;
        }
        record(level, category, DiagnosticLine::message(event, std::invoke(makeFields)));
    }
    void log(DiagnosticLevel level, DiagnosticCategory category, DiagnosticLiteral event) {
        log(level, category, event, [] { return DiagnosticFields{}; });
    }

    // The line as it would be logged now, neither kept nor written; for the crash report's header.
    [[nodiscard]] QString formattedLine(DiagnosticLevel level, DiagnosticCategory category,
                                        DiagnosticLiteral event, const DiagnosticFields& fields = {}) const;

    [[nodiscard]] bool isVerbose() const;
    void setVerbose(bool verbose);

    // Replaces the sink; lines logged before are not written to the file later.
    void attach(std::shared_ptr<DiagnosticFileSink> sink);
    [[nodiscard]] std::shared_ptr<DiagnosticFileSink> sink() const;
    // Oldest first.
    [[nodiscard]] QStringList recentLines() const;

    // For the crash path, which must not block: nothing when another thread holds the lock.
    [[nodiscard]] std::optional<QStringList> recentLinesIfAvailable() const;
    [[nodiscard]] std::optional<std::shared_ptr<DiagnosticFileSink>> sinkIfAvailable() const;

    [[nodiscard]] bool sendsToSystemLog() const { return m_systemLog != nullptr; }
    [[nodiscard]] const std::shared_ptr<DiagnosticSystemLog>& systemLog() const { return m_systemLog; }

private:
    friend struct DiagnosticLoggerProbe;
    void record(DiagnosticLevel level, DiagnosticCategory category, const QString& message);

    struct State {
        bool isVerbose = false;
        DiagnosticRingBuffer<QString> recent{recentCapacity};
        std::shared_ptr<DiagnosticFileSink> sink;
    };

    const Clock& m_clock;
    std::optional<QTimeZone> m_timeZone;
    std::shared_ptr<DiagnosticSystemLog> m_systemLog;
    mutable std::mutex m_mutex;
    State m_state;
};

} // namespace tessary
