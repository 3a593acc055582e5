#include "modules/sessions/CombinedSessionProvider.h"

#include "modules/sessions/OrcaSessionHosting.h"

#include <QSet>

#include <algorithm>

namespace tessary {

CombinedSessionProvider::CombinedSessionProvider(QList<std::shared_ptr<const SessionProvider>> providers,
                                                 DiagnosticLogger* logger)
    : m_providers(std::move(providers))
    , m_logger(logger) {
    m_providers.removeAll(nullptr);
}

SessionFetchResult CombinedSessionProvider::fetchSessions(int limit) const {
    if (limit <= 0) {
        return QList<AgentSession>{};
    }
    QList<AgentSession> gathered;
    for (const auto& provider : m_providers) {
        SessionFetchResult result = provider->fetchSessions(limit);
        if (auto* sessions = std::get_if<QList<AgentSession>>(&result)) {
            gathered.append(std::move(*sessions));
            continue;
        }
        const auto& error = std::get<SessionProviderError>(result);
        DiagnosticLogger& logger = m_logger != nullptr ? *m_logger : DiagnosticLogger::shared();
        logger.log(DiagnosticLevel::error, DiagnosticCategory::monitor, "session.provider.failed", [&] {
            return DiagnosticFields{
                {"provider", DiagnosticValue::name(QString(provider->providerName().text()))},
                {"error", error.kind},
            };
        });
    }
    return merge(std::move(gathered), limit);
}

QList<AgentSession> CombinedSessionProvider::merge(QList<AgentSession> gathered, int limit) {
    QList<AgentSession> hosted;
    QList<AgentSession> rest;
    for (AgentSession& session : gathered) {
        if (session.origin == QLatin1StringView(OrcaSessionHosting::origin)) {
            hosted.append(std::move(session));
        } else {
            rest.append(std::move(session));
        }
    }
    OrcaSessionHosting::attach(hosted, rest);
    std::stable_sort(rest.begin(), rest.end(), [](const AgentSession& a, const AgentSession& b) {
        return a.lastActivity > b.lastActivity;
    });

    QList<AgentSession> result;
    QSet<QString> seen;
    for (AgentSession& session : rest) {
        if (result.size() >= limit) {
            break;
        }
        if (seen.contains(session.id)) {
            continue;
        }
        seen.insert(session.id);
        result.append(std::move(session));
    }
    return result;
}

} // namespace tessary
