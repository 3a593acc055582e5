// Shows the permission card for a command, a question and a plan over a desktop and saves a
// picture of each: card_showcase <command.png> <question.png> <plan.png>

#include "ShowcaseDesktop.h"
#include "core/time/Clock.h"
#include "platform/keygrab/fake/FakeShortcutGrab.h"
#include "platform/panels/linux/X11PanelWindowTraits.h"
#include "surfaces/card/CardSamples.h"
#include "surfaces/card/PermissionCardController.h"

#include <QApplication>
#include <QScreen>
#include <QTimer>

#include <cstdio>

using namespace tessary;
using namespace tessary::showcase;

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    if (argc < 4) {
        std::fprintf(stderr, "usage: card_showcase <command.png> <question.png> <plan.png>\n");
        return 2;
    }
    const QStringList outputs{QString::fromLocal8Bit(argv[1]), QString::fromLocal8Bit(argv[2]),
                              QString::fromLocal8Bit(argv[3])};
    QScreen* screen = QGuiApplication::primaryScreen();
    const QRectF v = screen->availableGeometry();

    const DesktopScene desktop(screen->geometry(), 420);

    X11PanelWindowTraits traits;
    FakeShortcutGrab shortcuts;
    ManualClock clock;
    PermissionCardController card({traits, shortcuts, clock, {}, {}});
    card.hintProvider = [](const PendingPermission& request,
                           const PermissionCardController::HintReply& reply) {
        if (request.tool == QStringLiteral("Bash")) {
            reply(PermissionHint{
                PermissionHint::Risk::medium, QStringLiteral("deletes the build folder"), std::nullopt, {}});
        }
    };
    const QRectF notch(v.center().x() - 90, v.top(), 180, 32);
    const PermissionCardController::Placement placement{notch, false, 0, v.height() - notch.height() - 40,
                                                        45};
    const QList<QList<PendingPermission>> scenes{{cardsamples::command(),
                                                  cardsamples::question(QStringLiteral("q2")),
                                                  cardsamples::plan(QStringLiteral("p2"))},
                                                 {cardsamples::question()},
                                                 {cardsamples::plan()}};
    const QRect area(static_cast<int>(v.center().x()) - 330, 0, 660, 700);

    int index = 0;
    std::function<void()> next = [&] {
        if (index >= scenes.size()) {
            app.exit(0);
            return;
        }
        clock.advance(6);
        card.show(scenes[index], placement);
        clock.advance(12);
        card.tick();
        QTimer::singleShot(1200, &app, [&] {
            const QPixmap shot = screen->grabWindow(0, area.x(), area.y(), area.width(), area.height());
            const bool saved = shot.save(outputs[index]);
            std::fprintf(stderr, "%s %s\n", saved ? "saved" : "could not save", qPrintable(outputs[index]));
            if (!saved) {
                app.exit(1);
                return;
            }
            card.hide();
            ++index;
            QTimer::singleShot(300, &app, next);
        });
    };
    QTimer::singleShot(800, &app, next);
    return QApplication::exec();
}
