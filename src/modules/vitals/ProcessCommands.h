#pragma once

#include "core/localization/Localization.h"
#include "core/time/Clock.h"
#include "modulekit/Detail.h"
#include "modules/vitals/ProcessControl.h"
#include "modules/vitals/SystemVitalsStore.h"

#include <QFuture>

#include <cstdint>
#include <optional>

namespace tessary {

// What the CPU and Memory widgets need to act and to judge their data.
struct VitalsModuleServices {
    SystemVitalsStore& store;
    const Clock& clock;
    // Absent: the rows offer no kill.
    ProcessTerminator* terminator = nullptr;
    Delay delay;
    IsAlive isAlive;
    double gracePeriod = 3;
    double forceGracePeriod = 1;
    // A sampling older than this shows the widget as unavailable.
    double staleAfter = 30;
    std::uint32_t currentUID = 0;
    // This program's own process, which is never signalled from its own widget.
    std::int32_t ownPID = 0;
};

// The kill command of a process row, and carrying it out.
namespace ProcessCommands {

inline constexpr auto killPrefix = "kill:";
inline constexpr auto forceKillPrefix = "force-kill:";

// "Kill %1?" for one process, "Kill %1 (%2)?" with "%1 processes" for several; after a kill that
// left survivors, "Force kill" with "Force kill %1?".
DetailCommand command(const ProcessUsage& row, const QString& moduleID, const SystemVitalsStore& store,
                      const Localization& localization);

struct Parsed {
    QString rowID;
    bool force = false;
    bool operator==(const Parsed&) const = default;
};
std::optional<Parsed> parse(const QString& commandID);

// Signals the row's live processes (never a process id below 2, never this program), notes the request,
// waits the grace period (the force one after "force-kill:"), then marks the row as surviving if any
// of its processes still runs, or takes it off the list at once. A refusal is stored as the row's
// failure. A row whose processes have all ended leaves the list; an unknown row, or no terminator,
// does nothing.
QFuture<void> perform(const DetailCommand& command, const VitalsModuleServices& services);

} // namespace ProcessCommands

} // namespace tessary
