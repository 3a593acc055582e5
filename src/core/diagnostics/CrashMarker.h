#pragma once

#include <QByteArrayView>
#include <QDateTime>
#include <QString>

#include <cstddef>
#include <optional>

namespace tessary {

// The line the signal handler writes into the log as the process dies:
//
//   "epoch=1767225600 crash error signal name=SIGSEGV number=11\n"
//
// It is a log line whose timestamp is the seconds since 1970 (the handler can't format a date), so that
// the reader tells it from the lines around it. Rendering allocates nothing and calls nothing that isn't
// safe in a signal handler.
namespace CrashMarker {

// Enough for any marker: the longest name and two 20-digit numbers.
inline constexpr std::size_t capacity = 96;

// The Linux name of signals 4 to 11 ("SIGILL", "SIGTRAP", "SIGABRT", "SIGBUS", "SIGFPE", "SIGKILL",
// "SIGUSR1", "SIGSEGV"); "other" for any other number. A static string.
const char* signalName(int signal) noexcept;

// Writes the marker into `into`, never past `capacity` bytes (a short buffer cuts the line), and gives
// the bytes written. A negative epoch is written as 0.
std::size_t render(int signal, long long epoch, char* into, std::size_t capacity) noexcept;

// Copies the C string `text` to `into + at`, never reaching `end`; gives the position after it.
std::size_t copy(const char* text, char* into, std::size_t at, std::size_t end) noexcept;

struct Parsed {
    QDateTime at; // UTC
    int signal = 0;
    QString name;
    bool operator==(const Parsed&) const = default;
};

// Reads a marker line (without its newline). Anything else, or a damaged marker, gives nothing.
std::optional<Parsed> parse(QByteArrayView line);

} // namespace CrashMarker

} // namespace tessary
