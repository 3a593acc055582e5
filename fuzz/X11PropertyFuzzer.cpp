// Window properties are set by any X client, so the workspace reader decodes bytes that a hostile
// or broken program chose. Input: a byte choosing the format (8, 16, 32), a byte of flags
// (1: cut short by the read limit, 2: of type UTF8_STRING), then the value.
#include "platform/workspace/linux/X11PropertyDecoder.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using tessary::X11Property;
    using tessary::X11PropertyDecoder;
    if (size < 2) {
        return 0;
    }
    constexpr std::uint32_t utf8Type = 300;
    constexpr std::uint8_t formats[] = {8, 16, 32, 0};
    X11Property property;
    property.format = formats[data[0] % 4];
    property.truncated = (data[1] & 1) != 0;
    property.type = (data[1] & 2) != 0 ? utf8Type : 31;
    property.value =
        QByteArrayView(reinterpret_cast<const char*>(data + 2), static_cast<qsizetype>(size - 2));

    const auto first = X11PropertyDecoder::firstLong(property);
    const int count = X11PropertyDecoder::longCount(property);
    if (qsizetype{count} * 4 > property.value.size() || (count > 0) != first.has_value()) {
        __builtin_trap();
    }
    for (int i = 0; i < count; ++i) {
        if (!X11PropertyDecoder::containsAtom(property, X11PropertyDecoder::longAt(property, i)) &&
            X11PropertyDecoder::longAt(property, i) != 0) {
            __builtin_trap();
        }
    }
    for (const double extent : X11PropertyDecoder::frameExtents(property)) {
        if (extent < 0 || extent > 10'000) {
            __builtin_trap();
        }
    }
    const auto text = X11PropertyDecoder::text(property, utf8Type);
    if (text.has_value() != (property.format == 8)) {
        __builtin_trap();
    }
    const QString applicationClass = X11PropertyDecoder::applicationClass(property);
    if (applicationClass.size() > property.value.size()) {
        __builtin_trap();
    }
    return 0;
}
