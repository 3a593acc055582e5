// The settings window and the log viewer on a real X server, with the real widgets of this machine:
// nothing is cut off in any language, and, with TESSARY_SCREENSHOT_DIR set, each pane is saved as a picture.

#include "app/SystemWidgets.h"
#include "app/logviewer/LogViewerWindow.h"
#include "app/settings/SettingsWindow.h"
#include "core/diagnostics/DiagnosticLine.h"
#include "core/settings/SettingsStore.h"
#include "core/time/Clock.h"
#include "modulekit/ModuleEventBus.h"
#include "modules/agents/installers/AgentHookInstaller.h"
#include "services/monitoring/Scheduler.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QScreen>
#include <QScrollArea>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

DisplaySnapshot display(const QString& id, const QString& name) {
    DisplaySnapshot result;
    result.id = id;
    result.name = name;
    result.frame = QRectF(0, 0, 2560, 1440);
    result.visibleFrame = result.frame;
    return result;
}

// The window with its frame as the window manager draws it.
void save(QWidget* window, const QString& name) {
    const QString folder = qEnvironmentVariable("TESSARY_SCREENSHOT_DIR");
    if (folder.isEmpty()) {
        return;
    }
    QTest::qWait(150); // let the switches finish sliding and the frame be drawn
    const QRect frame = window->frameGeometry();
    const QPixmap picture =
        window->screen()->grabWindow(0, frame.x(), frame.y(), frame.width(), frame.height());
    QVERIFY(picture.save(QDir(folder).filePath(name)));
}

void writeLog(const QString& folder) {
    QDir().mkpath(folder);
    QFile file(QDir(folder).filePath(u"tessary.log"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const QDateTime start(QDate(2026, 11, 21), QTime(23, 58, 2, 114), Qt::UTC);
    struct Line {
        int seconds;
        DiagnosticCategory category;
        DiagnosticLevel level;
        const char* message;
    };
    const Line lines[] = {
        {0, DiagnosticCategory::app, DiagnosticLevel::info,
         "launch version=0.1.0 build=x86_64-little_endian-lp64 os=debian osVersion=12 verbose=yes file=yes"},
        {0, DiagnosticCategory::hooks, DiagnosticLevel::info, "listener.start port=41977"},
        {1, DiagnosticCategory::monitor, DiagnosticLevel::debug, "start monitor=claudeSessions"},
        {1, DiagnosticCategory::monitor, DiagnosticLevel::debug,
         "poll monitor=localServices count=4 took=38ms"},
        {2, DiagnosticCategory::panel, DiagnosticLevel::info, "detail.show size=320x240 animated=yes"},
        {4, DiagnosticCategory::hooks, DiagnosticLevel::info,
         "event kind=PreToolUse agent=claude session=3f9a1c07"},
        {4, DiagnosticCategory::card, DiagnosticLevel::info, "card.show request=6be1f0d2 risk=medium"},
        {9, DiagnosticCategory::card, DiagnosticLevel::info, "card.answer via=card request=6be1f0d2"},
        {12, DiagnosticCategory::monitor, DiagnosticLevel::error,
         "usage.failed kind=UsageProviderError.network"},
        {15, DiagnosticCategory::settings, DiagnosticLevel::info, "verboseLogging enabled=yes"},
        {17, DiagnosticCategory::desktop, DiagnosticLevel::debug, "desktop.read sessions=2 took=12ms"},
        {21, DiagnosticCategory::jump, DiagnosticLevel::info, "jump.terminal target=kitty"},
    };
    for (const Line& line : lines) {
        file.write(DiagnosticLine::line(start.addSecs(line.seconds), QTimeZone(3600), line.category,
                                        line.level, QString::fromLatin1(line.message))
                       .toUtf8() +
                   '\n');
    }
    file.write("--- 3 diagnostic lines dropped: the file queue was full ---\n");
    file.write("2026-11-21T23:58:26.0\x01\x02\xff half-written line\n");
    file.write(DiagnosticLine::line(start.addSecs(27), QTimeZone(3600), DiagnosticCategory::monitor,
                                    DiagnosticLevel::info, u"usage.recovered"_s)
                   .toUtf8() +
               '\n');
}

} // namespace

class SettingsScreensTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void noControlIsCutOff_data();
    void noControlIsCutOff();
    void logViewerShowsTheLog();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QSettings> m_defaults;
    std::unique_ptr<SettingsStore> m_store;
    std::unique_ptr<SettingsWindow> m_window;
    SystemClock m_clock;
    QtScheduler m_scheduler;
    std::unique_ptr<SystemWidgets> m_widgets;
    ModuleEventBus m_bus;
};

void SettingsScreensTest::initTestCase() {
    m_widgets = std::make_unique<SystemWidgets>(m_clock, m_scheduler, [] {});
    m_widgets->registerModules(m_bus);
}

void SettingsScreensTest::cleanupTestCase() {
    m_widgets.reset();
}

void SettingsScreensTest::init() {
    m_dir = std::make_unique<QTemporaryDir>();
    m_defaults = std::make_unique<QSettings>(m_dir->filePath(u"Tessary.conf"_s), QSettings::IniFormat);
    const QString home = m_dir->filePath(u"home"_s);
    QDir(home).mkpath(u".claude"_s);
    QDir(home).mkpath(u".codex"_s);
    AgentHookInstaller::claude(home, m_defaults.get()).install();

    TessarySettings settings;
    settings.launchesAtLogin = true;
    settings.questionSound = AlertSound::tink;
    settings.displays.insert(u"HDMI-1"_s, DisplaySettings{u"Projector"_s, {u"cpu"_s}, {}});
    settings.displays.insert(u"DP-1"_s,
                             DisplaySettings{u"Dell U2720Q"_s, {}, DisplaySettings::Visibility::always});
    m_defaults->setValue(QLatin1StringView(PreferenceKeys::settings), SettingsCodec::encode(settings));
    m_store = std::make_unique<SettingsStore>(*m_defaults, [](bool) { return true; });

    SettingsWindowInputs inputs;
    inputs.modules = m_bus.registeredModules();
    inputs.agents = OnboardingAgents::defaultCandidates(home, m_defaults.get(), Localization());
    inputs.connectedDisplays = [] {
        return std::vector<DisplaySnapshot>{display(u"eDP-1"_s, u"Built-in Display"_s),
                                            display(u"DP-1"_s, u"Dell U2720Q"_s)};
    };
    inputs.logsFolder = m_dir->filePath(u"logs"_s);
    inputs.openUrl = [](const QUrl&) { return true; };
    inputs.showLog = [] {};
    m_window = std::make_unique<SettingsWindow>(*m_store, std::move(inputs));
    m_window->move(80, 60);
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
}

void SettingsScreensTest::cleanup() {
    m_window.reset();
    m_store.reset();
    m_defaults.reset();
    m_dir.reset();
}

void SettingsScreensTest::noControlIsCutOff_data() {
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("section");
    for (const char* language : {"en", "es", "pt-BR"}) {
        for (const auto& [section, raw] : EnumTable<SettingsSection>::cases) {
            QTest::addRow("%s %s", language, raw)
                << QString::fromLatin1(language) << QString::fromLatin1(raw);
        }
    }
}

void SettingsScreensTest::noControlIsCutOff() {
    QFETCH(QString, language);
    QFETCH(QString, section);
    TessarySettings settings = m_store->settings();
    settings.language = enumFromRaw<AppLanguage>(language);
    m_store->setSettings(settings);
    QCoreApplication::processEvents();
    m_window->showSection(*enumFromRaw<SettingsSection>(section));
    QCoreApplication::processEvents();

    auto* page = m_window->findChild<QWidget*>(section);
    QVERIFY(page);
    auto* area = qobject_cast<QScrollArea*>(page->parentWidget()->parentWidget());
    QVERIFY(area);
    const int room = area->viewport()->width();
    // The page never asks for more width than the window gives it: the scroll area has no horizontal bar.
    QVERIFY2(page->minimumSizeHint().width() <= room,
             qPrintable(u"needs %1, has %2"_s.arg(page->minimumSizeHint().width()).arg(room)));
    for (QWidget* widget : page->findChildren<QWidget*>()) {
        if (!widget->isVisibleTo(m_window.get()) || widget->width() == 0) {
            continue;
        }
        const QRect inPage(widget->mapTo(page, QPoint(0, 0)), widget->size());
        QVERIFY2(inPage.right() < room,
                 qPrintable(widget->objectName() + u" ends at "_s + QString::number(inPage.right()) +
                            u" of "_s + QString::number(room)));
    }
    if (language == u"en") {
        save(m_window.get(), u"settings-"_s + section + u".png"_s);
    }
}

void SettingsScreensTest::logViewerShowsTheLog() {
    const QString folder = m_dir->filePath(u"logs"_s);
    writeLog(folder);
    LogViewerWindow viewer(folder, Localization());
    viewer.move(120, 90);
    viewer.show();
    QVERIFY(QTest::qWaitForWindowExposed(&viewer));
    QTRY_COMPARE(viewer.entries().rowCount(), 15);
    // The error stands out from the info lines; the damaged line is there, dimmed and raw.
    QAbstractItemModel* shown = viewer.view()->model();
    const auto colourOf = [&](int row) {
        return shown->index(row, 3).data(Qt::ForegroundRole).value<QColor>();
    };
    QVERIFY(colourOf(8) != colourOf(7));
    QVERIFY(shown->index(13, 3).data().toString().contains(u"half-written line"_s));
    save(&viewer, u"settings-log-viewer.png"_s);
}

QTEST_MAIN(SettingsScreensTest)
#include "SettingsScreensTest.moc"
