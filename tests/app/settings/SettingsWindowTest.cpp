#include "app/settings/SettingsWindow.h"

#include "core/settings/SettingsStore.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QScrollArea>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

// A widget with two choices, like the real ones: titles are English keys.
class ChoosyModule final : public CorvaneModule {
public:
    [[nodiscard]] QString id() const override { return u"choosy"_s; }
    [[nodiscard]] QString displayName() const override { return u"Choosy"_s; }
    [[nodiscard]] QString summary() const override { return u"A widget with choices."_s; }
    [[nodiscard]] std::vector<ModuleSetting> settings() const override {
        return {{u"scope"_s,
                 u"What the list shows"_s,
                 std::nullopt,
                 {{u"dev"_s, u"Dev servers only"_s}, {u"all"_s, u"Everything listening"_s}},
                 u"dev"_s},
                {u"sort"_s,
                 u"Sort"_s,
                 u"How the list is ordered."_s,
                 {{u"name"_s, u"By name"_s}, {u"age"_s, u"By age"_s}, {u"size"_s, u"By size"_s}},
                 u"name"_s}};
    }
    std::optional<ModuleSnapshot> handle(HostEvent /*event*/, const ModuleContext& /*context*/) override {
        return std::nullopt;
    }
};

class PlainModule final : public CorvaneModule {
public:
    [[nodiscard]] QString id() const override { return u"plain"_s; }
    [[nodiscard]] QString displayName() const override { return u"CPU"_s; }
    [[nodiscard]] QString summary() const override { return QString(); }
    std::optional<ModuleSnapshot> handle(HostEvent /*event*/, const ModuleContext& /*context*/) override {
        return std::nullopt;
    }
};

DisplaySnapshot display(const QString& id, const QString& name) {
    DisplaySnapshot result;
    result.id = id;
    result.name = name;
    result.frame = QRectF(0, 0, 1920, 1080);
    result.visibleFrame = result.frame;
    return result;
}

// One value of the settings as the store writes them, by its path ("widgets/choosy/isEnabled"): a
// switch as yes or no, a list joined with commas, what is missing as empty.
QString field(const QByteArray& encoded, const QString& path) {
    QJsonValue value = QJsonDocument::fromJson(encoded).object();
    for (const QString& key : path.split(u'/')) {
        value = value.toObject().value(key);
    }
    if (value.isBool()) {
        return value.toBool() ? u"yes"_s : u"no"_s;
    }
    return value.isArray() ? value.toVariant().toStringList().join(u',') : value.toString();
}

QString field(const TessarySettings& settings, const QString& path) {
    return field(SettingsCodec::encode(settings), path);
}

// Picks the entry with `data` the way a user does: focus, then arrow keys.
void chooseWithKeyboard(QComboBox* combo, const QString& data) {
    const int target = combo->findData(data);
    QVERIFY2(target >= 0, qPrintable(u"no entry "_s + data + u" in "_s + combo->objectName()));
    combo->setFocus();
    while (combo->currentIndex() < target) {
        QTest::keyClick(combo, Qt::Key_Down);
    }
    while (combo->currentIndex() > target) {
        QTest::keyClick(combo, Qt::Key_Up);
    }
}

// Settings reach the window on the next turn of the event loop.
void settle() {
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
}

QString accessibleName(QWidget* widget) {
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(widget);
    return accessible ? accessible->text(QAccessible::Name) : QString();
}

} // namespace

class SettingsWindowTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void eachControlChangesTheStore_data();
    void eachControlChangesTheStore();
    void changesMadeElsewhereShowInTheWindow();
    void languageSwitchRelabelsTheWindowAndKeepsTheFocus();
    void aChosenSoundIsPlayedOnce();
    void loginItemFollowsTheSwitch();
    void agentsConnectAndDisconnect();
    void anAgentThatIsNotInstalledOffersNothing();
    void displaysListsConnectedThenRememberedDisplays();
    void aPinnedDisplayThatIsGoneStaysChoosable();
    void aWidgetOptionNoLongerOfferedShowsTheDefault();
    void opensTheLogsFolder();
    void sectionsAreReachedBySidebarAndShortcuts();
    void everyControlIsNamedAndInTheTabChain();
    void mnemonicsMoveTheFocus();
    void escapeCloses();

private:
    void makeWindow();
    template <typename T = QWidget>
    T* find(const QString& name) const {
        auto* widget = m_window->findChild<T*>(name);
        if (!widget) {
            qWarning("no control %s", qPrintable(name));
        }
        return widget;
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QSettings> m_defaults;
    std::unique_ptr<SettingsStore> m_store;
    std::unique_ptr<SettingsWindow> m_window;
    std::vector<DisplaySnapshot> m_connected;
    QList<bool> m_loginCalls;
    bool m_loginSucceeds = true;
    QList<QUrl> m_opened;
    bool m_openSucceeds = true;
    QStringList m_played;
    QString m_home;
};

void SettingsWindowTest::init() {
    m_dir = std::make_unique<QTemporaryDir>();
    m_defaults = std::make_unique<QSettings>(m_dir->filePath(u"Tessary.conf"_s), QSettings::IniFormat);
    m_home = m_dir->filePath(u"home"_s);
    QDir().mkpath(m_home);
    m_loginCalls.clear();
    m_loginSucceeds = true;
    m_opened.clear();
    m_openSucceeds = true;
    m_played.clear();
    m_connected = {display(u"DP-1"_s, u"Dell U2720Q"_s)};
    TessarySettings start;
    start.language = AppLanguage::english;
    start.displays.insert(u"HDMI-1"_s,
                          DisplaySettings{u"Projector"_s, {}, DisplaySettings::Visibility::always});
    m_defaults->setValue(QLatin1StringView(PreferenceKeys::settings), SettingsCodec::encode(start));
    m_store = std::make_unique<SettingsStore>(*m_defaults, [this](bool on) {
        m_loginCalls.append(on);
        return m_loginSucceeds;
    });
}

void SettingsWindowTest::cleanup() {
    m_window.reset();
    m_store.reset();
    m_defaults.reset();
    m_dir.reset();
}

void SettingsWindowTest::makeWindow() {
    SettingsWindowInputs inputs;
    inputs.modules = {std::make_shared<ChoosyModule>(), std::make_shared<PlainModule>()};
    inputs.agents = OnboardingAgents::defaultCandidates(m_home, m_defaults.get(), Localization());
    inputs.connectedDisplays = [this] { return m_connected; };
    inputs.logsFolder = m_dir->filePath(u"state/tessary/logs"_s);
    inputs.openUrl = [this](const QUrl& url) {
        m_opened.append(url);
        return m_openSucceeds;
    };
    inputs.showLog = [] {};
    inputs.previewSound = [this](const QString& name) { m_played.append(name); };
    m_window = std::make_unique<SettingsWindow>(*m_store, std::move(inputs));
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
}

void SettingsWindowTest::eachControlChangesTheStore_data() {
    QTest::addColumn<QString>("control");
    QTest::addColumn<QString>("choice"); // the entry's data for a list, "toggle" for a switch
    QTest::addColumn<QString>("field");  // its path in the stored settings; empty: the control's name
    QTest::addColumn<QString>("expected");

    QTest::newRow("language") << u"language"_s << u"pt-BR"_s << QString() << u"pt-BR"_s;
    QTest::newRow("language back to the system's") << u"language"_s << QString() << QString() << QString();
    QTest::newRow("placement") << u"placementMode"_s << u"rightRail"_s << QString() << u"rightRail"_s;
    QTest::newRow("placement hidden") << u"placementMode"_s << u"hidden"_s << QString() << u"hidden"_s;
    QTest::newRow("bubble size") << u"bubbleSize"_s << u"large"_s << QString() << u"large"_s;
    QTest::newRow("hover") << u"hoverBehavior"_s << u"staysCompact"_s << QString() << u"staysCompact"_s;
    QTest::newRow("question sound") << u"questionSound"_s << u"sosumi"_s << QString() << u"sosumi"_s;
    QTest::newRow("login") << u"launchesAtLogin"_s << u"toggle"_s << QString() << u"yes"_s;
    QTest::newRow("reduce motion") << u"reducesMotion"_s << u"toggle"_s << QString() << u"yes"_s;
    QTest::newRow("full screen") << u"hidesWhenActiveWindowIsFullScreen"_s << u"toggle"_s << QString()
                                 << u"yes"_s;
    QTest::newRow("screen locked") << u"hidesWhenScreenIsLocked"_s << u"toggle"_s << QString() << u"no"_s;
    QTest::newRow("explanations") << u"usesAppleIntelligence"_s << u"toggle"_s << QString() << u"no"_s;
    QTest::newRow("cadenzo grouping") << u"groupsCadenzoSessions"_s << u"toggle"_s << QString() << u"no"_s;
    QTest::newRow("verbose logging") << u"verboseLogging"_s << u"toggle"_s << QString() << u"yes"_s;
    QTest::newRow("pinned to a connected display")
        << u"visibility"_s << u"DP-1"_s << u"visibility/pinned/displayID"_s << u"DP-1"_s;
    QTest::newRow("pinned to a remembered display")
        << u"visibility"_s << u"HDMI-1"_s << u"visibility/pinned/displayID"_s << u"HDMI-1"_s;
    QTest::newRow("display always visible")
        << u"display:DP-1:visibility"_s << u"always"_s << u"displays/DP-1/visibility"_s << u"always"_s;
    QTest::newRow("a widget off on one display") << u"display:HDMI-1:widget:choosy"_s << u"toggle"_s
                                                 << u"displays/HDMI-1/disabledWidgetIDs"_s << u"choosy"_s;
    QTest::newRow("a widget off everywhere")
        << u"widget:choosy:enabled"_s << u"toggle"_s << u"widgets/choosy/isEnabled"_s << u"no"_s;
    QTest::newRow("a widget's option")
        << u"widget:choosy:option:sort"_s << u"size"_s << u"widgets/choosy/options/sort"_s << u"size"_s;
}

void SettingsWindowTest::eachControlChangesTheStore() {
    QFETCH(QString, control);
    QFETCH(QString, choice);
    QFETCH(QString, field);
    QFETCH(QString, expected);
    if (field.isEmpty()) {
        field = control;
    }
    if (control == u"language" && choice.isEmpty()) {
        // Start from a chosen language so that going back to the system's is a change.
        TessarySettings chosen = m_store->settings();
        chosen.language = AppLanguage::spanish;
        m_store->setSettings(chosen);
    }
    makeWindow();
    const TessarySettings before = m_store->settings();
    QWidget* widget = find(control);
    QVERIFY(widget);
    if (auto* combo = qobject_cast<QComboBox*>(widget)) {
        chooseWithKeyboard(combo, choice);
    } else if (auto* button = qobject_cast<QAbstractButton*>(widget)) {
        button->setFocus();
        QTest::keyClick(button, Qt::Key_Space);
    } else {
        QFAIL("neither a list nor a switch");
    }
    QCOMPARE(::field(m_store->settings(), field), expected);
    // Persisted at once, as the next start reads it.
    QCOMPARE(::field(m_defaults->value(QLatin1StringView(PreferenceKeys::settings)).toByteArray(), field),
             expected);
    QVERIFY(::field(before, field) != expected);
    settle();
    // The window still shows what the store holds.
    if (auto* combo = m_window->findChild<QComboBox*>(control)) {
        QCOMPARE(combo->currentData().toString(), choice);
    } else if (auto* button = m_window->findChild<QAbstractButton*>(control)) {
        QCOMPARE(button->isChecked(), expected == u"yes");
    }
}

void SettingsWindowTest::changesMadeElsewhereShowInTheWindow() {
    makeWindow();
    TessarySettings next = m_store->settings();
    next.bubbleSize = BubbleSize::small;
    next.reducesMotion = true;
    next.verboseLogging = true;
    next.widgets.insert(u"choosy"_s, WidgetSettings{false, {{u"scope"_s, u"all"_s}}});
    m_store->setSettings(next);
    settle();
    QCOMPARE(find<QComboBox>(u"bubbleSize"_s)->currentData().toString(), u"small"_s);
    QVERIFY(find<QAbstractButton>(u"reducesMotion"_s)->isChecked());
    QVERIFY(find<QAbstractButton>(u"verboseLogging"_s)->isChecked());
    QVERIFY(!find<QAbstractButton>(u"widget:choosy:enabled"_s)->isChecked());
    QCOMPARE(find<QComboBox>(u"widget:choosy:option:scope"_s)->currentData().toString(), u"all"_s);
    // Off everywhere: the per-display switches can't turn it on.
    QVERIFY(!find<QAbstractButton>(u"display:DP-1:widget:choosy"_s)->isEnabled());
    QVERIFY(find<QAbstractButton>(u"display:DP-1:widget:plain"_s)->isEnabled());
}

void SettingsWindowTest::languageSwitchRelabelsTheWindowAndKeepsTheFocus() {
    makeWindow();
    QCOMPARE(m_window->windowTitle(), u"Tessary Settings"_s);
    auto* sidebar = find<QListWidget>(u"sections"_s);
    QCOMPARE(sidebar->item(1)->text(), u"Displays"_s);
    chooseWithKeyboard(find<QComboBox>(u"language"_s), u"es"_s);
    settle();
    QCOMPARE(m_window->windowTitle(), u"Ajustes de Tessary"_s);
    QCOMPARE(sidebar->item(1)->text(), u"Pantallas"_s);
    QCOMPARE(find<QPushButton>(u"openLogsFolder"_s)->text(), u"Abrir la carpeta de &registros"_s);
    QCOMPARE(find<QComboBox>(u"bubbleSize"_s)->currentText(), u"Mediano"_s);
    // The rebuilt list has the focus again, so the keyboard user goes on where they were.
    QCOMPARE(QApplication::focusWidget(), find(u"language"_s));
    chooseWithKeyboard(find<QComboBox>(u"language"_s), u"pt-BR"_s);
    settle();
    QCOMPARE(m_window->windowTitle(), u"Ajustes do Tessary"_s);
    QCOMPARE(m_window->localization().language(), AppLanguage::portuguese);
}

void SettingsWindowTest::aChosenSoundIsPlayedOnce() {
    makeWindow();
    auto* sound = find<QComboBox>(u"questionSound"_s);
    chooseWithKeyboard(sound, u"submarine"_s); // passes "Discreet" on the way: each pick is heard
    QCOMPARE(m_played, (QStringList{u"Tink"_s, u"Submarine"_s}));
    chooseWithKeyboard(sound, u"none"_s);
    QCOMPARE(m_played.size(), 3); // "Discreet" again on the way up; silence plays nothing
    settle();
    QCOMPARE(m_played.size(), 3); // a refresh of the window plays nothing
}

void SettingsWindowTest::loginItemFollowsTheSwitch() {
    makeWindow();
    auto* login = find<QAbstractButton>(u"launchesAtLogin"_s);
    login->click();
    login->click();
    QCOMPARE(m_loginCalls, (QList<bool>{true, false}));
    // A refused login item leaves the setting as the user set it.
    m_loginSucceeds = false;
    login->click();
    QCOMPARE(m_loginCalls.size(), 3);
    QVERIFY(m_store->settings().launchesAtLogin);
    settle();
    QVERIFY(login->isChecked());
}

void SettingsWindowTest::agentsConnectAndDisconnect() {
    QDir(m_home).mkpath(u".claude"_s);
    // The user's own hook must survive connecting and disconnecting.
    QFile file(m_home + u"/.claude/settings.json"_s);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(
        R"({"model":"opus","hooks":{"PreToolUse":[{"matcher":"Bash","hooks":[{"type":"command","command":"my-check"}]}]}})");
    file.close();
    makeWindow();
    m_window->showSection(SettingsSection::advanced);
    auto* state = find<QLabel>(u"agent:claude:state"_s);
    auto* connectButton = find<QPushButton>(u"agent:claude:connect"_s);
    auto* disconnectButton = find<QPushButton>(u"agent:claude:disconnect"_s);
    QCOMPARE(state->text(), u"Not connected yet: Tessary connects it at its next start"_s);
    QVERIFY(connectButton->isEnabled());

    connectButton->click();
    QCOMPARE(state->text(), u"Connected"_s);
    QVERIFY(!connectButton->isEnabled());
    QVERIFY(disconnectButton->isEnabled());
    const auto readRoot = [&] {
        QFile settings(m_home + u"/.claude/settings.json"_s);
        return settings.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(settings.readAll()).object()
                                                  : QJsonObject();
    };
    QVERIFY(QJsonDocument(readRoot()).toJson().contains("X-Tessary-Agent"));
    QVERIFY(QJsonDocument(readRoot()).toJson().contains("my-check"));

    // Without a status line of the user's, one can be added; a project's own one is named.
    auto* statusLine = find<QLabel>(u"agent:claude:statusLine"_s);
    auto* addStatusLine = find<QPushButton>(u"agent:claude:addStatusLine"_s);
    QVERIFY(statusLine->text().startsWith(u"Without a status line"_s));
    QVERIFY(addStatusLine->isVisibleTo(m_window.get()));
    QDir(m_home).mkpath(u"work/api/.claude"_s);
    QFile project(m_home + u"/work/api/.claude/settings.local.json"_s);
    QVERIFY(project.open(QIODevice::WriteOnly));
    project.write(R"({"statusLine":{"type":"command","command":"echo api"}})");
    project.close();
    QFile projects(m_home + u"/.claude.json"_s);
    QVERIFY(projects.open(QIODevice::WriteOnly));
    projects.write(
        QJsonDocument(QJsonObject{{u"projects"_s, QJsonObject{{m_home + u"/work/api"_s, QJsonObject{}},
                                                              {m_home + u"/work/web"_s, QJsonObject{}}}}})
            .toJson());
    projects.close();
    addStatusLine->click();
    QCOMPARE(statusLine->text(),
             u"Real context and usage limits come from the status line Tessary added. "
             u"Disconnecting removes it. A project's own status line replaces yours in api: "
             u"Tessary gets no figures from there."_s);
    QVERIFY(!addStatusLine->isVisibleTo(m_window.get()));
    QCOMPARE(statusLine->accessibleName(), statusLine->text());

    disconnectButton->click();
    QVERIFY(!readRoot().contains(u"statusLine"_s));
    QCOMPARE(state->text(), u"Disconnected: Tessary leaves its settings alone"_s);
    QVERIFY(connectButton->isEnabled());
    QVERIFY(!disconnectButton->isEnabled());
    QVERIFY(!QJsonDocument(readRoot()).toJson().contains("X-Tessary-Agent"));
    QVERIFY(QJsonDocument(readRoot()).toJson().contains("my-check"));
    QCOMPARE(readRoot().value(u"model"_s).toString(), u"opus"_s);
    QVERIFY(m_defaults->value(QLatin1StringView(PreferenceKeys::claudeHooksDeclined)).toBool());

    // Reconnecting forgets the decline.
    connectButton->click();
    QCOMPARE(state->text(), u"Connected"_s);
    QVERIFY(!m_defaults->value(QLatin1StringView(PreferenceKeys::claudeHooksDeclined)).toBool());
}

void SettingsWindowTest::anAgentThatIsNotInstalledOffersNothing() {
    makeWindow();
    QCOMPARE(find<QLabel>(u"agent:codex:state"_s)->text(), u"Not found on this computer"_s);
    QVERIFY(!find<QPushButton>(u"agent:codex:connect"_s)->isEnabled());
    QVERIFY(!find<QPushButton>(u"agent:codex:disconnect"_s)->isEnabled());
    QVERIFY(!QDir(m_home + u"/.codex"_s).exists());
    // Installed later, it shows when the window is opened again.
    QDir(m_home).mkpath(u".codex"_s);
    m_window->hide();
    m_window->show();
    QVERIFY(find<QPushButton>(u"agent:codex:connect"_s)->isEnabled());
}

void SettingsWindowTest::displaysListsConnectedThenRememberedDisplays() {
    makeWindow();
    auto* target = find<QComboBox>(u"visibility"_s);
    QCOMPARE(target->count(), 3);
    QCOMPARE(target->itemText(1), u"Only Dell U2720Q"_s);
    QCOMPARE(target->itemText(2), u"Only Projector"_s);
    QCOMPARE(find<QComboBox>(u"display:HDMI-1:visibility"_s)->currentData().toString(), u"always"_s);
    QVERIFY(find(u"display:DP-1:widget:choosy"_s));

    // A display plugged in while the window is open gets its group.
    m_connected.push_back(display(u"DP-2"_s, u"LG"_s));
    m_window->refreshDisplays();
    QVERIFY(find(u"display:DP-2:widget:plain"_s));
    QCOMPARE(find<QComboBox>(u"visibility"_s)->itemText(2), u"Only LG"_s);
}

void SettingsWindowTest::aPinnedDisplayThatIsGoneStaysChoosable() {
    TessarySettings pinned = m_store->settings();
    pinned.visibility = visibility::Pinned{u"eDP-9"_s};
    m_store->setSettings(pinned);
    makeWindow();
    auto* target = find<QComboBox>(u"visibility"_s);
    QCOMPARE(target->currentData().toString(), u"eDP-9"_s);
    QCOMPARE(target->currentText(), u"Only eDP-9 (not connected)"_s);
    chooseWithKeyboard(target, QString());
    QCOMPARE(field(m_store->settings(), u"visibility/pinned/displayID"_s), QString());
}

void SettingsWindowTest::aWidgetOptionNoLongerOfferedShowsTheDefault() {
    m_store->setWidgetOption(u"choosy"_s, u"sort"_s, u"removed-option"_s);
    makeWindow();
    auto* sort = find<QComboBox>(u"widget:choosy:option:sort"_s);
    QCOMPARE(sort->count(), 3);
    QCOMPARE(sort->currentData().toString(), u"name"_s);
    // Showing it does not write it.
    QCOMPARE(m_store->settings().widgetSettings(u"choosy"_s).options.value(u"sort"_s), u"removed-option"_s);
}

void SettingsWindowTest::opensTheLogsFolder() {
    makeWindow();
    m_window->showSection(SettingsSection::advanced);
    const QString folder = m_dir->filePath(u"state/tessary/logs"_s);
    auto* open = find<QPushButton>(u"openLogsFolder"_s);
    open->click();
    QCOMPARE(m_opened, (QList<QUrl>{QUrl::fromLocalFile(folder)}));
    QVERIFY(QDir(folder).exists());
    QVERIFY(!find<QLabel>(u"logsFolderFailure"_s)->isVisible());
    m_openSucceeds = false;
    open->click();
    QVERIFY(find<QLabel>(u"logsFolderFailure"_s)->isVisible());
    QCOMPARE(find<QLabel>(u"logsFolderFailure"_s)->text(), u"The logs folder could not be opened."_s);
}

void SettingsWindowTest::sectionsAreReachedBySidebarAndShortcuts() {
    makeWindow();
    m_window->showSection(SettingsSection::widgets);
    QCOMPARE(m_window->section(), SettingsSection::widgets);
    auto* sidebar = find<QListWidget>(u"sections"_s);
    sidebar->setFocus();
    QTest::keyClick(sidebar, Qt::Key_Down);
    QCOMPARE(m_window->section(), SettingsSection::advanced);
    QTest::keyClick(m_window.get(), Qt::Key_2, Qt::ControlModifier);
    QCOMPARE(m_window->section(), SettingsSection::displays);
    QTest::keyClick(m_window.get(), Qt::Key_1, Qt::ControlModifier);
    QCOMPARE(m_window->section(), SettingsSection::general);
}

void SettingsWindowTest::everyControlIsNamedAndInTheTabChain() {
    makeWindow();
    QApplication::setActiveWindow(m_window.get());
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    for (const auto& [section, raw] : EnumTable<SettingsSection>::cases) {
        m_window->showSection(section);
        QWidget* page = m_window->findChild<QWidget*>(QString::fromLatin1(raw));
        QVERIFY(page);
        QList<QWidget*> focusable;
        for (QWidget* widget : page->findChildren<QWidget*>()) {
            if ((widget->focusPolicy() & Qt::TabFocus) && widget->isVisibleTo(m_window.get()) &&
                !qobject_cast<QScrollArea*>(widget)) {
                focusable.append(widget);
                QVERIFY2(!accessibleName(widget).isEmpty(), qPrintable(widget->objectName()));
            }
        }
        QVERIFY(!focusable.isEmpty());
        // Tab from the sidebar visits every enabled control of the pane.
        find(u"sections"_s)->setFocus();
        QSet<QWidget*> visited;
        for (int i = 0; i < focusable.size() * 2 + 4; ++i) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
            visited.insert(QApplication::focusWidget());
        }
        for (QWidget* widget : focusable) {
            if (widget->isEnabled()) {
                QVERIFY2(visited.contains(widget),
                         qPrintable(QString::fromLatin1(raw) + u" "_s + widget->objectName()));
            }
        }
    }
}

void SettingsWindowTest::mnemonicsMoveTheFocus() {
    makeWindow();
    QApplication::setActiveWindow(m_window.get());
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    QTest::keyClick(m_window.get(), Qt::Key_Q, Qt::AltModifier);
    QCOMPARE(QApplication::focusWidget(), find(u"questionSound"_s));
    QTest::keyClick(m_window.get(), Qt::Key_L, Qt::AltModifier);
    QCOMPARE(QApplication::focusWidget(), find(u"language"_s));
    m_window->showSection(SettingsSection::advanced);
    QTest::keyClick(m_window.get(), Qt::Key_V, Qt::AltModifier);
    QCOMPARE(QApplication::focusWidget(), find(u"verboseLogging"_s));
}

void SettingsWindowTest::escapeCloses() {
    makeWindow();
    find(u"bubbleSize"_s)->setFocus();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    QVERIFY(!m_window->isVisible());
    // Closing changes nothing.
    QCOMPARE(
        m_store->settings(),
        SettingsCodec::decode(m_defaults->value(QLatin1StringView(PreferenceKeys::settings)).toByteArray()));
}

QTEST_MAIN(SettingsWindowTest)
#include "SettingsWindowTest.moc"
