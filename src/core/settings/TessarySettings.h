#pragma once

// The user's choices: one value record, stored as one JSON blob.

#include "core/records/EnumText.h"
#include "core/records/SurfaceRecords.h"

#include <QByteArray>
#include <QLocale>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>
#include <variant>
#include <vector>

namespace tessary {

struct DisplaySnapshot;

enum class HoverBehavior { expands, staysCompact };
template <>
struct EnumTable<HoverBehavior> {
    static constexpr std::array<std::pair<HoverBehavior, const char*>, 2> cases{{
        {HoverBehavior::expands, "expands"},
        {HoverBehavior::staysCompact, "staysCompact"},
    }};
};

enum class BubbleSize { small, medium, large };
template <>
struct EnumTable<BubbleSize> {
    static constexpr std::array<std::pair<BubbleSize, const char*>, 3> cases{{
        {BubbleSize::small, "small"},
        {BubbleSize::medium, "medium"},
        {BubbleSize::large, "large"},
    }};
};

enum class AlertSound { none, tink, submarine, sosumi };
template <>
struct EnumTable<AlertSound> {
    static constexpr std::array<std::pair<AlertSound, const char*>, 4> cases{{
        {AlertSound::none, "none"},
        {AlertSound::tink, "tink"},
        {AlertSound::submarine, "submarine"},
        {AlertSound::sosumi, "sosumi"},
    }};
};
// The name of the sound the platform plays; absent for `none`.
std::optional<QString> systemName(AlertSound sound);

enum class AppLanguage { english, spanish, portuguese };
template <>
struct EnumTable<AppLanguage> {
    static constexpr std::array<std::pair<AppLanguage, const char*>, 3> cases{{
        {AppLanguage::english, "en"},
        {AppLanguage::spanish, "es"},
        {AppLanguage::portuguese, "pt-BR"},
    }};
};
// The language's own name, as a language menu shows it.
QString nativeName(AppLanguage language);
// The first language whose identifier prefixes the locale's language code.
std::optional<AppLanguage> matchingLanguage(const QLocale& locale);

// English key of the text the settings show for each choice.
QString displayText(HoverBehavior value);
QString displayText(BubbleSize value);
QString displayText(AlertSound value);

namespace visibility {
struct FollowsFocus {
    bool operator==(const FollowsFocus&) const = default;
};
struct Pinned {
    QString displayID;
    bool operator==(const Pinned&) const = default;
};
} // namespace visibility
using Visibility = std::variant<visibility::FollowsFocus, visibility::Pinned>;

struct DisplaySettings {
    enum class Visibility { followsFocus, always };
    QString lastKnownName;
    QStringList disabledWidgetIDs;
    Visibility visibility = Visibility::followsFocus;
    bool operator==(const DisplaySettings&) const = default;
};
template <>
struct EnumTable<DisplaySettings::Visibility> {
    static constexpr std::array<std::pair<DisplaySettings::Visibility, const char*>, 2> cases{{
        {DisplaySettings::Visibility::followsFocus, "followsFocus"},
        {DisplaySettings::Visibility::always, "always"},
    }};
};
QString displayText(DisplaySettings::Visibility value);

struct WidgetSettings {
    bool isEnabled = true;
    QMap<QString, QString> options;
    bool operator==(const WidgetSettings&) const = default;
};

enum class RestingTabs { one, two };
template <>
struct EnumTable<RestingTabs> {
    static constexpr std::array<std::pair<RestingTabs, const char*>, 2> cases{{
        {RestingTabs::one, "one"},
        {RestingTabs::two, "two"},
    }};
};
enum class NotchOpening { hover, click };
template <>
struct EnumTable<NotchOpening> {
    static constexpr std::array<std::pair<NotchOpening, const char*>, 2> cases{{
        {NotchOpening::hover, "hover"},
        {NotchOpening::click, "click"},
    }};
};
enum class RestingStyle { automatic, strip };
template <>
struct EnumTable<RestingStyle> {
    static constexpr std::array<std::pair<RestingStyle, const char*>, 2> cases{{
        {RestingStyle::automatic, "automatic"},
        {RestingStyle::strip, "strip"},
    }};
};

// How docked widgets rest beside the notch when nothing is open.
enum class NotchRestingForm { strip, hiddenUntilSignal };

struct NotchPreferences {
    bool smartOrdering = true;
    QStringList tabOrder;
    QMap<QString, QStringList> memberOrder;
    QSet<QString> hiddenInNotch;
    bool showsSystemStrip = true;
    RestingTabs restingTabs = RestingTabs::two;
    NotchOpening opensOn = NotchOpening::hover;
    RestingStyle restingStyle = RestingStyle::automatic;
    bool operator==(const NotchPreferences&) const = default;
};

struct TessarySettings {
    Visibility visibility = visibility::FollowsFocus{};
    PlacementMode placementMode = PlacementMode::automatic;
    HoverBehavior hoverBehavior = HoverBehavior::expands;
    BubbleSize bubbleSize = BubbleSize::medium;
    bool hidesWhenActiveWindowIsFullScreen = false;
    bool hidesWhenScreenIsLocked = true; // stored and edited; nothing acts on it
    bool launchesAtLogin = false;
    bool reducesMotion = false;
    AlertSound questionSound = AlertSound::none;
    std::optional<AppLanguage> language; // absent: the system's
    QMap<QString, DisplaySettings> displays;
    QMap<QString, WidgetSettings> widgets;
    NotchPreferences notch;
    bool usesAppleIntelligence = true;
    bool verboseLogging = false;
    bool groupsCadenzoSessions = true;
    bool operator==(const TessarySettings&) const = default;

    [[nodiscard]] DisplaySettings displaySettings(const QString& displayID) const;
    [[nodiscard]] WidgetSettings widgetSettings(const QString& moduleID) const;
    [[nodiscard]] DisplaySettings::Visibility visibilityOn(const QString& displayID) const;
    [[nodiscard]] bool isWidgetEnabled(const QString& moduleID, const QString& displayID) const;
    // The displays that show surfaces this cycle, in the order given.
    [[nodiscard]] QStringList displaysToRender(const QString& activeDisplayID, const QStringList& displayIDs,
                                               const QStringList& moduleIDs,
                                               const std::optional<QString>& fullScreenDisplayID) const;
};

// JSON form of the settings. Decoding is forgiving: a missing or unreadable field takes its default
// and the others keep their values; a blob that is not a JSON object gives the defaults.
namespace SettingsCodec {
TessarySettings decode(const QByteArray& json);
QByteArray encode(const TessarySettings& settings);
NotchPreferences decodeNotch(const QJsonObject& object);
QJsonObject encodeNotch(const NotchPreferences& notch);
} // namespace SettingsCodec

} // namespace tessary
