#include "modules/agents/installers/OnboardingGate.h"

#include "core/settings/SettingsStore.h"

#include <QSettings>

namespace tessary::OnboardingGate {

bool shouldShow(const QSettings& defaults) {
    return !defaults.value(QLatin1StringView(PreferenceKeys::onboardingCompleted), false).toBool();
}

void markCompleted(QSettings& defaults) {
    defaults.setValue(QLatin1StringView(PreferenceKeys::onboardingCompleted), true);
    defaults.sync();
}

} // namespace tessary::OnboardingGate
