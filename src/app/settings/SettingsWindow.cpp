#include "app/settings/SettingsWindow.h"

#include "app/settings/SettingsForm.h"
#include "core/settings/SettingsStore.h"
#include "surfaces/SymbolIconCache.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcut>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

constexpr int sidebarWidth = 190;
constexpr int sidebarIconSide = 18;

QString sectionTitle(SettingsSection section) {
    switch (section) {
    case SettingsSection::general:
        return u"General"_s;
    case SettingsSection::displays:
        return u"Displays"_s;
    case SettingsSection::widgets:
        return u"Widgets"_s;
    case SettingsSection::advanced:
        return u"Advanced"_s;
    }
    return {};
}

QString sectionIcon(SettingsSection section) {
    switch (section) {
    case SettingsSection::general:
        return u"gearshape"_s;
    case SettingsSection::displays:
        return u"display"_s;
    case SettingsSection::widgets:
        return u"square.stack.3d.up"_s;
    case SettingsSection::advanced:
        return u"terminal"_s;
    }
    return {};
}

} // namespace

SettingsWindow::SettingsWindow(SettingsStore& store, SettingsWindowInputs inputs, QWidget* parent)
    : QDialog(parent)
    , m_store(store)
    , m_inputs(std::move(inputs))
    , m_localization(Localization::forSetting(store.settings().language)) {
    setObjectName(u"settingsWindow"_s);
    setModal(false);
    setSizeGripEnabled(true);
    resize(800, 700);
    setMinimumSize(640, 460);
    buildFrame();
    for (const auto& [section, raw] : EnumTable<SettingsSection>::cases) {
        rebuildPane(section);
    }
    relabelFrame();
    // Queued: a change made by one of this window's controls may rebuild the pane that holds it.
    connect(
        &m_store, &SettingsStore::settingsChanged, this,
        [this](const TessarySettings& settings) { followSettings(settings); }, Qt::QueuedConnection);
}

SettingsWindow::~SettingsWindow() = default;

void SettingsWindow::buildFrame() {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    m_sidebar = new QListWidget(this);
    m_sidebar->setObjectName(u"sections"_s);
    m_sidebar->setFixedWidth(sidebarWidth);
    m_sidebar->setFrameShape(QFrame::NoFrame);
    m_sidebar->setIconSize(QSize(sidebarIconSide, sidebarIconSide));
    m_sidebar->setSpacing(2);
    m_sidebar->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_sidebar->setStyleSheet(
        u"QListWidget { background: palette(window); padding: 14px 10px; outline: 0; }"
        "QListWidget::item { padding: 7px 8px; border-radius: 6px; color: palette(window-text); }"
        "QListWidget::item:selected { background: palette(highlight); color: palette(highlighted-text); }"_s);
    for (const auto& [section, raw] : EnumTable<SettingsSection>::cases) {
        auto* item = new QListWidgetItem(m_sidebar);
        item->setData(Qt::UserRole, QString::fromLatin1(raw));
    }
    layout->addWidget(m_sidebar);

    auto* divider = new QFrame(this);
    divider->setFrameShape(QFrame::VLine);
    divider->setFrameShadow(QFrame::Plain);
    QPalette dividerColors = divider->palette();
    dividerColors.setColor(QPalette::WindowText, dividerColors.color(QPalette::Mid));
    divider->setPalette(dividerColors);
    layout->addWidget(divider);

    m_stack = new QStackedWidget(this);
    for (Pane& pane : m_panes) {
        pane.area = new QScrollArea(m_stack);
        pane.area->setWidgetResizable(true);
        pane.area->setFrameShape(QFrame::NoFrame);
        pane.area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        m_stack->addWidget(pane.area);
    }
    layout->addWidget(m_stack, 1);

    connect(m_sidebar, &QListWidget::currentRowChanged, m_stack, &QStackedWidget::setCurrentIndex);
    m_sidebar->setCurrentRow(0);

    // Ctrl+1 ... Ctrl+4 go to the panes from anywhere in the window; Ctrl+W closes it like Escape.
    for (int i = 0; i < static_cast<int>(m_panes.size()); ++i) {
        auto* shortcut = new QShortcut(QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + i)), this);
        connect(shortcut, &QShortcut::activated, this, [this, i] {
            m_sidebar->setCurrentRow(i);
            m_sidebar->setFocus();
        });
    }
    auto* close = new QShortcut(QKeySequence::Close, this);
    connect(close, &QShortcut::activated, this, &QDialog::reject);
}

void SettingsWindow::relabelFrame() {
    setWindowTitle(text(u"Tessary Settings"_s));
    setAccessibleName(windowTitle());
    m_sidebar->setAccessibleName(text(u"Sections"_s));
    SymbolIconCache icons;
    const QColor iconColor = palette().color(QPalette::WindowText);
    const QColor selectedColor = palette().color(QPalette::HighlightedText);
    for (int row = 0; row < m_sidebar->count(); ++row) {
        QListWidgetItem* item = m_sidebar->item(row);
        const auto section = enumFromRaw<SettingsSection>(item->data(Qt::UserRole).toString());
        if (!section) {
            continue;
        }
        item->setText(text(sectionTitle(*section)));
        QIcon icon;
        const qreal ratio = devicePixelRatioF();
        QPixmap normal =
            QPixmap::fromImage(icons.icon(sectionIcon(*section), sidebarIconSide, ratio, iconColor));
        QPixmap selected =
            QPixmap::fromImage(icons.icon(sectionIcon(*section), sidebarIconSide, ratio, selectedColor));
        icon.addPixmap(normal, QIcon::Normal);
        icon.addPixmap(selected, QIcon::Selected);
        item->setIcon(icon);
        m_stack->widget(row)->setAccessibleName(item->text());
    }
}

void SettingsWindow::showSection(SettingsSection section) {
    m_sidebar->setCurrentRow(static_cast<int>(section));
}

SettingsSection SettingsWindow::section() const {
    return static_cast<SettingsSection>(std::max(m_sidebar->currentRow(), 0));
}

void SettingsWindow::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    refreshAgents();
    refreshDisplays();
}

void SettingsWindow::refreshAgents() {
    for (const auto& update : m_agentUpdaters) {
        update();
    }
}

void SettingsWindow::refreshDisplays() {
    const auto index = static_cast<std::size_t>(SettingsSection::displays);
    if (structureOf(SettingsSection::displays, m_store.settings()) != m_panes.at(index).structure) {
        rebuildPane(SettingsSection::displays);
    }
}

void SettingsWindow::edit(const std::function<void(TessarySettings&)>& change) {
    TessarySettings next = m_store.settings();
    change(next);
    m_store.setSettings(next);
}

void SettingsWindow::followSettings(const TessarySettings& settings) {
    const Localization localization = Localization::forSetting(settings.language);
    const bool relabel = localization != m_localization;
    m_localization = localization;
    if (relabel) {
        relabelFrame();
    }
    for (const auto& [section, raw] : EnumTable<SettingsSection>::cases) {
        Pane& pane = m_panes.at(static_cast<std::size_t>(section));
        if (relabel || structureOf(section, settings) != pane.structure) {
            rebuildPane(section);
            continue;
        }
        for (const Updater& update : pane.updaters) {
            update(settings);
        }
    }
    emit refreshed();
}

void SettingsWindow::rebuildPane(SettingsSection section) {
    Pane& pane = m_panes.at(static_cast<std::size_t>(section));
    const TessarySettings& settings = m_store.settings();

    // Keep the place of the keyboard focus and of the scroll bar across the rebuild.
    QString focused;
    if (QWidget* focus = focusWidget(); focus && pane.area->isAncestorOf(focus)) {
        focused = focus->objectName();
    }
    const int scroll = pane.area->verticalScrollBar()->value();

    pane.updaters.clear();
    if (section == SettingsSection::advanced) {
        m_agentUpdaters.clear();
    }
    QWidget* page = nullptr;
    switch (section) {
    case SettingsSection::general:
        page = buildGeneral(pane);
        break;
    case SettingsSection::displays:
        page = buildDisplays(pane);
        break;
    case SettingsSection::widgets:
        page = buildWidgets(pane);
        break;
    case SettingsSection::advanced:
        page = buildAdvanced(pane);
        break;
    }
    page->setObjectName(rawValue(section));
    pane.area->setWidget(page); // deletes the former page
    pane.structure = structureOf(section, settings);
    for (const Updater& update : pane.updaters) {
        update(settings);
    }
    if (section == SettingsSection::advanced) {
        refreshAgents();
    }
    pane.area->verticalScrollBar()->setValue(scroll);
    if (!focused.isEmpty()) {
        if (auto* target = page->findChild<QWidget*>(focused)) {
            target->setFocus();
        }
    }
}

} // namespace tessary
