#include "services/sessions/ClaudeAgentListMonitor.h"

#include "core/diagnostics/DiagnosticLogger.h"

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

void log(DiagnosticLevel level, DiagnosticLiteral event) {
    DiagnosticLogger::shared().log(level, DiagnosticCategory::monitor, event, [] {
        return DiagnosticFields{{"monitor", DiagnosticValue::name(u"claudeAgentList"_s)}};
    });
}

} // namespace

QStringList ClaudeAgentListMonitor::watchedFolders(const QString& home) {
    return {home + "/.claude/sessions"_L1, ClaudeAgentListProvider::defaultJobsDirectory(home)};
}

ClaudeAgentListMonitor::ClaudeAgentListMonitor(const ClaudeAgentListProvider& provider,
                                               ProviderRunner& runner, const Clock& clock,
                                               Scheduler& scheduler, QStringList folders, OnReading onReading)
    : m_watcher(
          clock, scheduler, [folders = std::move(folders)] { return folders; },
          [this, &provider, &runner, onReading = std::move(onReading)](
              const QDateTime& readingAt, const CancellationToken& cancellation,
              const CadencedFolderWatcher::Finish& finish) {
              runner.run(
                  &m_context,
                  [&provider, cancellation]() -> std::optional<ClaudeAgentList> {
                      if (cancellation.isCancelled()) {
                          return std::nullopt;
                      }
                      return provider.read();
                  },
                  [this, onReading, readingAt, cancellation,
                   finish](const std::optional<ClaudeAgentList>& list) {
                      if (!cancellation.isCancelled()) {
                          ++m_readings;
                          // A failure is logged once, until a reading works again.
                          if (list.has_value() == m_failing) {
                              m_failing = !list;
                              if (m_failing) {
                                  log(DiagnosticLevel::error, "failed");
                              } else {
                                  log(DiagnosticLevel::info, "recovered");
                              }
                          }
                          onReading(list, readingAt);
                      }
                      finish();
                  });
          }) {}

void ClaudeAgentListMonitor::start() {
    if (!m_watcher.isActive()) {
        log(DiagnosticLevel::info, "start");
    }
    m_watcher.start();
}

void ClaudeAgentListMonitor::stop() {
    if (m_watcher.isActive()) {
        log(DiagnosticLevel::info, "stop");
    }
    m_watcher.stop();
}

} // namespace tessary
