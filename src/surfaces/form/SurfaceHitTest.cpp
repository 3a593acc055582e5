#include "surfaces/form/SurfaceHitTest.h"

#include "spatial/notch/CapsuleMetrics.h"
#include "spatial/notch/NotchMetrics.h"
#include "spatial/notch/RingMetrics.h"
#include "spatial/slots/SurfaceShapes.h"

#include <QString>

#include <algorithm>
#include <cmath>

namespace tessary {

namespace {

// Share of the body's thickness that rounds off a fused capsule's inner corners.
constexpr double capsuleRoundness = 0.7;
// Corner radius of an open bubble, as a share of its side.
constexpr double openBubbleRoundness = 0.22;
// Chips resting in the notch's wings.
constexpr double chipSpacing = 4;
constexpr double chipInset = 6;

double clamp01(double value) {
    return std::isfinite(value) ? std::clamp(value, 0.0, 1.0) : 0.0;
}

double mix(double from, double to, double t) {
    return from + (to - from) * t;
}

} // namespace

double SurfaceHitTest::openness() const {
    return expansion ? clamp01(*expansion) : (isExpanded ? 1.0 : 0.0);
}

SurfaceForm SurfaceHitTest::form() const {
    if (!panel.isValid() || moduleCount + signalOnlyCount <= 0) {
        return {};
    }
    const double e = openness();
    if (const auto* capsule = std::get_if<grouping::Capsule>(&grouping)) {
        return capsuleForm(capsule->edge, e);
    }
    if (const auto* rings = std::get_if<grouping::Rings>(&grouping)) {
        return ringsForm(rings->corner, e);
    }
    if (const auto* notch = std::get_if<grouping::Notch>(&grouping)) {
        return notchForm(notch->area, e);
    }
    return bubbleForm(e);
}

bool SurfaceHitTest::contains(const QPointF& point) const {
    return form().contains(point);
}

std::optional<int> SurfaceHitTest::moduleHit(const QPointF& point) const {
    return form().moduleAt(point);
}

SurfaceForm SurfaceHitTest::bubbleForm(double e) const {
    const QRectF p = panel.normalized();
    const double base = std::min(p.width(), p.height());
    const double side = base * mix(restingBubbleShare, openBubbleShare, e);
    const QPointF middle = p.center();
    const QRectF disc(middle.x() - side / 2, middle.y() - side / 2, side, side);
    const double round = mix(side / 2, side * openBubbleRoundness, e);

    SurfaceForm form;
    form.kind = SurfaceForm::Kind::box;
    form.bubbleDisc = disc;
    // A bubble against an edge reaches out to it: the corners on that edge are square.
    RoundedBox box = RoundedBox::uniform(disc, round);
    QRectF rect = disc;
    if (const auto* moon = std::get_if<shape::HalfMoon>(&chipShape)) {
        form.flushEdges = {moon->edge};
    } else if (const auto* inCorner = std::get_if<shape::InCorner>(&chipShape)) {
        const bool left = inCorner->corner == Corner::topLeft || inCorner->corner == Corner::bottomLeft;
        const bool top = inCorner->corner == Corner::topLeft || inCorner->corner == Corner::topRight;
        form.flushEdges = {top ? Edge::top : Edge::bottom, left ? Edge::left : Edge::right};
    }
    for (const Edge edge : form.flushEdges) {
        switch (edge) {
        case Edge::left:
            rect.setLeft(p.left());
            box.topLeft = box.bottomLeft = 0;
            break;
        case Edge::right:
            rect.setRight(p.right());
            box.topRight = box.bottomRight = 0;
            break;
        case Edge::top:
            rect.setTop(p.top());
            box.topLeft = box.topRight = 0;
            break;
        case Edge::bottom:
            rect.setBottom(p.bottom());
            box.bottomLeft = box.bottomRight = 0;
            break;
        }
    }
    box.rect = rect;
    form.body = box;
    form.moduleAreas = {rect};
    return form;
}

SurfaceForm SurfaceHitTest::capsuleForm(Edge edge, double e) const {
    const QRectF p = panel.normalized();
    const int count = std::max(moduleCount, 1);
    // The panel is the open capsule; its base follows from the thickness of the open form.
    const CapsuleMetrics open{edge, count, 1};
    const double base = isVertical(edge) ? p.width() / open.across(true) : p.height() / open.across(true);
    const CapsuleMetrics metrics{edge, count, base};
    const QSizeF size = metrics.size(e);
    const double across = metrics.across(e);
    const double radius = std::min(capsuleRoundness * across, metrics.along(e) / 2);

    QRectF rect;
    RoundedBox box;
    switch (edge) {
    case Edge::left:
        rect = QRectF(p.left(), p.center().y() - size.height() / 2, size.width(), size.height());
        box = {rect, 0, radius, radius, 0};
        break;
    case Edge::right:
        rect =
            QRectF(p.right() - size.width(), p.center().y() - size.height() / 2, size.width(), size.height());
        box = {rect, radius, 0, 0, radius};
        break;
    case Edge::top:
        rect = QRectF(p.center().x() - size.width() / 2, p.top(), size.width(), size.height());
        box = {rect, 0, 0, radius, radius};
        break;
    case Edge::bottom:
        rect = QRectF(p.center().x() - size.width() / 2, p.bottom() - size.height(), size.width(),
                      size.height());
        box = {rect, radius, radius, 0, 0};
        break;
    }
    SurfaceForm form;
    form.kind = SurfaceForm::Kind::box;
    form.body = box;
    form.flushEdges = {edge};
    const double segment = metrics.along(e) / count;
    for (int index = 0; index < count; ++index) {
        if (isVertical(edge)) {
            form.moduleAreas.emplace_back(rect.left(), rect.top() + segment * index, rect.width(), segment);
        } else {
            form.moduleAreas.emplace_back(rect.left() + segment * index, rect.top(), segment, rect.height());
        }
    }
    return form;
}

SurfaceForm SurfaceHitTest::ringsForm(Corner corner, double e) const {
    const QRectF p = panel.normalized();
    const int count = std::max(moduleCount, 1);
    const RingMetrics unit{corner, count, 1};
    const double base = std::min(p.width(), p.height()) / unit.side(true);
    const RingMetrics metrics{corner, count, base};
    const bool left = corner == Corner::topLeft || corner == Corner::bottomLeft;
    const bool top = corner == Corner::topLeft || corner == Corner::topRight;
    const QPointF center(left ? p.left() : p.right(), top ? p.top() : p.bottom());

    SurfaceForm form;
    form.kind = SurfaceForm::Kind::rings;
    form.flushEdges = {top ? Edge::top : Edge::bottom, left ? Edge::left : Edge::right};
    form.core = QuarterBand{center, corner, 0, metrics.radii(0, e).inner};
    for (int band = 0; band < count; ++band) {
        const RingMetrics::Radii radii = metrics.radii(band, e);
        form.bands.push_back({center, corner, radii.inner, radii.outer});
    }
    return form;
}

SurfaceForm SurfaceHitTest::notchForm(const QRectF& notch, double e) const {
    const NotchTabs tabs = notchTabs.value_or(NotchTabs{{}, {}});
    const int restingCount = isNotchHidden ? 0 : tabs.restingTabCount(notchRestingTabs);
    const NotchMetrics metrics{notch.normalized(), restingCount, notchRestingTabs};
    const QSizeF rest = metrics.silhouetteSize(false);
    const QSizeF open = metrics.silhouetteSize(true);
    const QSizeF size(mix(rest.width(), open.width(), e), mix(rest.height(), open.height(), e));
    const QRectF n = notch.normalized();
    const QRectF rect(n.center().x() - size.width() / 2, n.top(), size.width(), size.height());
    const double radius = NotchMetrics::cornerRadius(e);

    SurfaceForm form;
    form.kind = SurfaceForm::Kind::box;
    form.body = {rect, 0, 0, radius, radius};
    form.flushEdges = {Edge::top};
    const int total = moduleCount + signalOnlyCount;
    form.moduleAreas.assign(static_cast<std::size_t>(total), QRectF());
    if (e >= 0.5) {
        // Open: every member in a column of its own, in the order given.
        for (int index = 0; index < moduleCount; ++index) {
            form.moduleAreas[static_cast<std::size_t>(index)] = metrics.memberBox(index, moduleCount);
        }
        return form;
    }
    // At rest: chips in the wings, from the notch outwards, as many as fit.
    const double height = metrics.height(false);
    const double chip = std::clamp(height - 2 * chipInset, 12.0, 26.0);
    for (int tab = 0; tab < restingCount; ++tab) {
        std::vector<int> members = tabs.restingMembers(tab);
        if (tab == restingCount - 1) {
            for (int extra = 0; extra < signalOnlyCount; ++extra) {
                members.push_back(moduleCount + extra);
            }
        }
        const QRectF wing = metrics.tabBox(tab, false);
        const int fits =
            std::max(0, static_cast<int>((wing.width() - chipInset + chipSpacing) / (chip + chipSpacing)));
        const int shown = std::min(fits, static_cast<int>(members.size()));
        for (int slot = 0; slot < shown; ++slot) {
            const double offset = chipInset / 2 + slot * (chip + chipSpacing);
            const double x = tab == 0 ? wing.right() - offset - chip : wing.left() + offset;
            const int member = members[static_cast<std::size_t>(slot)];
            if (member >= 0 && member < total) {
                form.moduleAreas[static_cast<std::size_t>(member)] =
                    QRectF(x, wing.top() + (height - chip) / 2, chip, chip);
            }
        }
    }
    return form;
}

} // namespace tessary
