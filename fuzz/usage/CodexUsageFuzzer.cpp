// Codex's rate limits come from its app-server's pipe and from lines of its session files: any
// bytes at all. Both readers must give limits in range, or refuse, and what they give must pass
// through the widget's presenter without harm.
#include "../support/FuzzCheck.h"
#include "modules/usage/UsageWidgetPresenter.h"
#include "modules/usage/codex/CodexAppServerRateLimitParser.h"
#include "modules/usage/codex/CodexRateLimitParser.h"

#include <cstdint>

namespace {

void checkReport(const tessary::UsageReport& report, const QDateTime& fetchedAt) {
    using namespace tessary;
    check(!report.limits.empty());
    check(report.fetchedAt == fetchedAt);
    for (const UsageReport::Limit& limit : report.limits) {
        check(limit.percent >= 0 && limit.percent <= 100);
        // A window that rolled over keeps no reset time.
        check(!limit.resetsAt || (limit.resetsAt->isValid() && *limit.resetsAt >= fetchedAt));
    }
    UsageWidgetPresenter::Input input;
    input.moduleID = QStringLiteral("tessary.codex-usage");
    input.report = report;
    const ModuleSnapshot snapshot =
        UsageWidgetPresenter::snapshot(input, fetchedAt, Localization(AppLanguage::spanish));
    check(snapshot.variants.gauges.size() == report.limits.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tessary;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QDateTime fetchedAt = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

    const auto answer =
        CodexAppServerRateLimitParser::report(bytes, fetchedAt, Localization(AppLanguage::english));
    if (const auto* report = std::get_if<UsageReport>(&answer)) {
        checkReport(*report, fetchedAt);
    }
    static_cast<void>(CodexAppServerRateLimitParser::isRateLimitsAnswer(bytes));

    if (const auto record = CodexRateLimitParser::record(QString::fromUtf8(bytes))) {
        check(record->timestamp.isValid());
        const auto report = CodexRateLimitParser::report(record->rateLimits, record->timestamp, fetchedAt);
        check(report.has_value());
        checkReport(*report, fetchedAt);
        check(report->capturedAt == record->timestamp);
    }
    return 0;
}
