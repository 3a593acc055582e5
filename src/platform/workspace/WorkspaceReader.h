#pragma once

#include "core/records/WorkspaceSnapshot.h"

#include <optional>

namespace tessary {

// Reads the displays, the windows on them, the active window and the cursor into one value.
// Runs on the main thread once per refresh (up to 2.5 times a second), so it must be cheap.
class WorkspaceSnapshotReader {
public:
    WorkspaceSnapshotReader() = default;
    WorkspaceSnapshotReader(const WorkspaceSnapshotReader&) = delete;
    WorkspaceSnapshotReader& operator=(const WorkspaceSnapshotReader&) = delete;
    WorkspaceSnapshotReader(WorkspaceSnapshotReader&&) = delete;
    WorkspaceSnapshotReader& operator=(WorkspaceSnapshotReader&&) = delete;
    virtual ~WorkspaceSnapshotReader() = default;

    // Absent only when no display could be read; missing window facts leave the list short.
    [[nodiscard]] virtual std::optional<WorkspaceSnapshot> read() = 0;
};

} // namespace tessary
