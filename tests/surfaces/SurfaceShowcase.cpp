// Shows every form a surface takes over a desktop with a couple of windows, and saves a picture of
// the screen: `surface_showcase <out.png>` on an X server (scripts/surfaces-screenshot starts one).

#include "SampleSnapshots.h"
#include "platform/panels/linux/X11PanelWindowTraits.h"
#include "spatial/notch/NotchMetrics.h"
#include "spatial/slots/SurfaceSlotAllocator.h"
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

namespace {

// The wallpaper: light at the top left, deep at the bottom right, so the glass shows on both.
class Wallpaper final : public QWidget {
public:
    Wallpaper() {
        setAttribute(Qt::WA_X11NetWmWindowTypeDesktop);
        setWindowFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnBottomHint);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        QLinearGradient sky(rect().topLeft(), rect().bottomRight());
        sky.setColorAt(0, QColor(226, 233, 241));
        sky.setColorAt(0.45, QColor(150, 178, 204));
        sky.setColorAt(1, QColor(31, 45, 66));
        p.fillRect(rect(), sky);
        QRadialGradient glow(QPointF(width() * 0.78, height() * 0.2), width() * 0.45);
        glow.setColorAt(0, QColor(255, 214, 170, 120));
        glow.setColorAt(1, QColor(255, 214, 170, 0));
        p.fillRect(rect(), glow);
    }
};

// A window standing in for the user's work: a code editor or a terminal.
class WorkWindow final : public QWidget {
public:
    WorkWindow(const QString& title, bool dark)
        : m_dark(dark) {
        setWindowTitle(title);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.fillRect(rect(), m_dark ? QColor(24, 26, 31) : QColor(250, 250, 252));
        QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        mono.setPixelSize(13);
        p.setFont(mono);
        const QStringList lines =
            m_dark ? QStringList{QStringLiteral("$ npm run test -- --watch"),
                                 QStringLiteral(""),
                                 QStringLiteral(" PASS  src/api/session.test.ts (4.2 s)"),
                                 QStringLiteral(" PASS  src/api/limits.test.ts"),
                                 QStringLiteral(" RUNS  src/web/board.test.tsx"),
                                 QStringLiteral(""),
                                 QStringLiteral("Tests:       86 passed, 86 total"),
                                 QStringLiteral("Time:        9.81 s")}
                   : QStringList{QStringLiteral("export async function readLimits(token: string) {"),
                                 QStringLiteral("  const response = await fetch(usageEndpoint, {"),
                                 QStringLiteral("    headers: { authorization: `Bearer ${token}` },"),
                                 QStringLiteral("  });"),
                                 QStringLiteral("  if (!response.ok) {"),
                                 QStringLiteral("    return { error: response.statusText };"),
                                 QStringLiteral("  }"),
                                 QStringLiteral("  return parseLimits(await response.json());"),
                                 QStringLiteral("}")};
        int y = 34;
        for (int i = 0; i < lines.size(); ++i) {
            p.setPen(m_dark ? QColor(120, 200, 140) : QColor(160, 164, 172));
            if (!m_dark) {
                p.drawText(14, y, QString::number(i + 1));
            }
            p.setPen(m_dark ? QColor(215, 218, 224) : QColor(40, 44, 52));
            p.drawText(m_dark ? 16 : 48, y, lines[i]);
            y += 21;
        }
    }

private:
    bool m_dark;
};

SurfaceViewState stateFor(std::vector<ModuleSnapshot> modules, const QRectF& frame, SurfaceGrouping grouping,
                          SurfaceShape shape) {
    SurfaceViewState state;
    state.modules = std::move(modules);
    state.placement = SurfacePlacement{QStringLiteral("showcase"), SurfaceKind::floatingChip, frame, 1, true};
    state.grouping = std::move(grouping);
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

    Wallpaper wallpaper;
    wallpaper.setGeometry(screen->geometry());
    wallpaper.show();
    WorkWindow editor(QStringLiteral("limits.ts — api-server"), false);
    editor.setGeometry(250, 150, 860, 560);
    editor.show();
    WorkWindow terminal(QStringLiteral("Terminal"), true);
    terminal.setGeometry(720, 560, 640, 330);
    terminal.show();

    X11PanelWindowTraits traits;
    SurfaceEnvironment environment{traits, {}, [v](const QString&) { return std::optional(v); }};
    std::vector<std::unique_ptr<SurfaceCoordinator>> surfaces;
    const auto add = [&](SurfaceViewState state) {
        auto surface =
            std::make_unique<SurfaceCoordinator>(QStringLiteral("showcase"), SurfaceCallbacks{}, environment);
        surface->show(state);
        surfaces.push_back(std::move(surface));
        return surfaces.back().get();
    };

    const double base = 140;
    const QSizeF chip(base, base);
    // Docked at the top centre: two tabs at rest.
    const QRectF notch(v.center().x() - 90, v.top(), 180, 32);
    add(stateFor(
        {samples::agentSessions(), samples::claudeUsage(), samples::pullRequest(), samples::localServers()},
        NotchMetrics{notch, 4}.panelFrame(), grouping::Notch{notch}, shape::Circle{}));
    // A capsule along the right edge.
    const QRectF capsule =
        SurfaceSlotAllocator::capsuleFrame(Edge::right, 3, base, QRectF(v.right() - 140, 420, 140, 140), v);
    add(stateFor({samples::claudeUsage(), samples::codexUsage(), samples::pullRequest()}, capsule,
                 grouping::Capsule{Edge::right}, shape::HalfMoon{Edge::right}));
    // Rings in the bottom left corner.
    add(stateFor({samples::cpu(), samples::memory(), samples::localServers()},
                 SurfaceSlotAllocator::ringsFrame(Corner::bottomLeft, 3, base, v),
                 grouping::Rings{Corner::bottomLeft}, shape::InCorner{Corner::bottomLeft}));
    // Bubbles: one in the open, one against the top edge, one under the pointer (open).
    add(stateFor({samples::memory()}, QRectF(QPointF(1180, 190), chip), grouping::Bubble{}, shape::Circle{}));
    add(stateFor({samples::codexUsage()}, QRectF(QPointF(1430, v.top()), chip), grouping::Bubble{},
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
