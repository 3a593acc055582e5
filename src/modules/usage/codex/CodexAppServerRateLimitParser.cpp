#include "modules/usage/codex/CodexAppServerRateLimitParser.h"

#include "core/json/JsonFields.h"
#include "modules/usage/codex/CodexRateLimitParser.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

constexpr auto generalLimitID = "codex";

QJsonObject objectOf(QByteArrayView bytes) {
    return QJsonDocument::fromJson(bytes.toByteArray()).object();
}

void addLimits(std::vector<UsageReport::Limit>& limits, const QJsonObject& snapshot, const QString& id,
               const QDateTime& fetchedAt, const Localization& localization) {
    const bool general = id == QLatin1StringView(generalLimitID);
    QString name = json::string(snapshot, "limitName"_L1).value_or(QString());
    if (name.isEmpty()) {
        name = json::string(snapshot, "limitId"_L1).value_or(QString());
    }
    if (name.isEmpty()) {
        name = id;
    }
    const auto add = [&](QLatin1StringView key, const UsageLimitKind& generalKind) {
        const auto window = json::object(snapshot, key);
        if (!window) {
            return;
        }
        UsageLimitKind kind = generalKind;
        if (!general) {
            kind = usage_kind::WeeklyScoped{name};
        }
        UsageReport::Limit limit =
            CodexRateLimitParser::limit(std::move(kind), json::number(*window, "usedPercent"_L1),
                                        json::number(*window, "resetsAt"_L1), fetchedAt);
        if (!general) {
            // A model's own window: "<model> 5h" tells it from the general one.
            limit.compactLabel = name + u' ' + UsageLimitKinds::shortLabel(generalKind, localization);
        }
        limits.push_back(std::move(limit));
    };
    add("primary"_L1, usage_kind::Session{});
    add("secondary"_L1, usage_kind::WeeklyAll{});
}

} // namespace

bool CodexAppServerRateLimitParser::isRateLimitsAnswer(QByteArrayView line) {
    const QJsonValue id = objectOf(line).value("id"_L1);
    return id.isDouble() && id.toDouble() == rateLimitsRequestID;
}

CodexAppServerRateLimitParser::Result
CodexAppServerRateLimitParser::report(QByteArrayView answer, const QDateTime& fetchedAt,
                                      const Localization& localization) {
    const auto result = json::object(objectOf(answer), "result"_L1);
    const auto general = result ? json::object(*result, "rateLimits"_L1) : std::nullopt;
    if (!general) {
        return Failure::invalidResponse;
    }
    UsageReport report;
    report.fetchedAt = fetchedAt;
    const QString generalID =
        json::string(*general, "limitId"_L1).value_or(QLatin1StringView(generalLimitID));
    addLimits(report.limits, *general, generalID, fetchedAt, localization);
    // QJsonObject keeps its keys sorted.
    const QJsonObject byID = json::object(*result, "rateLimitsByLimitId"_L1).value_or(QJsonObject());
    for (auto entry = byID.begin(); entry != byID.end(); ++entry) {
        if (entry.key() != generalID && entry.value().isObject()) {
            addLimits(report.limits, entry.value().toObject(), entry.key(), fetchedAt, localization);
        }
    }
    if (report.limits.empty()) {
        return Failure::noLimits;
    }
    return report;
}

} // namespace tessary
