#pragma once

#include "core/records/EnumText.h"

#include <QDateTime>
#include <QString>

#include <optional>
#include <vector>

namespace tessary {

// The short list of facts that changed and want attention. Never empty: make() gives nothing
// for no facts.
class ChangeSignal {
public:
    struct Fact {
        enum class Tone { critical, attention, success, info }; // rank order
        QString id;
        Tone tone = Tone::info;
        QString text;
        QDateTime since;
        bool operator==(const Fact&) const = default;

        // Only success facts expire, 900 seconds after they happened.
        [[nodiscard]] bool isExpired(const QDateTime& now) const;
    };

    static std::optional<ChangeSignal> make(std::vector<Fact> facts);

    [[nodiscard]] const std::vector<Fact>& facts() const { return m_facts; }
    // The latest `since`, or the distant past.
    [[nodiscard]] QDateTime since() const;
    // The latest `since` of critical and attention facts.
    [[nodiscard]] std::optional<QDateTime> pulseSince() const;
    // What is left after expiry and after what the user has already seen.
    [[nodiscard]] std::optional<ChangeSignal> visible(const std::optional<QDateTime>& acknowledgedAt,
                                                      const QDateTime& now) const;

    bool operator==(const ChangeSignal&) const = default;

    static constexpr double successLifetimeSeconds = 900;

private:
    explicit ChangeSignal(std::vector<Fact> facts)
        : m_facts(std::move(facts)) {}
    std::vector<Fact> m_facts;
};

template <>
struct EnumTable<ChangeSignal::Fact::Tone> {
    static constexpr std::array<std::pair<ChangeSignal::Fact::Tone, const char*>, 4> cases{{
        {ChangeSignal::Fact::Tone::critical, "critical"},
        {ChangeSignal::Fact::Tone::attention, "attention"},
        {ChangeSignal::Fact::Tone::success, "success"},
        {ChangeSignal::Fact::Tone::info, "info"},
    }};
};

} // namespace tessary
