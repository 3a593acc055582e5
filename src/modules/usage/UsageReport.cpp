#include "modules/usage/UsageReport.h"

#include "core/records/Overloaded.h"

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

QString UsageLimitKinds::watchKey(const UsageLimitKind& kind) {
    return std::visit(
        Overloaded{
            [](const usage_kind::WeeklyScoped& scoped) -> QString { return u"weekly:"_s + scoped.name; },
            [](const usage_kind::Session&) { return u"session"_s; },
            [](const usage_kind::WeeklyAll&) { return u"weekly"_s; },
        },
        kind);
}

QString UsageLimitKinds::shortLabel(const UsageLimitKind& kind, const Localization& localization) {
    return std::visit(Overloaded{
                          [](const usage_kind::WeeklyScoped& scoped) { return scoped.name; },
                          [](const usage_kind::Session&) { return u"5h"_s; },
                          [&](const usage_kind::WeeklyAll&) { return localization.text(u"week"_s); },
                      },
                      kind);
}

std::optional<UsageReport::Limit> UsageReport::primaryLimit() const {
    if (limits.empty()) {
        return std::nullopt;
    }
    const auto active =
        std::find_if(limits.begin(), limits.end(), [](const Limit& limit) { return limit.isActive; });
    if (active != limits.end()) {
        return *active;
    }
    // max_element keeps the first of equal elements.
    return *std::max_element(limits.begin(), limits.end(),
                             [](const Limit& a, const Limit& b) { return a.percent < b.percent; });
}

int UsageReport::highestPercent() const {
    if (limits.empty()) {
        return 0;
    }
    return std::max_element(limits.begin(), limits.end(),
                            [](const Limit& a, const Limit& b) { return a.percent < b.percent; })
        ->percent;
}

QString UsageProviderError::userText(const Localization& localization) const {
    switch (kind) {
    case Kind::requestFailed:
        return localization.format(u"the usage endpoint answered %1"_s, QString::number(statusCode));
    case Kind::missingCredentials:
        return localization.text(u"Claude Code credentials not found"_s);
    case Kind::unauthorized:
        return localization.text(u"token expired; open Claude Code to renew it"_s);
    }
    return {};
}

} // namespace tessary
