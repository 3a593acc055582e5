#pragma once

#include "core/settings/TessarySettings.h"

#include <QLocale>
#include <QString>

#include <type_traits>

namespace tessary {

// User-visible text in the chosen language. Texts are keyed by their English form; a key with
// no translation is shown as it stands. A small value: copy it freely, to any thread.
class Localization {
public:
    Localization() = default;
    explicit Localization(AppLanguage language)
        : m_language(language) {}

    // The settings' language, or the system's when none is chosen, or English.
    static Localization forSetting(const std::optional<AppLanguage>& chosen,
                                   const QLocale& system = QLocale::system());

    [[nodiscard]] AppLanguage language() const { return m_language; }
    [[nodiscard]] QLocale locale() const;
    [[nodiscard]] QString text(const QString& englishKey) const;
    // Fills %1, %2, ... of the translated text. Whole numbers are written out first: QString::arg
    // would read a second one as the first's field width.
    template <typename... Args>
    [[nodiscard]] QString format(const QString& englishKey, const Args&... args) const {
        return text(englishKey).arg(argumentText(args)...);
    }
    // A fraction 0...1 as a whole percentage in this language's locale.
    [[nodiscard]] QString percent(double fraction) const;

    bool operator==(const Localization&) const = default;

private:
    template <typename Value>
    static decltype(auto) argumentText(const Value& value) {
        if constexpr (std::is_integral_v<Value> && !std::is_same_v<Value, bool>) {
            return QString::number(value);
        } else {
            return (value);
        }
    }

    AppLanguage m_language = AppLanguage::english;
};

} // namespace tessary
