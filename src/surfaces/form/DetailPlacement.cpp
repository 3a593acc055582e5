#include "surfaces/form/DetailPlacement.h"

#include <QStringList>

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

namespace DetailPlacement {

namespace {

double clampedStart(double start, double length, double low, double high) {
    if (length >= high - low) {
        return low;
    }
    return std::clamp(start, low, high - length);
}

QRectF keptInside(QRectF frame, const QRectF& visible) {
    frame.setWidth(std::min(frame.width(), visible.width()));
    frame.setHeight(std::min(frame.height(), visible.height()));
    frame.moveLeft(clampedStart(frame.left(), frame.width(), visible.left(), visible.right()));
    frame.moveTop(clampedStart(frame.top(), frame.height(), visible.top(), visible.bottom()));
    return frame;
}

} // namespace

QRectF frame(const QRectF& anchor, const QSizeF& size, const QRectF& visibleFrame, Side side) {
    const QRectF visible = visibleFrame.normalized();
    const QRectF a = anchor.normalized();
    const double roomBelow = visible.bottom() - a.bottom() - gap;
    const double roomAbove = a.top() - visible.top() - gap;
    const double roomRight = visible.right() - a.right() - gap;
    const double roomLeft = a.left() - visible.left() - gap;

    auto vertical = [&]() {
        const bool below = roomBelow >= size.height() || roomBelow >= roomAbove;
        const double top = below ? a.bottom() + gap : a.top() - gap - size.height();
        return keptInside(QRectF(a.center().x() - size.width() / 2, top, size.width(), size.height()),
                          visible);
    };
    auto horizontal = [&]() {
        const bool right = roomRight >= size.width() || roomRight >= roomLeft;
        const double left = right ? a.right() + gap : a.left() - gap - size.width();
        return keptInside(QRectF(left, a.top(), size.width(), size.height()), visible);
    };

    if (side == Side::below) {
        if (roomBelow >= size.height() || std::max(roomLeft, roomRight) < size.width()) {
            return vertical();
        }
        return horizontal();
    }
    if (std::max(roomLeft, roomRight) >= size.width() ||
        std::max(roomBelow, roomAbove) < std::min(size.height(), std::max(roomLeft, roomRight))) {
        return horizontal();
    }
    return vertical();
}

} // namespace DetailPlacement

namespace DetailTexts {

std::optional<QString> confirmation(const DetailCommand& command, const Localization& localization) {
    if (command.confirmation && !command.confirmation->trimmed().isEmpty()) {
        return command.confirmation;
    }
    if (command.isDestructive) {
        return localization.format(u"%1?"_s, command.title);
    }
    return std::nullopt;
}

bool asksForInput(const DetailCommand& command) {
    return command.inputPlaceholder || command.inputText || command.inputSuggestion || command.inputNote;
}

QString rowName(const DetailSection& section) {
    QStringList parts{section.title};
    if (section.badge && !section.badge->isEmpty()) {
        parts.append(*section.badge);
    }
    if (section.subtitle && !section.subtitle->isEmpty() && !section.isNote) {
        parts.append(section.subtitle->split(u'\n').join(u' '));
    } else if (!section.subtitleRuns.empty()) {
        QString runs;
        for (const DetailTextRun& run : section.subtitleRuns) {
            runs += run.text;
        }
        if (!runs.trimmed().isEmpty()) {
            parts.append(runs.trimmed());
        }
    }
    parts.removeAll(QString());
    return parts.join(u", "_s);
}

QString rowDescription(const DetailSection& section, const Localization& localization) {
    QStringList parts;
    if (section.activity) {
        parts.append(activityText(*section.activity, localization));
    }
    for (const DetailMetric& metric : section.metrics) {
        QString text = metric.label + u": "_s + metric.value;
        if (metric.detail && !metric.detail->isEmpty()) {
            text += u" ("_s + *metric.detail + u')';
        }
        parts.append(text);
    }
    for (const DetailStep& step : section.steps) {
        parts.append(stepStateText(step.state, localization) + u": "_s + step.line());
    }
    if (section.location) {
        parts.append(section.location->label);
    }
    if (section.footnote && !section.footnote->isEmpty()) {
        parts.append(*section.footnote);
    }
    return parts.join(u"; "_s);
}

QString activityText(DetailSection::Activity activity, const Localization& localization) {
    switch (activity) {
    case DetailSection::Activity::waiting:
        return localization.text(u"waiting"_s);
    case DetailSection::Activity::working:
        return localization.text(u"working"_s);
    case DetailSection::Activity::failed:
        return localization.text(u"failed"_s);
    }
    return {};
}

QString stepStateText(DetailStep::State state, const Localization& localization) {
    switch (state) {
    case DetailStep::State::passed:
        return localization.text(u"passed"_s);
    case DetailStep::State::running:
        return localization.text(u"running"_s);
    case DetailStep::State::failed:
        return localization.text(u"failed"_s);
    case DetailStep::State::pending:
        return localization.text(u"pending"_s);
    case DetailStep::State::skipped:
        return localization.text(u"skipped"_s);
    case DetailStep::State::working:
        return localization.text(u"working"_s);
    }
    return {};
}

} // namespace DetailTexts

} // namespace tessary
