#pragma once

// Draws a surface: bubbles, a capsule, rings or the docked notch, in one dark-glass look that
// stays legible over light and dark wallpapers. Pure drawing on a QPainter, so that a panel, a
// test and a benchmark draw the same way.

#include "core/localization/Localization.h"
#include "modulekit/ModuleSnapshot.h"
#include "surfaces/SymbolIconCache.h"
#include "surfaces/form/RestingCaption.h"
#include "surfaces/form/SurfaceHitTest.h"

#include <QByteArray>
#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <optional>
#include <utility>
#include <vector>

namespace tessary {

struct SurfaceScene {
    std::vector<ModuleSnapshot> modules;
    std::vector<ModuleSnapshot> signalOnly;
    // The form, in the panel's own coordinates (its top left at 0, 0).
    SurfaceHitTest geometry;
    std::optional<int> hoveredModule;
    Localization localization;
    // Whether a soft shadow may be drawn around the form: only where the window system blends.
    bool drawsShadow = true;
    // Where the beat of a pulsing mark stands, 0...1; negative when nothing pulses. Critical and
    // attention facts pulse; the others show a steady mark.
    double pulse = -1;

    // Whether two scenes draw the same picture. The loop hands fresh snapshots on every refresh,
    // most of them differing only in when they were made; those cost no repaint.
    [[nodiscard]] bool drawsAs(const SurfaceScene& other) const;
};

class SurfacePainter {
public:
    void paint(QPainter& painter, const SurfaceScene& scene);

    // The outline of a form as a path: what is filled, and what the input region follows.
    [[nodiscard]] static QPainterPath outline(const SurfaceForm& form);
    // The dark glass of the panels that open beside surfaces (detail, card, notch editor), filling `bounds`.
    static void paintPanelGlass(QPainter& painter, const QRectF& bounds, double cornerRadius);
    // What the notch's own area says of the leading widget, in the fonts it is drawn with: its
    // title and value where both fit in `width`, else a part dropped whole.
    [[nodiscard]] static RestingCaption notchCaption(const CompactVariant& lead, double width, double height);

private:
    void paintBubble(QPainter& painter, const SurfaceScene& scene, const SurfaceForm& form, double e);
    void paintCapsule(QPainter& painter, const SurfaceScene& scene, const SurfaceForm& form, Edge edge,
                      double e);
    void paintRings(QPainter& painter, const SurfaceScene& scene, const SurfaceForm& form, double e);
    void paintNotch(QPainter& painter, const SurfaceScene& scene, const SurfaceForm& form, double e);

    void drawIcon(QPainter& painter, const QString& symbolName, const QRectF& box, const QColor& color);
    void drawShadow(QPainter& painter, const QPainterPath& path, bool enabled);

    static constexpr std::size_t shadowCacheSize = 4;
    SymbolIconCache m_icons;
    std::vector<std::pair<QByteArray, QImage>> m_shadows;
};

} // namespace tessary
