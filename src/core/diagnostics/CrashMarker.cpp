#include "core/diagnostics/CrashMarker.h"

#include <array>
#include <cstring>

namespace tessary {

namespace {

constexpr int firstNamed = 4;
constexpr std::array<const char*, 8> names{"SIGILL", "SIGTRAP", "SIGABRT", "SIGBUS",
                                           "SIGFPE", "SIGKILL", "SIGUSR1", "SIGSEGV"};

// Decimal digits of a non-negative number, without allocating.
std::size_t copyNumber(long long value, char* into, std::size_t at, std::size_t end) noexcept {
    std::array<char, 24> digits{};
    std::size_t count = 0;
    unsigned long long rest = value < 0 ? 0ULL : static_cast<unsigned long long>(value);
    do {
        digits.at(count++) = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0 && count < digits.size());
    while (count > 0 && at < end) {
        into[at++] = digits.at(--count);
    }
    return at;
}

constexpr QByteArrayView epochKey = "epoch=";
constexpr QByteArrayView middle = " crash error signal name=";
constexpr QByteArrayView numberKey = " number=";
// Years of 9999 and beyond are no date this program wrote.
constexpr long long latestEpoch = 253'402'300'799LL;

std::optional<long long> digitsValue(QByteArrayView text) {
    if (text.isEmpty() || text.size() > 12) {
        return std::nullopt;
    }
    long long value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        value = value * 10 + (c - '0');
    }
    return value;
}

} // namespace

const char* CrashMarker::signalName(int signal) noexcept {
    if (signal < firstNamed || signal >= firstNamed + static_cast<int>(names.size())) {
        return "other";
    }
    return names.at(static_cast<std::size_t>(signal - firstNamed));
}

std::size_t CrashMarker::copy(const char* text, char* into, std::size_t at, std::size_t end) noexcept {
    for (; *text != '\0' && at < end; ++text) {
        into[at++] = *text;
    }
    return at;
}

std::size_t CrashMarker::render(int signal, long long epoch, char* into, std::size_t capacity) noexcept {
    if (into == nullptr) {
        return 0;
    }
    std::size_t at = copy("epoch=", into, 0, capacity);
    at = copyNumber(epoch, into, at, capacity);
    at = copy(" crash error signal name=", into, at, capacity);
    at = copy(signalName(signal), into, at, capacity);
    at = copy(" number=", into, at, capacity);
    at = copyNumber(signal, into, at, capacity);
    return copy("\n", into, at, capacity);
}

std::optional<CrashMarker::Parsed> CrashMarker::parse(QByteArrayView line) {
    if (line.endsWith('\r')) {
        line.chop(1);
    }
    if (!line.startsWith(epochKey)) {
        return std::nullopt;
    }
    const qsizetype middleAt = line.indexOf(middle);
    const qsizetype numberAt = line.lastIndexOf(numberKey);
    if (middleAt < 0 || numberAt < middleAt + middle.size()) {
        return std::nullopt;
    }
    const auto epoch = digitsValue(line.sliced(epochKey.size(), middleAt - epochKey.size()));
    const QByteArrayView name = line.sliced(middleAt + middle.size(), numberAt - middleAt - middle.size());
    const auto number = digitsValue(line.sliced(numberAt + numberKey.size()));
    if (!epoch || *epoch > latestEpoch || !number || *number > 1024) {
        return std::nullopt;
    }
    const int signal = static_cast<int>(*number);
    // The name is the one the table gives for the number: anything else wasn't written by the handler.
    if (name != QByteArrayView(signalName(signal))) {
        return std::nullopt;
    }
    return Parsed{QDateTime::fromSecsSinceEpoch(*epoch, Qt::UTC), signal, QString::fromLatin1(name)};
}

} // namespace tessary
