#pragma once

#include "platform/systemevents/SystemEventSource.h"

#include <QList>
#include <QMetaObject>

#include <memory>

class QScreen;

namespace tessary {

// On Linux: _NET_ACTIVE_WINDOW and _NET_CURRENT_DESKTOP changes on the X11 root window (through a
// connection of its own, so it works whichever Qt platform plugin runs), logind's
// PrepareForSleep(false) on the system bus for wake, and Qt's screen signals. Without X11 (Wayland)
// only the last two are available.
class LinuxSystemEventSource final : public SystemEventSource {
    Q_OBJECT
public:
    explicit LinuxSystemEventSource(QObject* parent = nullptr);
    ~LinuxSystemEventSource() override;
    LinuxSystemEventSource(const LinuxSystemEventSource&) = delete;
    LinuxSystemEventSource& operator=(const LinuxSystemEventSource&) = delete;
    LinuxSystemEventSource(LinuxSystemEventSource&&) = delete;
    LinuxSystemEventSource& operator=(LinuxSystemEventSource&&) = delete;

    void start() override;
    void stop() override;

    // True when the root window is being watched.
    [[nodiscard]] bool watchesX11() const;

private slots:
    void prepareForSleep(bool goingToSleep);

private:
    void watchScreen(QScreen* screen);
    void readX11Events();

    struct X11Watch;
    std::unique_ptr<X11Watch> m_x11;
    QList<QMetaObject::Connection> m_connections;
    bool m_running = false;
};

} // namespace tessary
