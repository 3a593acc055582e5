#pragma once

#include "core/diagnostics/DiagnosticLogger.h"

#include <memory>
#include <utility>

namespace tessary {

// The entry points every subsystem logs through, from any thread:
//
//   DiagnosticLog::info(DiagnosticCategory::panel, "detail.show", [&] {
//       return DiagnosticFields{{"size", DiagnosticValue::size(w, h)}, {"animated",
//       DiagnosticValue::boolean(a)}};
//   });
//
// The event and the keys are literals; the fields are evaluated only when the line is written.
namespace DiagnosticLog {

template <DiagnosticFieldsMaker MakeFields>
void debug(DiagnosticCategory category, DiagnosticLiteral event, MakeFields&& fields) {
    DiagnosticLogger::shared().log(DiagnosticLevel::debug, category, event, std::forward<MakeFields>(fields));
}
template <DiagnosticFieldsMaker MakeFields>
void info(DiagnosticCategory category, DiagnosticLiteral event, MakeFields&& fields) {
    DiagnosticLogger::shared().log(DiagnosticLevel::info, category, event, std::forward<MakeFields>(fields));
}
template <DiagnosticFieldsMaker MakeFields>
void error(DiagnosticCategory category, DiagnosticLiteral event, MakeFields&& fields) {
    DiagnosticLogger::shared().log(DiagnosticLevel::error, category, event, std::forward<MakeFields>(fields));
}
void debug(DiagnosticCategory category, DiagnosticLiteral event);
void info(DiagnosticCategory category, DiagnosticLiteral event);
void error(DiagnosticCategory category, DiagnosticLiteral event);

// The file log of the application: the sink in DiagnosticFileSink::defaultDirectory() with a limit of
// 1000000 bytes and a backlog of 2000 lines, written on the thread "app.thetessary.diagnostics", attached
// to the shared logger. Gives the sink (whose descriptor the crash capture holds), or nothing when the
// folder or the file could not be made; a second call gives the sink already attached.
std::shared_ptr<DiagnosticFileSink> startFileLogging();

inline constexpr qint64 fileLimit = 1'000'000;
inline constexpr qint64 filePendingLimit = 2000;
inline constexpr auto fileQueueLabel = "app.thetessary.diagnostics";

// Waits until the lines logged so far are in the file; called when the application terminates.
void flush();

} // namespace DiagnosticLog

} // namespace tessary
