#pragma once

#include "platform/sessionjump/WindowActivator.h"

namespace tessary {

// EWMH over Qt's xcb connection: the windows of `_NET_CLIENT_LIST` with their `_NET_WM_PID`, and a
// `_NET_ACTIVE_WINDOW` request as a pager sends it, which window managers honour over focus rules.
// Without an X11 connection there are no windows.
class X11WindowActivator final : public WindowActivator {
public:
    [[nodiscard]] QList<qint32> windowOwners() const override;
    bool activate(qint32 pid) override;
};

} // namespace tessary
