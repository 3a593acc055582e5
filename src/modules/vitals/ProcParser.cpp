#include "modules/vitals/ProcParser.h"

#include <array>
#include <charconv>

namespace tessary::ProcParser {

namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

// Splits `text` at blanks into at most N fields; the count says how many there were.
template <std::size_t N>
struct Fields {
    std::array<QByteArrayView, N> items{};
    std::size_t count = 0;
};

template <std::size_t N>
Fields<N> splitFields(QByteArrayView text) {
    Fields<N> fields;
    qsizetype i = 0;
    const qsizetype size = text.size();
    while (i < size && fields.count < N) {
        while (i < size && (isBlank(text[i]) || text[i] == '\n')) {
            ++i;
        }
        const qsizetype start = i;
        while (i < size && !isBlank(text[i]) && text[i] != '\n') {
            ++i;
        }
        if (i > start) {
            fields.items[fields.count++] = text.sliced(start, i - start);
        }
    }
    return fields;
}

std::optional<std::int64_t> signedNumber(QByteArrayView text) {
    if (text.isEmpty()) {
        return std::nullopt;
    }
    std::int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [pointer, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || pointer != end) {
        return std::nullopt;
    }
    return value;
}

std::optional<double> decimal(QByteArrayView text) {
    if (text.isEmpty()) {
        return std::nullopt;
    }
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [pointer, error] = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    if (error != std::errc() || pointer != end || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

// Calls `line` for each line of `text`, without its line end.
template <typename Each>
void forEachLine(QByteArrayView text, Each line) {
    qsizetype start = 0;
    while (start < text.size()) {
        qsizetype end = text.indexOf('\n', start);
        if (end < 0) {
            end = text.size();
        }
        if (!line(text.sliced(start, end - start))) {
            return;
        }
        start = end + 1;
    }
}

// "avg10=1.50" gives 1.50 for the key "avg10".
std::optional<double> keyedDecimal(QByteArrayView field, QByteArrayView key) {
    if (!field.startsWith(key) || field.size() <= key.size() || field[key.size()] != '=') {
        return std::nullopt;
    }
    return decimal(field.sliced(key.size() + 1));
}

// A kilobyte figure as bytes, refusing what doesn't fit.
std::optional<std::uint64_t> kilobytes(QByteArrayView value) {
    const auto number = unsignedNumber(value);
    if (!number || *number > UINT64_MAX / 1024) {
        return std::nullopt;
    }
    return *number * 1024;
}

} // namespace

std::optional<std::uint64_t> unsignedNumber(QByteArrayView text) {
    if (text.isEmpty() || text[0] == '-' || text[0] == '+') {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [pointer, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || pointer != end) {
        return std::nullopt;
    }
    return value;
}

std::optional<CPUTicks> cpuTicks(QByteArrayView stat) {
    std::optional<CPUTicks> ticks;
    forEachLine(stat, [&](QByteArrayView line) {
        if (!line.startsWith("cpu ")) {
            return true;
        }
        const auto fields = splitFields<11>(line);
        // user nice system idle, and since long iowait irq softirq steal.
        if (fields.count < 5) {
            return false;
        }
        std::array<std::uint64_t, 8> values{};
        for (std::size_t i = 1; i < std::min<std::size_t>(fields.count, 9); ++i) {
            const auto number = unsignedNumber(fields.items[i]);
            if (!number) {
                return false;
            }
            values[i - 1] = *number;
        }
        // Guest time is already counted in user and nice.
        CPUTicks result;
        result.user = values[0];
        result.nice = values[1];
        result.system = values[2] + values[5] + values[6] + values[7];
        result.idle = values[3] + values[4];
        ticks = result;
        return false;
    });
    return ticks;
}

int cpuCount(QByteArrayView stat) {
    int count = 0;
    forEachLine(stat, [&](QByteArrayView line) {
        if (line.size() > 3 && line.startsWith("cpu") && line[3] >= '0' && line[3] <= '9') {
            ++count;
        }
        return true;
    });
    return count;
}

std::optional<std::int64_t> bootTime(QByteArrayView stat) {
    std::optional<std::int64_t> boot;
    forEachLine(stat, [&](QByteArrayView line) {
        if (!line.startsWith("btime ")) {
            return true;
        }
        const auto fields = splitFields<2>(line);
        if (fields.count == 2) {
            if (const auto value = unsignedNumber(fields.items[1]); value && *value < (1ULL << 62)) {
                boot = static_cast<std::int64_t>(*value);
            }
        }
        return false;
    });
    return boot;
}

std::optional<MemInfo> memInfo(QByteArrayView text) {
    MemInfo info;
    bool any = false;
    forEachLine(text, [&](QByteArrayView line) {
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0) {
            return true;
        }
        const QByteArrayView key = line.first(colon);
        const auto fields = splitFields<2>(line.sliced(colon + 1));
        if (fields.count < 1) {
            return true;
        }
        // The kernel writes every figure of this file in kB.
        if (fields.count == 2 && fields.items[1] != "kB") {
            return true;
        }
        const auto value = kilobytes(fields.items[0]);
        if (!value) {
            return true;
        }
        struct Key {
            const char* name;
            std::optional<std::uint64_t> MemInfo::*field;
        };
        static constexpr std::array<Key, 14> keys{{
            {"MemTotal", &MemInfo::total},
            {"MemFree", &MemInfo::free},
            {"MemAvailable", &MemInfo::available},
            {"Buffers", &MemInfo::buffers},
            {"Cached", &MemInfo::cached},
            {"Shmem", &MemInfo::shmem},
            {"SReclaimable", &MemInfo::slabReclaimable},
            {"SUnreclaim", &MemInfo::slabUnreclaimable},
            {"KernelStack", &MemInfo::kernelStack},
            {"PageTables", &MemInfo::pageTables},
            {"Unevictable", &MemInfo::unevictable},
            {"SwapTotal", &MemInfo::swapTotal},
            {"SwapFree", &MemInfo::swapFree},
            {"Zswap", &MemInfo::zswap},
        }};
        for (const Key& entry : keys) {
            if (key == QByteArrayView(entry.name)) {
                info.*entry.field = *value;
                any = true;
                break;
            }
        }
        return true;
    });
    if (!any || !info.total || *info.total == 0) {
        return std::nullopt;
    }
    return info;
}

std::optional<PressureStall> pressure(QByteArrayView text) {
    std::optional<double> some10;
    std::optional<double> some60;
    std::optional<double> full10;
    forEachLine(text, [&](QByteArrayView line) {
        const auto fields = splitFields<5>(line);
        if (fields.count < 3) {
            return true;
        }
        const auto avg10 = keyedDecimal(fields.items[1], "avg10");
        const auto avg60 = keyedDecimal(fields.items[2], "avg60");
        if (fields.items[0] == "some") {
            some10 = avg10;
            some60 = avg60;
        } else if (fields.items[0] == "full") {
            full10 = avg10;
        }
        return true;
    });
    if (!some10 || !some60) {
        return std::nullopt;
    }
    const auto percent = [](double value) { return std::clamp(value, 0.0, 100.0); };
    PressureStall stall{percent(*some10), percent(*some60), std::nullopt};
    if (full10) {
        stall.fullAvg10 = percent(*full10);
    }
    return stall;
}

std::vector<double> loadAverages(QByteArrayView text) {
    const auto fields = splitFields<3>(text);
    std::vector<double> load;
    for (std::size_t i = 0; i < fields.count; ++i) {
        const auto value = decimal(fields.items[i]);
        if (!value || *value < 0) {
            return {};
        }
        load.push_back(*value);
    }
    return fields.count == 3 ? load : std::vector<double>{};
}

std::optional<ProcessStat> processStat(QByteArrayView text) {
    // The command stands in parentheses and may itself hold blanks and parentheses: it ends at
    // the last ")".
    const qsizetype open = text.indexOf('(');
    const qsizetype close = text.lastIndexOf(')');
    if (open <= 0 || close < open) {
        return std::nullopt;
    }
    const auto pid = signedNumber(text.first(open).trimmed());
    if (!pid || *pid <= 0 || *pid > INT32_MAX) {
        return std::nullopt;
    }
    const auto fields = splitFields<22>(text.sliced(close + 1));
    if (fields.count < 22 || fields.items[0].size() != 1) {
        return std::nullopt;
    }
    const auto parent = signedNumber(fields.items[1]);
    const auto terminal = signedNumber(fields.items[4]);
    const auto flags = unsignedNumber(fields.items[6]);
    const auto user = unsignedNumber(fields.items[11]);
    const auto system = unsignedNumber(fields.items[12]);
    const auto start = unsignedNumber(fields.items[19]);
    const auto resident = signedNumber(fields.items[21]);
    if (!parent || !terminal || !flags || !user || !system || !start || !resident || *parent < 0 ||
        *parent > INT32_MAX) {
        return std::nullopt;
    }
    ProcessStat stat;
    stat.pid = static_cast<std::int32_t>(*pid);
    stat.command = QString::fromUtf8(text.sliced(open + 1, close - open - 1));
    stat.state = fields.items[0][0];
    stat.parent = static_cast<std::int32_t>(*parent);
    stat.flags = static_cast<std::uint32_t>(*flags);
    stat.terminal = static_cast<std::int32_t>(*terminal);
    stat.userTicks = *user;
    stat.systemTicks = *system;
    stat.startTicks = *start;
    stat.residentPages = *resident;
    return stat;
}

std::optional<ProcessStatm> processStatm(QByteArrayView text) {
    const auto fields = splitFields<3>(text);
    if (fields.count < 3) {
        return std::nullopt;
    }
    const auto size = unsignedNumber(fields.items[0]);
    const auto resident = unsignedNumber(fields.items[1]);
    const auto shared = unsignedNumber(fields.items[2]);
    if (!size || !resident || !shared) {
        return std::nullopt;
    }
    return ProcessStatm{*size, *resident, *shared};
}

std::optional<int> fileFlags(QByteArrayView fdinfo) {
    std::optional<int> flags;
    forEachLine(fdinfo, [&](QByteArrayView line) {
        if (!line.startsWith("flags:")) {
            return true;
        }
        const QByteArrayView value = line.sliced(6).trimmed();
        int parsed = 0;
        const char* end = value.data() + value.size();
        const auto [pointer, error] = std::from_chars(value.data(), end, parsed, 8);
        if (!value.isEmpty() && error == std::errc() && pointer == end && parsed >= 0) {
            flags = parsed;
        }
        return false;
    });
    return flags;
}

std::vector<QString> commandLine(QByteArrayView cmdline) {
    std::vector<QString> arguments;
    qsizetype start = 0;
    while (start < cmdline.size()) {
        qsizetype end = cmdline.indexOf('\0', start);
        if (end < 0) {
            end = cmdline.size();
        }
        arguments.push_back(QString::fromUtf8(cmdline.sliced(start, end - start)));
        start = end + 1;
    }
    return arguments;
}

} // namespace tessary::ProcParser
