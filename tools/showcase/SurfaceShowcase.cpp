// Shows every form a surface takes over a desktop with a couple of windows, and saves a picture of
// the screen: `surface_showcase <out.png>` on an X server (scripts/surfaces-screenshot starts one).

#include "ShowcaseDesktop.h"
#include "platform/panels/linux/X11PanelWindowTraits.h"
#include "spatial/notch/NotchMetrics.h"
#include "spatial/slots/SurfaceSlotAllocator.h"
#include "surfaces/SampleSnapshots.h"
#include "surfaces/SurfaceCoordinator.h"
#include "surfaces/SurfacePanel.h"

#include <QApplication>
#include <QCursor>
#include <QFontDatabase>
#include <QLinearGradient>
#include <QPainter>
#include <QRadialGradient>
#include <QScreen>
#include <QTimer>
#include <QWidget>

#include <cstdio>
#include <memory>
#include <vector>

using namespace tessary;
using namespace tessary::showcase;

namespace {

SurfaceViewState stateFor(std::vector<ModuleSnapshot> modules, const QRectF& frame,
                          const SurfaceGrouping& grouping, SurfaceShape shape) {
    SurfaceViewState state;
    state.modules = std::move(modules);
    state.placement = SurfacePlacement{QStringLiteral("showcase"), SurfaceKind::floatingChip, frame, 1, true};
    state.grouping = grouping;
    state.chipShape = shape;
    return state;
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: surface_showcase <out.png>\n");
        return 2;
    }
    const QString output = QString::fromLocal8Bit(argv[1]);
    QScreen* screen = QGuiApplication::primaryScreen();
    const QRectF v = screen->availableGeometry();

    const DesktopScene desktop(screen->geometry(), 560);

    X11PanelWindowTraits traits;
    SurfaceEnvironment environment{traits, {}, [v](const QString&) { return std::optional(v); }};
    std::vector<std::unique_ptr<SurfaceCoordinator>> surfaces;
    const auto add = [&](const SurfaceViewState& state) {
        auto surface =
            std::make_unique<SurfaceCoordinator>(QStringLiteral("showcase"), SurfaceCallbacks{}, environment);
        surface->show(state);
        surfaces.push_back(std::move(surface));
        return surfaces.back().get();
    };

    const double base = 140;
    const QSizeF chip(base, base);
    // Seven widgets, each in one place as on a real screen. Docked at the top centre: the sessions.
    const QRectF notch(v.center().x() - 90, v.top(), 180, 32);
    add(stateFor({samples::agentSessions()}, NotchMetrics{notch, 1}.panelFrame(), grouping::Notch{notch},
                 shape::Circle{}));
    // A capsule along the right edge.
    const QRectF capsule =
        SurfaceSlotAllocator::capsuleFrame(Edge::right, 2, base, QRectF(v.right() - 140, 420, 140, 140), v);
    add(stateFor({samples::codexUsage(), samples::pullRequest()}, capsule, grouping::Capsule{Edge::right},
                 shape::HalfMoon{Edge::right}));
    // Rings in the bottom left corner.
    add(stateFor({samples::cpu(), samples::memory()},
                 SurfaceSlotAllocator::ringsFrame(Corner::bottomLeft, 2, base, v),
                 grouping::Rings{Corner::bottomLeft}, shape::InCorner{Corner::bottomLeft}));
    // Bubbles: one against the top edge, one in the open under the pointer (open).
    add(stateFor({samples::localServers()}, QRectF(QPointF(1430, v.top()), chip), grouping::Bubble{},
                 shape::HalfMoon{Edge::top}));
    SurfaceCoordinator* open = add(stateFor({samples::claudeUsage()}, QRectF(QPointF(1330, 300), chip),
                                            grouping::Bubble{}, shape::Circle{}));

    QTimer::singleShot(700, &app,
                       [open] { QCursor::setPos(open->panel().frame().center().toPoint() + QPoint(0, 30)); });
    QTimer::singleShot(2600, &app, [&] {
        const QPixmap shot = screen->grabWindow(0);
        const bool saved = shot.save(output);
        std::fprintf(stderr, "%s %s\n", saved ? "saved" : "could not save", qPrintable(output));
        app.exit(saved ? 0 : 1);
    });
    return QApplication::exec();
}
