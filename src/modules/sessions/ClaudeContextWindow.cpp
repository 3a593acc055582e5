#include "modules/sessions/ClaudeContextWindow.h"

#include <array>

namespace tessary::ClaudeContextWindow {

namespace {

constexpr std::array<const char*, 5> families{"opus", "sonnet", "haiku", "fable", "mythos"};

std::optional<QLatin1StringView> family(const QString& model) {
    const QString lowered = model.toLower();
    for (const char* name : families) {
        if (lowered.contains(QLatin1StringView(name))) {
            return QLatin1StringView(name);
        }
    }
    return std::nullopt;
}

} // namespace

qint64 resolve(const std::optional<QString>& model, qint64 observedMaximum,
               const std::optional<QString>& configuredModel) {
    if (observedMaximum > standard) {
        return large;
    }
    if (model && model->toLower().contains(QLatin1StringView("haiku"))) {
        return standard;
    }
    if (!configuredModel) {
        return standard;
    }
    return configuredModel->contains(QLatin1StringView("[1m]")) ? large : standard;
}

std::optional<QString> configuredModel(const std::optional<QString>& configured,
                                       const std::optional<QString>& model) {
    if (!configured || !model) {
        return std::nullopt;
    }
    const auto configuredFamily = family(*configured);
    const auto modelFamily = family(*model);
    if (configuredFamily && modelFamily && *configuredFamily == *modelFamily) {
        return configured;
    }
    return std::nullopt;
}

} // namespace tessary::ClaudeContextWindow
