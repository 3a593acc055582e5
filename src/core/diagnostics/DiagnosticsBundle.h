#pragma once

#include "core/diagnostics/CrashReports.h"
#include "core/settings/TessarySettings.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QDateTime>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <vector>

namespace tessary {

// What goes into the zip a user can send with a report, as text: its name, the about file, and the logs
// cleaned of anything the logger didn't write itself. Nothing personal: no path, display name, session,
// prompt, command or token.
namespace DiagnosticsBundle {

// "Tessary-diagnostics-2026-03-14-0926.zip", in the date's own time.
QString defaultFileName(const QDateTime& localDate);

// "Tessary diagnostics", then one "name: value" line per fact, then settingsLines.
QString aboutText(const QList<QPair<QString, QString>>& facts, const TessarySettings& settings);
// Switches and counts only.
QStringList settingsLines(const TessarySettings& settings);
// One line per known crash: its time in UTC, the signal and where it was found.
QString crashesText(const std::vector<CrashReport>& reports);

// The log's text with each line checked: a log line keeps its time, category, level and event, and its
// fields when each is a plain "key=value"; a crash marker and the log's own notices stay; the indented
// lines of an exception block are redacted again; anything else becomes "(line left out)".
QByteArray cleanedLog(QByteArrayView logText);

inline constexpr QByteArrayView leftOut = "(line left out)";

} // namespace DiagnosticsBundle

} // namespace tessary
