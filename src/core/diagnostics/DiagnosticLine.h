#pragma once

#include "core/diagnostics/DiagnosticCategory.h"
#include "core/diagnostics/DiagnosticValue.h"

#include <QDateTime>
#include <QString>
#include <QTimeZone>

#include <optional>

namespace tessary {

// The text of a log line, built from fixed parts and values only.
namespace DiagnosticLine {

// "event key=value key=value": one blank before each pair, pairs in the caller's order, no quoting.
QString message(DiagnosticLiteral event, const DiagnosticFields& fields);

// ISO 8601 with milliseconds and a colon in the offset, in the given zone: "2026-03-14T09:26:53.589+01:00".
// Without a valid zone, the system's local time as it is at this moment (so a change of zone is followed).
QString timestamp(const QDateTime& date, const std::optional<QTimeZone>& timeZone);

// "<timestamp> <category> <level> <message>", no brackets and no newline.
QString line(const QDateTime& date, const std::optional<QTimeZone>& timeZone, DiagnosticCategory category,
             DiagnosticLevel level, const QString& message);

} // namespace DiagnosticLine

} // namespace tessary
