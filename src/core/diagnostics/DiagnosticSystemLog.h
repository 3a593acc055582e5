#pragma once

#include "core/diagnostics/DiagnosticCategory.h"

#include <QLatin1StringView>
#include <QString>

namespace tessary {

// The mirror of the log in the system's own log, which the user's tools already read.
class DiagnosticSystemLog {
public:
    DiagnosticSystemLog() = default;
    DiagnosticSystemLog(const DiagnosticSystemLog&) = delete;
    DiagnosticSystemLog& operator=(const DiagnosticSystemLog&) = delete;
    DiagnosticSystemLog(DiagnosticSystemLog&&) = delete;
    DiagnosticSystemLog& operator=(DiagnosticSystemLog&&) = delete;
    virtual ~DiagnosticSystemLog() = default;

    // `category` is a category's raw value, or "diagnostics" for the log's own troubles. Any thread.
    virtual void write(DiagnosticLevel level, QLatin1StringView category, const QString& text) = 0;
};

// syslog(3) with the ident "tessary", the category at the head of the text ("panel: detail.show ..."):
// debug at LOG_DEBUG, info at LOG_NOTICE (the system's default level), error at LOG_ERR.
class SyslogDiagnosticSystemLog final : public DiagnosticSystemLog {
public:
    SyslogDiagnosticSystemLog();
    void write(DiagnosticLevel level, QLatin1StringView category, const QString& text) override;

    // The text handed to syslog for a line; also what a test of the mirror compares.
    static QByteArray formatted(QLatin1StringView category, const QString& text);
};

} // namespace tessary
