#include "modules/vitals/ProcessCommands.h"

#include <algorithm>

namespace tessary::ProcessCommands {

using namespace Qt::StringLiterals;

DetailCommand command(const ProcessUsage& row, const QString& moduleID, const SystemVitalsStore& store,
                      const Localization& localization) {
    DetailCommand command;
    command.moduleID = moduleID;
    command.isDestructive = true;
    if (store.isSurvivor(row.id)) {
        command.id = QLatin1StringView(forceKillPrefix) + row.id;
        command.title = localization.text(u"Force kill"_s);
        command.confirmation = localization.format(u"Force kill %1?"_s, row.name);
        return command;
    }
    command.id = QLatin1StringView(killPrefix) + row.id;
    command.title = localization.text(u"Kill"_s);
    if (row.pids.size() > 1) {
        command.confirmation =
            localization.format(u"Kill %1 (%2)?"_s, row.name,
                                localization.format(u"%1 processes"_s, QString::number(row.pids.size())));
    } else {
        command.confirmation = localization.format(u"Kill %1?"_s, row.name);
    }
    return command;
}

std::optional<Parsed> parse(const QString& commandID) {
    const QLatin1StringView force(forceKillPrefix);
    const QLatin1StringView kill(killPrefix);
    if (commandID.startsWith(force) && commandID.size() > force.size()) {
        return Parsed{commandID.mid(force.size()), true};
    }
    if (commandID.startsWith(kill) && commandID.size() > kill.size()) {
        return Parsed{commandID.mid(kill.size()), false};
    }
    return std::nullopt;
}

QFuture<void> perform(const DetailCommand& command, const VitalsModuleServices& services) {
    const auto parsed = parse(command.id);
    const auto latest = services.store.latest();
    if (!parsed || !latest || services.terminator == nullptr) {
        return QtFuture::makeReadyFuture();
    }
    const auto row = std::find_if(latest->processes.begin(), latest->processes.end(),
                                  [&](const ProcessUsage& usage) { return usage.id == parsed->rowID; });
    if (row == latest->processes.end()) {
        return QtFuture::makeReadyFuture();
    }
    StopRequest request;
    request.force = parsed->force;
    request.gracePeriod = parsed->force ? services.forceGracePeriod : services.gracePeriod;
    SystemVitalsStore& store = services.store;
    const QString rowID = row->id;
    bool anyAlive = false;
    for (const std::int32_t pid : row->pids) {
        // Processes of the row that already ended (after an earlier kill) aren't signalled again.
        if (services.isAlive && !services.isAlive(pid)) {
            continue;
        }
        anyAlive = true;
        if (pid >= 2 && pid != services.ownPID) {
            request.pids.push_back(pid);
        }
    }
    if (!anyAlive) {
        store.removeRow(rowID);
        return QtFuture::makeReadyFuture();
    }
    if (request.pids.empty()) {
        store.recordFailure(rowID, u"refusing to signal this process"_s);
        return QtFuture::makeReadyFuture();
    }
    store.noteKillRequested(rowID, services.clock.now());
    return stopProcesses(*services.terminator, std::move(request), services.delay, services.isAlive)
        .then([&store, rowID](const StopResult& result) {
            if (!result.stopped) {
                store.recordFailure(rowID, result.failure ? result.failure->userText : QString());
                return;
            }
            if (result.failure) {
                store.recordFailure(rowID, result.failure->userText);
            }
            if (result.survivors.empty()) {
                store.removeRow(rowID);
            } else {
                store.markSurvivor(rowID);
            }
        });
}

} // namespace tessary::ProcessCommands
