#pragma once

class QSettings;

namespace tessary {

// Whether the first-run window is still due: until the user has started once from it.
namespace OnboardingGate {

[[nodiscard]] bool shouldShow(const QSettings& defaults);
void markCompleted(QSettings& defaults);

} // namespace OnboardingGate

} // namespace tessary
