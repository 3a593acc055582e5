#include "services/localservices/SocketDiagnostics.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tessary::SocketDiagnostics {

namespace {

constexpr int tcpListen = 10; // TCP_LISTEN of the kernel's state numbers

// Closes the descriptor when it goes.
class Descriptor {
public:
    explicit Descriptor(int value)
        : m_value(value) {}
    ~Descriptor() {
        if (m_value >= 0) {
            ::close(m_value);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor(Descriptor&&) = delete;
    Descriptor& operator=(Descriptor&&) = delete;
    [[nodiscard]] int get() const { return m_value; }

private:
    int m_value;
};

bool dump(int family, std::vector<ProcNetParser::ListeningSocket>& sockets) {
    const Descriptor socket(::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
    if (socket.get() < 0) {
        return false;
    }
    struct Request {
        nlmsghdr header;
        inet_diag_req_v2 body;
    } request{};
    request.header.nlmsg_len = sizeof(request);
    request.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.body.sdiag_family = static_cast<__u8>(family);
    request.body.sdiag_protocol = IPPROTO_TCP;
    request.body.idiag_states = 1U << tcpListen;
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (::sendto(socket.get(), &request, sizeof(request), 0, reinterpret_cast<const sockaddr*>(&kernel),
                 sizeof(kernel)) < 0) {
        return false;
    }

    alignas(nlmsghdr) std::array<char, 32768> buffer{};
    while (true) {
        const ssize_t received = ::recv(socket.get(), buffer.data(), buffer.size(), 0);
        if (received < 0 && errno == EINTR) {
            continue;
        }
        if (received <= 0) {
            return false;
        }
        auto remaining = static_cast<int>(received);
        for (auto* message = reinterpret_cast<nlmsghdr*>(buffer.data()); NLMSG_OK(message, remaining);
             message = NLMSG_NEXT(message, remaining)) {
            if (message->nlmsg_type == NLMSG_DONE) {
                return true;
            }
            if (message->nlmsg_type == NLMSG_ERROR) {
                return false;
            }
            if (message->nlmsg_type != SOCK_DIAG_BY_FAMILY ||
                message->nlmsg_len < NLMSG_LENGTH(sizeof(inet_diag_msg))) {
                continue;
            }
            inet_diag_msg diag{};
            std::memcpy(&diag, reinterpret_cast<const char*>(message) + NLMSG_HDRLEN, sizeof(diag));
            if (diag.idiag_state != tcpListen || diag.idiag_inode == 0) {
                continue;
            }
            std::array<quint8, 16> address{};
            std::memcpy(address.data(), diag.id.idiag_src, address.size());
            const int port = ntohs(diag.id.idiag_sport);
            QString text = ProcNetParser::address(address.data(), family == AF_INET ? 4 : 16);
            if (port > 0 && !text.isEmpty()) {
                sockets.push_back({diag.idiag_inode, std::move(text), port});
            }
        }
    }
}

} // namespace

std::optional<std::vector<ProcNetParser::ListeningSocket>> listeningTCP() {
    std::vector<ProcNetParser::ListeningSocket> sockets;
    if (!dump(AF_INET, sockets)) {
        return std::nullopt;
    }
    // A kernel without IPv6 has nothing to say about it; that is no failure.
    dump(AF_INET6, sockets);
    return sockets;
}

} // namespace tessary::SocketDiagnostics
