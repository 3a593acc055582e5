#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

namespace tessary {

// The name a tool is shown by: the last "__" part, so that "mcp__github__create_issue" reads
// "create_issue". Absent or empty stays absent.
std::optional<QString> readableTool(const std::optional<QString>& toolName);

// One line (or, for a patch, one file a line) that says what a tool call is about to do.
// Empty when the input names nothing recognisable.
QString summarizePermission(const QString& tool, const QJsonObject& input);

// The files a call touches, for a patch ("apply_patch"); empty for other tools.
QStringList permissionFiles(const QString& tool, const QJsonObject& input);

// The host a sandboxed command asks to reach: a "Bash" call whose description reads
// "network-access <host>".
std::optional<QString> permissionNetworkTarget(const QString& tool, const QJsonObject& input);

// The plan of a request to leave plan mode ("ExitPlanMode").
std::optional<QString> permissionPlan(const QString& tool, const QJsonObject& input);

// The files a patch adds, updates or deletes, in patch order.
QStringList patchedFiles(const QString& patch);

// The first line of a plan with text in it, without its leading "#" marks.
std::optional<QString> planTitle(const QString& plan);

// Keystrokes sent to a terminal, with control characters shown by name ("⏎", "^C") or code ("<0x1C>")
// rather than passed to the display as they are.
QString visibleKeystrokes(const QString& chars);

} // namespace tessary
