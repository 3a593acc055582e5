#include "modules/localservices/ProcNetParser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <optional>

namespace tessary::ProcNetParser {

using namespace Qt::StringLiterals;

namespace {

std::optional<std::uint32_t> hexWord(QByteArrayView text) {
    if (text.size() != 8) {
        return std::nullopt;
    }
    std::uint32_t value = 0;
    const char* end = text.data() + text.size();
    const auto [pointer, error] = std::from_chars(text.data(), end, value, 16);
    if (error != std::errc() || pointer != end) {
        return std::nullopt;
    }
    return value;
}

QString dotted(const quint8* bytes) {
    return QString::number(bytes[0]) + u'.' + QString::number(bytes[1]) + u'.' + QString::number(bytes[2]) +
           u'.' + QString::number(bytes[3]);
}

// The compressed form of an IPv6 address: the longest run of two or more zero groups written "::",
// groups in lower-case hexadecimal, an IPv4-mapped address ending in dotted form.
QString ipv6Text(const std::array<quint8, 16>& bytes) {
    std::array<quint16, 8> groups{};
    for (std::size_t i = 0; i < groups.size(); ++i) {
        groups[i] = static_cast<quint16>((bytes[i * 2] << 8) | bytes[i * 2 + 1]);
    }
    const bool mapped = groups[0] == 0 && groups[1] == 0 && groups[2] == 0 && groups[3] == 0 &&
                        groups[4] == 0 && groups[5] == 0xffff;
    const std::size_t shown = mapped ? 6 : 8;
    std::size_t bestStart = shown;
    std::size_t bestLength = 0;
    for (std::size_t i = 0; i < shown;) {
        if (groups[i] != 0) {
            ++i;
            continue;
        }
        std::size_t j = i;
        while (j < shown && groups[j] == 0) {
            ++j;
        }
        if (j - i > bestLength && j - i >= 2) {
            bestStart = i;
            bestLength = j - i;
        }
        i = j;
    }
    QString text;
    for (std::size_t i = 0; i < shown; ++i) {
        if (i == bestStart) {
            text += u"::"_s;
            i += bestLength - 1;
            continue;
        }
        if (!text.isEmpty() && !text.endsWith(u':')) {
            text += u':';
        }
        text += QString::number(groups[i], 16);
    }
    if (mapped) {
        if (!text.endsWith(u':')) {
            text += u':';
        }
        text += dotted(bytes.data() + 12);
    }
    return text;
}

} // namespace

QString address(const quint8* bytes, int length) {
    if (length == 4) {
        const bool any = bytes[0] == 0 && bytes[1] == 0 && bytes[2] == 0 && bytes[3] == 0;
        return any ? u"*"_s : dotted(bytes);
    }
    if (length != 16) {
        return {};
    }
    std::array<quint8, 16> copy{};
    std::copy(bytes, bytes + 16, copy.begin());
    if (std::all_of(copy.begin(), copy.end(), [](quint8 b) { return b == 0; })) {
        return u"*"_s;
    }
    return u'[' + ipv6Text(copy) + u']';
}

QString address(QByteArrayView hex) {
    // The kernel prints each 32-bit word of the address as an integer of this machine: its bytes in
    // memory are the address's bytes in network order.
    std::array<quint8, 16> bytes{};
    if (hex.size() != 8 && hex.size() != 32) {
        return {};
    }
    const qsizetype words = hex.size() / 8;
    for (qsizetype i = 0; i < words; ++i) {
        const auto word = hexWord(hex.sliced(i * 8, 8));
        if (!word) {
            return {};
        }
        std::memcpy(bytes.data() + i * 4, &*word, 4);
    }
    return address(bytes.data(), static_cast<int>(words * 4));
}

std::vector<ListeningSocket> listening(QByteArrayView table) {
    std::vector<ListeningSocket> sockets;
    qsizetype start = 0;
    while (start < table.size()) {
        qsizetype end = table.indexOf('\n', start);
        if (end < 0) {
            end = table.size();
        }
        const QByteArrayView line = table.sliced(start, end - start);
        start = end + 1;

        // sl local rem st tx:rx tr:when retrnsmt uid timeout inode ...
        std::array<QByteArrayView, 10> fields{};
        std::size_t count = 0;
        qsizetype i = 0;
        while (i < line.size() && count < fields.size()) {
            while (i < line.size() && line[i] == ' ') {
                ++i;
            }
            const qsizetype fieldStart = i;
            while (i < line.size() && line[i] != ' ') {
                ++i;
            }
            if (i > fieldStart) {
                fields[count++] = line.sliced(fieldStart, i - fieldStart);
            }
        }
        if (count < 10 || fields[3] != "0A") {
            continue;
        }
        const QByteArrayView local = fields[1];
        const qsizetype colon = local.indexOf(':');
        if (colon < 0 || local.size() - colon - 1 != 4) {
            continue;
        }
        unsigned port = 0;
        const char* portEnd = local.data() + local.size();
        const auto [portPointer, portError] = std::from_chars(local.data() + colon + 1, portEnd, port, 16);
        std::uint64_t inode = 0;
        const QByteArrayView inodeText = fields[9];
        const char* inodeEnd = inodeText.data() + inodeText.size();
        const auto [inodePointer, inodeError] = std::from_chars(inodeText.data(), inodeEnd, inode);
        if (portError != std::errc() || portPointer != portEnd || port == 0 || inodeError != std::errc() ||
            inodePointer != inodeEnd || inode == 0) {
            continue;
        }
        QString text = address(local.first(colon));
        if (text.isEmpty()) {
            continue;
        }
        sockets.push_back({inode, std::move(text), static_cast<int>(port)});
    }
    return sockets;
}

} // namespace tessary::ProcNetParser
