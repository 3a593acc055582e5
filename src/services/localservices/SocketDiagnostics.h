#pragma once

#include "modules/localservices/ProcNetParser.h"

#include <optional>
#include <vector>

namespace tessary {

// The kernel's socket table through sock_diag netlink, asked for listening TCP sockets only. It says
// what /proc/net/tcp and tcp6 say, but the kernel filters by state: on a machine with tens of
// thousands of sockets in TIME_WAIT it costs a fraction of reading those files.
namespace SocketDiagnostics {

// The listening TCP sockets of this network namespace, IPv4 and IPv6; nothing when netlink isn't
// available (the caller reads /proc/net/tcp then).
std::optional<std::vector<ProcNetParser::ListeningSocket>> listeningTCP();

} // namespace SocketDiagnostics

} // namespace tessary
