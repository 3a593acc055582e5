// Shows the detail panel and the docked notch over a desktop and saves pictures of them:
// `detail_showcase <detail.png> <notch.png>` on an X server with a compositor.

#include "ShowcaseDesktop.h"
#include "platform/panels/linux/X11PanelWindowTraits.h"
#include "spatial/notch/NotchArrangement.h"
#include "spatial/notch/NotchMetrics.h"
#include "surfaces/SampleSnapshots.h"
#include "surfaces/SurfaceCoordinator.h"
#include "surfaces/SurfacePanel.h"
#include "surfaces/detail/DetailPanel.h"
#include "surfaces/notch/NotchEditorPanel.h"

#include <QApplication>
#include <QCursor>
#include <QScreen>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <vector>

using namespace tessary;
using namespace tessary::showcase;

namespace {

SurfaceViewState stateFor(std::vector<ModuleSnapshot> modules, const QRectF& frame,
                          const SurfaceGrouping& grouping) {
    SurfaceViewState state;
    state.modules = std::move(modules);
    state.placement = SurfacePlacement{QStringLiteral("showcase"), SurfaceKind::floatingChip, frame, 1, true};
    state.grouping = grouping;
    return state;
}

bool save(const QPixmap& shot, const QString& path) {
    const bool saved = shot.save(path);
    std::fprintf(stderr, "%s %s\n", saved ? "saved" : "could not save", qPrintable(path));
    return saved;
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    if (argc < 4) {
        std::fprintf(stderr, "usage: detail_showcase <detail.png> <notch.png> <notch-editing.png>\n");
        return 2;
    }
    const QString detailOut = QString::fromLocal8Bit(argv[1]);
    const QString notchOut = QString::fromLocal8Bit(argv[2]);
    const QString editingOut = QString::fromLocal8Bit(argv[3]);
    QScreen* screen = QGuiApplication::primaryScreen();
    const QRectF v = screen->availableGeometry();

    const DesktopScene desktop(screen->geometry(), 560);

    X11PanelWindowTraits traits;
    DetailPanel detail(traits);
    NotchEditorPanel notchEditor(traits, [] { return Localization(); });
    SurfaceEnvironment environment{traits, {}, [v](const QString&) { return std::optional(v); }, &detail};
    std::vector<std::unique_ptr<SurfaceCoordinator>> surfaces;
    const auto add = [&](const SurfaceViewState& state) {
        auto surface =
            std::make_unique<SurfaceCoordinator>(QStringLiteral("showcase"), SurfaceCallbacks{}, environment);
        surface->show(state);
        surfaces.push_back(std::move(surface));
        return surfaces.back().get();
    };

    const QSizeF chip(140, 140);
    // Local ports and the system widgets each stand as their own bubble on the right.
    SurfaceCoordinator* ports = add(stateFor(
        {samples::localPortsWithDetail()}, QRectF(QPointF(v.right() - 170, 230), chip), grouping::Bubble{}));
    add(stateFor({samples::cpuWithDetail()}, QRectF(QPointF(v.right() - 170, 600), chip),
                 grouping::Bubble{}));
    add(stateFor({samples::memory()}, QRectF(QPointF(v.right() - 170, 760), chip), grouping::Bubble{}));

    // The docked notch at the top centre, arranged as the loop arranges it.
    const QRectF notch(v.center().x() - 90, v.top(), 180, 32);
    std::vector<ModuleSnapshot> docked =
        NotchArrangement::arranged({samples::claudeUsage(), samples::agentSessions(), samples::pullRequest(),
                                    samples::codexUsage(), samples::cpuWithDetail(), samples::memory()},
                                   NotchPreferences{});
    SurfaceCoordinator* notchSurface =
        add(stateFor(docked, NotchMetrics{notch, 4}.panelFrame(), grouping::Notch{notch}));

    const QRect notchArea(static_cast<int>(notch.center().x()) - 420, 0, 840, 90);
    QTimer::singleShot(
        700, &app, [ports] { QCursor::setPos(ports->panel().frame().center().toPoint() + QPoint(0, 10)); });
    QTimer::singleShot(2400, &app, [&] {
        if (!save(screen->grabWindow(0), detailOut)) {
            app.exit(1);
            return;
        }
        QCursor::setPos(QPoint(40, static_cast<int>(v.bottom()) - 40));
    });
    QTimer::singleShot(3600, &app, [&] {
        // At rest: the tabs beside the stand-in notch.
        QPixmap resting =
            screen->grabWindow(0, notchArea.x(), notchArea.y(), notchArea.width(), notchArea.height());
        QCursor::setPos(QPoint(static_cast<int>(notch.center().x()) - 110, 14));
        QTimer::singleShot(900, &app, [&, resting] {
            // Open, with the detail of the member under the pointer hanging below it.
            const QPoint member = notchSurface->panel().moduleFrame(4).center().toPoint();
            if (!member.isNull()) {
                QCursor::setPos(member);
            }
            QTimer::singleShot(1300, &app, [&, resting] {
                const QPixmap open = screen->grabWindow(0, notchArea.x(), 0, notchArea.width(), 600);
                QPixmap both(notchArea.width(), resting.height() + open.height() + 12);
                both.fill(QColor(20, 22, 28));
                QPainter painter(&both);
                painter.drawPixmap(0, 0, resting);
                painter.drawPixmap(0, resting.height() + 12, open);
                painter.end();
                if (!save(both, notchOut)) {
                    app.exit(1);
                    return;
                }
                // Notch editing: the surfaces hold still and the editor lists the tabs under the notch.
                QCursor::setPos(QPoint(40, static_cast<int>(v.bottom()) - 40));
                notchSurface->setInteractionPaused(true);
                NotchEditor::Content content;
                content.notch = notch;
                NotchPreferences preferences;
                preferences.smartOrdering = false;
                content.preferences = preferences;
                content.tabs = NotchArrangement::editingTabs(docked, preferences, true);
                for (const ModuleSnapshot& module : docked) {
                    content.titles.insert(module.id, module.variants.compact.title);
                }
                notchEditor.showEditor(content);
                QTimer::singleShot(1200, &app, [&] {
                    app.exit(save(screen->grabWindow(0, notchArea.x(), 0, notchArea.width(), 470), editingOut)
                                 ? 0
                                 : 1);
                });
            });
        });
    });
    return QApplication::exec();
}
