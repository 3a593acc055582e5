#include "core/diagnostics/DiagnosticLine.h"

#include <cstdlib>

namespace tessary {

namespace {

void appendPadded(QString& out, int value, int width) {
    out += QString::number(value).rightJustified(width, u'0');
}

} // namespace

QString DiagnosticLine::message(DiagnosticLiteral event, const DiagnosticFields& fields) {
    QString result;
    result.reserve(event.size() + fields.size() * 24);
    result += event.text();
    for (const DiagnosticField& field : fields) {
        result += u' ';
        result += field.key.text();
        result += u'=';
        field.value.appendTo(result);
    }
    return result;
}

QString DiagnosticLine::timestamp(const QDateTime& date, const std::optional<QTimeZone>& timeZone) {
    QDateTime zoned = timeZone && timeZone->isValid() ? date.toTimeZone(*timeZone) : date.toLocalTime();
    if (!zoned.isValid()) {
        zoned = QDateTime::fromMSecsSinceEpoch(0, Qt::UTC);
    }
    const QDate day = zoned.date();
    const QTime time = zoned.time();
    const int offsetMinutes = zoned.offsetFromUtc() / 60;

    QString result;
    result.reserve(29);
    if (day.year() < 0) {
        result += u'-';
    }
    appendPadded(result, std::abs(day.year()), 4);
    result += u'-';
    appendPadded(result, day.month(), 2);
    result += u'-';
    appendPadded(result, day.day(), 2);
    result += u'T';
    appendPadded(result, time.hour(), 2);
    result += u':';
    appendPadded(result, time.minute(), 2);
    result += u':';
    appendPadded(result, time.second(), 2);
    result += u'.';
    appendPadded(result, time.msec(), 3);
    result += offsetMinutes < 0 ? u'-' : u'+';
    appendPadded(result, std::abs(offsetMinutes) / 60, 2);
    result += u':';
    appendPadded(result, std::abs(offsetMinutes) % 60, 2);
    return result;
}

QString DiagnosticLine::line(const QDateTime& date, const std::optional<QTimeZone>& timeZone,
                             DiagnosticCategory category, DiagnosticLevel level, const QString& message) {
    return timestamp(date, timeZone) + u' ' + diagnosticRawText(category) + u' ' + diagnosticRawText(level) +
           u' ' + message;
}

} // namespace tessary
