#pragma once

#include "core/time/Clock.h"
#include "platform/workspace/WorkspaceReader.h"
#include "platform/workspace/linux/QtScreenReader.h"
#include "spatial/workspace/WorkspaceSnapshotAssembler.h"

namespace tessary {

// For sessions whose window system doesn't show other programs' windows (Wayland): the displays
// and the cursor, and no windows. The active display then follows the cursor.
class ScreenOnlyWorkspaceReader final : public WorkspaceSnapshotReader {
public:
    explicit ScreenOnlyWorkspaceReader(const Clock& clock);

    [[nodiscard]] std::optional<WorkspaceSnapshot> read() override;

private:
    const Clock& m_clock;
    QtScreenReader m_screens;
    WorkspaceSnapshotAssembler m_assembler;
};

// The reader for this session: X11 windows where Qt runs on X11 and the server answers, else
// displays and cursor alone.
std::unique_ptr<WorkspaceSnapshotReader> makeLinuxWorkspaceReader(const Clock& clock);

} // namespace tessary
