#include "surfaces/detail/DetailPanel.h"

#include "platform/panels/PanelWindowTraits.h"
#include "surfaces/FloatingPanel.h"
#include "surfaces/SurfacePainter.h"
#include "surfaces/detail/DetailWidgets.h"

#include <QDesktopServices>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>
#include <cmath>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

constexpr int cornerRadius = 14;
constexpr int outerMargin = 10;
constexpr int noticeLimit = 3;
constexpr int menuLineLimit = 96;
// How soon new content is tried again while a button is held down.
constexpr int pressRetryMs = 150;

// The panel's own look for Qt's widgets: white type on smoked glass, quiet buttons, one red for
// what can't be undone.
const char* const panelStyle = R"(
QWidget#detailContent, QScrollArea, QScrollArea > QWidget > QWidget { background: transparent; }
QLabel { color: rgba(246, 247, 250, 255); font-size: 13px; }
QLabel[role="title"] { font-size: 15px; font-weight: 700; }
QLabel[role="value"] { color: rgba(255, 255, 255, 168); font-size: 13px; font-weight: 600; }
QLabel[role="rowTitle"] { font-weight: 600; }
QLabel[role="secondary"] { color: rgba(255, 255, 255, 168); font-size: 12px; }
QLabel[role="metric"] { color: rgba(255, 255, 255, 150); font-size: 12px; }
QLabel[role="metricValue"] { font-size: 12px; font-weight: 600; }
QLabel[role="badge"] { color: rgba(255, 255, 255, 200); font-size: 12px; font-weight: 600; }
QLabel[role="heading"] { color: rgba(255, 255, 255, 118); font-size: 11px; font-weight: 700;
                         letter-spacing: 0.6px; padding-top: 6px; }
QLabel[role="footnote"] { color: rgba(255, 255, 255, 118); font-size: 11px; }
QLabel[role="note"] { color: rgba(255, 255, 255, 168); font-size: 12px; }
QLabel[role="notice"] { font-size: 12px; }
QPushButton { color: rgba(246, 247, 250, 255); background: rgba(255, 255, 255, 26);
              border: 1px solid rgba(255, 255, 255, 30); border-radius: 7px; padding: 3px 10px;
              font-size: 12px; font-weight: 600; }
QPushButton:hover { background: rgba(255, 255, 255, 44); }
QPushButton:pressed { background: rgba(255, 255, 255, 18); }
QPushButton:disabled { color: rgba(255, 255, 255, 110); background: rgba(255, 255, 255, 12); }
QPushButton[kind="destructive"] { color: rgb(255, 140, 140); }
QPushButton[kind="confirm"] { color: white; background: rgb(214, 66, 66); border-color: rgb(232, 96, 96); }
QPushButton[kind="confirm"]:hover { background: rgb(230, 80, 80); }
QPushButton[kind="link"] { color: rgb(128, 182, 255); background: transparent; border: none; padding: 0px;
                           font-weight: 500; text-align: left; }
QPushButton[kind="link"]:hover { text-decoration: underline; }
QPushButton::menu-indicator { width: 0px; }
QLineEdit { color: white; background: rgba(0, 0, 0, 90); border: 1px solid rgba(255, 255, 255, 50);
            border-radius: 6px; padding: 4px 6px; font-size: 12px;
            selection-background-color: rgb(70, 120, 220); }
QFrame#pending { background: rgba(255, 255, 255, 14); border-radius: 8px; }
QFrame#divider { background: rgba(255, 255, 255, 24); max-height: 1px; min-height: 1px; border: none; }
QScrollBar:vertical { background: transparent; width: 6px; margin: 2px; }
QScrollBar::handle:vertical { background: rgba(255, 255, 255, 60); border-radius: 3px; min-height: 24px; }
QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0px; }
QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { background: transparent; }
QMenu { background: rgb(30, 32, 38); color: rgb(246, 247, 250); border: 1px solid rgba(255, 255, 255, 40);
        padding: 4px; font-size: 12px; }
QMenu::item { padding: 4px 14px; border-radius: 4px; }
QMenu::item:selected { background: rgba(255, 255, 255, 36); }
QMenu::item:disabled { color: rgba(255, 255, 255, 150); }
)";

QLabel* label(const QString& text, const char* role, QWidget* parent = nullptr, bool wraps = false) {
    auto* made = new QLabel(text, parent);
    made->setProperty("role", QString::fromLatin1(role));
    made->setTextFormat(Qt::PlainText);
    made->setWordWrap(wraps);
    made->setAccessibleName(text);
    made->setFocusPolicy(Qt::NoFocus);
    return made;
}

QPushButton* button(const QString& text, const char* kind = nullptr) {
    auto* made = new QPushButton(text);
    made->setFocusPolicy(Qt::NoFocus);
    made->setCursor(Qt::PointingHandCursor);
    made->setAccessibleName(text);
    if (kind != nullptr) {
        made->setProperty("kind", QString::fromLatin1(kind));
    }
    return made;
}

// Links and files open; other schemes in outside data never reach the desktop's handlers.
bool isOpenable(const QUrl& url) {
    const QString scheme = url.scheme().toLower();
    return url.isValid() && (scheme == "http"_L1 || scheme == "https"_L1 || scheme == "file"_L1);
}

QString elided(const QString& text, int limit) {
    QString line = text;
    line.replace(u'\t', u' ');
    return line.size() > limit ? line.left(limit - 1) + u'…' : line;
}

QString stepSymbol(DetailStep::State state) {
    switch (state) {
    case DetailStep::State::passed:
        return u"checkmark.circle"_s;
    case DetailStep::State::running:
        return u"arrow.clockwise"_s;
    case DetailStep::State::failed:
        return u"xmark.circle"_s;
    case DetailStep::State::pending:
        return u"clock"_s;
    case DetailStep::State::skipped:
        return u"stop"_s;
    case DetailStep::State::working:
        return u"waveform.path.ecg"_s;
    }
    return u"clock"_s;
}

QColor stepColor(DetailStep::State state) {
    switch (state) {
    case DetailStep::State::passed:
        return SurfacePalette::successGreen;
    case DetailStep::State::failed:
        return SurfacePalette::criticalRed;
    case DetailStep::State::running:
    case DetailStep::State::working:
        return SurfacePalette::progressBlue;
    case DetailStep::State::pending:
    case DetailStep::State::skipped:
        break;
    }
    return SurfacePalette::textTertiary;
}

QString iconSymbol(const DetailIcon& icon) {
    if (const auto* symbol = std::get_if<icon::Symbol>(&icon)) {
        return symbol->name;
    }
    if (std::holds_alternative<icon::File>(icon)) {
        return u"doc"_s;
    }
    if (std::holds_alternative<icon::App>(icon)) {
        return u"terminal"_s;
    }
    return std::get<icon::Image>(icon).name;
}

} // namespace

DetailPanel::DetailPanel(PanelWindowTraits& traits, QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                          Qt::WindowDoesNotAcceptFocus | Qt::NoDropShadowWindowHint)
    , m_traits(traits) {
    installDetailAccessibility();
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_X11DoNotAcceptFocus);
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(u"Tessary"_s);
    setStyleSheet(QString::fromLatin1(panelStyle));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(outerMargin, outerMargin, outerMargin - 4, outerMargin);
    m_scroll = new QScrollArea(this);
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setWidgetResizable(true);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_scroll->setFocusPolicy(Qt::NoFocus);
    m_scroll->viewport()->setAutoFillBackground(false);
    layout->addWidget(m_scroll);
    resize(panelWidth, 120);
}

DetailPanel::~DetailPanel() = default;

void DetailPanel::setRunningCommands(const QSet<QString>& commandIDs) {
    if (commandIDs == m_running) {
        return;
    }
    m_running = commandIDs;
    if (m_opening) {
        rebuild();
    }
}

void DetailPanel::open(const Opening& opening) {
    const bool sameModule =
        m_opening && m_owner == opening.owner && m_opening->module.id == opening.module.id;
    if (!sameModule) {
        endPending();
        m_revealed.clear();
    }
    m_owner = opening.owner;
    m_opening = opening;
    if (!sameModule && m_callbacks.onOpened) {
        m_callbacks.onOpened(opening.module.id);
    }
    rebuild();
    // Opened by the user's pointer: in front of the surface it hangs from, even when it stood already.
    if (!presentFloatingPanel(*this, m_traits, m_prepared)) {
        raiseFloatingPanel(*this);
    }
    if (opening.module.variants.detail) {
        reveal(opening.module.variants.detail->revealCommand);
        for (const DetailSection& shown : opening.module.variants.detail->sections) {
            reveal(shown.revealCommand);
        }
    }
}

void DetailPanel::refresh(const void* owner, const ModuleSnapshot& module, const QRectF& anchor) {
    if (!isOwnedBy(owner) || !m_opening || m_opening->module.id != module.id) {
        return;
    }
    const bool moved = anchor != m_opening->anchor;
    m_opening->anchor = anchor;
    if (module.variants.detail != m_opening->module.variants.detail ||
        module.variants.compact != m_opening->module.variants.compact) {
        m_opening->module = module;
        rebuild();
    } else if (moved) {
        place();
    }
}

void DetailPanel::release(const void* owner) {
    if (!isOwnedBy(owner)) {
        return;
    }
    endPending();
    if (m_openMenu) {
        m_openMenu->close();
    }
    m_owner = nullptr;
    m_opening.reset();
    m_revealed.clear();
    hide();
}

std::optional<QString> DetailPanel::moduleID() const {
    return m_opening ? std::optional(m_opening->module.id) : std::nullopt;
}

bool DetailPanel::isEngaged() const {
    return m_pending.has_value() || (m_openMenu && m_openMenu->isVisible());
}

bool DetailPanel::containsPointer(const QPointF& global) const {
    return isVisible() && QRectF(geometry()).contains(global);
}

void DetailPanel::paintEvent(QPaintEvent* event) {
    Q_UNUSED(event);
    QPainter painter(this);
    SurfacePainter::paintPanelGlass(painter, QRectF(rect()), cornerRadius);
}

void DetailPanel::leaveEvent(QEvent* event) {
    QWidget::leaveEvent(event);
    if (m_opening && m_opening->onPointerLeft && !isEngaged()) {
        m_opening->onPointerLeft();
    }
}

void DetailPanel::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && m_pending) {
        endPending();
        rebuild();
        return;
    }
    QWidget::keyPressEvent(event);
}

void DetailPanel::rebuild() {
    if (!m_opening) {
        return;
    }
    // While the user types, the text field stays as it is; the new content comes after.
    if (m_input && m_input->hasFocus()) {
        m_rebuildDeferred = true;
        return;
    }
    // Nor is a button replaced between its press and its release.
    if (QGuiApplication::mouseButtons() != Qt::NoButton && underMouse()) {
        m_rebuildDeferred = true;
        QTimer::singleShot(pressRetryMs, this, [this] {
            if (m_rebuildDeferred) {
                rebuild();
            }
        });
        return;
    }
    m_rebuildDeferred = false;
    const int scrolled = m_scroll->verticalScrollBar()->value();
    auto* content = new QWidget;
    content->setObjectName(u"detailContent"_s);
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 4, 0);
    layout->setSpacing(2);
    layout->addWidget(header());
    if (QWidget* facts = notices()) {
        layout->addWidget(facts);
    }
    const std::optional<DetailVariant>& detail = m_opening->module.variants.detail;
    if (!detail || detail->sections.empty()) {
        layout->addWidget(label(m_opening->localization.text(u"Nothing to show"_s), "note"));
    } else {
        for (const DetailSection& shown : detail->sections) {
            layout->addWidget(section(shown));
        }
    }
    layout->addStretch(1);
    // Old rows go after this turn of the loop: a click may be running inside one of them.
    if (QWidget* old = m_scroll->takeWidget()) {
        old->hide();
        old->deleteLater();
    }
    m_scroll->setWidget(content);
    m_content = content;
    m_scroll->verticalScrollBar()->setValue(scrolled);
    setAccessibleName(m_opening->module.variants.detail ? m_opening->module.variants.detail->title
                                                        : m_opening->module.variants.compact.title);
    place();
    if (m_input) {
        m_input->setFocus();
    }
}

void DetailPanel::place() {
    if (!m_opening || m_content == nullptr) {
        return;
    }
    const int inner = panelWidth - 2 * outerMargin;
    const int contentHeight =
        m_content->hasHeightForWidth() ? m_content->heightForWidth(inner) : m_content->sizeHint().height();
    const QRectF visible = m_opening->visibleFrame;
    const int cap = std::min(maximumHeight, static_cast<int>(visible.height() * 0.85));
    const int height = std::clamp(contentHeight + 2 * outerMargin, 60, std::max(60, cap));
    const QRectF frame =
        DetailPlacement::frame(m_opening->anchor, QSizeF(panelWidth, height), visible, m_opening->side);
    setGeometry(frame.toRect());
    if (!m_traits.isCompositing()) {
        // Without a compositor the clear corners would show black: the window takes the rounded form.
        QPainterPath path;
        path.addRoundedRect(QRectF(0, 0, frame.width(), frame.height()), cornerRadius, cornerRadius);
        setMask(QRegion(path.toFillPolygon().toPolygon()));
    } else {
        clearMask();
    }
}

QWidget* DetailPanel::header() {
    const ModuleSnapshot& module = m_opening->module;
    auto* box = new QWidget;
    auto* line = new QHBoxLayout(box);
    line->setContentsMargins(6, 2, 6, 6);
    line->setSpacing(8);
    line->addWidget(
        new DetailGlyph(m_icons, module.variants.compact.symbolName, SurfacePalette::textPrimary, 18));
    const QString title =
        module.variants.detail ? module.variants.detail->title : module.variants.compact.title;
    line->addWidget(label(title, "title"), 1);
    if (!module.variants.compact.value.isEmpty()) {
        line->addWidget(label(module.variants.compact.value, "value"));
    }
    return box;
}

QWidget* DetailPanel::notices() {
    if (m_opening->notices.empty()) {
        return nullptr;
    }
    auto* box = new QWidget;
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(6, 0, 6, 6);
    layout->setSpacing(3);
    int shown = 0;
    for (const ChangeSignal::Fact& fact : m_opening->notices) {
        if (shown++ == noticeLimit) {
            break;
        }
        auto* row = new QWidget;
        auto* line = new QHBoxLayout(row);
        line->setContentsMargins(0, 0, 0, 0);
        line->setSpacing(7);
        line->addWidget(DetailGlyph::swatch(m_icons, SurfacePalette::toneColor(fact.tone)), 0, Qt::AlignTop);
        line->addWidget(label(fact.text, "notice", nullptr, true), 1);
        layout->addWidget(row);
    }
    return box;
}

QWidget* DetailPanel::section(const DetailSection& shown) {
    if (shown.isHeading) {
        auto* heading = label(shown.title.toUpper(), "heading");
        heading->setAccessibleName(shown.title);
        heading->setContentsMargins(6, 4, 6, 0);
        return heading;
    }
    if (shown.isNote) {
        auto* note = label(shown.noteLines().join(u'\n'), "note", nullptr, true);
        note->setContentsMargins(6, 2, 6, 2);
        return note;
    }
    return row(shown);
}

QWidget* DetailPanel::row(const DetailSection& shown) {
    const Localization& localization = m_opening->localization;
    auto* row = new DetailRow;
    row->setAccessibleName(DetailTexts::rowName(shown));
    row->setAccessibleDescription(DetailTexts::rowDescription(shown, localization));
    if (shown.action && canRun(*shown.action)) {
        const DetailAction action = *shown.action;
        const QString id = shown.id;
        row->setActivation([this, action, id] { run(action, id); });
    }
    auto* rows = new QVBoxLayout(row);
    rows->setContentsMargins(6, 6, 6, 6);
    rows->setSpacing(4);
    auto* outer = new QHBoxLayout;
    outer->setSpacing(9);
    rows->addLayout(outer);
    int indent = 0;
    QWidget* leading = nullptr;
    if (shown.swatch) {
        leading = DetailGlyph::swatch(m_icons, SurfacePalette::roleColor(*shown.swatch));
    } else if (shown.icon) {
        leading = new DetailGlyph(m_icons, iconSymbol(*shown.icon), SurfacePalette::textSecondary, 15);
    }
    if (leading != nullptr) {
        outer->addWidget(leading, 0, Qt::AlignTop);
        indent = leading->sizeHint().width() + outer->spacing();
    }
    // Metrics, steps and the footnote take the row's whole width under its head.
    auto* details = new QVBoxLayout;
    details->setContentsMargins(indent, 0, 0, 0);
    details->setSpacing(3);
    auto* body = new QVBoxLayout;
    body->setSpacing(3);
    outer->addLayout(body, 1);

    auto* titleLine = new QHBoxLayout;
    titleLine->setSpacing(6);
    auto* title = label(shown.title, "rowTitle", nullptr, true);
    titleLine->addWidget(title, 1);
    if (shown.activity) {
        auto* mark = new ActivityMark(*shown.activity);
        mark->setAccessibleName(DetailTexts::activityText(*shown.activity, localization));
        titleLine->addWidget(mark, 0, Qt::AlignVCenter);
    }
    body->addLayout(titleLine);

    // The badge and the buttons stand in a column at the end, clear of the texts.
    auto* trailing = new QVBoxLayout;
    trailing->setSpacing(5);
    auto* badgeLine = new QHBoxLayout;
    badgeLine->setSpacing(6);
    badgeLine->addStretch(1);
    if (shown.badgeGauge) {
        badgeLine->addWidget(new MiniGauge(*shown.badgeGauge, 44), 0, Qt::AlignVCenter);
    }
    if (shown.badge) {
        badgeLine->addWidget(label(*shown.badge, "badge"));
    }
    trailing->addLayout(badgeLine);
    if (QWidget* commands = commandArea(shown)) {
        trailing->addWidget(commands, 0, Qt::AlignRight);
    }
    trailing->addStretch(1);
    outer->addLayout(trailing);

    if (!shown.subtitleRuns.empty()) {
        auto* runs = new QHBoxLayout;
        runs->setSpacing(4);
        for (const DetailTextRun& run : shown.subtitleRuns) {
            if (!run.text.isEmpty()) {
                runs->addWidget(label(run.text, "secondary"));
            }
            if (run.gauge) {
                runs->addWidget(new MiniGauge(*run.gauge, 28), 0, Qt::AlignVCenter);
            }
        }
        runs->addStretch(1);
        body->addLayout(runs);
    } else if (shown.subtitle && !shown.subtitle->isEmpty()) {
        body->addWidget(label(*shown.subtitle, "secondary", nullptr, true));
    }

    if (!shown.metrics.empty()) {
        auto* grid = new QGridLayout;
        grid->setHorizontalSpacing(8);
        grid->setVerticalSpacing(2);
        int line = 0;
        for (const DetailMetric& metric : shown.metrics) {
            grid->addWidget(label(metric.label, "metric"), line, 0);
            if (metric.gauge) {
                grid->addWidget(new MiniGauge(*metric.gauge, 40), line, 1, Qt::AlignVCenter);
            }
            auto* value = label(metric.value, "metricValue");
            value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
            grid->addWidget(value, line, 2);
            ++line;
            if (metric.detail && !metric.detail->isEmpty()) {
                grid->addWidget(label(*metric.detail, "footnote", nullptr, true), line++, 0, 1, 3);
            }
        }
        grid->setColumnStretch(0, 1);
        details->addLayout(grid);
    }

    for (const DetailStep& step : shown.steps) {
        auto* line = new QHBoxLayout;
        line->setSpacing(6);
        auto* glyph = new DetailGlyph(m_icons, stepSymbol(step.state), stepColor(step.state), 13);
        glyph->setAccessibleName(DetailTexts::stepStateText(step.state, localization));
        line->addWidget(glyph, 0, Qt::AlignTop);
        line->addWidget(label(step.line(), "secondary", nullptr, true), 1);
        details->addLayout(line);
    }

    if (shown.location && isOpenable(shown.location->url)) {
        auto* link = new ElidedLinkButton(shown.location->label);
        link->setFocusPolicy(Qt::NoFocus);
        link->setCursor(Qt::PointingHandCursor);
        link->setProperty("kind", u"link"_s);
        link->setToolTip(shown.location->url.toDisplayString());
        const QUrl url = shown.location->url;
        connect(link, &QPushButton::clicked, this, [url] { QDesktopServices::openUrl(url); });
        body->addWidget(link, 0, Qt::AlignLeft);
    }

    if (shown.footnote && !shown.footnote->isEmpty()) {
        details->addWidget(label(*shown.footnote, "footnote", nullptr, true));
    }
    if (details->count() > 0) {
        rows->addLayout(details);
    } else {
        delete details;
    }
    if (m_pending && m_pending->sectionID == shown.id) {
        rows->addWidget(pendingArea(*m_pending));
    }
    return row;
}

QWidget* DetailPanel::commandArea(const DetailSection& shown) {
    std::vector<QPushButton*> buttons;
    for (const DetailAction& action : shown.actions) {
        if (QPushButton* made = actionButton(action, shown.id)) {
            buttons.push_back(made);
        }
    }
    if (!shown.children.empty()) {
        buttons.push_back(childrenButton(shown));
    }
    if (shown.command) {
        buttons.push_back(commandButton(*shown.command, shown.id));
    }
    if (buttons.empty()) {
        return nullptr;
    }
    auto* box = new QWidget;
    auto* line = new QHBoxLayout(box);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(6);
    for (QPushButton* made : buttons) {
        line->addWidget(made);
    }
    return box;
}

QPushButton* DetailPanel::commandButton(const DetailCommand& command, const QString& sectionID) {
    const bool running = m_running.contains(command.id);
    const bool waiting = m_pending && m_pending->command.id == command.id;
    auto* made = button(running ? command.title + u'…' : command.title,
                        command.isDestructive ? "destructive" : nullptr);
    made->setAccessibleName(command.title);
    made->setEnabled(!running && !waiting);
    if (running) {
        made->setAccessibleDescription(m_opening->localization.text(u"running"_s));
    }
    connect(made, &QPushButton::clicked, this, [this, command, sectionID] { choose(command, sectionID); });
    return made;
}

QPushButton* DetailPanel::actionButton(const DetailAction& action, const QString& sectionID) {
    if (!canRun(action)) {
        return nullptr;
    }
    const Localization& localization = m_opening->localization;
    QString title;
    if (std::holds_alternative<action::Open>(action)) {
        title = localization.text(u"Open"_s);
    } else if (std::holds_alternative<action::ViewLog>(action)) {
        title = localization.text(u"View log"_s);
    } else if (std::holds_alternative<action::FocusApp>(action)) {
        title = localization.text(u"Open app"_s);
    } else if (const auto* perform = std::get_if<action::Perform>(&action)) {
        return commandButton(perform->command, sectionID);
    } else {
        title = localization.text(u"Show"_s);
    }
    auto* made = button(title);
    connect(made, &QPushButton::clicked, this, [this, action, sectionID] { run(action, sectionID); });
    return made;
}

QPushButton* DetailPanel::childrenButton(const DetailSection& shown) {
    auto* made = button(m_opening->localization.text(u"More"_s) + u" ▸"_s);
    made->setAccessibleName(m_opening->localization.text(u"More"_s));
    const std::vector<DetailSection> children = shown.children;
    connect(made, &QPushButton::clicked, this, [this, made, children] {
        auto* menu = new QMenu(this);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        fillMenu(menu, children);
        for (const DetailSection& child : children) {
            reveal(child.revealCommand);
        }
        m_openMenu = menu;
        connect(menu, &QMenu::aboutToHide, this, [this] {
            // After the menu has gone: the pointer may have left the panel meanwhile.
            QMetaObject::invokeMethod(
                this, [this] { disengaged(); }, Qt::QueuedConnection);
        });
        menu->popup(made->mapToGlobal(QPoint(made->width(), 0)));
    });
    return made;
}

void DetailPanel::fillMenu(QMenu* menu, const std::vector<DetailSection>& children) {
    for (const DetailSection& child : children) {
        if (child.isNote) {
            for (const QString& line : child.noteLines()) {
                QAction* item = menu->addAction(elided(line, menuLineLimit));
                item->setEnabled(false);
            }
            menu->addSeparator();
            continue;
        }
        if (child.isHeading) {
            menu->addSection(child.title);
            continue;
        }
        const QString title = child.badge ? child.title + u"  "_s + *child.badge : child.title;
        const std::vector<DetailCommand> commands = commandsOf(child);
        if (!commands.empty() || !child.children.empty() ||
            (child.location && isOpenable(child.location->url))) {
            QMenu* sub = menu->addMenu(title);
            if (child.action && canRun(*child.action)) {
                const DetailAction action = *child.action;
                const QString id = child.id;
                connect(sub->addAction(m_opening->localization.text(u"Open"_s)), &QAction::triggered, this,
                        [this, action, id] { run(action, id); });
            }
            if (child.location && isOpenable(child.location->url)) {
                const QUrl url = child.location->url;
                connect(sub->addAction(child.location->label), &QAction::triggered, this,
                        [url] { QDesktopServices::openUrl(url); });
            }
            for (const DetailCommand& command : commands) {
                const QString id = child.id;
                connect(sub->addAction(command.title), &QAction::triggered, this,
                        [this, command, id] { choose(command, id); });
            }
            fillMenu(sub, child.children);
            continue;
        }
        QAction* item = menu->addAction(title);
        if (child.action && canRun(*child.action)) {
            const DetailAction action = *child.action;
            const QString id = child.id;
            connect(item, &QAction::triggered, this, [this, action, id] { run(action, id); });
        } else {
            item->setEnabled(false);
        }
    }
}

QWidget* DetailPanel::pendingArea(const Pending& pending) {
    const Localization& localization = m_opening->localization;
    auto* frame = new QFrame;
    frame->setObjectName(u"pending"_s);
    auto* layout = new QVBoxLayout(frame);
    layout->setContentsMargins(8, 7, 8, 7);
    layout->setSpacing(6);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(6);
    buttons->addStretch(1);
    auto* cancel = button(localization.text(u"Cancel"_s));
    connect(cancel, &QPushButton::clicked, this, [this] {
        endPending();
        rebuild();
    });
    buttons->addWidget(cancel);

    if (DetailTexts::asksForInput(pending.command)) {
        if (pending.command.inputNote) {
            layout->addWidget(label(*pending.command.inputNote, "secondary", nullptr, true));
        }
        auto* input = new QLineEdit;
        input->setPlaceholderText(pending.command.inputPlaceholder.value_or(QString()));
        input->setText(pending.command.inputText.value_or(QString()));
        input->setAccessibleName(pending.command.inputPlaceholder.value_or(pending.command.title));
        layout->addWidget(input);
        if (pending.command.inputSuggestion && !pending.command.inputSuggestion->isEmpty()) {
            const QString suggestion = *pending.command.inputSuggestion;
            auto* use = button(localization.format(u"Use “%1”"_s, elided(suggestion, 40)), "link");
            use->setAccessibleName(localization.text(u"Use suggestion"_s));
            connect(use, &QPushButton::clicked, input, [input, suggestion] {
                input->setText(suggestion);
                input->setFocus();
            });
            layout->addWidget(use, 0, Qt::AlignLeft);
        }
        auto* submit = button(pending.command.title, "confirm");
        submit->setProperty("kind", u"send"_s);
        const DetailCommand command = pending.command;
        auto sendInput = [this, command, input] {
            const DetailCommand filled = command.withInput(input->text());
            endPending();
            send(filled);
            rebuild();
        };
        connect(submit, &QPushButton::clicked, this, sendInput);
        connect(input, &QLineEdit::returnPressed, this, sendInput);
        buttons->addWidget(submit);
        m_input = input;
        takeFocus(true);
    } else {
        const QString question =
            DetailTexts::confirmation(pending.command, localization).value_or(pending.command.title);
        layout->addWidget(label(question, "notice", nullptr, true));
        auto* confirm = button(pending.command.title, pending.command.isDestructive ? "confirm" : nullptr);
        confirm->setAccessibleDescription(question);
        const DetailCommand command = pending.command;
        connect(confirm, &QPushButton::clicked, this, [this, command] {
            endPending();
            send(command);
            rebuild();
        });
        buttons->addWidget(confirm);
    }
    layout->addLayout(buttons);
    return frame;
}

void DetailPanel::choose(const DetailCommand& command, const QString& sectionID) {
    if (m_running.contains(command.id)) {
        return;
    }
    if (DetailTexts::asksForInput(command) || DetailTexts::confirmation(command, m_opening->localization)) {
        endPending();
        m_pending = Pending{sectionID, command};
        rebuild();
        return;
    }
    send(command);
}

void DetailPanel::send(const DetailCommand& command) const {
    if (m_callbacks.onCommand) {
        m_callbacks.onCommand(command);
    }
}

bool DetailPanel::canRun(const DetailAction& action) const {
    if (const auto* open = std::get_if<action::Open>(&action)) {
        return isOpenable(open->url);
    }
    if (std::holds_alternative<action::Perform>(action)) {
        return true;
    }
    if (const auto* log = std::get_if<action::ViewLog>(&action)) {
        if (log->source.file && log->source.file->isLocalFile()) {
            return true;
        }
    }
    return static_cast<bool>(m_actionHandler);
}

void DetailPanel::run(const DetailAction& action, const QString& sectionID) {
    if (const auto* perform = std::get_if<action::Perform>(&action)) {
        choose(perform->command, sectionID);
        return;
    }
    if (m_actionHandler && m_actionHandler(action)) {
        return;
    }
    if (const auto* open = std::get_if<action::Open>(&action); open && isOpenable(open->url)) {
        QDesktopServices::openUrl(open->url);
    } else if (const auto* log = std::get_if<action::ViewLog>(&action);
               log && log->source.file && log->source.file->isLocalFile()) {
        QDesktopServices::openUrl(*log->source.file);
    }
}

void DetailPanel::reveal(const std::optional<DetailCommand>& command) {
    if (!command || m_revealed.contains(command->id)) {
        return;
    }
    m_revealed.insert(command->id);
    send(*command);
}

void DetailPanel::endPending() {
    const bool hadPending = m_pending.has_value();
    m_pending.reset();
    m_input.clear();
    takeFocus(false);
    if (hadPending) {
        QMetaObject::invokeMethod(
            this, [this] { disengaged(); }, Qt::QueuedConnection);
    }
}

void DetailPanel::takeFocus(bool take) {
    if (take == m_hasFocus || windowHandle() == nullptr) {
        return;
    }
    m_hasFocus = take;
    // Only while the text field is in use may the panel take the keyboard.
    windowHandle()->setFlag(Qt::WindowDoesNotAcceptFocus, !take);
    if (take) {
        activateWindow();
        windowHandle()->requestActivate();
    }
}

void DetailPanel::disengaged() {
    if (m_rebuildDeferred) {
        rebuild();
    }
    if (!isEngaged() && m_opening && m_opening->onPointerLeft && !containsPointer(QCursor::pos())) {
        m_opening->onPointerLeft();
    }
}

} // namespace tessary
