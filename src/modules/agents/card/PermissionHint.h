#pragma once

#include "core/records/EnumText.h"

#include <QMap>
#include <QString>

#include <array>
#include <optional>
#include <utility>

namespace tessary {

// What is known beyond the request itself: how risky a command looks, a short summary of a long
// plan, a note per option of a question. Only a hint; the user decides.
struct PermissionHint {
    enum class Risk { low, medium, high };

    std::optional<Risk> risk;
    std::optional<QString> riskReason;
    std::optional<QString> planSummary;
    // Option id to note.
    QMap<int, QString> optionNotes;

    [[nodiscard]] bool isEmpty() const { return !risk && !planSummary && optionNotes.isEmpty(); }
    bool operator==(const PermissionHint&) const = default;
};

template <>
struct EnumTable<PermissionHint::Risk> {
    static constexpr std::array<std::pair<PermissionHint::Risk, const char*>, 3> cases{{
        {PermissionHint::Risk::low, "low"},
        {PermissionHint::Risk::medium, "medium"},
        {PermissionHint::Risk::high, "high"},
    }};
};

} // namespace tessary
