#include "surfaces/notch/NotchEditorPanel.h"

#include "platform/panels/PanelWindowTraits.h"
#include "surfaces/FloatingPanel.h"
#include "surfaces/SurfacePainter.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QVBoxLayout>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

constexpr int cornerRadius = 16;

const char* const editorStyle = R"(
QLabel { color: rgb(246, 247, 250); font-size: 13px; }
QLabel[role="title"] { font-size: 15px; font-weight: 700; }
QLabel[role="heading"] { color: rgba(255, 255, 255, 130); font-size: 11px; font-weight: 700; padding-top: 6px; }
QLabel[role="hidden"] { color: rgba(255, 255, 255, 110); }
QLabel[role="hint"] { color: rgba(255, 255, 255, 130); font-size: 11px; }
QCheckBox { color: rgb(246, 247, 250); font-size: 12px; spacing: 7px; }
QCheckBox::indicator { width: 14px; height: 14px; border-radius: 4px; border: 1px solid rgba(255, 255, 255, 90);
                       background: rgba(255, 255, 255, 20); }
QCheckBox::indicator:checked { background: rgb(52, 110, 220); border-color: rgb(110, 160, 240); }
QPushButton { color: rgb(246, 247, 250); background: rgba(255, 255, 255, 26); border: 1px solid rgba(255, 255, 255, 30);
              border-radius: 6px; padding: 2px 8px; font-size: 12px; font-weight: 600; min-width: 18px; }
QPushButton:hover { background: rgba(255, 255, 255, 44); }
QPushButton:checked { background: rgba(112, 170, 255, 90); border-color: rgba(112, 170, 255, 160); }
QPushButton:disabled { color: rgba(255, 255, 255, 70); background: rgba(255, 255, 255, 8); }
QPushButton[kind="done"] { background: rgb(52, 110, 220); border-color: rgb(90, 140, 235); }
)";

QLabel* label(const QString& text, const char* role = nullptr) {
    auto* made = new QLabel(text);
    made->setTextFormat(Qt::PlainText);
    made->setAccessibleName(text);
    if (role != nullptr) {
        made->setProperty("role", QString::fromLatin1(role));
    }
    return made;
}

// A small button read by its full name ("Move Claude up"), shown by its glyph.
QPushButton* button(const QString& glyph, const QString& name) {
    auto* made = new QPushButton(glyph);
    made->setFocusPolicy(Qt::NoFocus);
    made->setCursor(Qt::PointingHandCursor);
    made->setAccessibleName(name);
    made->setToolTip(name);
    return made;
}

QCheckBox* checkBox(const QString& text, bool checked) {
    auto* made = new QCheckBox(text);
    made->setChecked(checked);
    made->setFocusPolicy(Qt::NoFocus);
    made->setAccessibleName(text);
    return made;
}

} // namespace

NotchEditorPanel::NotchEditorPanel(PanelWindowTraits& traits, std::function<Localization()> localization,
                                   QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                          Qt::WindowDoesNotAcceptFocus | Qt::NoDropShadowWindowHint)
    , m_traits(traits)
    , m_localization(std::move(localization)) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_X11DoNotAcceptFocus);
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(u"Tessary"_s);
    setStyleSheet(QString::fromLatin1(editorStyle));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 12, 14, 14);
}

NotchEditorPanel::~NotchEditorPanel() = default;

void NotchEditorPanel::showEditor(const Content& content) {
    if (m_content == content && isVisible()) {
        return;
    }
    m_content = content;
    rebuild();
    presentFloatingPanel(*this, m_traits, m_prepared);
}

void NotchEditorPanel::hideEditor() {
    m_content.reset();
    hide();
}

void NotchEditorPanel::paintEvent(QPaintEvent* event) {
    Q_UNUSED(event);
    QPainter painter(this);
    SurfacePainter::paintPanelGlass(painter, QRectF(rect()), cornerRadius);
}

QString NotchEditorPanel::moduleTitle(const QString& id) const {
    const QString title = m_content ? m_content->titles.value(id) : QString();
    return title.isEmpty() ? id : title;
}

QString NotchEditorPanel::tabTitle(const NotchEditingTab& tab) const {
    const Localization localization = m_localization ? m_localization() : Localization();
    switch (tab.group) {
    case ModuleGroup::agents:
        return localization.text(u"Agents"_s);
    case ModuleGroup::code:
        return localization.text(u"Code"_s);
    case ModuleGroup::system:
        return localization.text(u"System"_s);
    case ModuleGroup::none:
        break;
    }
    return tab.ids.isEmpty() ? tab.key : moduleTitle(tab.ids.front());
}

void NotchEditorPanel::change(const NotchPreferences& edited) {
    if (m_callbacks.onChange && m_content && edited != m_content->preferences) {
        m_callbacks.onChange(edited);
    }
}

void NotchEditorPanel::rebuild() {
    if (!m_content) {
        return;
    }
    const Localization localization = m_localization ? m_localization() : Localization();
    const Content content = *m_content;
    const NotchPreferences& preferences = content.preferences;
    if (m_body != nullptr) {
        m_body->hide();
        m_body->deleteLater();
    }
    m_body = new QWidget(this);
    auto* layout = new QVBoxLayout(m_body);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);

    auto* top = new QHBoxLayout;
    top->addWidget(label(localization.text(u"Edit Notch"_s), "title"), 1);
    auto* done = button(localization.text(u"Done"_s), localization.text(u"Done"_s));
    done->setProperty("kind", u"done"_s);
    connect(done, &QPushButton::clicked, this, [this] {
        if (m_callbacks.onDone) {
            m_callbacks.onDone();
        }
    });
    top->addWidget(done);
    layout->addLayout(top);

    auto* smart = checkBox(localization.text(u"Order by urgency"_s), preferences.smartOrdering);
    connect(smart, &QCheckBox::toggled, this, [this, content](bool on) {
        change(NotchArrangement::settingSmartOrdering(content.preferences, on, content.tabs));
    });
    layout->addWidget(smart);
    auto* strip =
        checkBox(localization.text(u"Show CPU and memory as a strip"_s), preferences.showsSystemStrip);
    connect(strip, &QCheckBox::toggled, this, [this, content](bool on) {
        NotchPreferences edited = content.preferences;
        edited.showsSystemStrip = on;
        change(edited);
    });
    layout->addWidget(strip);

    auto* resting = new QHBoxLayout;
    resting->setSpacing(6);
    resting->addWidget(label(localization.text(u"Tabs at rest"_s)));
    resting->addStretch(1);
    for (const RestingTabs count : {RestingTabs::one, RestingTabs::two}) {
        const QString text =
            count == RestingTabs::one ? localization.text(u"One"_s) : localization.text(u"Two"_s);
        auto* choice = button(text, localization.format(u"%1 tabs at rest"_s, text));
        choice->setCheckable(true);
        choice->setChecked(preferences.restingTabs == count);
        connect(choice, &QPushButton::clicked, this, [this, content, count] {
            NotchPreferences edited = content.preferences;
            edited.restingTabs = count;
            change(edited);
        });
        resting->addWidget(choice);
    }
    layout->addLayout(resting);

    if (preferences.smartOrdering) {
        auto* hint =
            label(localization.text(u"Turn off ordering by urgency to arrange the notch by hand."_s), "hint");
        hint->setWordWrap(true);
        layout->addWidget(hint);
    }

    QStringList tabKeys;
    for (const NotchEditingTab& tab : content.tabs) {
        tabKeys.append(tab.key);
    }
    for (std::size_t t = 0; t < content.tabs.size(); ++t) {
        const NotchEditingTab tab = content.tabs[t];
        const QString title = tabTitle(tab);
        auto* heading = new QHBoxLayout;
        heading->addWidget(label(title.toUpper(), "heading"), 1);
        auto* left = button(u"◀"_s, localization.format(u"Move %1 left"_s, title));
        auto* right = button(u"▶"_s, localization.format(u"Move %1 right"_s, title));
        left->setEnabled(!preferences.smartOrdering && t > 0);
        right->setEnabled(!preferences.smartOrdering && t + 1 < content.tabs.size());
        connect(left, &QPushButton::clicked, this, [this, content, tab, tabKeys] {
            change(NotchArrangement::movingTab(content.preferences, tab.key, -1, tabKeys));
        });
        connect(right, &QPushButton::clicked, this, [this, content, tab, tabKeys] {
            change(NotchArrangement::movingTab(content.preferences, tab.key, 1, tabKeys));
        });
        heading->addWidget(left);
        heading->addWidget(right);
        layout->addLayout(heading);

        for (qsizetype m = 0; m < tab.ids.size(); ++m) {
            const QString id = tab.ids[m];
            const QString name = moduleTitle(id);
            const bool hidden = preferences.hiddenInNotch.contains(id);
            auto* line = new QHBoxLayout;
            line->setContentsMargins(10, 0, 0, 0);
            line->setSpacing(4);
            line->addWidget(label(name, hidden ? "hidden" : nullptr), 1);
            auto* up = button(u"▲"_s, localization.format(u"Move %1 up"_s, name));
            auto* down = button(u"▼"_s, localization.format(u"Move %1 down"_s, name));
            up->setEnabled(!preferences.smartOrdering && m > 0);
            down->setEnabled(!preferences.smartOrdering && m + 1 < tab.ids.size());
            connect(up, &QPushButton::clicked, this, [this, content, tab, m] {
                QStringList order = tab.ids;
                order.swapItemsAt(m, m - 1);
                change(NotchArrangement::reordered(content.preferences, tab.key, order));
            });
            connect(down, &QPushButton::clicked, this, [this, content, tab, m] {
                QStringList order = tab.ids;
                order.swapItemsAt(m, m + 1);
                change(NotchArrangement::reordered(content.preferences, tab.key, order));
            });
            const QString toggleText = hidden ? localization.text(u"Show"_s) : localization.text(u"Hide"_s);
            auto* toggle =
                button(toggleText, localization.format(hidden ? u"Show %1"_s : u"Hide %1"_s, name));
            connect(toggle, &QPushButton::clicked, this, [this, content, id] {
                change(NotchArrangement::togglingHidden(content.preferences, id));
            });
            line->addWidget(up);
            line->addWidget(down);
            line->addWidget(toggle);
            layout->addLayout(line);
        }
    }
    static_cast<QVBoxLayout*>(this->layout())->addWidget(m_body);
    m_body->show();

    const int height = this->layout()->totalHeightForWidth(panelWidth);
    const QRectF notch = content.notch;
    setGeometry(QRect(static_cast<int>(notch.center().x() - panelWidth / 2.0),
                      static_cast<int>(notch.bottom() + 8), panelWidth, height));
}

} // namespace tessary
