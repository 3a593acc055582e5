#pragma once

// The desktop the showcases draw over: a wallpaper and two windows standing in for the user's work.

#include <QFontDatabase>
#include <QLinearGradient>
#include <QPainter>
#include <QRadialGradient>
#include <QWidget>

namespace tessary::showcase {

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

// The desktop every showcase is drawn over: the wallpaper on the whole screen, an editor, and a
// terminal whose top is at `terminalTop`.
struct DesktopScene {
    Wallpaper wallpaper;
    WorkWindow editor{QStringLiteral("limits.ts — api-server"), false};
    WorkWindow terminal{QStringLiteral("Terminal"), true};

    DesktopScene(const QRect& screen, int terminalTop) {
        wallpaper.setGeometry(screen);
        wallpaper.show();
        editor.setGeometry(250, 150, 860, 560);
        editor.show();
        terminal.setGeometry(720, terminalTop, 640, 330);
        terminal.show();
    }
};

} // namespace tessary::showcase
