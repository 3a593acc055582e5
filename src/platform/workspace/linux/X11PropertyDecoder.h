#pragma once

#include <QByteArrayView>
#include <QString>

#include <array>
#include <cstdint>
#include <optional>

namespace tessary {

// One window property as the X server returned it. Any client may set any property on its
// windows, so every field can be anything: the decoders never trust the format or the length.
struct X11Property {
    std::uint32_t type = 0;  // the type atom; 0 when the property isn't set
    std::uint8_t format = 0; // 8, 16 or 32 bits per unit
    QByteArrayView value;
    bool truncated = false; // more was left on the server than was asked for
};

// Decoders of the EWMH and ICCCM properties the workspace reader needs.
struct X11PropertyDecoder {
    // The first 32-bit unit: a CARDINAL, WINDOW or ATOM.
    static std::optional<std::uint32_t> firstLong(const X11Property& property);
    static int longCount(const X11Property& property);
    static std::uint32_t longAt(const X11Property& property, int index);
    // Whether a list of atoms holds `atom` (never the None atom).
    static bool containsAtom(const X11Property& property, std::uint32_t atom);
    // _NET_FRAME_EXTENTS: left, right, top, bottom; all zero unless exactly four are given.
    static std::array<double, 4> frameExtents(const X11Property& property);
    // A text property: UTF-8 when its type is `utf8Type`, otherwise Latin-1 (STRING, and the
    // ASCII part of COMPOUND_TEXT). A character cut by the read limit is dropped.
    static std::optional<QString> text(const X11Property& property, std::uint32_t utf8Type);
    // WM_CLASS, "instance\0Class\0": the class, or the instance when the class is empty.
    static QString applicationClass(const X11Property& property);
};

} // namespace tessary
