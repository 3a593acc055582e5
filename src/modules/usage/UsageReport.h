#pragma once

#include "core/localization/Localization.h"
#include "core/records/EnumText.h"

#include <QDateTime>
#include <QString>

#include <optional>
#include <variant>
#include <vector>

namespace tessary {

namespace usage_kind {
// A weekly limit for one model, with the model's name.
struct WeeklyScoped {
    QString name;
    bool operator==(const WeeklyScoped&) const = default;
};
// The 5-hour window.
struct Session {
    bool operator==(const Session&) const = default;
};
// The weekly limit over all models.
struct WeeklyAll {
    bool operator==(const WeeklyAll&) const = default;
};
} // namespace usage_kind

// Which plan limit a figure belongs to.
using UsageLimitKind = std::variant<usage_kind::WeeklyScoped, usage_kind::Session, usage_kind::WeeklyAll>;

namespace UsageLimitKinds {
// "session", "weekly", or "weekly:<name>": the key under which notices of a limit are tracked.
QString watchKey(const UsageLimitKind& kind);
// "5h", "week" (translated), or the model's name.
QString shortLabel(const UsageLimitKind& kind, const Localization& localization);
} // namespace UsageLimitKinds

// Every agent's plan limits, whatever the source.
struct UsageReport {
    struct Limit {
        UsageLimitKind kind = usage_kind::Session{};
        // 0 to 100 as the source reported it.
        int percent = 0;
        // "normal" when all is well.
        QString severity = QStringLiteral("normal");
        std::optional<QDateTime> resetsAt;
        // The source names this the limit that binds now.
        bool isActive = false;
        // Replaces the label in tight places.
        std::optional<QString> compactLabel;
        bool operator==(const Limit&) const = default;

        [[nodiscard]] bool isNormalSeverity() const { return severity == QLatin1StringView("normal"); }
    };

    std::vector<Limit> limits;
    QDateTime fetchedAt;
    // When the source measured, if older than the fetch.
    std::optional<QDateTime> capturedAt;
    bool operator==(const UsageReport&) const = default;

    // The first active limit; else the fullest, the earliest among equals; nothing for no limits.
    [[nodiscard]] std::optional<Limit> primaryLimit() const;
    // The highest percent, or 0 with no limits.
    [[nodiscard]] int highestPercent() const;
};

// The failures that all usage providers share.
struct UsageProviderError {
    enum class Kind { requestFailed, missingCredentials, unauthorized };
    Kind kind = Kind::requestFailed;
    // The HTTP status of requestFailed.
    int statusCode = 0;
    bool operator==(const UsageProviderError&) const = default;

    [[nodiscard]] QString userText(const Localization& localization) const;
};

template <>
struct EnumTable<UsageProviderError::Kind> {
    static constexpr std::array<std::pair<UsageProviderError::Kind, const char*>, 3> cases{{
        {UsageProviderError::Kind::requestFailed, "requestFailed"},
        {UsageProviderError::Kind::missingCredentials, "missingCredentials"},
        {UsageProviderError::Kind::unauthorized, "unauthorized"},
    }};
};

} // namespace tessary
