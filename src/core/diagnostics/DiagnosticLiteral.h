#pragma once

#include <QLatin1StringView>
#include <QStringView>

#include <cstddef>

namespace tessary {

namespace diagnostics_detail {

// Deliberately not constexpr: reaching it while a literal is checked at compile time stops the build.
void literalHasCharactersOutsideSafeNames();
void literalIsNotPrintableAscii();

constexpr bool isSafeNameCharacter(char32_t c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_';
}

} // namespace diagnostics_detail

// The longest text that counts as a safe name.
inline constexpr qsizetype safeNameLimit = 40;

// True for 1 to 40 characters, each an ASCII letter, an ASCII digit, "-", "." or "_".
constexpr bool isSafeName(QStringView text) {
    if (text.isEmpty() || text.size() > safeNameLimit) {
        return false;
    }
    for (const QChar c : text) {
        if (!diagnostics_detail::isSafeNameCharacter(c.unicode())) {
            return false;
        }
    }
    return true;
}

// An event name or a field key: a string literal of the source, checked while compiling to be a non-empty
// run of ASCII letters, digits, ".", "-" and "_", so that every fixed part of a log line is readable in the
// code and none of them can break the "key=value" form. There is no way to make one from a run-time text.
class DiagnosticLiteral {
public:
    template <std::size_t N>
    // NOLINTNEXTLINE(google-explicit-constructor): literals convert implicitly at the call site
    consteval DiagnosticLiteral(const char (&text)[N])
        : m_text(text)
        , m_size(static_cast<qsizetype>(N - 1)) {
        static_assert(N > 1, "a diagnostic event or key is never empty");
        for (std::size_t i = 0; i + 1 < N; ++i) {
            if (!diagnostics_detail::isSafeNameCharacter(static_cast<unsigned char>(text[i]))) {
                diagnostics_detail::literalHasCharactersOutsideSafeNames();
            }
        }
    }

    [[nodiscard]] constexpr QLatin1StringView text() const { return {m_text, m_size}; }
    [[nodiscard]] constexpr qsizetype size() const { return m_size; }

    friend bool operator==(DiagnosticLiteral a, DiagnosticLiteral b) { return a.text() == b.text(); }

private:
    const char* m_text = nullptr;
    qsizetype m_size = 0;
};

} // namespace tessary
