#pragma once

#include "modules/localservices/ServiceCaches.h"
#include "platform/procfs/ProcFileSystem.h"
#include "services/shell/ProcessRunner.h"

#include <QString>

#include <optional>

namespace tessary {

// Finds the log file a server writes: from its open descriptors in /proc, or, where those can't be
// read, from `lsof -p <pid>`. Answers are cached per process, "none found" included.
class LogSourceFinder {
public:
    LogSourceFinder(const ProcFileSystem& proc, const ProcessRunner& runner, std::optional<QString> lsof)
        : m_proc(proc)
        , m_runner(runner)
        , m_lsof(std::move(lsof)) {}

    // `processKey` tells this process from a later one with the same id (its start time).
    std::optional<QString> logFile(std::int32_t pid, const QString& processKey, LogFileCache& cache) const;

private:
    [[nodiscard]] std::optional<QString> find(std::int32_t pid) const;

    const ProcFileSystem& m_proc;
    const ProcessRunner& m_runner;
    std::optional<QString> m_lsof;
};

} // namespace tessary
