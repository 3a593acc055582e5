#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <utility>

namespace tessary {

// The agents' hook settings as a parsed document: a top-level object whose key `hooks` maps an event
// name to a list of groups, each group an object with an optional `matcher` and a list `hooks` of
// entries. These functions find, remove and append the program's entries and leave everything else
// as parsed. An element of the wrong kind (a group or entry that is not an object) is kept as it
// stands and never counted as the program's.
namespace HookSettingsDocument {

// Marks an entry of the current version: its presence alone makes an event count as installed.
inline constexpr auto currentMarker = "X-Tessary-Agent";
// Older forms, recognised only so that they are removed and replaced.
inline constexpr auto formerTokenMarker = "X-Tessary-Token";
inline constexpr auto formerCorvaneMarker = "X-Corvane-Token";

// The top-level object of settings bytes; nothing when they do not parse or are not an object.
// A leading byte-order mark is accepted.
std::optional<QJsonObject> parse(const QByteArray& bytes);

// Pretty-printed with the keys sorted and slashes unescaped; the same document gives the same bytes.
QByteArray serialize(const QJsonObject& root);

// Whether an entry is one the program wrote, in any version.
bool isProgramEntry(const QJsonValue& entry);

// Whether the event holds an entry of the current version.
bool isPresent(const QJsonObject& root, const QString& event);

// The document without the program's entries under the events given (entries under other events
// stay). Groups left empty are dropped, an event left without groups loses its key, and an empty
// `hooks` loses its key. Nothing when the document has no `hooks` object or nothing was removed.
std::optional<QJsonObject> removingProgramEntries(const QJsonObject& root, const QStringList& events);

// The document with each group appended last under its event, unless the event already holds an entry
// of the current version. A `hooks` that is not an object, or an event whose value is not a list,
// counts as absent and is replaced.
QJsonObject appendingGroups(QJsonObject root, const QList<std::pair<QString, QJsonObject>>& groups);

} // namespace HookSettingsDocument

} // namespace tessary
