#pragma once

#include "core/time/Clock.h"
#include "modulekit/CorvaneModule.h"
#include "modules/localservices/LocalServicesStore.h"
#include "modules/localservices/ServiceNaming.h"
#include "modules/vitals/ProcessControl.h"

#include <QFuture>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

namespace tessary {

// Asks the on-device model for a server's name; finishes with nothing when it can't say.
using ServiceNamer = std::function<QFuture<std::optional<QString>>(const ServiceNamingRequest& request)>;

struct LocalServicesModuleServices {
    LocalServicesStore& store;
    const Clock& clock;
    // Absent: the rows offer no stop.
    ProcessTerminator* terminator = nullptr;
    Delay delay;
    IsAlive isAlive;
    // Absent: the tables' names stand.
    ServiceNamer namer;
    double gracePeriod = 3;
    double forceGracePeriod = 1;
    // A scan older than this shows the widget as unavailable.
    double staleAfter = 60;
    std::uint32_t currentUID = 0;
    // Written "~" in folders.
    QString homeDirectory;
};

// The "Local ports" widget: the servers listening on this machine, grouped by project or technology,
// with the agent session that opened each, a link to open it and a command to stop it.
class LocalServicesModule final : public CorvaneModule {
public:
    static constexpr auto moduleID = "tessary.ports";
    static constexpr auto stopPrefix = "stop:";
    static constexpr auto forcePrefix = "force:";
    static constexpr auto nameServicesPrefix = "name-services:";

    enum class Scope { dev, all };
    enum class Grouping { project, technology };

    struct ServiceGroup {
        QString id;
        QString title;
        std::vector<LocalService> services;
        bool operator==(const ServiceGroup&) const = default;
    };

    explicit LocalServicesModule(LocalServicesModuleServices services);

    [[nodiscard]] QString id() const override { return QLatin1StringView(moduleID); }
    [[nodiscard]] QString displayName() const override { return QStringLiteral("Local ports"); }
    [[nodiscard]] QString summary() const override {
        return QStringLiteral("Servers listening on localhost, and which agent session opened them.");
    }
    [[nodiscard]] std::vector<ModuleSetting> settings() const override;
    [[nodiscard]] ModuleGroup group() const override { return ModuleGroup::none; }

    std::optional<ModuleSnapshot> handle(HostEvent event, const ModuleContext& context) override;
    QFuture<void> perform(const DetailCommand& command) override;

    // What the list shows. "all": everything. "dev": a named technology with a session or a port
    // below 49152; an unknown technology only with a session and a port below 49152. Sorted by port,
    // then process.
    static std::vector<LocalService> visible(const std::vector<LocalService>& services, Scope scope);
    // Groups by project folder ("Other" for none, last) or technology, by title; rows by port.
    static std::vector<ServiceGroup> groups(const std::vector<LocalService>& services, Grouping grouping,
                                            const Localization& localization);
    // "servers" and, when agents opened some, "from agents": counts shown as text.
    static std::vector<GaugeMetric> gauges(const std::vector<LocalService>& services,
                                           const Localization& localization);
    // The model's name where it gave one for a nameable service, else the technology's or command's.
    static QString serviceName(const LocalService& service, const LocalServicesStore& store,
                               AppLanguage language);

private:
    [[nodiscard]] DetailSection row(const LocalService& service, const Localization& localization) const;
    [[nodiscard]] std::optional<DetailCommand> stopCommand(const LocalService& service,
                                                           const Localization& localization) const;
    QFuture<void> stop(const QString& serviceID, bool force);
    QFuture<void> nameServices(AppLanguage language);

    LocalServicesModuleServices m_services;
    // The language of the last snapshot, for names asked for by a command.
    AppLanguage m_language = AppLanguage::english;
    // Shared with a naming pass in flight, which may outlive a call.
    std::shared_ptr<std::atomic_bool> m_naming;
};

} // namespace tessary
