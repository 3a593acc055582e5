#pragma once

#include "modulekit/CorvaneModule.h"

#include <QMap>

#include <memory>
#include <vector>

namespace tessary {

// The one caller of modules: hands them host events in registration order and keeps the
// latest snapshot of each. Main thread only.
class ModuleEventBus {
public:
    // Appends; a module whose id is already registered is dropped and the first keeps its place.
    bool registerModule(std::shared_ptr<CorvaneModule> module);

    [[nodiscard]] const std::vector<std::shared_ptr<CorvaneModule>>& registeredModules() const {
        return m_modules;
    }
    [[nodiscard]] QStringList registeredModuleIDs() const;

    // The context's own configuration is ignored: each module gets its entry of `configurations`.
    void publish(const std::vector<HostEvent>& events, const ModuleContext& context,
                 const QMap<QString, ModuleConfiguration>& configurations);

    [[nodiscard]] const QMap<QString, ModuleSnapshot>& latestSnapshots() const { return m_latest; }
    [[nodiscard]] std::vector<ModuleSnapshot> rankedSnapshots(const QDateTime& now) const;

    // Routes a command to the first module with its id; an unknown id is silently ignored.
    QFuture<void> perform(const DetailCommand& command);

private:
    std::vector<std::shared_ptr<CorvaneModule>> m_modules;
    QMap<QString, ModuleSnapshot> m_latest;
};

} // namespace tessary
