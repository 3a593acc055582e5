#include "modules/usage/UsageWidgetPresenter.h"

#include "core/time/Clock.h"
#include "modules/sessions/RelativeText.h"

#include <QStringList>

#include <algorithm>
#include <cmath>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

const auto symbol = u"gauge"_s;

QString percentText(int percent, const Localization& localization) {
    return localization.locale().toString(percent) + u'%';
}

GaugeMetric::Tone toneFor(const UsageReport::Limit& limit) {
    if (limit.percent >= 95) {
        return GaugeMetric::Tone::critical;
    }
    if (limit.percent >= 80 || !limit.isNormalSeverity()) {
        return GaugeMetric::Tone::warning;
    }
    return GaugeMetric::Tone::normal;
}

// The primary limit first, the others in the report's order.
std::vector<UsageReport::Limit> ordered(const UsageReport& report,
                                        const std::optional<UsageReport::Limit>& primary) {
    std::vector<UsageReport::Limit> limits = report.limits;
    if (primary) {
        const auto found = std::find(limits.begin(), limits.end(), *primary);
        if (found != limits.end()) {
            std::rotate(limits.begin(), found, std::next(found));
        }
    }
    return limits;
}

} // namespace

std::optional<UsageReport::Limit> UsageWidgetPresenter::limit(const UsageReport& report,
                                                              const QString& choice,
                                                              const Localization& localization) {
    const auto first = [&](auto matches) -> std::optional<UsageReport::Limit> {
        const auto found = std::find_if(report.limits.begin(), report.limits.end(), matches);
        return found == report.limits.end() ? std::nullopt : std::optional(*found);
    };
    if (choice == u"auto"_s) {
        return std::nullopt;
    }
    if (choice == u"session"_s) {
        return first(
            [](const UsageReport::Limit& l) { return std::holds_alternative<usage_kind::Session>(l.kind); });
    }
    if (choice == u"weekly"_s) {
        return first([](const UsageReport::Limit& l) {
            return std::holds_alternative<usage_kind::WeeklyAll>(l.kind);
        });
    }
    if (choice == u"model"_s) {
        return first([](const UsageReport::Limit& l) {
            return std::holds_alternative<usage_kind::WeeklyScoped>(l.kind);
        });
    }
    return first([&](const UsageReport::Limit& l) {
        return UsageLimitKinds::shortLabel(l.kind, localization) == choice ||
               UsageLimitKinds::shortLabel(l.kind, Localization()) == choice;
    });
}

std::optional<UsageReport::Limit> UsageWidgetPresenter::primary(const UsageReport& report,
                                                                const QString& choice,
                                                                const Localization& localization) {
    if (auto named = limit(report, choice, localization)) {
        return named;
    }
    return report.primaryLimit();
}

ModuleState UsageWidgetPresenter::state(const UsageReport& report) {
    const int highest = report.highestPercent();
    const bool unusual = std::any_of(report.limits.begin(), report.limits.end(),
                                     [](const UsageReport::Limit& l) { return !l.isNormalSeverity(); });
    if (unusual) {
        return highest > 94 ? ModuleState::critical : ModuleState::attention;
    }
    if (highest > 94) {
        return ModuleState::critical;
    }
    if (highest < 80) {
        return ModuleState::quiet;
    }
    return ModuleState::attention;
}

std::optional<QString> UsageWidgetPresenter::resetText(const UsageReport::Limit& limit, const QDateTime& now,
                                                       const Localization& localization) {
    if (!limit.resetsAt || !limit.resetsAt->isValid()) {
        return std::nullopt;
    }
    const double remaining = secondsBetween(now, *limit.resetsAt);
    if (remaining <= 0) {
        return localization.text(u"resets now"_s);
    }
    if (remaining < dateFormAfterSeconds) {
        return localization.format(u"resets in %1"_s, RelativeText::remaining(remaining, localization));
    }
    const QLocale locale = localization.locale();
    const QString format = u"ddd "_s + locale.timeFormat(QLocale::ShortFormat);
    return localization.format(u"resets %1"_s, locale.toString(limit.resetsAt->toLocalTime(), format));
}

std::optional<QString> UsageWidgetPresenter::ageText(const UsageReport& report, const QDateTime& now,
                                                     const Localization& localization) {
    if (!report.capturedAt || secondsBetween(*report.capturedAt, now) <= ageShownAfterSeconds) {
        return std::nullopt;
    }
    return localization.format(u"measured %1"_s, RelativeText::since(*report.capturedAt, now, localization));
}

QString UsageWidgetPresenter::compactLine(const UsageReport::Limit& limit, const QDateTime& now,
                                          const Localization& localization) {
    QString line = UsageLimitKinds::shortLabel(limit.kind, localization) + u": "_s +
                   percentText(limit.percent, localization);
    if (const auto reset = resetText(limit, now, localization)) {
        line += u" · "_s + *reset;
    }
    return line;
}

GaugeMetric UsageWidgetPresenter::gauge(const UsageReport::Limit& limit, bool isPrimary, const QDateTime& now,
                                        const Localization& localization) {
    GaugeMetric gauge;
    gauge.id = UsageLimitKinds::watchKey(limit.kind);
    gauge.label = UsageLimitKinds::shortLabel(limit.kind, localization);
    gauge.fraction = std::clamp(limit.percent, 0, 100) / 100.0;
    gauge.caption = resetText(limit, now, localization);
    gauge.tone = toneFor(limit);
    gauge.isEmphasized = isPrimary;
    gauge.display = percentText(limit.percent, localization);
    gauge.scale = GaugeMetric::Scale::pressure;
    gauge.compactLabel = limit.compactLabel;
    return gauge;
}

ModuleSnapshot UsageWidgetPresenter::snapshot(const Input& input, const QDateTime& now,
                                              const Localization& localization) {
    ModuleSnapshot snapshot;
    snapshot.id = input.moduleID;
    snapshot.generatedAt = now;

    DetailVariant detail;
    detail.title = input.title;
    DetailSection usage;
    usage.id = u"usage"_s;
    usage.title = localization.text(u"Usage"_s);

    if (!input.report) {
        // Nothing measured yet: say why, in plain words, where there is a reason.
        snapshot.state = ModuleState::unavailable;
        snapshot.variants.compact = {input.compactTitle, localization.text(u"no data"_s), symbol};
        const QString reason =
            input.errorDescription.value_or(localization.text(u"waiting for the first reading"_s));
        snapshot.variants.card = CardVariant{input.title, reason, std::nullopt};
        usage.subtitle = reason;
        usage.isNote = true;
        detail.sections.push_back(std::move(usage));
        detail.sections.insert(detail.sections.end(), input.extraSections.begin(), input.extraSections.end());
        snapshot.variants.detail = std::move(detail);
        snapshot.variants.signal = input.signal;
        return snapshot;
    }

    const UsageReport& report = *input.report;
    const std::optional<UsageReport::Limit> lead = primary(report, input.primaryChoice, localization);
    snapshot.state = state(report);
    snapshot.priority = std::clamp(report.highestPercent(), 0, 100);

    QStringList lines;
    if (!lead) {
        snapshot.variants.compact = {input.compactTitle, localization.text(u"no limits"_s), symbol};
        snapshot.variants.card = CardVariant{input.title, localization.text(u"no limits"_s), std::nullopt};
    } else {
        snapshot.variants.compact = {input.compactTitle,
                                     UsageLimitKinds::shortLabel(lead->kind, localization) + u' ' +
                                         percentText(lead->percent, localization),
                                     symbol};
        lines.append(localization.format(u"active limit: %1 %2%"_s,
                                         UsageLimitKinds::shortLabel(lead->kind, localization),
                                         localization.locale().toString(lead->percent)));
    }

    bool first = true;
    for (const UsageReport::Limit& limit : ordered(report, lead)) {
        const bool isPrimary = first && lead.has_value();
        first = false;
        GaugeMetric bar = gauge(limit, isPrimary, now, localization);
        lines.append(compactLine(limit, now, localization));
        DetailMetric metric;
        metric.id = bar.id;
        metric.label = bar.label;
        metric.value = percentText(limit.percent, localization);
        metric.detail = bar.caption;
        metric.gauge = bar;
        usage.metrics.push_back(std::move(metric));
        snapshot.variants.gauges.push_back(std::move(bar));
    }

    const std::optional<QString> age = ageText(report, now, localization);
    QStringList notes;
    if (age) {
        notes.append(*age);
    }
    if (input.errorDescription) {
        notes.append(*input.errorDescription);
    }
    if (!notes.isEmpty()) {
        usage.footnote = notes.join(u" · "_s);
        lines.append(notes);
    }
    if (lead) {
        snapshot.variants.card =
            CardVariant{input.title, compactLine(*lead, now, localization), lines.join(u'\n')};
    }
    detail.sections.push_back(std::move(usage));
    detail.sections.insert(detail.sections.end(), input.extraSections.begin(), input.extraSections.end());
    snapshot.variants.detail = std::move(detail);
    snapshot.variants.signal = input.signal;
    return snapshot;
}

} // namespace tessary
