#include "core/diagnostics/DiagnosticsBundle.h"

#include "core/diagnostics/CrashMarker.h"
#include "core/diagnostics/CrashReportText.h"
#include "core/diagnostics/DiagnosticCategory.h"
#include "core/records/EnumText.h"

#include <QRegularExpression>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

QString yesNo(bool value) {
    return value ? u"yes"_s : u"no"_s;
}

// "<timestamp> <category> <level> <event>" and the fields after it.
const QRegularExpression& logLinePattern() {
    static const QRegularExpression pattern(
        uR"(^(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d) ([a-z]+) ([a-z]+) ([a-z][a-zA-Z0-9._-]{0,63})(.*)$)"_s);
    return pattern;
}

// A field as the logger writes it: a literal key and a value of its factories, which holds no path, home,
// address or blank. Long runs of letters and digits together are what tokens look like.
const QRegularExpression& fieldPattern() {
    static const QRegularExpression pattern(
        uR"(^[a-zA-Z][a-zA-Z0-9_.]{0,63}=[a-zA-Z0-9_.:,+#x()<>-]{1,200}$)"_s);
    return pattern;
}

bool looksLikeToken(QStringView value) {
    qsizetype run = 0;
    bool letters = false;
    bool digits = false;
    for (const QChar c : value) {
        if (c.isLetterOrNumber() || c == u'_') {
            ++run;
            letters = letters || c.isLetter();
            digits = digits || c.isDigit();
            if (run >= 20 && letters && digits) {
                return true;
            }
        } else {
            run = 0;
            letters = digits = false;
        }
    }
    return false;
}

QByteArray cleanedLine(QByteArrayView line) {
    if (line.endsWith('\r')) {
        line.chop(1);
    }
    if (line.isEmpty() || CrashMarker::parse(line)) {
        return line.toByteArray();
    }
    if (line.startsWith("  ")) {
        return CrashReportText::redacted(line);
    }
    const QString text = QString::fromUtf8(line);
    const QRegularExpressionMatch match = logLinePattern().match(text);
    if (!match.hasMatch() || !enumFromRaw<DiagnosticCategory>(match.captured(2)) ||
        !enumFromRaw<DiagnosticLevel>(match.captured(3))) {
        if (line.startsWith("--- lines dropped") && line.endsWith(" ---")) {
            return CrashReportText::redacted(line);
        }
        return DiagnosticsBundle::leftOut.toByteArray();
    }
    QString kept =
        match.captured(1) + u' ' + match.captured(2) + u' ' + match.captured(3) + u' ' + match.captured(4);
    const QString fields = match.captured(5);
    if (!fields.isEmpty() && !fields.startsWith(u' ')) {
        return DiagnosticsBundle::leftOut.toByteArray();
    }
    bool allPlain = true;
    QString keptFields;
    for (const QString& field : fields.split(u' ', Qt::SkipEmptyParts)) {
        if (!fieldPattern().match(field).hasMatch() || looksLikeToken(field)) {
            allPlain = false;
            break;
        }
        keptFields += u' ' + field;
    }
    kept += allPlain ? keptFields : u" (fields left out)"_s;
    return kept.toUtf8();
}

} // namespace

QString DiagnosticsBundle::defaultFileName(const QDateTime& localDate) {
    const QDate day = localDate.date();
    const QTime time = localDate.time();
    return u"Tessary-diagnostics-%1-%2-%3-%4%5.zip"_s.arg(day.year(), 4, 10, QChar(u'0'))
        .arg(day.month(), 2, 10, QChar(u'0'))
        .arg(day.day(), 2, 10, QChar(u'0'))
        .arg(time.hour(), 2, 10, QChar(u'0'))
        .arg(time.minute(), 2, 10, QChar(u'0'));
}

QStringList DiagnosticsBundle::settingsLines(const TessarySettings& settings) {
    qsizetype alwaysVisible = 0;
    qsizetype widgetsOff = 0;
    for (const DisplaySettings& display : settings.displays) {
        alwaysVisible += display.visibility == DisplaySettings::Visibility::always ? 1 : 0;
        widgetsOff += display.disabledWidgetIDs.size();
    }
    qsizetype withOptions = 0;
    for (const WidgetSettings& widget : settings.widgets) {
        withOptions += widget.options.isEmpty() ? 0 : 1;
    }
    return {
        u"hidesWhenActiveWindowIsFullScreen: "_s + yesNo(settings.hidesWhenActiveWindowIsFullScreen),
        u"hidesWhenScreenIsLocked: "_s + yesNo(settings.hidesWhenScreenIsLocked),
        u"launchesAtLogin: "_s + yesNo(settings.launchesAtLogin),
        u"usesAppleIntelligence: "_s + yesNo(settings.usesAppleIntelligence),
        u"verboseLogging: "_s + yesNo(settings.verboseLogging),
        u"displays remembered: "_s + QString::number(settings.displays.size()) + u", always visible: "_s +
            QString::number(alwaysVisible) + u", widgets off per display: "_s + QString::number(widgetsOff),
        u"widgets with options set: "_s + QString::number(withOptions),
        u"notch: smartOrdering "_s + yesNo(settings.notch.smartOrdering) + u", custom tab order "_s +
            yesNo(!settings.notch.tabOrder.isEmpty()),
    };
}

QString DiagnosticsBundle::aboutText(const QList<QPair<QString, QString>>& facts,
                                     const TessarySettings& settings) {
    QString text = u"Tessary diagnostics\n"_s;
    for (const auto& [name, value] : facts) {
        text += name + u": "_s + value + u'\n';
    }
    for (const QString& line : settingsLines(settings)) {
        text += line + u'\n';
    }
    return text;
}

QString DiagnosticsBundle::crashesText(const std::vector<CrashReport>& reports) {
    if (reports.empty()) {
        return u"no crash known\n"_s;
    }
    QString text;
    for (const CrashReport& report : reports) {
        text += report.at.toUTC().toString(Qt::ISODate) + u" signal "_s +
                QString::fromLatin1(CrashMarker::signalName(report.signal)) + u' ' +
                QString::number(report.signal) +
                (report.source == CrashReport::Source::marker ? u" (log marker)\n"_s : u" (core dump)\n"_s);
    }
    return text;
}

QByteArray DiagnosticsBundle::cleanedLog(QByteArrayView logText) {
    QByteArray out;
    out.reserve(logText.size());
    qsizetype start = 0;
    while (start < logText.size()) {
        qsizetype end = logText.indexOf('\n', start);
        const bool complete = end >= 0;
        if (!complete) {
            end = logText.size();
        }
        out += cleanedLine(logText.sliced(start, end - start));
        out += '\n';
        start = end + 1;
    }
    return out;
}

} // namespace tessary
