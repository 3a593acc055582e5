#pragma once

// Snapshots as the built-in widgets publish them, for the surface tests, the showcase and the
// drawing benchmark.

#include "modulekit/ModuleSnapshot.h"

#include <QDateTime>
#include <QString>

#include <optional>
#include <vector>

namespace tessary::samples {

inline GaugeMetric gauge(const QString& id, const QString& label, double fraction, GaugeMetric::Scale scale,
                         GaugeMetric::Tone tone = GaugeMetric::Tone::normal, bool emphasized = false,
                         std::optional<QString> display = std::nullopt,
                         std::optional<QString> caption = std::nullopt) {
    GaugeMetric g;
    g.id = id;
    g.label = label;
    g.fraction = fraction;
    g.scale = scale;
    g.tone = tone;
    g.isEmphasized = emphasized;
    g.display = std::move(display);
    g.caption = std::move(caption);
    return g;
}

inline ModuleSnapshot snapshot(const QString& id, const QString& title, const QString& value,
                               const QString& symbol, std::vector<GaugeMetric> gauges,
                               ModuleGroup group = ModuleGroup::none,
                               ModuleState state = ModuleState::active) {
    ModuleSnapshot s;
    s.id = id;
    s.state = state;
    s.generatedAt = QDateTime::fromSecsSinceEpoch(1'760'000'000, Qt::UTC);
    s.variants.compact = {title, value, symbol};
    s.variants.gauges = std::move(gauges);
    s.group = group;
    return s;
}

inline ModuleSnapshot claudeUsage() {
    auto s = snapshot(
        QStringLiteral("claude.usage"), QStringLiteral("Claude"), QStringLiteral("42%"),
        QStringLiteral("sparkles"),
        {gauge(QStringLiteral("session"), QStringLiteral("5-hour limit"), 0.42, GaugeMetric::Scale::pressure,
               GaugeMetric::Tone::normal, true, std::nullopt, QStringLiteral("resets in 2 h 10 min")),
         gauge(QStringLiteral("weekly"), QStringLiteral("Weekly"), 0.18, GaugeMetric::Scale::pressure)},
        ModuleGroup::agents);
    s.variants.card = CardVariant{QStringLiteral("Claude"), QStringLiteral("Max plan"), std::nullopt};
    return s;
}

inline ModuleSnapshot codexUsage() {
    return snapshot(QStringLiteral("codex.usage"), QStringLiteral("Codex"), QStringLiteral("71%"),
                    QStringLiteral("terminal"),
                    {gauge(QStringLiteral("primary"), QStringLiteral("5-hour limit"), 0.71,
                           GaugeMetric::Scale::pressure, GaugeMetric::Tone::warning, true)},
                    ModuleGroup::agents, ModuleState::attention);
}

inline ModuleSnapshot agentSessions() {
    auto s = snapshot(QStringLiteral("agents"), QStringLiteral("Agents"), QStringLiteral("2 working"),
                      QStringLiteral("bubble.left.fill"), {}, ModuleGroup::agents);
    s.variants.card = CardVariant{QStringLiteral("Agents"), QStringLiteral("api-server: running tests"),
                                  QStringLiteral("web: waiting for you")};
    s.variants.signal = ChangeSignal::make(
        {{QStringLiteral("waiting"), ChangeSignal::Fact::Tone::attention,
          QStringLiteral("web is waiting for you"), QDateTime::fromSecsSinceEpoch(1'760'000'000, Qt::UTC)}});
    return s;
}

inline ModuleSnapshot pullRequest() {
    return snapshot(
        QStringLiteral("github"), QStringLiteral("PR #482"), QStringLiteral("Checks pass"),
        QStringLiteral("arrow.triangle.pull"),
        {gauge(QStringLiteral("checks"), QStringLiteral("Checks"), 1.0, GaugeMetric::Scale::progress,
               GaugeMetric::Tone::normal, true, QStringLiteral("12/12"))},
        ModuleGroup::code, ModuleState::success);
}

inline ModuleSnapshot cpu() {
    return snapshot(
        QStringLiteral("system.cpu"), QStringLiteral("CPU"), QStringLiteral("23%"), QStringLiteral("cpu"),
        {gauge(QStringLiteral("load"), QStringLiteral("Load"), 0.23, GaugeMetric::Scale::pressure)},
        ModuleGroup::system, ModuleState::quiet);
}

inline ModuleSnapshot memory() {
    return snapshot(QStringLiteral("system.memory"), QStringLiteral("Memory"), QStringLiteral("61%"),
                    QStringLiteral("memorychip"),
                    {gauge(QStringLiteral("used"), QStringLiteral("Used"), 0.61, GaugeMetric::Scale::pressure,
                           GaugeMetric::Tone::normal, true, std::nullopt, QStringLiteral("19.5 of 32 GB"))},
                    ModuleGroup::system, ModuleState::quiet);
}

inline ModuleSnapshot localServers() {
    return snapshot(QStringLiteral("local.services"), QStringLiteral("Servers"), QStringLiteral("3 running"),
                    QStringLiteral("server.rack"), {}, ModuleGroup::code, ModuleState::active);
}

} // namespace tessary::samples
