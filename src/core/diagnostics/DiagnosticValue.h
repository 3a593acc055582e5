#pragma once

#include "core/diagnostics/DiagnosticLiteral.h"
#include "core/records/EnumText.h"
#include "core/records/Failure.h"

#include <QList>
#include <QMetaEnum>
#include <QString>
#include <QStringList>

#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace tessary {

class DiagnosticValue;

namespace diagnostics_detail {

// The name of T as the compiler spells it in a function signature, without namespaces or enclosing classes.
template <typename T>
constexpr std::string_view typeNameOf() {
    const std::string_view signature = __PRETTY_FUNCTION__;
    const std::size_t marker = signature.find("T = ");
    if (marker == std::string_view::npos) {
        return {};
    }
    std::string_view name = signature.substr(marker + 4);
    name = name.substr(0, name.find_first_of(";]"));
    const std::size_t scope = name.rfind("::");
    return scope == std::string_view::npos ? name : name.substr(scope + 2);
}

template <typename E>
concept TabledEnum = std::is_enum_v<E> && requires {
    EnumTable<E>::cases;
};

template <typename E>
concept MetaEnum = std::is_enum_v<E> && bool(QtPrivate::IsQEnumHelper<E>::Value);

template <typename E>
concept NamedEnum = TabledEnum<E> || MetaEnum<E>;

// The case label of an enumeration value: its raw value where an EnumTable exists, else the Q_ENUM key.
template <NamedEnum E>
QString caseLabel(E value) {
    if constexpr (TabledEnum<E>) {
        return rawValue(value);
    } else {
        return QString::fromLatin1(QMetaEnum::fromType<E>().valueToKey(static_cast<int>(value)));
    }
}

template <NamedEnum E>
QString enumTypeName() {
    if constexpr (MetaEnum<E>) {
        return QString::fromLatin1(QMetaEnum::fromType<E>().name());
    } else {
        const std::string_view name = typeNameOf<E>();
        return QString::fromLatin1(name.data(), static_cast<qsizetype>(name.size()));
    }
}

} // namespace diagnostics_detail

// An error type may say itself how it is logged, by a member `DiagnosticValue diagnosticKind() const`
// (usually built with one of the errorKind factories). Typed provider errors do this.
template <typename E>
concept SelfDescribingError = requires(const E& error) {
    { error.diagnosticKind() } -> std::same_as<DiagnosticValue>;
};

// A value that may stand in a log line. It is made only from a string literal of the source (printable ASCII)
// or by one of the factories below, each of which reduces its input to something that can carry no path,
// prompt, token or user name. There is deliberately no constructor from a run-time text.
class DiagnosticValue {
public:
    // The length at which audited text is cut.
    static constexpr qsizetype auditedLimit = 600;

    template <std::size_t N>
    // NOLINTNEXTLINE(google-explicit-constructor): literals convert implicitly at the call site
    consteval DiagnosticValue(const char (&text)[N])
        : m_literal(text)
        , m_literalSize(static_cast<qsizetype>(N - 1)) {
        for (std::size_t i = 0; i + 1 < N; ++i) {
            const auto c = static_cast<unsigned char>(text[i]);
            if (c < 0x20 || c >= 0x7f) {
                diagnostics_detail::literalIsNotPrintableAscii();
            }
        }
    }

    [[nodiscard]] QString rendered() const;
    void appendTo(QString& out) const;

    friend bool operator==(const DiagnosticValue& a, const DiagnosticValue& b) {
        return a.rendered() == b.rendered();
    }

    // Decimal.
    static DiagnosticValue count(qint64 value);
    // Decimal followed by "ms".
    static DiagnosticValue milliseconds(qint64 value);
    // Decimal followed by "B".
    static DiagnosticValue bytes(qint64 value);
    // "yes" or "no".
    static DiagnosticValue boolean(bool value);
    // "<w>x<h>", each side rounded; a side that is not finite or not under 1e9 in magnitude renders as 0.
    static DiagnosticValue size(double width, double height);
    // "none" for nothing or empty; the first 8 characters when each is an ASCII letter, digit, "_" or "-"
    // (and they are neither a token's prefix nor a personal word); otherwise "other".
    static DiagnosticValue shortID(const std::optional<QString>& id);
    // The part before the first ":" when it is a safe name ("other" if not), or "plain" without a ":",
    // so that a "<kind>:<secret>" identifier logs only its kind.
    static DiagnosticValue kindOfID(QStringView id);
    // "none" for nothing; a safe name as it stands; anything else "other". Safe names that look like a
    // credential or hold a personal word (DiagnosticRedaction) are "other" here and in every factory below.
    static DiagnosticValue name(const std::optional<QString>& text);
    // "none" for nothing; an allowed entry, with each blank replaced by "_"; anything else "other".
    static DiagnosticValue oneOf(const std::optional<QString>& text,
                                 std::initializer_list<DiagnosticValue> allowed);
    // The only route for free text: line breaks become blanks, and the text is cut to auditedLimit.
    // Use it only where the text has already been checked to hold nothing personal.
    static DiagnosticValue audited(QStringView text);

    // The name of an enumeration's case, through its EnumTable raw value or its Q_ENUM key, kept when it is
    // a safe name.
    template <diagnostics_detail::NamedEnum E>
    static DiagnosticValue caseName(E value) {
        return name(diagnostics_detail::caseLabel(value));
    }

    // "T.case" for an error enumeration, T being the enumeration's own name (an unsafe T becomes "Error").
    // A case whose label is not a safe name falls back to "T#<number>".
    template <diagnostics_detail::NamedEnum E>
    static DiagnosticValue errorKind(E value) {
        return errorKindOf(diagnostics_detail::enumTypeName<E>(), diagnostics_detail::caseLabel(value),
                           static_cast<qint64>(value));
    }
    // "T.case" for an error record of type T that carries a kind; the form typed errors use.
    template <diagnostics_detail::NamedEnum E>
    static DiagnosticValue errorKind(DiagnosticLiteral typeName, E kind) {
        return errorKindOf(QString(typeName.text()), diagnostics_detail::caseLabel(kind),
                           static_cast<qint64>(kind));
    }
    // "T#<code>" for an error of type T known by a number.
    static DiagnosticValue errorKind(DiagnosticLiteral typeName, qint64 code);
    // "<domain>#<code>" for a system error; a domain that is not a safe name becomes "other".
    static DiagnosticValue errorKind(const std::error_code& error);
    // "Failure": its text is for the user and never reaches the log.
    static DiagnosticValue errorKind(const Failure& failure);
    // What the error says of itself.
    template <SelfDescribingError E>
    static DiagnosticValue errorKind(const E& error) {
        return error.diagnosticKind();
    }

private:
    DiagnosticValue() = default;
    static DiagnosticValue fromChecked(QString text);
    static DiagnosticValue errorKindOf(const QString& typeName, const QString& label, qint64 number);

    const char* m_literal = nullptr;
    qsizetype m_literalSize = 0;
    QString m_text;
};

// One "key=value" pair of a log line.
struct DiagnosticField {
    DiagnosticLiteral key;
    DiagnosticValue value;
    friend bool operator==(const DiagnosticField&, const DiagnosticField&) = default;
};

using DiagnosticFields = QList<DiagnosticField>;

// Defence in depth behind the factories: even a value that has the shape of a safe name is not printed when
// it looks like a credential or holds a word that names the person at this computer.
namespace DiagnosticRedaction {

// A known token prefix (those ending in "-", "_" or "." in any case: "sk-", "ghp_", "github_pat_", "xoxb-",
// "AKIA", "eyJ", ...), a run of 8 or more characters between separators that mixes letters and digits, or a
// run of 20 or more that holds a digit. Names such as "claude-sonnet-4-5-20250929" or "x86_64" pass;
// "sha256sum" does not, which only costs its name in the log.
bool looksLikeCredential(QStringView text);

// The first rule alone: the prefix of a known kind of token.
bool hasCredentialPrefix(QStringView text);

// True when the text holds one of the personal words: words of 4 characters or more anywhere, shorter
// ones as a whole part between "-", "." and "_"; case is ignored, and words under 3 characters are ignored.
bool containsPersonalWord(QStringView text);

// The account's login name, home folder name and the words of its full name, read once; plus any added.
QStringList personalWords();

// Adds words that name the user (a service's login name, say) for the rest of the process.
void addPersonalWords(const QStringList& words);

} // namespace DiagnosticRedaction

} // namespace tessary
