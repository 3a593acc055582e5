#pragma once

#include "modulekit/ChangeSignal.h"
#include "modules/usage/UsageReport.h"

#include <QDateTime>
#include <QString>

#include <map>
#include <optional>
#include <vector>

namespace tessary {

// A notice that a limit has reached a threshold or has reset.
struct UsageLimitChange {
    enum class Kind { reset, reached50, reached80, reached95 };

    QString id;
    Kind kind = Kind::reset;
    UsageLimitKind limit;
    int percent = 0;
    QDateTime since;
    bool operator==(const UsageLimitChange&) const = default;

    // "5h limit at 80%": the threshold, not the percent reported.
    [[nodiscard]] QString text(const Localization& localization) const;
    [[nodiscard]] ChangeSignal::Fact::Tone tone() const;
    [[nodiscard]] bool isThreshold() const { return kind != Kind::reset; }
};

template <>
struct EnumTable<UsageLimitChange::Kind> {
    static constexpr std::array<std::pair<UsageLimitChange::Kind, const char*>, 4> cases{{
        {UsageLimitChange::Kind::reset, "reset"},
        {UsageLimitChange::Kind::reached50, "reached50"},
        {UsageLimitChange::Kind::reached80, "reached80"},
        {UsageLimitChange::Kind::reached95, "reached95"},
    }};
};

// Turns successive reports into notices. The first sight of a limit only records its level, so a
// program started at 90% says nothing; a rise past 50, 80 or 95 makes a notice unless the limit is
// the one on show; a limit that was nearly full and has truly reset makes a reset notice.
struct UsageLimitWatch {
    // A limit seen at 95% or more, waiting for its reset.
    struct Armed {
        std::optional<QDateTime> resetsAt;
        bool operator==(const Armed&) const = default;
    };
    // The level last recorded for a limit; no level means under 50% or past its reset time.
    struct Reached {
        std::optional<UsageLimitChange::Kind> level;
        std::optional<QDateTime> resetsAt;
        bool operator==(const Reached&) const = default;
    };

    // By watch key.
    std::map<QString, Armed> armed;
    std::vector<UsageLimitChange> active;
    std::map<QString, Reached> reached;
    bool operator==(const UsageLimitWatch&) const = default;

    // Runs once per report. `primary` is the kind of the limit on show: it raises no threshold
    // notice, since the user is already looking at that figure.
    void advance(const UsageReport& report, const std::optional<UsageLimitKind>& primary);

    // The threshold level of a limit at `fetchedAt`: none once its reset time has passed.
    static std::optional<UsageLimitChange::Kind> level(const UsageReport::Limit& limit,
                                                       const QDateTime& fetchedAt);
    // Whole seconds since 1970 of a reset time, or "none".
    static QString resetTag(const std::optional<QDateTime>& resetsAt);

private:
    void advanceLevel(const UsageReport::Limit& limit, const QString& key, const QDateTime& fetchedAt,
                      bool isPrimary);
    void removeNotices(const QString& key, bool thresholdsOnly);
};

} // namespace tessary
