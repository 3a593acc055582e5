// The agy tool's output can be anything: log lines, a cut answer, another version's fields, hostile
// numbers. Besides not crashing, a report keeps its rules: every limit is a model family's weekly
// one with a title, and a report comes only from an answer the reader calls an envelope.
#include "../support/FuzzCheck.h"
#include "modules/usage/antigravity/AntigravityUsageParser.h"

#include <QByteArray>

#include <cstdint>

namespace {} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QDateTime fetchedAt = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
    const auto parsed = tessary::AntigravityUsageParser::parse(input, fetchedAt);
    if (const auto* report = std::get_if<tessary::UsageReport>(&parsed)) {
        check(tessary::AntigravityUsageParser::envelope(input).has_value());
        check(report->fetchedAt == fetchedAt);
        for (const auto& limit : report->limits) {
            const auto* scoped = std::get_if<tessary::usage_kind::WeeklyScoped>(&limit.kind);
            check(scoped != nullptr && !scoped->name.isEmpty());
        }
    }
    return 0;
}
