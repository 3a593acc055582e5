#include "modules/agents/permissions/PermissionDecision.h"

#include "core/json/JsonFields.h"

namespace tessary {

PermissionDecision effectiveDecision(PermissionDecision decision, bool supportsAlwaysAllow) {
    if (decision == PermissionDecision::dontAsk && !supportsAlwaysAllow) {
        return PermissionDecision::allow;
    }
    return decision;
}

QJsonArray permissionUpdates(const QString& tool, const QJsonArray& suggestions) {
    for (const QJsonValue suggestion : suggestions) {
        const QJsonObject offered = suggestion.toObject();
        if (json::string(offered, QLatin1StringView("type")) == QStringLiteral("addRules") &&
            json::string(offered, QLatin1StringView("behavior")) == QStringLiteral("allow")) {
            return QJsonArray{offered};
        }
    }
    const QJsonObject rule{{QStringLiteral("toolName"), tool}};
    return QJsonArray{QJsonObject{
        {QStringLiteral("type"), QStringLiteral("addRules")},
        {QStringLiteral("rules"), QJsonArray{rule}},
        {QStringLiteral("behavior"), QStringLiteral("allow")},
        {QStringLiteral("destination"), QStringLiteral("session")},
    }};
}

QJsonObject permissionRequestOutput(const QJsonObject& decision) {
    return QJsonObject{{QStringLiteral("hookSpecificOutput"),
                        QJsonObject{
                            {QStringLiteral("hookEventName"), QLatin1StringView(permissionRequestEvent)},
                            {QStringLiteral("decision"), decision},
                        }}};
}

QJsonObject decisionPayload(PermissionDecision decision, const QString& reason,
                            const std::optional<QJsonObject>& updatedInput, const DecisionReader& reader) {
    const PermissionDecision sent = effectiveDecision(decision, reader.supportsAlwaysAllow);
    QJsonObject object;
    if (sent == PermissionDecision::deny) {
        object.insert(QStringLiteral("behavior"), QStringLiteral("deny"));
        object.insert(QStringLiteral("message"), reason);
        return permissionRequestOutput(object);
    }
    object.insert(QStringLiteral("behavior"), QStringLiteral("allow"));
    if (updatedInput && reader.acceptsUpdatedInput) {
        object.insert(QStringLiteral("updatedInput"), *updatedInput);
    }
    if (sent == PermissionDecision::dontAsk) {
        object.insert(QStringLiteral("updatedPermissions"),
                      permissionUpdates(reader.tool, reader.suggestions));
    }
    return permissionRequestOutput(object);
}

} // namespace tessary
