#include "app/UnixSignals.h"

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace tessary {

namespace {
int g_signalPipe[2] = {-1, -1}; // written by the handler, read on the main thread

void onSignal(int number) {
    const auto byte = static_cast<unsigned char>(number);
    [[maybe_unused]] const ssize_t written = ::write(g_signalPipe[0], &byte, 1);
}
} // namespace

UnixSignals::UnixSignals(QObject* parent)
    : QObject(parent) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_signalPipe) != 0) {
        return;
    }
    m_notifier = new QSocketNotifier(g_signalPipe[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] {
        unsigned char byte = 0;
        if (::read(g_signalPipe[1], &byte, 1) == 1) {
            emit terminationRequested(byte);
        }
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
}

UnixSignals::~UnixSignals() {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
    delete m_notifier;
    m_notifier = nullptr;
    for (int& fd : g_signalPipe) {
        if (fd >= 0) {
            ::close(fd);
            fd = -1;
        }
    }
}

} // namespace tessary
