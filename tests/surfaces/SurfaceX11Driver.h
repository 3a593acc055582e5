#pragma once

// The X11 readers of the shared test windows, and the pointer driven for real through xdotool.

#include "support/X11TestWindows.h"

#include <QProcess>
#include <QStringList>
#include <QTest>

namespace tessary::testing {

class X11Driver : public X11TestWindows {
public:
    // Runs xdotool with `arguments` and waits for it, keeping the event loop turning meanwhile so
    // that the program under test answers what the tool asks.
    static bool xdotool(const QStringList& arguments) {
        QProcess tool;
        tool.start(QStringLiteral("xdotool"), arguments);
        if (!tool.waitForStarted(5000)) {
            return false;
        }
        for (int waited = 0; tool.state() != QProcess::NotRunning && waited < 10'000; waited += 10) {
            QTest::qWait(10);
        }
        return tool.exitStatus() == QProcess::NormalExit && tool.exitCode() == 0;
    }
};

} // namespace tessary::testing
