#pragma once

#include <QString>

#include <optional>

namespace tessary {

// Cutting texts that agents send (answers, failure details) to the sizes they are kept in. Lengths
// count user-perceived characters, so that no character is cut in two.
namespace TextClipping {

enum class Edge { start, end };

// The longest text kept for display.
inline constexpr qsizetype displayLimit = 300;
// The longest text kept for the on-device model.
inline constexpr qsizetype modelLimit = 1500;

// Trimmed; absent when empty. Over 300 characters: the first 299, trimmed again, and "…".
std::optional<QString> clipped(const std::optional<QString>& text);

// Trimmed; absent when empty. Over 1500 characters: `fitting` at that limit from `keeping`, trimmed again.
std::optional<QString> modelCut(const std::optional<QString>& text, Edge keeping);

// At most `maximumCharacters` characters of `text`. From the start: the first ones, cut back to the
// last line end among them if there is one. From the end: the last ones, from the first character
// after a line end among them if there is one. A limit under 1 gives the empty text.
QString fitting(const QString& text, qsizetype maximumCharacters, Edge keeping);

// The number of user-perceived characters, counting no further than `stopAfter`.
qsizetype characterCount(const QString& text, qsizetype stopAfter);

} // namespace TextClipping

} // namespace tessary
