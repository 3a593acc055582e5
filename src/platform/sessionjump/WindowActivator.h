#pragma once

#include <QList>
#include <QtGlobal>

#include <optional>

namespace tessary {

// The top-level windows of running applications by the process that owns them, and bringing one
// to the front: how a jump reaches a terminal once its tab is chosen.
class WindowActivator {
public:
    WindowActivator() = default;
    WindowActivator(const WindowActivator&) = delete;
    WindowActivator& operator=(const WindowActivator&) = delete;
    WindowActivator(WindowActivator&&) = delete;
    WindowActivator& operator=(WindowActivator&&) = delete;
    virtual ~WindowActivator() = default;

    // The processes that own a top-level window now.
    [[nodiscard]] virtual QList<qint32> windowOwners() const = 0;
    // Raises and focuses a window of `pid`; false when it has none or the system refused.
    virtual bool activate(qint32 pid) = 0;
};

} // namespace tessary
