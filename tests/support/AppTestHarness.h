#pragma once

// What an AppDelegate under test is given: a private folder and settings file, fakes for the login
// item, the clock, the workspace and the system events, and one 1920x1080 display named "DP-1".
// Made anew for every test function, so nothing carries over.

#include "app/AppDelegate.h"
#include "core/settings/SettingsStore.h"
#include "platform/credentials/fake/FakeClaudeTokenSource.h"
#include "platform/loginitem/fake/FakeLoginItem.h"
#include "platform/systemevents/fake/FakeSystemEventSource.h"
#include "platform/workspace/fake/FakeWorkspaceReader.h"
#include "services/monitoring/Scheduler.h"

#include <QMenu>
#include <QSettings>
#include <QTemporaryDir>

#include <memory>

namespace tessary::testing {

struct AppTestHarness {
    QTemporaryDir dir;
    QSettings defaults{dir.filePath(QStringLiteral("Tessary.conf")), QSettings::IniFormat};
    FakeLoginItem loginItem;
    ManualClock clock;
    ManualScheduler scheduler{clock};
    FakeWorkspaceReader reader;
    FakeSystemEventSource systemEvents;
    FakeClaudeTokenSource claudeTokens;

    AppTestHarness() {
        DisplaySnapshot display;
        display.id = QStringLiteral("DP-1");
        display.name = QStringLiteral("Dell");
        display.frame = QRectF(0, 0, 1920, 1080);
        display.visibleFrame = display.frame;
        WorkspaceSnapshot workspace;
        workspace.displays = {display};
        workspace.activeDisplay = display;
        reader.snapshot = workspace;
    }

    // Past the first run, so that no first-run window stands in front.
    void skipFirstRun() { defaults.setValue(QLatin1StringView(PreferenceKeys::onboardingCompleted), true); }

    // Everything above wired in; no former settings, no tray icon, no system widgets. Tests change what
    // they are about before making the delegate.
    [[nodiscard]] AppEnvironment environment() {
        AppEnvironment environment;
        environment.defaults = &defaults;
        environment.loginItem = &loginItem;
        environment.openFormerSuite = [] { return std::unique_ptr<QSettings>(); };
        environment.showsTrayIcon = false;
        environment.clock = &clock;
        environment.scheduler = &scheduler;
        environment.workspaceReader = &reader;
        environment.systemEvents = &systemEvents;
        environment.claudeTokens = &claudeTokens;
        environment.homeDirectory = dir.path();
        environment.runsSystemWidgets = false;
        return environment;
    }
};

// The menu's entry of that text, or null.
inline QAction* menuEntry(const QMenu* menu, const QString& text) {
    for (QAction* action : menu->actions()) {
        if (action->text() == text) {
            return action;
        }
    }
    return nullptr;
}

} // namespace tessary::testing
