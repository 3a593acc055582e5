// Crash reports come from the log file (anything may have been written into it) and from coredumpctl's
// JSON. Both readers must skip what they don't understand; the bundle's cleaner must keep every line
// within the redaction rules.
#include "core/diagnostics/CrashReportText.h"
#include "core/diagnostics/CrashReports.h"
#include "core/diagnostics/DiagnosticsBundle.h"

#include <QDateTime>

#include <array>
#include <cstdint>

using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArrayView bytes(data, static_cast<qsizetype>(size));
    for (const tessary::CrashReport& report : tessary::CrashReports::fromLog(bytes)) {
        if (!report.at.isValid() || report.signal < 0) {
            __builtin_trap();
        }
    }
    for (const tessary::CrashReport& report : tessary::CrashReports::fromCoredumpJson(bytes, u"tessary"_s)) {
        if (!report.at.isValid() || report.signal < 1) {
            __builtin_trap();
        }
    }
    const QByteArray cleaned = tessary::DiagnosticsBundle::cleanedLog(bytes);
    if (cleaned.contains("/home/") || cleaned.size() > bytes.size() * 2 + 32) {
        __builtin_trap();
    }
    std::array<char, 64> buffer{};
    if (tessary::CrashReportText::redact(bytes, buffer.data(), 8, 40) > 40) {
        __builtin_trap();
    }
    return 0;
}
