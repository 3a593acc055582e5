#pragma once

#include <QString>

#include <optional>

namespace tessary {

// The size of a Claude model's context window, learnt from nothing but the transcript and the
// user's settings: Claude Code writes no window size anywhere.
namespace ClaudeContextWindow {

inline constexpr qint64 standard = 200'000;
inline constexpr qint64 large = 1'000'000;

// A session seen holding more than the standard window has the large one; a haiku model has the
// standard one; otherwise the configured model decides ("[1m]" asks for the large window).
qint64 resolve(const std::optional<QString>& model, qint64 observedMaximum,
               const std::optional<QString>& configuredModel);

// The configured model when it is of the same family (opus, sonnet, haiku, ...) as `model`, so
// that a configured window speaks only for models of its own family; nothing otherwise.
std::optional<QString> configuredModel(const std::optional<QString>& configured,
                                       const std::optional<QString>& model);

} // namespace ClaudeContextWindow

} // namespace tessary
