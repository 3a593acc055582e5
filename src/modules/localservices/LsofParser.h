#pragma once

#include <QString>
#include <QStringView>

#include <cstdint>
#include <optional>
#include <vector>

namespace tessary {

// Reads the field output of `lsof -F pcnu` (lines, or fields ended by zero bytes with -F0): the first
// character of each field is its tag. Damaged output loses the damaged fields, never the rest.
namespace LsofParser {

struct Listener {
    std::int32_t pid = 0;
    std::optional<std::uint32_t> uid;
    QString command;
    QString address;
    int port = 0;
    bool operator==(const Listener&) const = default;
};

// The listeners, one per process and port (a port bound on several addresses gives one, with the
// widest address), ordered by process and port.
std::vector<Listener> parse(QStringView output);

// "address:port" split at the last ":", so that "[::1]:3000" gives "[::1]" and 3000. The port must
// be a number from 1 to 65535.
struct Endpoint {
    QString address;
    int port = 0;
    bool operator==(const Endpoint&) const = default;
};
std::optional<Endpoint> endpoint(QStringView text);

// How wide an address is: "*" before "127.0.0.1" before "localhost" before any other.
int addressRank(QStringView address);

// Whether lsof's exit means failure, and its text: status 0 is fine, and so is any status when
// listeners were found. Otherwise the warnings of the error output are dropped (lines beginning
// "WARNING" or "lsof: WARNING", with their indented continuation lines); status 1 with nothing left
// is fine (lsof's answer when nothing listens). Anything else gives
// "lsof exited <status>" and what remains of the error output.
std::optional<QString> scanFailure(int status, QStringView errorOutput, std::size_t listenerCount);

} // namespace LsofParser

} // namespace tessary
