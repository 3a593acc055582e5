#include "core/json/JsonFields.h"
#include "platform/credentials/ClaudeTokenSource.h"

#include <QJsonDocument>

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

TokenReading ClaudeCredentials::tokenFrom(const QByteArray& record) {
    if (record.size() > maximumSize) {
        return CredentialsProblem::malformed;
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(record, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return CredentialsProblem::malformed;
    }
    const auto oauth = json::object(document.object(), "claudeAiOauth"_L1);
    if (!oauth) {
        return CredentialsProblem::noToken;
    }
    const auto token = json::string(*oauth, "accessToken"_L1);
    // A token is one line of printable text; anything else could split the request's headers.
    if (!token || token->trimmed().isEmpty() || std::any_of(token->begin(), token->end(), [](QChar c) {
            return c.unicode() < 0x21 || c.unicode() > 0x7e;
        })) {
        return CredentialsProblem::noToken;
    }
    return AccessToken(*token);
}

} // namespace tessary
