// The usage endpoint's answer comes from the network: any bytes at all. The parser must give a
// report whose figures are in range, or refuse, and what it gives must pass through the limit
// watch and the widget's presenter without harm.
#include "../support/FuzzCheck.h"
#include "modules/usage/ClaudeUsageParser.h"
#include "modules/usage/UsageLimitWatch.h"
#include "modules/usage/UsageWidgetPresenter.h"

#include <cstdint>

namespace {} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tessary;
    const QByteArray body(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QDateTime fetchedAt = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
    const ClaudeUsageParseResult result = ClaudeUsageParser::parse(body, fetchedAt);
    const auto* report = std::get_if<UsageReport>(&result);
    if (report == nullptr) {
        return 0;
    }
    check(!report->limits.empty());
    check(report->fetchedAt == fetchedAt);
    for (const UsageReport::Limit& limit : report->limits) {
        check(limit.percent >= 0 && limit.percent <= 1000);
        check(!limit.resetsAt || limit.resetsAt->isValid());
    }

    UsageLimitWatch watch;
    watch.advance(*report,
                  report->primaryLimit() ? std::optional(report->primaryLimit()->kind) : std::nullopt);
    UsageReport later = *report;
    later.fetchedAt = fetchedAt.addSecs(3600);
    watch.advance(later, std::nullopt);
    check(watch.reached.size() <= report->limits.size());

    UsageWidgetPresenter::Input input;
    input.moduleID = QStringLiteral("tessary.usage-meter");
    input.report = *report;
    const ModuleSnapshot snapshot =
        UsageWidgetPresenter::snapshot(input, fetchedAt, Localization(AppLanguage::portuguese));
    check(snapshot.variants.gauges.size() == report->limits.size());
    for (const GaugeMetric& gauge : snapshot.variants.gauges) {
        check(gauge.fraction >= 0 && gauge.fraction <= 1);
    }
    return 0;
}
