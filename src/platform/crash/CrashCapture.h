#pragma once

namespace tessary {

class DiagnosticLogger;
class CrashExceptionDeduplicator;

// Leaves a line in the log when the process dies of a signal or an uncaught C++ exception.
//
// The signal handler runs on its own stack (so that a stack overflow of the main thread is caught too),
// allocates nothing and calls only write(2), time(2), sigaction(2) and raise(3): it writes the crash
// marker into the log file's descriptor, puts back the signal's previous action and raises the signal
// again, so that the process still dies of it (and a core dump is still written). Arming happens once, at
// the start of the process; the buffers are made then.
namespace CrashCapture {

// The signals caught: SIGTRAP, SIGILL, SIGBUS, SIGSEGV and SIGABRT.
inline constexpr int caughtSignals[] = {5, 4, 7, 11, 6};
inline constexpr int alternateStackSize = 131072;

// `descriptor` is the log file's (it keeps its number through rotation); a negative one turns the marker
// off. A second call does nothing and gives false.
bool installSignalMarker(int descriptor);

// std::terminate writes the exception's block (its type, its redacted reason, the recent log lines)
// straight into the log file through `logger`'s sink, then aborts (which the signal marker notes).
void installUncaughtExceptionHandler(DiagnosticLogger& logger, CrashExceptionDeduplicator& deduplicator);

// Writes the block for the exception being handled, unless the deduplicator has seen it just now.
// `origin` is a literal: "uncaught" or the reporting caller's name.
void recordCurrentException(const char* origin, DiagnosticLogger& logger,
                            CrashExceptionDeduplicator& deduplicator);

} // namespace CrashCapture

} // namespace tessary
