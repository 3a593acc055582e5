#pragma once

#include "core/diagnostics/DiagnosticLogger.h"
#include "modules/sessions/SessionProvider.h"

#include <QList>

#include <memory>

namespace tessary {

// Several sources of one agent's sessions read as one list: asked one after another, in order,
// each with the same limit. A source that fails is logged and passed over, so the combined
// reading never fails because of one of them. Orca's terminal readings only mark the transcript
// sessions they host and are then dropped; the rest is sorted newest first (the earlier source
// first on equal times), and of two sessions with one id the first stays.
class CombinedSessionProvider final : public SessionProvider {
public:
    // `logger`: where a failed source is logged; the process's diagnostic log when null.
    explicit CombinedSessionProvider(QList<std::shared_ptr<const SessionProvider>> providers,
                                     DiagnosticLogger* logger = nullptr);

    [[nodiscard]] SessionFetchResult fetchSessions(int limit) const override;
    [[nodiscard]] DiagnosticLiteral providerName() const override { return "CombinedSessionProvider"; }

    [[nodiscard]] const QList<std::shared_ptr<const SessionProvider>>& providers() const {
        return m_providers;
    }

    // Steps 2 to 6 of a reading, on lists already gathered in provider order.
    static QList<AgentSession> merge(QList<AgentSession> gathered, int limit);

private:
    QList<std::shared_ptr<const SessionProvider>> m_providers;
    DiagnosticLogger* m_logger;
};

} // namespace tessary
