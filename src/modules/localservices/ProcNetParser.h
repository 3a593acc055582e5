#pragma once

#include <QByteArrayView>
#include <QString>

#include <cstdint>
#include <vector>

namespace tessary {

// Reads /proc/net/tcp and /proc/net/tcp6: the kernel's table of TCP sockets, one a line, addresses in
// hexadecimal as this machine stores them.
namespace ProcNetParser {

struct ListeningSocket {
    std::uint64_t inode = 0;
    // As lsof writes it: "*" for any address, "127.0.0.1", "[::1]".
    QString address;
    int port = 0;
    bool operator==(const ListeningSocket&) const = default;
};

// The sockets in state LISTEN (0A). Lines that don't parse are skipped.
std::vector<ListeningSocket> listening(QByteArrayView table);

// "0100007F" (IPv4) or 32 hex digits (IPv6), in the byte order of this machine's kernel.
QString address(QByteArrayView hex);

// An address of 4 or 16 bytes in network order, written as lsof writes it; empty for other lengths.
QString address(const quint8* bytes, int length);

} // namespace ProcNetParser

} // namespace tessary
