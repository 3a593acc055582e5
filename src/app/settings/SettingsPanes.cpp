// The four panes of the settings window. Each control writes through the store; each registers an
// updater that shows the store's value, so that changes made elsewhere show here.

#include "app/onboarding/OnboardingSwitch.h"
#include "app/settings/AgentConnection.h"
#include "app/settings/SettingsForm.h"
#include "app/settings/SettingsWindow.h"
#include "core/settings/SettingsStore.h"

#include <QComboBox>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

constexpr int pageMargin = 26;
constexpr int groupSpacing = 20;
constexpr int comboMinimumWidth = 210;

struct ComboItem {
    QString data;
    QString text;
};

QComboBox* makeCombo(const QString& objectName, const QList<ComboItem>& items) {
    auto* combo = new QComboBox;
    combo->setObjectName(objectName);
    combo->setMinimumWidth(comboMinimumWidth);
    combo->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    for (const ComboItem& item : items) {
        combo->addItem(item.text, item.data);
    }
    return combo;
}

// Shows the entry with `data`, or the first one when no entry has it.
void selectData(QComboBox* combo, const QString& data) {
    const int index = combo->findData(data);
    combo->setCurrentIndex(std::max(index, 0));
}

OnboardingSwitch* makeSwitch(const QString& objectName) {
    auto* toggle = new OnboardingSwitch;
    toggle->setObjectName(objectName);
    return toggle;
}

void setChecked(QAbstractButton* button, bool checked) {
    if (button->isChecked() != checked) {
        const QSignalBlocker quiet(button);
        button->setChecked(checked);
    }
}

QWidget* makePage(const QString& title, QVBoxLayout*& layout) {
    auto* page = new QWidget;
    layout = new QVBoxLayout(page);
    layout->setContentsMargins(pageMargin, pageMargin - 4, pageMargin, pageMargin);
    layout->setSpacing(groupSpacing);
    QLabel* heading = makeTextLabel(title, page, 1.55, true);
    heading->setAccessibleName(title);
    layout->addWidget(heading);
    return page;
}

template <typename E>
QList<ComboItem> enumItems(const Localization& localization) {
    QList<ComboItem> items;
    for (const auto& [value, raw] : EnumTable<E>::cases) {
        items.append({QString::fromLatin1(raw), localization.text(displayText(value))});
    }
    return items;
}

struct KnownDisplay {
    QString id;
    QString name;
    bool connected = false;
};

// The connected displays in their order, then the remembered ones by name.
QList<KnownDisplay> knownDisplays(const std::vector<DisplaySnapshot>& connected,
                                  const TessarySettings& settings) {
    QList<KnownDisplay> result;
    QSet<QString> seen;
    for (const DisplaySnapshot& display : connected) {
        if (display.id.isEmpty() || seen.contains(display.id)) {
            continue;
        }
        seen.insert(display.id);
        result.append({display.id, display.name.isEmpty() ? display.id : display.name, true});
    }
    QList<KnownDisplay> remembered;
    for (auto it = settings.displays.constBegin(); it != settings.displays.constEnd(); ++it) {
        if (!seen.contains(it.key())) {
            remembered.append({it.key(), it->lastKnownName.isEmpty() ? it.key() : it->lastKnownName, false});
        }
    }
    std::stable_sort(remembered.begin(), remembered.end(), [](const KnownDisplay& a, const KnownDisplay& b) {
        return a.name.localeAwareCompare(b.name) < 0;
    });
    result.append(remembered);
    return result;
}

QString pinnedDisplay(const TessarySettings& settings) {
    if (const auto* pinned = std::get_if<visibility::Pinned>(&settings.visibility)) {
        return pinned->displayID;
    }
    return {};
}

} // namespace

QString SettingsWindow::structureOf(SettingsSection section, const TessarySettings& settings) const {
    QStringList parts;
    switch (section) {
    case SettingsSection::general:
        break;
    case SettingsSection::displays: {
        const auto connected =
            m_inputs.connectedDisplays ? m_inputs.connectedDisplays() : std::vector<DisplaySnapshot>{};
        for (const KnownDisplay& display : knownDisplays(connected, settings)) {
            parts << display.id << display.name << (display.connected ? u"1"_s : u"0"_s);
        }
        parts << u"pinned"_s << pinnedDisplay(settings);
        [[fallthrough]];
    }
    case SettingsSection::widgets:
        for (const auto& module : m_inputs.modules) {
            parts << module->id();
        }
        break;
    case SettingsSection::advanced:
        for (const AgentCandidate& agent : m_inputs.agents) {
            parts << agent.id;
        }
        break;
    }
    return parts.join(QChar(0x1f));
}

QWidget* SettingsWindow::buildGeneral(Pane& pane) {
    QVBoxLayout* layout = nullptr;
    QWidget* page = makePage(text(u"General"_s), layout);

    auto* tessary = new SettingsGroup(text(u"Tessary"_s), page);
    QList<ComboItem> languages{{QString(), text(u"Same as the system"_s)}};
    for (const auto& [language, raw] : EnumTable<AppLanguage>::cases) {
        languages.append({QString::fromLatin1(raw), nativeName(language)});
    }
    QComboBox* language = makeCombo(u"language"_s, languages);
    tessary->addRow(text(u"&Language"_s), text(u"The language of menus, widgets and this window."_s),
                    language);
    connect(language, &QComboBox::activated, this, [this, language](int index) {
        const auto chosen = enumFromRaw<AppLanguage>(language->itemData(index).toString());
        edit([&](TessarySettings& settings) { settings.language = chosen; });
    });
    pane.updaters.emplace_back([language](const TessarySettings& settings) {
        selectData(language, settings.language ? rawValue(*settings.language) : QString());
    });

    OnboardingSwitch* login = makeSwitch(u"launchesAtLogin"_s);
    tessary->addRow(text(u"Open at l&ogin"_s), text(u"Tessary starts when you log in to this computer."_s),
                    login);
    connect(login, &QAbstractButton::clicked, this,
            [this](bool on) { edit([&](TessarySettings& settings) { settings.launchesAtLogin = on; }); });
    pane.updaters.emplace_back(
        [login](const TessarySettings& settings) { setChecked(login, settings.launchesAtLogin); });
    layout->addWidget(tessary);

    auto* appearance = new SettingsGroup(text(u"Appearance"_s), page);
    QComboBox* placement = makeCombo(u"placementMode"_s, enumItems<PlacementMode>(m_localization));
    appearance->addRow(text(u"&Placement"_s),
                       text(u"Where the widgets stand: found automatically in the free space of the screen, "
                            u"or along the edge you choose."_s),
                       placement);
    connect(placement, &QComboBox::activated, this, [this, placement](int index) {
        const auto mode = enumFromRaw<PlacementMode>(placement->itemData(index).toString());
        edit([&](TessarySettings& settings) {
            settings.placementMode = mode.value_or(PlacementMode::automatic);
        });
    });
    pane.updaters.emplace_back([placement](const TessarySettings& settings) {
        selectData(placement, rawValue(settings.placementMode));
    });

    QComboBox* size = makeCombo(u"bubbleSize"_s, enumItems<BubbleSize>(m_localization));
    appearance->addRow(text(u"&Bubble size"_s), QString(), size);
    connect(size, &QComboBox::activated, this, [this, size](int index) {
        const auto value = enumFromRaw<BubbleSize>(size->itemData(index).toString());
        edit([&](TessarySettings& settings) { settings.bubbleSize = value.value_or(BubbleSize::medium); });
    });
    pane.updaters.emplace_back(
        [size](const TessarySettings& settings) { selectData(size, rawValue(settings.bubbleSize)); });

    QComboBox* hover = makeCombo(u"hoverBehavior"_s, enumItems<HoverBehavior>(m_localization));
    appearance->addRow(text(u"When the pointer &hovers"_s), QString(), hover);
    connect(hover, &QComboBox::activated, this, [this, hover](int index) {
        const auto value = enumFromRaw<HoverBehavior>(hover->itemData(index).toString());
        edit([&](TessarySettings& settings) {
            settings.hoverBehavior = value.value_or(HoverBehavior::expands);
        });
    });
    pane.updaters.emplace_back(
        [hover](const TessarySettings& settings) { selectData(hover, rawValue(settings.hoverBehavior)); });

    OnboardingSwitch* motion = makeSwitch(u"reducesMotion"_s);
    appearance->addRow(text(u"&Reduce motion"_s), text(u"Widgets appear and move without animation."_s),
                       motion);
    connect(motion, &QAbstractButton::clicked, this,
            [this](bool on) { edit([&](TessarySettings& settings) { settings.reducesMotion = on; }); });
    pane.updaters.emplace_back(
        [motion](const TessarySettings& settings) { setChecked(motion, settings.reducesMotion); });
    layout->addWidget(appearance);

    auto* hiding = new SettingsGroup(text(u"Hiding"_s), page);
    OnboardingSwitch* fullScreen = makeSwitch(u"hidesWhenActiveWindowIsFullScreen"_s);
    hiding->addRow(text(u"Hide when the active window is &full screen"_s),
                   text(u"Only on the display that shows the full-screen window."_s), fullScreen);
    connect(fullScreen, &QAbstractButton::clicked, this, [this](bool on) {
        edit([&](TessarySettings& settings) { settings.hidesWhenActiveWindowIsFullScreen = on; });
    });
    pane.updaters.emplace_back([fullScreen](const TessarySettings& settings) {
        setChecked(fullScreen, settings.hidesWhenActiveWindowIsFullScreen);
    });
    OnboardingSwitch* locked = makeSwitch(u"hidesWhenScreenIsLocked"_s);
    hiding->addRow(text(u"Hide when the screen is lo&cked"_s), QString(), locked);
    connect(locked, &QAbstractButton::clicked, this, [this](bool on) {
        edit([&](TessarySettings& settings) { settings.hidesWhenScreenIsLocked = on; });
    });
    pane.updaters.emplace_back(
        [locked](const TessarySettings& settings) { setChecked(locked, settings.hidesWhenScreenIsLocked); });
    layout->addWidget(hiding);

    auto* questions = new SettingsGroup(text(u"Questions"_s), page);
    QComboBox* sound = makeCombo(u"questionSound"_s, enumItems<AlertSound>(m_localization));
    questions->addRow(text(u"Sound for &questions"_s),
                      text(u"Played when an agent waits for your answer on the card."_s), sound);
    connect(sound, &QComboBox::activated, this, [this, sound](int index) {
        const AlertSound value =
            enumFromRaw<AlertSound>(sound->itemData(index).toString()).value_or(AlertSound::none);
        edit([&](TessarySettings& settings) { settings.questionSound = value; });
        if (const auto name = systemName(value); name && m_inputs.previewSound) {
            m_inputs.previewSound(*name);
        }
    });
    pane.updaters.emplace_back(
        [sound](const TessarySettings& settings) { selectData(sound, rawValue(settings.questionSound)); });
    layout->addWidget(questions);

    layout->addStretch(1);
    return page;
}

QWidget* SettingsWindow::buildDisplays(Pane& pane) {
    QVBoxLayout* layout = nullptr;
    QWidget* page = makePage(text(u"Displays"_s), layout);
    const TessarySettings& settings = m_store.settings();
    const auto connected =
        m_inputs.connectedDisplays ? m_inputs.connectedDisplays() : std::vector<DisplaySnapshot>{};
    const QList<KnownDisplay> displays = knownDisplays(connected, settings);

    auto* where = new SettingsGroup(text(u"Where widgets appear"_s), page);
    QList<ComboItem> targets{{QString(), text(u"The display you are working on"_s)}};
    bool pinnedKnown = false;
    const QString pinned = pinnedDisplay(settings);
    for (const KnownDisplay& display : displays) {
        targets.append({display.id, text(u"Only %1"_s).arg(display.name)});
        pinnedKnown = pinnedKnown || display.id == pinned;
    }
    if (!pinned.isEmpty() && !pinnedKnown) {
        targets.append({pinned, text(u"Only %1 (not connected)"_s).arg(pinned)});
    }
    QComboBox* target = makeCombo(u"visibility"_s, targets);
    where->addRow(text(u"&Show widgets on"_s),
                  text(u"With one display chosen, the others show nothing, even when you work on them."_s),
                  target);
    connect(target, &QComboBox::activated, this, [this, target](int index) {
        const QString id = target->itemData(index).toString();
        edit([&](TessarySettings& next) {
            next.visibility =
                id.isEmpty() ? Visibility(visibility::FollowsFocus{}) : Visibility(visibility::Pinned{id});
        });
    });
    pane.updaters.emplace_back(
        [target](const TessarySettings& next) { selectData(target, pinnedDisplay(next)); });
    layout->addWidget(where);

    if (displays.isEmpty()) {
        QLabel* none = makeTextLabel(
            text(u"No display has been seen yet. Each display shows here once Tessary has read it."_s), page);
        dimLabel(none);
        layout->addWidget(none);
    }
    for (const KnownDisplay& display : displays) {
        const QString heading =
            display.connected ? display.name : text(u"%1 (not connected)"_s).arg(display.name);
        auto* group = new SettingsGroup(heading, page);
        QComboBox* visibility = makeCombo(u"display:"_s + display.id + u":visibility"_s,
                                          enumItems<DisplaySettings::Visibility>(m_localization));
        group->addRow(text(u"Widgets on this display"_s), QString(), visibility);
        visibility->setAccessibleName(text(u"Widgets on %1"_s).arg(display.name));
        connect(visibility, &QComboBox::activated, this, [this, visibility, id = display.id](int index) {
            const auto value =
                enumFromRaw<DisplaySettings::Visibility>(visibility->itemData(index).toString());
            m_store.setVisibility(value.value_or(DisplaySettings::Visibility::followsFocus), id);
        });
        pane.updaters.emplace_back([visibility, id = display.id](const TessarySettings& next) {
            selectData(visibility, rawValue(next.visibilityOn(id)));
        });
        for (const auto& module : m_inputs.modules) {
            const QString moduleID = module->id();
            const QString name = text(module->displayName());
            OnboardingSwitch* toggle = makeSwitch(u"display:"_s + display.id + u":widget:"_s + moduleID);
            group->addRow(name, QString(), toggle);
            toggle->setAccessibleName(text(u"%1 on %2"_s).arg(name, display.name));
            connect(toggle, &QAbstractButton::clicked, this, [this, moduleID, id = display.id](bool on) {
                m_store.setWidgetEnabled(moduleID, on, id);
            });
            pane.updaters.emplace_back([toggle, moduleID, id = display.id](const TessarySettings& next) {
                setChecked(toggle, !next.displaySettings(id).disabledWidgetIDs.contains(moduleID));
                // A widget switched off everywhere stays off here, whatever this display says.
                toggle->setEnabled(next.widgetSettings(moduleID).isEnabled);
            });
        }
        layout->addWidget(group);
    }
    layout->addStretch(1);
    return page;
}

QWidget* SettingsWindow::buildWidgets(Pane& pane) {
    QVBoxLayout* layout = nullptr;
    QWidget* page = makePage(text(u"Widgets"_s), layout);
    if (m_inputs.modules.empty()) {
        QLabel* none = makeTextLabel(text(u"No widget is available."_s), page);
        dimLabel(none);
        layout->addWidget(none);
    }
    for (const auto& module : m_inputs.modules) {
        const QString moduleID = module->id();
        const QString name = text(module->displayName());
        auto* group = new SettingsGroup(name, page);
        OnboardingSwitch* enabled = makeSwitch(u"widget:"_s + moduleID + u":enabled"_s);
        group->addRow(text(u"Show this widget"_s), text(module->summary()), enabled);
        enabled->setAccessibleName(text(u"Show %1"_s).arg(name));
        connect(enabled, &QAbstractButton::clicked, this,
                [this, moduleID](bool on) { m_store.setWidgetEnabled(moduleID, on); });
        pane.updaters.emplace_back([enabled, moduleID](const TessarySettings& settings) {
            setChecked(enabled, settings.widgetSettings(moduleID).isEnabled);
        });
        for (const ModuleSetting& setting : module->settings()) {
            QList<ComboItem> options;
            for (const ModuleSettingOption& option : setting.options) {
                options.append({option.id, text(option.title)});
            }
            QComboBox* choice = makeCombo(u"widget:"_s + moduleID + u":option:"_s + setting.id, options);
            group->addRow(text(setting.title), setting.explanation ? text(*setting.explanation) : QString(),
                          choice);
            choice->setAccessibleName(text(u"%1: %2"_s).arg(name, text(setting.title)));
            connect(choice, &QComboBox::activated, this,
                    [this, choice, moduleID, settingID = setting.id](int index) {
                        m_store.setWidgetOption(moduleID, settingID, choice->itemData(index).toString());
                    });
            pane.updaters.emplace_back([choice, moduleID, settingID = setting.id,
                                        fallback = setting.defaultOptionID](const TessarySettings& settings) {
                const QString chosen = settings.widgetSettings(moduleID).options.value(settingID, fallback);
                // A stored value that is no longer offered shows as the default, which the module uses.
                selectData(choice, choice->findData(chosen) >= 0 ? chosen : fallback);
            });
        }
        layout->addWidget(group);
    }
    layout->addStretch(1);
    return page;
}

// What the status line gives Tessary, and where a project's own status line keeps it from doing so.
QString SettingsWindow::statusLineText(const StatusLineState& line, bool connected) const {
    QStringList parts;
    if (line.owner == StatusLineOwner::tessary) {
        parts.append(line.added
                         ? text(u"Real context and usage limits come from the status line Tessary added. "
                                u"Disconnecting removes it."_s)
                         : text(u"Your status line prints as before; Tessary also reads the real context "
                                u"and usage limits it is given."_s));
    } else if (line.owner == StatusLineOwner::absent && connected) {
        parts.append(text(u"Without a status line, context comes from the transcripts and usage limits from "
                          u"the usage service."_s));
    }
    if (line.owner == StatusLineOwner::tessary && !line.overridingProjects.isEmpty()) {
        QStringList names;
        for (const QString& folder :
             line.overridingProjects.first(std::min<qsizetype>(3, line.overridingProjects.size()))) {
            names.append(QFileInfo(folder).fileName());
        }
        if (line.overridingProjects.size() > 3) {
            names.append(u"…"_s);
        }
        parts.append(text(u"A project's own status line replaces yours in %1: Tessary gets no figures "
                          u"from there."_s)
                         .arg(names.join(u", "_s)));
    }
    return parts.join(u' ');
}

QWidget* SettingsWindow::buildAgentRow(const AgentCandidate& agent) {
    auto* row = new QWidget;
    row->setAccessibleName(agent.name);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    QLabel* name = makeTextLabel(agent.name, row, 1.0, true);
    texts->addWidget(name);
    auto* stateLine = new QHBoxLayout;
    stateLine->setSpacing(6);
    // A coloured dot beside the state: green when connected, amber when hooks are missing.
    auto* dot = new QLabel(u"\u25CF"_s, row);
    dot->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
    QLabel* state = makeTextLabel(QString(), row, 0.9);
    state->setObjectName(u"agent:"_s + agent.id + u":state"_s);
    dimLabel(state);
    stateLine->addWidget(dot, 0, Qt::AlignTop);
    stateLine->addWidget(state, 1);
    texts->addLayout(stateLine);
    QLabel* statusLineNote = nullptr;
    QPushButton* addStatusLine = nullptr;
    if (agent.installer->statusLine && agent.installer->statusLine->state) {
        statusLineNote = makeTextLabel(QString(), row, 0.9);
        statusLineNote->setObjectName(u"agent:"_s + agent.id + u":statusLine"_s);
        dimLabel(statusLineNote);
        texts->addWidget(statusLineNote);
        addStatusLine = new QPushButton(text(u"Add Status Line"_s), row);
        addStatusLine->setObjectName(u"agent:"_s + agent.id + u":addStatusLine"_s);
        addStatusLine->setAccessibleName(addStatusLine->text());
        addStatusLine->setAutoDefault(false);
        texts->addWidget(addStatusLine, 0, Qt::AlignLeft);
    }
    layout->addLayout(texts, 1);

    auto* connectButton = new QPushButton(text(u"Connect"_s), row);
    connectButton->setObjectName(u"agent:"_s + agent.id + u":connect"_s);
    connectButton->setAccessibleName(text(u"Connect %1"_s).arg(agent.name));
    connectButton->setAutoDefault(false);
    auto* disconnectButton = new QPushButton(text(u"Disconnect"_s), row);
    disconnectButton->setObjectName(u"agent:"_s + agent.id + u":disconnect"_s);
    disconnectButton->setAccessibleName(text(u"Disconnect %1"_s).arg(agent.name));
    disconnectButton->setAutoDefault(false);
    layout->addWidget(connectButton, 0, Qt::AlignVCenter);
    layout->addWidget(disconnectButton, 0, Qt::AlignVCenter);

    const AgentHookInstaller installer = *agent.installer;
    m_agentUpdaters.emplace_back(
        [this, installer, dot, state, connectButton, disconnectButton, statusLineNote, addStatusLine] {
            const AgentConnectionState now = connectionState(installer);
            QPalette colors = dot->palette();
            switch (now) {
            case AgentConnectionState::connected:
                colors.setColor(QPalette::WindowText, QColor(0x2e, 0xa0, 0x43));
                break;
            case AgentConnectionState::partlyConnected:
                colors.setColor(QPalette::WindowText, QColor(0xd9, 0x8e, 0x04));
                break;
            default:
                colors.setColor(QPalette::WindowText, palette().color(QPalette::PlaceholderText));
                break;
            }
            dot->setPalette(colors);
            state->setText(text(displayText(now)));
            state->setAccessibleName(state->text());
            dot->setAccessibleName(state->text());
            connectButton->setEnabled(canConnect(now));
            disconnectButton->setEnabled(canDisconnect(now));
            connectButton->setAccessibleDescription(state->text());
            disconnectButton->setAccessibleDescription(state->text());
            if (statusLineNote != nullptr) {
                const bool connected = now == AgentConnectionState::connected;
                const StatusLineState line = installer.statusLine->state();
                const QString note = statusLineText(line, connected);
                statusLineNote->setText(note);
                statusLineNote->setAccessibleName(note);
                statusLineNote->setVisible(!note.isEmpty());
                addStatusLine->setVisible(connected && line.owner == StatusLineOwner::absent);
            }
        });
    if (addStatusLine != nullptr) {
        connect(addStatusLine, &QPushButton::clicked, this, [this, installer] {
            installer.statusLine->add();
            refreshAgents();
        });
    }
    connect(connectButton, &QPushButton::clicked, this, [this, installer, state] {
        if (!installer.reconnect()) {
            refreshAgents();
            state->setText(text(u"The hooks could not be written to the agent's settings file."_s));
            state->setAccessibleName(state->text());
            return;
        }
        refreshAgents();
    });
    connect(disconnectButton, &QPushButton::clicked, this, [this, installer] {
        installer.disconnect();
        refreshAgents();
    });
    return row;
}

QWidget* SettingsWindow::buildAdvanced(Pane& pane) {
    QVBoxLayout* layout = nullptr;
    QWidget* page = makePage(text(u"Advanced"_s), layout);

    auto* agents = new SettingsGroup(text(u"Agents"_s), page);
    bool anyAgent = false;
    for (const AgentCandidate& agent : m_inputs.agents) {
        if (agent.installer) {
            agents->addWide(buildAgentRow(agent));
            anyAgent = true;
        }
    }
    QLabel* agentsNote = makeTextLabel(
        anyAgent
            ? text(
                  u"Connecting adds Tessary's hooks to the agent's own settings file; your own hooks stay as "
                  u"they are, and a copy of the file is kept the first time."_s)
            : text(u"No agent with hooks is known."_s),
        page, 0.9);
    dimLabel(agentsNote);
    agents->addWide(agentsNote);
    layout->addWidget(agents);

    auto* features = new SettingsGroup(text(u"Features"_s), page);
    OnboardingSwitch* intelligence = makeSwitch(u"usesAppleIntelligence"_s);
    features->addRow(
        text(u"On-device &explanations"_s),
        text(u"Short explanations written on this computer: why a job failed, how risky a command "
             u"is, what a pull request changes."_s),
        intelligence);
    connect(intelligence, &QAbstractButton::clicked, this, [this](bool on) {
        edit([&](TessarySettings& settings) { settings.usesAppleIntelligence = on; });
    });
    pane.updaters.emplace_back([intelligence](const TessarySettings& settings) {
        setChecked(intelligence, settings.usesAppleIntelligence);
    });
    OnboardingSwitch* grouping = makeSwitch(u"groupsCadenzoSessions"_s);
    features->addRow(text(u"&Group sessions by Cadenzo workspace"_s), QString(), grouping);
    connect(grouping, &QAbstractButton::clicked, this, [this](bool on) {
        edit([&](TessarySettings& settings) { settings.groupsCadenzoSessions = on; });
    });
    pane.updaters.emplace_back([grouping](const TessarySettings& settings) {
        setChecked(grouping, settings.groupsCadenzoSessions);
    });
    layout->addWidget(features);

    auto* diagnostics = new SettingsGroup(text(u"Diagnostics"_s), page);
    OnboardingSwitch* verbose = makeSwitch(u"verboseLogging"_s);
    diagnostics->addRow(
        text(u"&Verbose logging"_s),
        text(u"Adds debug lines to the log. Session titles, prompts, commands and file paths are "
             u"never written."_s),
        verbose);
    connect(verbose, &QAbstractButton::clicked, this,
            [this](bool on) { edit([&](TessarySettings& settings) { settings.verboseLogging = on; }); });
    pane.updaters.emplace_back(
        [verbose](const TessarySettings& settings) { setChecked(verbose, settings.verboseLogging); });

    auto* buttons = new QWidget;
    auto* buttonRow = new QHBoxLayout(buttons);
    buttonRow->setContentsMargins(0, 0, 0, 0);
    QLabel* failure = makeTextLabel(QString(), buttons, 0.9);
    failure->setObjectName(u"logsFolderFailure"_s);
    failure->hide();
    buttonRow->addWidget(failure, 1);
    buttonRow->addStretch(0);
    if (m_inputs.showLog) {
        auto* showLog = new QPushButton(text(u"Show &Log…"_s), buttons);
        showLog->setObjectName(u"showLog"_s);
        showLog->setAccessibleName(withoutMnemonic(showLog->text()));
        showLog->setAutoDefault(false);
        connect(showLog, &QPushButton::clicked, this, [this] { m_inputs.showLog(); });
        buttonRow->addWidget(showLog);
    }
    if (m_inputs.exportDiagnostics) {
        auto* exportButton = new QPushButton(text(u"E&xport Diagnostics…"_s), buttons);
        exportButton->setObjectName(u"exportDiagnostics"_s);
        exportButton->setAccessibleName(withoutMnemonic(exportButton->text()));
        exportButton->setAutoDefault(false);
        connect(exportButton, &QPushButton::clicked, this, [this] { m_inputs.exportDiagnostics(this); });
        buttonRow->addWidget(exportButton);
    }
    auto* openFolder = new QPushButton(text(u"Open Logs &Folder"_s), buttons);
    openFolder->setObjectName(u"openLogsFolder"_s);
    openFolder->setAccessibleName(withoutMnemonic(openFolder->text()));
    openFolder->setAccessibleDescription(QDir::toNativeSeparators(m_inputs.logsFolder));
    openFolder->setAutoDefault(false);
    connect(openFolder, &QPushButton::clicked, this, [this, failure] {
        // The folder is made with the log file; it may be gone since, so it is made again (mode 0700).
        QDir().mkpath(m_inputs.logsFolder);
        QFile::setPermissions(m_inputs.logsFolder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        const QUrl url = QUrl::fromLocalFile(m_inputs.logsFolder);
        const bool opened = m_inputs.openUrl ? m_inputs.openUrl(url) : QDesktopServices::openUrl(url);
        failure->setText(opened ? QString() : text(u"The logs folder could not be opened."_s));
        failure->setAccessibleName(failure->text());
        failure->setVisible(!opened);
    });
    buttonRow->addWidget(openFolder);
    diagnostics->addWide(buttons);
    layout->addWidget(diagnostics);

    layout->addStretch(1);
    return page;
}

} // namespace tessary
