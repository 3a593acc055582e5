#include "platform/workspace/linux/ScreenOnlyWorkspaceReader.h"

#include "platform/workspace/linux/X11WorkspaceReader.h"

#include <QCoreApplication>
#include <QGuiApplication>

namespace tessary {

using namespace Qt::StringLiterals;

ScreenOnlyWorkspaceReader::ScreenOnlyWorkspaceReader(const Clock& clock)
    : m_clock(clock) {}

std::optional<WorkspaceSnapshot> ScreenOnlyWorkspaceReader::read() {
    WorkspaceReading reading;
    reading.displays = m_screens.readDisplays();
    reading.ownPID = static_cast<std::int32_t>(QCoreApplication::applicationPid());
    // There is no permission to ask for here, so the program never offers to ask for one.
    reading.hasAccessibilityAccess = true;
    reading.cursorLocation = m_screens.cursorLocation();
    reading.capturedAt = m_clock.now();
    return m_assembler.assemble(reading);
}

std::unique_ptr<WorkspaceSnapshotReader> makeLinuxWorkspaceReader(const Clock& clock) {
    // Under XWayland an X connection would see only part of the windows, in other coordinates.
    if (QGuiApplication::platformName() == u"xcb"_s) {
        if (auto reader = X11WorkspaceReader::connect(clock)) {
            return reader;
        }
    }
    return std::make_unique<ScreenOnlyWorkspaceReader>(clock);
}

} // namespace tessary
