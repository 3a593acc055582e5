#include "platform/systemevents/linux/LinuxSystemEventSource.h"

#include "platform/x11/X11Support.h"

#include <QDBusConnection>
#include <QGuiApplication>
#include <QScreen>
#include <QSocketNotifier>

#include <cstdlib>
#include <cstring>
#include <xcb/xcb.h>

namespace tessary {

using namespace Qt::StringLiterals;

using x11::internAtom;

struct LinuxSystemEventSource::X11Watch {
    xcb_connection_t* connection = nullptr;
    xcb_window_t root = 0;
    xcb_atom_t activeWindow = XCB_ATOM_NONE;
    xcb_atom_t currentDesktop = XCB_ATOM_NONE;
    std::unique_ptr<QSocketNotifier> notifier;

    ~X11Watch() {
        notifier.reset();
        if (connection) {
            xcb_disconnect(connection);
        }
    }
};

LinuxSystemEventSource::LinuxSystemEventSource(QObject* parent)
    : SystemEventSource(parent) {}

LinuxSystemEventSource::~LinuxSystemEventSource() {
    stop();
}

bool LinuxSystemEventSource::watchesX11() const {
    return m_x11 != nullptr;
}

void LinuxSystemEventSource::start() {
    if (m_running) {
        return;
    }
    m_running = true;

    if (qEnvironmentVariableIsSet("DISPLAY")) {
        auto watch = std::make_unique<X11Watch>();
        int screenNumber = 0;
        watch->connection = xcb_connect(nullptr, &screenNumber);
        if (xcb_connection_has_error(watch->connection) == 0) {
            watch->root = x11::rootWindow(watch->connection, screenNumber);
        }
        if (xcb_connection_has_error(watch->connection) == 0 && watch->root != XCB_WINDOW_NONE) {
            watch->activeWindow = internAtom(watch->connection, "_NET_ACTIVE_WINDOW");
            watch->currentDesktop = internAtom(watch->connection, "_NET_CURRENT_DESKTOP");
            // Other clients may select events on the root too; masks of different clients don't clash.
            const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
            xcb_change_window_attributes(watch->connection, watch->root, XCB_CW_EVENT_MASK, &mask);
            xcb_flush(watch->connection);
            watch->notifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(watch->connection),
                                                                QSocketNotifier::Read);
            connect(watch->notifier.get(), &QSocketNotifier::activated, this,
                    &LinuxSystemEventSource::readX11Events);
            m_x11 = std::move(watch);
        }
    }

    QDBusConnection::systemBus().connect(u"org.freedesktop.login1"_s, u"/org/freedesktop/login1"_s,
                                         u"org.freedesktop.login1.Manager"_s, u"PrepareForSleep"_s, this,
                                         SLOT(prepareForSleep(bool)));

    if (auto* application = qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        const auto screensChanged = [this] { emit occurred(SystemEventKind::screenParametersChanged); };
        m_connections.append(
            connect(application, &QGuiApplication::screenAdded, this, [this](QScreen* screen) {
                watchScreen(screen);
                emit occurred(SystemEventKind::screenParametersChanged);
            }));
        m_connections.append(connect(application, &QGuiApplication::screenRemoved, this, screensChanged));
        m_connections.append(
            connect(application, &QGuiApplication::primaryScreenChanged, this, screensChanged));
        for (QScreen* screen : QGuiApplication::screens()) {
            watchScreen(screen);
        }
    }
}

void LinuxSystemEventSource::watchScreen(QScreen* screen) {
    const auto changed = [this] { emit occurred(SystemEventKind::screenParametersChanged); };
    m_connections.append(connect(screen, &QScreen::geometryChanged, this, changed));
    m_connections.append(connect(screen, &QScreen::availableGeometryChanged, this, changed));
}

void LinuxSystemEventSource::stop() {
    if (!m_running) {
        return;
    }
    m_running = false;
    for (const QMetaObject::Connection& connection : std::as_const(m_connections)) {
        disconnect(connection);
    }
    m_connections.clear();
    QDBusConnection::systemBus().disconnect(u"org.freedesktop.login1"_s, u"/org/freedesktop/login1"_s,
                                            u"org.freedesktop.login1.Manager"_s, u"PrepareForSleep"_s, this,
                                            SLOT(prepareForSleep(bool)));
    m_x11.reset();
}

void LinuxSystemEventSource::prepareForSleep(bool goingToSleep) {
    if (!goingToSleep) {
        emit occurred(SystemEventKind::didWake);
    }
}

void LinuxSystemEventSource::readX11Events() {
    if (!m_x11) {
        return;
    }
    bool activated = false;
    bool spaceChanged = false;
    while (xcb_generic_event_t* event = xcb_poll_for_event(m_x11->connection)) {
        if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
            const auto* notify = reinterpret_cast<xcb_property_notify_event_t*>(event);
            activated = activated || notify->atom == m_x11->activeWindow;
            spaceChanged = spaceChanged || notify->atom == m_x11->currentDesktop;
        }
        std::free(event);
    }
    if (xcb_connection_has_error(m_x11->connection) != 0) {
        // The X server went away; the other sources go on. The notifier is the sender of this call,
        // so it goes once the call is over.
        m_x11->notifier->setEnabled(false);
        m_x11->notifier.release()->deleteLater();
        m_x11.reset();
    }
    if (activated) {
        emit occurred(SystemEventKind::applicationActivated);
    }
    if (spaceChanged) {
        emit occurred(SystemEventKind::activeSpaceChanged);
    }
}

} // namespace tessary
