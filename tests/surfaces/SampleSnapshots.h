#pragma once

// Snapshots as the built-in widgets publish them, for the surface tests, the showcase and the
// drawing benchmark.

#include "modulekit/ModuleSnapshot.h"

#include <QDateTime>
#include <QString>

#include <optional>
#include <tuple>
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

inline DetailCommand stopCommand(const QString& serviceID, const QString& name, const QString& port) {
    DetailCommand command;
    command.id = QStringLiteral("stop:") + serviceID;
    command.moduleID = QStringLiteral("local.services");
    command.title = QStringLiteral("Stop");
    command.confirmation = QStringLiteral("Stop %1 on :%2?").arg(name, port);
    command.isDestructive = true;
    return command;
}

inline DetailSection serviceRow(const QString& id, const QString& name, const QString& port,
                                const QString& subtitle, const QString& symbol) {
    DetailSection row;
    row.id = id;
    row.title = name;
    row.badge = QStringLiteral(":") + port;
    row.subtitle = subtitle;
    row.icon = icon::Symbol{symbol};
    row.command = stopCommand(id, name, port);
    return row;
}

// Local ports as the module publishes them: projects as headings, a row per server with its port,
// its link, the agent that started it, a stop button and its recent log.
inline ModuleSnapshot localPortsWithDetail() {
    auto s =
        snapshot(QStringLiteral("local.services"), QStringLiteral("Local ports"), QStringLiteral("3 servers"),
                 QStringLiteral("network"), {}, ModuleGroup::code, ModuleState::attention);
    GaugeMetric servers =
        gauge(QStringLiteral("servers"), QStringLiteral("servers"), 0, GaugeMetric::Scale::progress,
              GaugeMetric::Tone::normal, true, QStringLiteral("3"));
    servers.isTextual = true;
    s.variants.gauges = {servers};
    s.variants.signal =
        ChangeSignal::make({{QStringLiteral("stopped:5174"), ChangeSignal::Fact::Tone::attention,
                             QStringLiteral("storybook on :6006 stopped"),
                             QDateTime::fromSecsSinceEpoch(1'760'000'000, Qt::UTC)}});
    DetailVariant detail;
    detail.title = QStringLiteral("Local ports");
    DetailSection api;
    api.id = QStringLiteral("group:api-server");
    api.title = QStringLiteral("api-server");
    api.isHeading = true;
    detail.sections.push_back(api);
    DetailSection server =
        serviceRow(QStringLiteral("tcp:8080"), QStringLiteral("API server"), QStringLiteral("8080"),
                   QStringLiteral("Node.js · ~/code/api-server · Claude Code"), QStringLiteral("network"));
    server.swatch = RoleColor::purple;
    server.location = DetailLocation{QStringLiteral("http://localhost:8080"),
                                     QUrl(QStringLiteral("http://localhost:8080"))};
    server.action = action::Open{QUrl(QStringLiteral("http://localhost:8080"))};
    DetailSection log;
    log.id = QStringLiteral("tcp:8080/log");
    log.title = QStringLiteral("Recent log");
    log.subtitle =
        QStringLiteral("GET /api/limits 200 12 ms\nGET /api/session 200 4 ms\nPOST /api/usage 201 31 ms");
    log.isNote = true;
    server.children.push_back(log);
    detail.sections.push_back(server);
    DetailSection db =
        serviceRow(QStringLiteral("tcp:5432"), QStringLiteral("Postgres"), QStringLiteral("5432"),
                   QStringLiteral("PostgreSQL · api-db-1"), QStringLiteral("cylinder"));
    db.footnote = QStringLiteral("Started by docker compose 2 h ago");
    detail.sections.push_back(db);
    DetailSection web;
    web.id = QStringLiteral("group:web");
    web.title = QStringLiteral("web");
    web.isHeading = true;
    detail.sections.push_back(web);
    DetailSection vite =
        serviceRow(QStringLiteral("tcp:5173"), QStringLiteral("Vite dev server"), QStringLiteral("5173"),
                   QStringLiteral("Vite · ~/code/web"), QStringLiteral("network"));
    vite.location = DetailLocation{QStringLiteral("http://localhost:5173"),
                                   QUrl(QStringLiteral("http://localhost:5173"))};
    detail.sections.push_back(vite);
    s.variants.detail = detail;
    return s;
}

// CPU with its detail: what is in use, the load, and the busiest processes with a kill button.
inline ModuleSnapshot cpuWithDetail() {
    auto s = cpu();
    DetailVariant detail;
    detail.title = QStringLiteral("CPU");
    DetailSection inUse;
    inUse.id = QStringLiteral("in-use");
    inUse.title = QStringLiteral("In use");
    inUse.subtitle = QStringLiteral("user 15% · system 8% · 8 cores");
    inUse.badge = QStringLiteral("23%");
    inUse.badgeGauge = s.variants.gauges.front();
    inUse.metrics = {{QStringLiteral("load"), QStringLiteral("Load average"),
                      QStringLiteral("1.12  0.98  0.87"), std::nullopt, std::nullopt},
                     {QStringLiteral("stall"), QStringLiteral("Waiting for a CPU"), QStringLiteral("2%"),
                      std::nullopt,
                      gauge(QStringLiteral("stall"), QStringLiteral("Waiting for a CPU"), 0.02,
                            GaugeMetric::Scale::pressure)}};
    detail.sections.push_back(inUse);
    const std::vector<std::tuple<QString, QString, QString, bool>> rows{
        {QStringLiteral("node"), QStringLiteral("api-server · npm run dev"), QStringLiteral("12%"), true},
        {QStringLiteral("clangd"), QStringLiteral("tessary"), QStringLiteral("6%"), false},
        {QStringLiteral("firefox"), QStringLiteral("14 processes"), QStringLiteral("3%"), false}};
    for (const auto& [name, subtitle, badge, agent] : rows) {
        DetailSection row;
        row.id = QStringLiteral("process:") + name;
        row.title = name;
        row.subtitle = subtitle;
        row.badge = badge;
        row.icon = icon::Symbol{QStringLiteral("app")};
        if (agent) {
            row.swatch = RoleColor::purple;
            row.footnote = QStringLiteral("Agent");
        }
        DetailCommand kill;
        kill.id = QStringLiteral("kill:") + name;
        kill.moduleID = s.id;
        kill.title = QStringLiteral("Kill");
        kill.confirmation = QStringLiteral("Kill %1?").arg(name);
        kill.isDestructive = true;
        row.command = kill;
        detail.sections.push_back(row);
    }
    s.variants.detail = detail;
    return s;
}

} // namespace tessary::samples
