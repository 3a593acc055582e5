#include "platform/workspace/linux/X11PropertyDecoder.h"

#include <cstring>

namespace tessary {

int X11PropertyDecoder::longCount(const X11Property& property) {
    if (property.type == 0 || property.format != 32) {
        return 0;
    }
    return static_cast<int>(property.value.size() / 4);
}

std::uint32_t X11PropertyDecoder::longAt(const X11Property& property, int index) {
    std::uint32_t value = 0;
    // The bytes may come unaligned; copying reads them safely.
    std::memcpy(&value, property.value.data() + static_cast<qsizetype>(index) * 4, sizeof value);
    return value;
}

std::optional<std::uint32_t> X11PropertyDecoder::firstLong(const X11Property& property) {
    if (longCount(property) == 0) {
        return std::nullopt;
    }
    return longAt(property, 0);
}

bool X11PropertyDecoder::containsAtom(const X11Property& property, std::uint32_t atom) {
    if (atom == 0) {
        return false;
    }
    const int count = longCount(property);
    for (int i = 0; i < count; ++i) {
        if (longAt(property, i) == atom) {
            return true;
        }
    }
    return false;
}

std::array<double, 4> X11PropertyDecoder::frameExtents(const X11Property& property) {
    if (longCount(property) != 4) {
        return {0, 0, 0, 0};
    }
    std::array<double, 4> extents{};
    for (int i = 0; i < 4; ++i) {
        // A decoration wider than any screen is nonsense; keep it from throwing frames far away.
        extents.at(static_cast<std::size_t>(i)) = std::min<double>(longAt(property, i), 10'000);
    }
    return extents;
}

std::optional<QString> X11PropertyDecoder::text(const X11Property& property, std::uint32_t utf8Type) {
    if (property.type == 0 || property.format != 8) {
        return std::nullopt;
    }
    QByteArrayView raw = property.value;
    while (raw.endsWith('\0')) {
        raw.chop(1);
    }
    QString decoded = property.type == utf8Type ? QString::fromUtf8(raw) : QString::fromLatin1(raw);
    if (property.truncated && decoded.endsWith(QChar::ReplacementCharacter)) {
        decoded.chop(1);
    }
    return decoded;
}

QString X11PropertyDecoder::applicationClass(const X11Property& property) {
    if (property.type == 0 || property.format != 8) {
        return {};
    }
    const QByteArrayView raw = property.value;
    const qsizetype end = raw.indexOf('\0');
    const QByteArrayView instance = end < 0 ? raw : raw.first(end);
    if (end >= 0) {
        QByteArrayView rest = raw.sliced(end + 1);
        const qsizetype classEnd = rest.indexOf('\0');
        const QByteArrayView applicationClass = classEnd < 0 ? rest : rest.first(classEnd);
        if (!applicationClass.isEmpty()) {
            return QString::fromLatin1(applicationClass);
        }
    }
    return QString::fromLatin1(instance);
}

} // namespace tessary
