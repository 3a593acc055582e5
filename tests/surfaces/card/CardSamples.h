#pragma once

// Requests as the listener builds them from real agents' bodies, for the card's tests and pictures.

#include "modules/agents/permissions/PendingPermission.h"

namespace tessary::cardsamples {

inline PendingPermission command(const QString& id = QStringLiteral("toolu_01command")) {
    PendingPermission p;
    p.id = id;
    p.sessionID = QStringLiteral("5f1c2a9e-session");
    p.tool = QStringLiteral("Bash");
    p.summary = QStringLiteral("rm -rf build/ && npm run build -- --production");
    p.sessionTitle = QStringLiteral("Fix the release build");
    p.project = QStringLiteral("api-server");
    p.directory = QStringLiteral("/home/dev/api-server");
    p.sessionColor = QStringLiteral("orange");
    p.askedAt = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
    p.agentLabel = QStringLiteral("Claude Code");
    p.supportsAlwaysAllow = true;
    return p;
}

inline PendingPermission question(const QString& id = QStringLiteral("toolu_01question")) {
    PendingPermission p = command(id);
    p.tool = QStringLiteral("AskUserQuestion");
    p.summary.clear();
    p.sessionTitle = QStringLiteral("Storage for the cache");
    p.sessionColor = QStringLiteral("purple");
    AgentQuestion q;
    q.header = QStringLiteral("Cache store");
    q.text = QStringLiteral("Where should the response cache live?");
    q.options = {{0, QStringLiteral("In memory"), QStringLiteral("Fastest; lost on restart")},
                 {1, QStringLiteral("Redis"), QStringLiteral("Shared between instances")},
                 {2, QStringLiteral("SQLite file"), QStringLiteral("Survives restarts, one host only")}};
    q.total = 1;
    p.question = q;
    return p;
}

inline PendingPermission plan(const QString& id = QStringLiteral("toolu_01plan")) {
    PendingPermission p = command(id);
    p.tool = QStringLiteral("ExitPlanMode");
    p.summary = QStringLiteral("Rate limits per token");
    p.sessionTitle = QStringLiteral("Rate limits");
    p.sessionColor = QStringLiteral("green");
    p.plan = QStringLiteral("## Rate limits per token\n\n"
                            "1. Add a `TokenBucket` keyed by the API token in `src/limits.ts`.\n"
                            "2. Read the limits from `config/limits.json`, 60 requests a minute by default.\n"
                            "3. Answer 429 with a `Retry-After` header when the bucket is empty.\n"
                            "4. Tests for the bucket and the middleware.");
    return p;
}

} // namespace tessary::cardsamples
