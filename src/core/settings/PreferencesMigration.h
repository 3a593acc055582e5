#pragma once

#include <QSettings>

#include <functional>
#include <memory>

namespace tessary {

// One-shot copy of preferences from the program's former name into the current store.
namespace PreferencesMigration {

// Opens the former store; nothing when it can't be opened (the migration then runs again next start).
using FormerSuiteOpener = std::function<std::unique_ptr<QSettings>()>;

// The former store on this platform: ~/.config/CorvaneApp/CorvaneApp.conf on Linux.
std::unique_ptr<QSettings> openFormerSuite();

// Returns true when it copied or confirmed the keys and set the marker.
bool run(QSettings& standard, const FormerSuiteOpener& openSuite = openFormerSuite);

} // namespace PreferencesMigration

} // namespace tessary
