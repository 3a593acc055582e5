#pragma once

#include "core/diagnostics/DiagnosticLiteral.h"
#include "core/records/EnumText.h"

#include <QByteArray>
#include <QString>

#include <variant>

namespace tessary {

// Claude Code's OAuth access token. A secret has no printable form: the only way out is the
// value of an Authorization header, and nothing here logs, streams or formats it.
class AccessToken {
public:
    explicit AccessToken(QString text)
        : m_text(std::move(text)) {}

    [[nodiscard]] QByteArray bearerHeaderValue() const { return "Bearer " + m_text.toUtf8(); }
    [[nodiscard]] bool isEmpty() const { return m_text.isEmpty(); }

    bool operator==(const AccessToken&) const = default;

private:
    QString m_text;
};

// Why no token could be had. Each means "Claude Code credentials not found" to the user; the kinds
// tell the log which.
enum class CredentialsProblem { notFound, unreadable, malformed, noToken };

template <>
struct EnumTable<CredentialsProblem> {
    static constexpr std::array<std::pair<CredentialsProblem, const char*>, 4> cases{{
        {CredentialsProblem::notFound, "notFound"},
        {CredentialsProblem::unreadable, "unreadable"},
        {CredentialsProblem::malformed, "malformed"},
        {CredentialsProblem::noToken, "noToken"},
    }};
};

using TokenReading = std::variant<AccessToken, CredentialsProblem>;

// Where Claude Code keeps its OAuth credentials: a file in its folder on Linux, the keychain item
// read through the `security` tool on macOS. Both hold the same JSON record.
class ClaudeTokenSource {
public:
    ClaudeTokenSource() = default;
    ClaudeTokenSource(const ClaudeTokenSource&) = delete;
    ClaudeTokenSource& operator=(const ClaudeTokenSource&) = delete;
    ClaudeTokenSource(ClaudeTokenSource&&) = delete;
    ClaudeTokenSource& operator=(ClaudeTokenSource&&) = delete;
    virtual ~ClaudeTokenSource() = default;

    // Reads the token afresh. Runs on a worker thread, may block briefly, never writes anything.
    [[nodiscard]] virtual TokenReading readToken() const = 0;
};

// The record Claude Code writes: {"claudeAiOauth": {"accessToken": "...", ...}}.
namespace ClaudeCredentials {

// The largest record read; Claude Code's is well under a kilobyte.
inline constexpr qint64 maximumSize = 1 << 20;

// The access token of the record, or why there is none: not JSON at all is `malformed`; a JSON
// object without a non-empty `claudeAiOauth.accessToken` text is `noToken`.
TokenReading tokenFrom(const QByteArray& record);

} // namespace ClaudeCredentials

} // namespace tessary
