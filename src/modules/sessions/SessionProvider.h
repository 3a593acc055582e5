#pragma once

#include "core/diagnostics/DiagnosticLiteral.h"
#include "core/diagnostics/DiagnosticValue.h"
#include "modules/sessions/AgentSession.h"

#include <QList>
#include <QString>

#include <variant>

namespace tessary {

// Why a source of sessions gave no list this time. The store keeps the previous list.
struct SessionProviderError {
    // For the log: the kind of the source's own typed error (DiagnosticValue::errorKind), never its text.
    DiagnosticValue kind = "SessionProviderError";
    // Short text for the user.
    QString userText;
    bool operator==(const SessionProviderError&) const = default;
};

using SessionFetchResult = std::variant<QList<AgentSession>, SessionProviderError>;

// A source of sessions: transcripts on disk, a tool's output, a host application. One reading
// runs on a worker thread and may block on files or child processes; it must not touch the
// interface, must not throw, and may be called from any thread (implementations keep no state
// between calls, or guard it).
class SessionProvider {
public:
    SessionProvider() = default;
    SessionProvider(const SessionProvider&) = delete;
    SessionProvider& operator=(const SessionProvider&) = delete;
    SessionProvider(SessionProvider&&) = delete;
    SessionProvider& operator=(SessionProvider&&) = delete;
    virtual ~SessionProvider() = default;

    // At most `limit` sessions, newest `lastActivity` first.
    [[nodiscard]] virtual SessionFetchResult fetchSessions(int limit) const = 0;
    // The provider's type name, for the log.
    [[nodiscard]] virtual DiagnosticLiteral providerName() const = 0;
};

} // namespace tessary
