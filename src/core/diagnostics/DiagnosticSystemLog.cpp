#include "core/diagnostics/DiagnosticSystemLog.h"

#include <syslog.h>

namespace tessary {

SyslogDiagnosticSystemLog::SyslogDiagnosticSystemLog() {
    // The ident must outlive every later syslog call: a literal does.
    openlog("tessary", LOG_PID | LOG_NDELAY, LOG_USER);
}

QByteArray SyslogDiagnosticSystemLog::formatted(QLatin1StringView category, const QString& text) {
    QByteArray result;
    result.reserve(category.size() + 2 + text.size());
    result.append(category.data(), category.size());
    result.append(": ");
    result.append(text.toUtf8());
    return result;
}

void SyslogDiagnosticSystemLog::write(DiagnosticLevel level, QLatin1StringView category,
                                      const QString& text) {
    int priority = LOG_NOTICE;
    switch (level) {
    case DiagnosticLevel::debug:
        priority = LOG_DEBUG;
        break;
    case DiagnosticLevel::info:
        priority = LOG_NOTICE;
        break;
    case DiagnosticLevel::error:
        priority = LOG_ERR;
        break;
    }
    // The text goes as an argument, never as the format: it may hold a "%".
    syslog(priority, "%s", formatted(category, text).constData());
}

} // namespace tessary
