#include "core/settings/TessarySettings.h"

#include "core/json/JsonFields.h"

#include <QJsonDocument>

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

std::optional<QString> systemName(AlertSound sound) {
    switch (sound) {
    case AlertSound::none:
        return std::nullopt;
    case AlertSound::tink:
        return u"Tink"_s;
    case AlertSound::submarine:
        return u"Submarine"_s;
    case AlertSound::sosumi:
        return u"Sosumi"_s;
    }
    return std::nullopt;
}

QString nativeName(AppLanguage language) {
    switch (language) {
    case AppLanguage::english:
        return u"English"_s;
    case AppLanguage::spanish:
        return u"Español"_s;
    case AppLanguage::portuguese:
        return u"Português"_s;
    }
    return {};
}

std::optional<AppLanguage> matchingLanguage(const QLocale& locale) {
    // QLocale names are "pt_BR"; identifiers use a dash.
    const QString code = locale.name().replace(u'_', u'-');
    for (const auto& [language, identifier] : EnumTable<AppLanguage>::cases) {
        const QString id = QString::fromLatin1(identifier);
        // "pt-BR" matches any Portuguese: the prefix that counts is the language code.
        const QString languagePart = id.section(u'-', 0, 0);
        if (code.startsWith(id) || code.section(u'-', 0, 0) == languagePart) {
            return language;
        }
    }
    return std::nullopt;
}

QString displayText(HoverBehavior value) {
    return value == HoverBehavior::expands ? u"Expand and show details"_s : u"Stay compact"_s;
}

QString displayText(BubbleSize value) {
    switch (value) {
    case BubbleSize::small:
        return u"Small"_s;
    case BubbleSize::medium:
        return u"Medium"_s;
    case BubbleSize::large:
        return u"Large"_s;
    }
    return {};
}

QString displayText(AlertSound value) {
    switch (value) {
    case AlertSound::none:
        return u"None"_s;
    case AlertSound::tink:
        return u"Discreet"_s;
    case AlertSound::submarine:
        return u"Noticeable"_s;
    case AlertSound::sosumi:
        return u"Hard to miss"_s;
    }
    return {};
}

QString displayText(DisplaySettings::Visibility value) {
    return value == DisplaySettings::Visibility::always ? u"Always visible"_s
                                                        : u"Only when this display has focus"_s;
}

DisplaySettings TessarySettings::displaySettings(const QString& displayID) const {
    return displays.value(displayID);
}

WidgetSettings TessarySettings::widgetSettings(const QString& moduleID) const {
    return widgets.value(moduleID);
}

DisplaySettings::Visibility TessarySettings::visibilityOn(const QString& displayID) const {
    return displaySettings(displayID).visibility;
}

bool TessarySettings::isWidgetEnabled(const QString& moduleID, const QString& displayID) const {
    return widgetSettings(moduleID).isEnabled &&
           !displaySettings(displayID).disabledWidgetIDs.contains(moduleID);
}

QStringList TessarySettings::displaysToRender(const QString& activeDisplayID, const QStringList& displayIDs,
                                              const QStringList& moduleIDs,
                                              const std::optional<QString>& fullScreenDisplayID) const {
    QStringList result;
    for (const QString& id : displayIDs) {
        if (fullScreenDisplayID && *fullScreenDisplayID == id) {
            continue;
        }
        if (const auto* pinned = std::get_if<visibility::Pinned>(&visibility);
            pinned && pinned->displayID != id) {
            continue;
        }
        const bool anyEnabled =
            std::any_of(moduleIDs.cbegin(), moduleIDs.cend(),
                        [&](const QString& moduleID) { return isWidgetEnabled(moduleID, id); });
        if (!anyEnabled) {
            continue;
        }
        if (id != activeDisplayID && visibilityOn(id) != DisplaySettings::Visibility::always) {
            continue;
        }
        result.append(id);
    }
    return result;
}

namespace {

std::optional<Visibility> decodeVisibility(const QJsonObject& root) {
    const auto object = json::object(root, "visibility"_L1);
    if (!object) {
        return std::nullopt;
    }
    if (object->contains("followsFocus"_L1) && object->value("followsFocus"_L1).isObject()) {
        return visibility::FollowsFocus{};
    }
    if (const auto pinned = json::object(*object, "pinned"_L1)) {
        if (const auto displayID = json::string(*pinned, "displayID"_L1)) {
            return visibility::Pinned{*displayID};
        }
    }
    return std::nullopt;
}

QJsonObject encodeVisibility(const Visibility& value) {
    if (const auto* pinned = std::get_if<visibility::Pinned>(&value)) {
        return QJsonObject{{u"pinned"_s, QJsonObject{{u"displayID"_s, pinned->displayID}}}};
    }
    return QJsonObject{{u"followsFocus"_s, QJsonObject{}}};
}

DisplaySettings decodeDisplay(const QJsonObject& object) {
    DisplaySettings result;
    json::assign(result.lastKnownName, json::string(object, "lastKnownName"_L1));
    json::assign(result.disabledWidgetIDs, json::stringList(object, "disabledWidgetIDs"_L1));
    json::assign(result.visibility, json::enumeration<DisplaySettings::Visibility>(object, "visibility"_L1));
    return result;
}

std::optional<QMap<QString, DisplaySettings>> decodeDisplays(const QJsonObject& root) {
    const auto object = json::object(root, "displays"_L1);
    if (!object) {
        return std::nullopt;
    }
    QMap<QString, DisplaySettings> result;
    for (auto it = object->constBegin(); it != object->constEnd(); ++it) {
        if (!it.value().isObject()) {
            return std::nullopt;
        }
        result.insert(it.key(), decodeDisplay(it.value().toObject()));
    }
    return result;
}

// Widget entries are strict: an entry without both keys fails the whole map.
std::optional<QMap<QString, WidgetSettings>> decodeWidgets(const QJsonObject& root) {
    const auto object = json::object(root, "widgets"_L1);
    if (!object) {
        return std::nullopt;
    }
    QMap<QString, WidgetSettings> result;
    for (auto it = object->constBegin(); it != object->constEnd(); ++it) {
        if (!it.value().isObject()) {
            return std::nullopt;
        }
        const QJsonObject entry = it.value().toObject();
        const auto enabled = json::boolean(entry, "isEnabled"_L1);
        const auto options = json::object(entry, "options"_L1);
        if (!enabled || !options) {
            return std::nullopt;
        }
        WidgetSettings widget{*enabled, {}};
        for (auto option = options->constBegin(); option != options->constEnd(); ++option) {
            if (!option.value().isString()) {
                return std::nullopt;
            }
            widget.options.insert(option.key(), option.value().toString());
        }
        result.insert(it.key(), widget);
    }
    return result;
}

QJsonArray toArray(const QStringList& list) {
    return QJsonArray::fromStringList(list);
}

} // namespace

namespace SettingsCodec {

NotchPreferences decodeNotch(const QJsonObject& object) {
    NotchPreferences result;
    json::assign(result.smartOrdering, json::boolean(object, "smartOrdering"_L1));
    json::assign(result.tabOrder, json::stringList(object, "tabOrder"_L1));
    if (const auto members = json::object(object, "memberOrder"_L1)) {
        QMap<QString, QStringList> order;
        bool valid = true;
        for (auto it = members->constBegin(); it != members->constEnd() && valid; ++it) {
            const auto list = json::stringList(it.value());
            valid = list.has_value();
            if (list) {
                order.insert(it.key(), *list);
            }
        }
        if (valid) {
            result.memberOrder = order;
        }
    }
    if (const auto hidden = json::stringList(object, "hiddenInNotch"_L1)) {
        result.hiddenInNotch = QSet<QString>(hidden->cbegin(), hidden->cend());
    }
    json::assign(result.showsSystemStrip, json::boolean(object, "showsSystemStrip"_L1));
    json::assign(result.restingTabs, json::enumeration<RestingTabs>(object, "restingTabs"_L1));
    json::assign(result.opensOn, json::enumeration<NotchOpening>(object, "opensOn"_L1));
    json::assign(result.restingStyle, json::enumeration<RestingStyle>(object, "restingStyle"_L1));
    return result;
}

QJsonObject encodeNotch(const NotchPreferences& notch) {
    QJsonObject members;
    for (auto it = notch.memberOrder.constBegin(); it != notch.memberOrder.constEnd(); ++it) {
        members.insert(it.key(), toArray(it.value()));
    }
    QStringList hidden(notch.hiddenInNotch.cbegin(), notch.hiddenInNotch.cend());
    hidden.sort(); // a set has no order; sorting keeps the stored bytes stable
    return QJsonObject{
        {u"smartOrdering"_s, notch.smartOrdering},
        {u"tabOrder"_s, toArray(notch.tabOrder)},
        {u"memberOrder"_s, members},
        {u"hiddenInNotch"_s, toArray(hidden)},
        {u"showsSystemStrip"_s, notch.showsSystemStrip},
        {u"restingTabs"_s, rawValue(notch.restingTabs)},
        {u"opensOn"_s, rawValue(notch.opensOn)},
        {u"restingStyle"_s, rawValue(notch.restingStyle)},
    };
}

TessarySettings decode(const QByteArray& data) {
    TessarySettings result;
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return result;
    }
    const QJsonObject root = document.object();
    json::assign(result.visibility, decodeVisibility(root));
    json::assign(result.placementMode, json::enumeration<PlacementMode>(root, "placementMode"_L1));
    json::assign(result.hoverBehavior, json::enumeration<HoverBehavior>(root, "hoverBehavior"_L1));
    json::assign(result.bubbleSize, json::enumeration<BubbleSize>(root, "bubbleSize"_L1));
    json::assign(result.hidesWhenActiveWindowIsFullScreen,
                 json::boolean(root, "hidesWhenActiveWindowIsFullScreen"_L1));
    json::assign(result.hidesWhenScreenIsLocked, json::boolean(root, "hidesWhenScreenIsLocked"_L1));
    json::assign(result.launchesAtLogin, json::boolean(root, "launchesAtLogin"_L1));
    json::assign(result.reducesMotion, json::boolean(root, "reducesMotion"_L1));
    json::assign(result.questionSound, json::enumeration<AlertSound>(root, "questionSound"_L1));
    if (const auto language = json::enumeration<AppLanguage>(root, "language"_L1)) {
        result.language = language;
    }
    json::assign(result.displays, decodeDisplays(root));
    json::assign(result.widgets, decodeWidgets(root));
    if (const auto notch = json::object(root, "notch"_L1)) {
        result.notch = decodeNotch(*notch);
    }
    json::assign(result.usesAppleIntelligence, json::boolean(root, "usesAppleIntelligence"_L1));
    json::assign(result.verboseLogging, json::boolean(root, "verboseLogging"_L1));
    json::assign(result.groupsCadenzoSessions, json::boolean(root, "groupsCadenzoSessions"_L1));
    return result;
}

QByteArray encode(const TessarySettings& settings) {
    QJsonObject displays;
    for (auto it = settings.displays.constBegin(); it != settings.displays.constEnd(); ++it) {
        displays.insert(it.key(), QJsonObject{
                                      {u"lastKnownName"_s, it->lastKnownName},
                                      {u"disabledWidgetIDs"_s, toArray(it->disabledWidgetIDs)},
                                      {u"visibility"_s, rawValue(it->visibility)},
                                  });
    }
    QJsonObject widgets;
    for (auto it = settings.widgets.constBegin(); it != settings.widgets.constEnd(); ++it) {
        QJsonObject options;
        for (auto option = it->options.constBegin(); option != it->options.constEnd(); ++option) {
            options.insert(option.key(), option.value());
        }
        widgets.insert(it.key(), QJsonObject{{u"isEnabled"_s, it->isEnabled}, {u"options"_s, options}});
    }
    QJsonObject root{
        {u"visibility"_s, encodeVisibility(settings.visibility)},
        {u"placementMode"_s, rawValue(settings.placementMode)},
        {u"hoverBehavior"_s, rawValue(settings.hoverBehavior)},
        {u"bubbleSize"_s, rawValue(settings.bubbleSize)},
        {u"hidesWhenActiveWindowIsFullScreen"_s, settings.hidesWhenActiveWindowIsFullScreen},
        {u"hidesWhenScreenIsLocked"_s, settings.hidesWhenScreenIsLocked},
        {u"launchesAtLogin"_s, settings.launchesAtLogin},
        {u"reducesMotion"_s, settings.reducesMotion},
        {u"questionSound"_s, rawValue(settings.questionSound)},
        {u"displays"_s, displays},
        {u"widgets"_s, widgets},
        {u"notch"_s, encodeNotch(settings.notch)},
        {u"usesAppleIntelligence"_s, settings.usesAppleIntelligence},
        {u"verboseLogging"_s, settings.verboseLogging},
        {u"groupsCadenzoSessions"_s, settings.groupsCadenzoSessions},
    };
    if (settings.language) {
        root.insert(u"language"_s, rawValue(*settings.language));
    }
    return QJsonDocument(root).toJson(QJsonDocument::Compact);
}

} // namespace SettingsCodec

} // namespace tessary
