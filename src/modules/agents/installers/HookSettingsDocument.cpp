#include "modules/agents/installers/HookSettingsDocument.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>

namespace tessary::HookSettingsDocument {

using namespace Qt::StringLiterals;

namespace {

const QString hooksKey = u"hooks"_s;
const QString commandKey = u"command"_s;

bool hasCurrentMarker(const QJsonValue& entry) {
    const QJsonValue command = entry.toObject().value(commandKey);
    return command.isString() && command.toString().contains(QLatin1StringView(currentMarker));
}

// Some group under the event holds an entry of the current version.
bool eventHoldsCurrentEntry(const QJsonValue& groups) {
    const QJsonArray groupList = groups.toArray();
    for (const auto& group : groupList) {
        const QJsonArray entries = group.toObject().value(hooksKey).toArray();
        for (const auto& entry : entries) {
            if (entry.isObject() && hasCurrentMarker(entry)) {
                return true;
            }
        }
    }
    return false;
}

} // namespace

std::optional<QJsonObject> parse(const QByteArray& bytes) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    return document.object();
}

QByteArray serialize(const QJsonObject& root) {
    // QJsonObject keeps its keys sorted, and the indented form escapes neither "/" nor non-ASCII text.
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

bool isProgramEntry(const QJsonValue& entry) {
    const QJsonValue command = entry.toObject().value(commandKey);
    if (!command.isString()) {
        return false;
    }
    const QString text = command.toString();
    return text.contains(QLatin1StringView(currentMarker)) ||
           text.contains(QLatin1StringView(formerTokenMarker)) ||
           text.contains(QLatin1StringView(formerCorvaneMarker));
}

bool isPresent(const QJsonObject& root, const QString& event) {
    const QJsonValue hooks = root.value(hooksKey);
    return hooks.isObject() && eventHoldsCurrentEntry(hooks.toObject().value(event));
}

std::optional<QJsonObject> removingProgramEntries(const QJsonObject& root, const QStringList& events) {
    const QJsonValue hooksValue = root.value(hooksKey);
    if (!hooksValue.isObject()) {
        return std::nullopt;
    }
    QJsonObject hooks = hooksValue.toObject();
    int removed = 0;
    for (const QString& event : events) {
        const QJsonValue groupsValue = hooks.value(event);
        if (!groupsValue.isArray()) {
            continue;
        }
        QJsonArray keptGroups;
        int removedHere = 0;
        const QJsonArray groupList = groupsValue.toArray();
        for (const auto& group : groupList) {
            const QJsonValue entriesValue = group.toObject().value(hooksKey);
            if (!group.isObject() || !entriesValue.isArray()) {
                keptGroups.append(group);
                continue;
            }
            QJsonArray keptEntries;
            int removedInGroup = 0;
            const QJsonArray entries = entriesValue.toArray();
            for (const auto& entry : entries) {
                if (entry.isObject() && isProgramEntry(entry)) {
                    ++removedInGroup;
                } else {
                    keptEntries.append(entry);
                }
            }
            removedHere += removedInGroup;
            if (removedInGroup == 0) {
                keptGroups.append(group);
            } else if (!keptEntries.isEmpty()) {
                QJsonObject edited = group.toObject();
                edited.insert(hooksKey, keptEntries);
                keptGroups.append(edited);
            }
        }
        if (removedHere == 0) {
            continue;
        }
        removed += removedHere;
        if (keptGroups.isEmpty()) {
            hooks.remove(event);
        } else {
            hooks.insert(event, keptGroups);
        }
    }
    if (removed == 0) {
        return std::nullopt;
    }
    QJsonObject result = root;
    if (hooks.isEmpty()) {
        result.remove(hooksKey);
    } else {
        result.insert(hooksKey, hooks);
    }
    return result;
}

QJsonObject appendingGroups(QJsonObject root, const QList<std::pair<QString, QJsonObject>>& groups) {
    QJsonObject hooks = root.value(hooksKey).toObject();
    for (const auto& [event, group] : groups) {
        const QJsonValue existing = hooks.value(event);
        if (eventHoldsCurrentEntry(existing)) {
            continue;
        }
        QJsonArray list = existing.toArray();
        list.append(group);
        hooks.insert(event, list);
    }
    if (hooks.isEmpty()) {
        root.remove(hooksKey);
    } else {
        root.insert(hooksKey, hooks);
    }
    return root;
}

} // namespace tessary::HookSettingsDocument
