#pragma once

#include "platform/workspace/WorkspaceReader.h"

namespace tessary {

// Hands out whatever snapshot the test put in, and counts the reads.
class FakeWorkspaceReader final : public WorkspaceSnapshotReader {
public:
    FakeWorkspaceReader() = default;
    explicit FakeWorkspaceReader(std::optional<WorkspaceSnapshot> initial)
        : snapshot(std::move(initial)) {}

    [[nodiscard]] std::optional<WorkspaceSnapshot> read() override {
        ++reads;
        return snapshot;
    }

    std::optional<WorkspaceSnapshot> snapshot;
    int reads = 0;
};

} // namespace tessary
