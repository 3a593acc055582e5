#include "modulekit/ModuleEventBus.h"

#include "modulekit/SnapshotPrioritizer.h"

#include <algorithm>

namespace tessary {

bool ModuleEventBus::registerModule(std::shared_ptr<CorvaneModule> module) {
    if (!module) {
        return false;
    }
    const QString id = module->id();
    const bool known = std::any_of(m_modules.cbegin(), m_modules.cend(),
                                   [&](const std::shared_ptr<CorvaneModule>& m) { return m->id() == id; });
    if (known) {
        return false;
    }
    m_modules.push_back(std::move(module));
    return true;
}

QStringList ModuleEventBus::registeredModuleIDs() const {
    QStringList ids;
    ids.reserve(static_cast<qsizetype>(m_modules.size()));
    for (const auto& module : m_modules) {
        ids.append(module->id());
    }
    return ids;
}

void ModuleEventBus::publish(const std::vector<HostEvent>& events, const ModuleContext& context,
                             const QMap<QString, ModuleConfiguration>& configurations) {
    for (const HostEvent event : events) {
        for (const auto& module : m_modules) {
            const QString id = module->id();
            ModuleContext moduleContext = context;
            moduleContext.configuration = configurations.value(id);
            if (std::optional<ModuleSnapshot> snapshot = module->handle(event, moduleContext)) {
                m_latest.insert(id, snapshot->grouped(module->group()));
            }
        }
    }
}

std::vector<ModuleSnapshot> ModuleEventBus::rankedSnapshots(const QDateTime& now) const {
    return SnapshotPrioritizer::rank(std::vector<ModuleSnapshot>(m_latest.cbegin(), m_latest.cend()), now);
}

QFuture<void> ModuleEventBus::perform(const DetailCommand& command) {
    for (const auto& module : m_modules) {
        if (module->id() == command.moduleID) {
            return module->perform(command);
        }
    }
    return QtFuture::makeReadyFuture();
}

} // namespace tessary
