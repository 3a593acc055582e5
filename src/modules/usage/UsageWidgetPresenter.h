#pragma once

#include "modulekit/ModuleSnapshot.h"
#include "modules/usage/UsageReport.h"

#include <QDateTime>
#include <QString>

#include <optional>
#include <vector>

namespace tessary {

// Makes the snapshot of a usage widget: which limit leads, its texts and its state.
class UsageWidgetPresenter {
public:
    // What one snapshot is made of.
    struct Input {
        QString moduleID;
        // The widget's name: the card's title and the detail panel's.
        QString title;
        // The agent's short name on the compact bubble.
        QString compactTitle;
        std::optional<UsageReport> report;
        // The last failure; the report, if any, stays on show beside it.
        std::optional<QString> errorDescription;
        // The stored "primary-limit" choice.
        QString primaryChoice = QStringLiteral("auto");
        // Sections after the usage section, such as the agent's sessions.
        std::vector<DetailSection> extraSections;
        std::optional<ChangeSignal> signal;
    };

    // The limit a stored choice names: "session", "weekly", "model" (the first per-model limit), or
    // any other text compared with the short labels. "auto" names nothing.
    static std::optional<UsageReport::Limit> limit(const UsageReport& report, const QString& choice,
                                                   const Localization& localization);
    // The named limit, or the report's own primary one.
    static std::optional<UsageReport::Limit> primary(const UsageReport& report, const QString& choice,
                                                     const Localization& localization);

    static ModuleState state(const UsageReport& report);

    // "5h: 42% · resets in 2h 5m".
    static QString compactLine(const UsageReport::Limit& limit, const QDateTime& now,
                               const Localization& localization);
    // Nothing without a reset time; "resets now", "resets in 2h 5m" under six hours, else
    // "resets Mon 3:45 PM" in local time.
    static std::optional<QString> resetText(const UsageReport::Limit& limit, const QDateTime& now,
                                            const Localization& localization);
    // "measured 2 hr ago" for a reading more than an hour old.
    static std::optional<QString> ageText(const UsageReport& report, const QDateTime& now,
                                          const Localization& localization);
    static GaugeMetric gauge(const UsageReport::Limit& limit, bool isPrimary, const QDateTime& now,
                             const Localization& localization);

    static ModuleSnapshot snapshot(const Input& input, const QDateTime& now,
                                   const Localization& localization);

    static constexpr double dateFormAfterSeconds = 21600;
    static constexpr double ageShownAfterSeconds = 3600;
};

} // namespace tessary
