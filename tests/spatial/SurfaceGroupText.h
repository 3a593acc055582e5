#pragma once

// Readable one-line descriptions of surface groups, so that a failing comparison shows the form,
// the members and the frame at a glance.

#include "spatial/slots/SurfaceGroup.h"

#include <QRectF>
#include <QString>
#include <QStringList>

#include <vector>

namespace tessary::testing {

inline QString number(double value) {
    return QString::number(value, 'g', 10);
}

inline QString describe(const QRectF& r) {
    return number(r.x()) + u',' + number(r.y()) + u' ' + number(r.width()) + u'x' + number(r.height());
}

inline QString describe(const SurfaceGroup& group) {
    QString form;
    if (const auto* capsule = std::get_if<grouping::Capsule>(&group.grouping)) {
        form = QStringLiteral("capsule ") + rawValue(capsule->edge);
    } else if (const auto* rings = std::get_if<grouping::Rings>(&group.grouping)) {
        form = QStringLiteral("rings ") + rawValue(rings->corner);
    } else if (std::holds_alternative<grouping::Notch>(group.grouping)) {
        form = QStringLiteral("notch");
    } else {
        form = QStringLiteral("bubble");
    }
    QStringList members;
    for (const int m : group.members) {
        members.append(QString::number(m));
    }
    return form + QStringLiteral(" [") + members.join(u',') + QStringLiteral("] ") + describe(group.frame);
}

inline QString describe(const std::vector<SurfaceGroup>& groups) {
    QStringList parts;
    for (const auto& g : groups) {
        parts.append(describe(g));
    }
    return parts.join(QStringLiteral("; "));
}

} // namespace tessary::testing
