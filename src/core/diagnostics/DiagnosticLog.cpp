#include "core/diagnostics/DiagnosticLog.h"

#include <mutex>

namespace tessary {

void DiagnosticLog::debug(DiagnosticCategory category, DiagnosticLiteral event) {
    DiagnosticLogger::shared().log(DiagnosticLevel::debug, category, event);
}

void DiagnosticLog::info(DiagnosticCategory category, DiagnosticLiteral event) {
    DiagnosticLogger::shared().log(DiagnosticLevel::info, category, event);
}

void DiagnosticLog::error(DiagnosticCategory category, DiagnosticLiteral event) {
    DiagnosticLogger::shared().log(DiagnosticLevel::error, category, event);
}

std::shared_ptr<DiagnosticFileSink> DiagnosticLog::startFileLogging() {
    static std::mutex starting;
    const std::lock_guard lock(starting);
    DiagnosticLogger& logger = DiagnosticLogger::shared();
    if (auto attached = logger.sink()) {
        return attached;
    }
    auto sink = DiagnosticFileSink::create(
        DiagnosticFileSink::defaultDirectory(), fileLimit, filePendingLimit,
        std::make_shared<DiagnosticSerialQueue>(QString::fromLatin1(fileQueueLabel)), logger.systemLog());
    if (sink) {
        logger.attach(sink);
    }
    return sink;
}

void DiagnosticLog::flush() {
    if (const auto sink = DiagnosticLogger::shared().sink()) {
        sink->flush();
    }
}

} // namespace tessary
