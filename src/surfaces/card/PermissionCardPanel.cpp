#include "surfaces/card/PermissionCardPanel.h"

#include "modules/agents/card/PermissionCardLayout.h"
#include "platform/panels/PanelWindowTraits.h"
#include "surfaces/FloatingPanel.h"
#include "surfaces/SurfacePainter.h"
#include "surfaces/SurfacePalette.h"

#include <QAccessible>
#include <QApplication>
#include <QEnterEvent>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QRegularExpression>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>
#include <QWindow>

namespace tessary {

namespace {

const QColor textPrimary(246, 247, 250);
const QColor textSecondary(255, 255, 255, 168);
const QColor accentBlue(112, 170, 255);
const QColor warningAmber(247, 186, 77);
const QColor criticalRed(255, 102, 102);
const QColor successGreen(104, 214, 128);

constexpr int margin = 16;
constexpr int contentWidth = static_cast<int>(PermissionCardLayout::width) - margin - (margin - 6) - 8;
constexpr double cornerRadius = 16;

const char* const cardStyle = R"(
QWidget#cardContent, QScrollArea, QScrollArea > QWidget > QWidget { background: transparent; }
QLabel { color: rgb(246, 247, 250); font-size: 13px; }
QLabel[role="title"] { font-size: 15px; font-weight: 700; }
QLabel[role="agent"] { color: rgba(255, 255, 255, 150); font-size: 12px; font-weight: 600; }
QLabel[role="badge"] { color: rgb(246, 247, 250); background: rgba(255, 255, 255, 30); border-radius: 9px;
                       padding: 1px 8px; font-size: 11px; font-weight: 700; }
QLabel[role="command"] { font-family: monospace; font-size: 12px; color: rgb(232, 236, 243);
                         background: rgba(0, 0, 0, 96); border: 1px solid rgba(255, 255, 255, 22);
                         border-radius: 8px; padding: 8px 10px; }
QLabel[role="question"] { font-size: 14px; font-weight: 600; }
QLabel[role="plan"] { font-size: 12px; color: rgb(226, 230, 238); background: rgba(0, 0, 0, 70);
                      border-radius: 8px; padding: 8px 10px; }
QLabel[role="secondary"] { color: rgba(255, 255, 255, 168); font-size: 12px; }
QLabel[role="file"] { color: rgba(255, 255, 255, 200); font-family: monospace; font-size: 11px; }
QLabel[role="elsewhere"] { color: rgb(247, 186, 77); font-size: 12px; font-weight: 600;
                           background: rgba(247, 186, 77, 26); border-radius: 8px; padding: 7px 10px; }
QLabel[role="risk-low"] { color: rgb(104, 214, 128); font-size: 12px; font-weight: 600; }
QLabel[role="risk-medium"] { color: rgb(247, 186, 77); font-size: 12px; font-weight: 600; }
QLabel[role="risk-high"] { color: rgb(255, 118, 118); font-size: 12px; font-weight: 700; }
QPushButton#sessionCaption { color: rgba(255, 255, 255, 200); background: transparent; border: none;
                             padding: 0px; font-size: 12px; font-weight: 600; text-align: left; }
QPushButton#sessionCaption:hover { color: white; text-decoration: underline; }
QLineEdit { color: white; background: rgba(0, 0, 0, 96); border: 1px solid rgba(255, 255, 255, 50);
            border-radius: 7px; padding: 6px 8px; font-size: 12px;
            selection-background-color: rgb(70, 120, 220); }
QLineEdit:focus { border-color: rgb(112, 170, 255); }
QScrollBar:vertical { background: transparent; width: 6px; margin: 2px; }
QScrollBar::handle:vertical { background: rgba(255, 255, 255, 60); border-radius: 3px; min-height: 24px; }
QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0px; }
QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { background: transparent; }
)";

QLabel* label(const QString& text, const char* role, QWidget* parent, bool wraps = true) {
    auto* l = new QLabel(text, parent);
    l->setProperty("role", QString::fromLatin1(role));
    l->setWordWrap(wraps);
    l->setTextFormat(Qt::PlainText);
    return l;
}

QString shortcutText(QChar key) {
    return QStringLiteral("Alt+") + QString(key.toUpper());
}

} // namespace

// An answer: its label, and the shortcut as a small key cap on the right when shortcuts work.
class CardAnswerButton final : public QPushButton {
public:
    enum class Tone { primary, neutral, destructive, option };

    CardAnswerButton(const QString& text, Tone tone, QWidget* parent)
        : QPushButton(text, parent)
        , m_tone(tone) {
        setCursor(Qt::PointingHandCursor);
        setFocusPolicy(Qt::NoFocus);
        setAccessibleName(text);
        setMinimumHeight(tone == Tone::option ? 34 : 32);
    }
    void setKeyCap(const QString& cap) { m_keyCap = cap; }
    void setDetail(const QString& detail) { m_detail = detail; }

    // The row shares the card's width; the label elides rather than widening the card.
    [[nodiscard]] QSize minimumSizeHint() const override { return {56, sizeHint().height()}; }

    [[nodiscard]] QSize sizeHint() const override {
        QFont f = font();
        f.setPixelSize(12);
        f.setWeight(QFont::DemiBold);
        const QFontMetricsF metrics(f);
        // The painted insets: 12 before the label, 6 between label and key cap, 8 after it.
        double width = metrics.horizontalAdvance(text()) + 30; // and a little room for rounding
        if (!m_keyCap.isEmpty()) {
            width += keyCapWidth();
        }
        const int height = m_detail.isEmpty() || m_tone != Tone::option ? 32 : 46;
        return {static_cast<int>(std::ceil(width)), height};
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const QRectF box = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
        QColor fill(255, 255, 255, 24);
        QColor border(255, 255, 255, 34);
        QColor ink = textPrimary;
        switch (m_tone) {
        case Tone::primary:
            fill = QColor(64, 124, 236);
            border = SurfacePalette::progressBlue;
            ink = Qt::white;
            break;
        case Tone::destructive:
            ink = QColor(255, 140, 140);
            break;
        case Tone::option:
            if (isChecked()) {
                fill = QColor(64, 124, 236, 90);
                border = accentBlue;
            }
            break;
        case Tone::neutral:
            break;
        }
        if (isDown()) {
            fill.setAlpha(std::max(10, fill.alpha() - 14));
        } else if (underMouse()) {
            fill = fill.lighter(125);
            fill.setAlpha(std::min(255, fill.alpha() + 20));
        }
        p.setPen(QPen(border, 1));
        p.setBrush(fill);
        p.drawRoundedRect(box, 8, 8);

        QRectF textBox = box.adjusted(12, 0, -10, 0);
        if (!m_keyCap.isEmpty()) {
            QFont capFont = font();
            capFont.setPixelSize(10);
            capFont.setWeight(QFont::Bold);
            const double capWidth = keyCapWidth();
            const QRectF cap(box.right() - 8 - capWidth, box.center().y() - 9, capWidth, 18);
            p.setPen(Qt::NoPen);
            p.setBrush(m_tone == Tone::primary ? QColor(255, 255, 255, 50) : QColor(255, 255, 255, 26));
            p.drawRoundedRect(cap, 5, 5);
            p.setFont(capFont);
            p.setPen(m_tone == Tone::primary ? QColor(255, 255, 255, 230) : QColor(255, 255, 255, 170));
            p.drawText(cap, Qt::AlignCenter, m_keyCap);
            textBox.setRight(cap.left() - 6);
        }
        QFont f = font();
        f.setPixelSize(12);
        f.setWeight(QFont::DemiBold);
        p.setFont(f);
        p.setPen(ink);
        const Qt::Alignment align = m_tone == Tone::option ? Qt::AlignLeft : Qt::AlignHCenter;
        const int flags = static_cast<int>((align | Qt::AlignVCenter).toInt());
        if (m_tone == Tone::option && !m_detail.isEmpty()) {
            const QRectF top(textBox.left(), box.top() + 5, textBox.width(), 20);
            p.drawText(top, flags, QFontMetricsF(f).elidedText(text(), Qt::ElideRight, top.width()));
            QFont small = font();
            small.setPixelSize(11);
            p.setFont(small);
            p.setPen(textSecondary);
            const QRectF bottom(textBox.left(), top.bottom(), textBox.width(), 17);
            p.drawText(bottom, flags,
                       QFontMetricsF(small).elidedText(m_detail, Qt::ElideRight, bottom.width()));
            return;
        }
        p.drawText(textBox, flags, QFontMetricsF(f).elidedText(text(), Qt::ElideRight, textBox.width()));
    }

private:
    [[nodiscard]] double keyCapWidth() const {
        QFont capFont = font();
        capFont.setPixelSize(10);
        capFont.setWeight(QFont::Bold);
        return QFontMetricsF(capFont).horizontalAdvance(m_keyCap) + 8;
    }

    Tone m_tone;
    QString m_keyCap;
    QString m_detail;
};

// The thin bar along the card's foot that empties as the card's time on screen runs out.
class CardCountdown final : public QWidget {
public:
    explicit CardCountdown(QWidget* parent)
        : QWidget(parent) {
        setFixedHeight(3);
        setAttribute(Qt::WA_TransparentForMouseEvents);
    }
    void setFraction(double spent) {
        spent = std::clamp(spent, 0.0, 1.0);
        if (std::abs(spent - m_spent) > 0.001) {
            m_spent = spent;
            update();
        }
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(255, 255, 255, 26));
        p.drawRoundedRect(QRectF(rect()), 1.5, 1.5);
        const double left = 1.0 - m_spent;
        p.setBrush(left < 0.2 ? warningAmber : accentBlue);
        p.drawRoundedRect(QRectF(0, 0, width() * left, height()), 1.5, 1.5);
    }

private:
    double m_spent = 0;
};

// A small round mark in the session's colour, before its name.
class ColourDot final : public QWidget {
public:
    ColourDot(QColor colour, QWidget* parent)
        : QWidget(parent)
        , m_colour(colour) {
        setFixedSize(10, 10);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(QPen(QColor(0, 0, 0, 120), 1));
        p.setBrush(m_colour);
        p.drawEllipse(QRectF(rect()).adjusted(1, 1, -1, -1));
    }

private:
    QColor m_colour;
};

// The request's kind as an icon in a tinted round tile.
class KindTile final : public QWidget {
public:
    KindTile(QImage icon, QColor tint, QWidget* parent)
        : QWidget(parent)
        , m_icon(std::move(icon))
        , m_tint(tint) {
        setFixedSize(30, 30);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        QColor fill = m_tint;
        fill.setAlpha(48);
        p.setPen(Qt::NoPen);
        p.setBrush(fill);
        p.drawRoundedRect(QRectF(rect()), 9, 9);
        const QSizeF side = QSizeF(m_icon.size()) / m_icon.devicePixelRatio();
        p.drawImage(QRectF(QPointF((width() - side.width()) / 2, (height() - side.height()) / 2), side),
                    m_icon);
    }

private:
    QImage m_icon;
    QColor m_tint;
};

PermissionCardPanel::PermissionCardPanel(PanelWindowTraits& traits, QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                          Qt::WindowDoesNotAcceptFocus | Qt::NoDropShadowWindowHint)
    , m_traits(traits) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_X11DoNotAcceptFocus);
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(QStringLiteral("Tessary"));
    // What window manager rules and the latency probe know the card's window by.
    setWindowRole(QString::fromLatin1(windowRole));
    setAccessibleName(QStringLiteral("Permission request"));
    // The card is answered now: no surface that maps later comes over it.
    keepFloatingPanelInFront(*this);
    setStyleSheet(QString::fromLatin1(cardStyle));

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(margin, margin - 2, margin - 6, margin - 4);
    outer->setSpacing(8);
    m_scroll = new QScrollArea(this);
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setWidgetResizable(true);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_scroll->setFocusPolicy(Qt::NoFocus);
    m_scroll->viewport()->setAutoFillBackground(false);
    outer->addWidget(m_scroll);
    m_countdown = new CardCountdown(this);
    auto* foot = new QHBoxLayout;
    foot->setContentsMargins(0, 0, 6, 0);
    foot->addWidget(m_countdown);
    outer->addLayout(foot);
    resize(static_cast<int>(PermissionCardLayout::width), 160);

    // The native window is made and described to the window manager now, while nothing waits:
    // a request then only fills and maps it.
    m_traits.prepare(static_cast<quintptr>(winId()));
    m_prepared = true;
    rehearse();
}

void PermissionCardPanel::rehearse() {
    PendingPermission sample;
    sample.id = QStringLiteral("rehearsal");
    sample.tool = QStringLiteral("Bash");
    sample.summary = QStringLiteral("true");
    sample.supportsAlwaysAllow = true;
    PermissionCardModel model;
    model.setFront(sample, 0);
    rebuild(model, Localization(), true);
    (void)naturalHeight();
    m_key.reset(); // the first request builds its own content
}

PermissionCardPanel::~PermissionCardPanel() = default;

void PermissionCardPanel::setContent(const PermissionCardModel& model, const Localization& localization,
                                     bool shortcutsActive) {
    if (!model.permission()) {
        return;
    }
    const ContentKey key{model.permission()->id, model.hint, shortcutsActive, localization.language()};
    if (!m_key || *m_key != key) {
        m_key = key;
        rebuild(model, localization, shortcutsActive);
    } else {
        syncSelection(model);
    }
    if (m_queuedBadge) {
        auto* badge = static_cast<QLabel*>(m_queuedBadge.data());
        badge->setText(localization.format(QStringLiteral("+%1 more"), model.queued()));
        badge->setVisible(model.queued() > 0);
    }
    setElapsed(model.elapsed);
}

void PermissionCardPanel::setElapsed(double fraction) {
    m_countdown->setFraction(fraction);
}

void PermissionCardPanel::rebuild(const PermissionCardModel& model, const Localization& localization,
                                  bool shortcutsActive) {
    const bool hadKeyboard = m_acceptsKeyboard;
    const QString keptDraft = model.draft().value_or(QString());
    if (m_content != nullptr) {
        m_scroll->takeWidget();
        m_content->deleteLater();
    }
    m_options.clear();
    m_content = new QWidget;
    m_content->setObjectName(QStringLiteral("cardContent"));
    auto* layout = new QVBoxLayout(m_content);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    // Always the card's width, a scroll bar's room kept on the right: rows elide and wrap to it.
    m_content->setFixedWidth(contentWidth);
    const PendingPermission& request = *model.permission();
    addHeader(layout, request, model.queued(), localization);
    addRequestBody(layout, request, model, localization);
    addAnswers(layout, request, localization, shortcutsActive);
    layout->addStretch(1);
    m_scroll->setWidget(m_content);
    if (m_draft) {
        m_draft->setText(keptDraft);
    }
    syncSelection(model);
    if (hadKeyboard && !m_draft) {
        releaseKeyboard();
    }
    QAccessibleEvent changed(this, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&changed);
}

void PermissionCardPanel::addHeader(QVBoxLayout* layout, const PendingPermission& request, int queued,
                                    const Localization& l10n) {
    const PermissionCardKind kind = PermissionCardRules::kind(request);
    QString symbol = QStringLiteral("shield");
    QColor tint = accentBlue;
    QString title = l10n.format(QStringLiteral("Allow %1?"), request.tool);
    if (kind == PermissionCardKind::question) {
        symbol = QStringLiteral("bubble.left.fill");
        tint = QColor(186, 140, 255);
        title = request.question->header.isEmpty() ? l10n.text(QStringLiteral("Question"))
                                                   : request.question->header;
    } else if (kind == PermissionCardKind::plan) {
        symbol = QStringLiteral("list.bullet.clipboard.fill");
        tint = successGreen;
        title = l10n.text(QStringLiteral("Plan ready for review"));
    }
    const qreal ratio = devicePixelRatioF();
    auto* row = new QHBoxLayout;
    row->setSpacing(10);
    row->addWidget(new KindTile(m_icons.icon(symbol, 18, ratio, tint), tint, m_content), 0, Qt::AlignTop);

    auto* titles = new QVBoxLayout;
    titles->setSpacing(2);
    auto* titleLine = new QHBoxLayout;
    titleLine->setSpacing(8);
    QLabel* titleLabel = label(title, "title", m_content);
    titleLabel->setAccessibleName(title);
    titleLine->addWidget(titleLabel, 1);
    auto* badge = label(QString(), "badge", m_content, false);
    badge->setVisible(queued > 0);
    m_queuedBadge = badge;
    titleLine->addWidget(badge, 0, Qt::AlignVCenter);
    titles->addLayout(titleLine);

    // The session that asked: a click goes there.
    auto* caption = new QHBoxLayout;
    caption->setSpacing(6);
    caption->addWidget(new ColourDot(SurfacePalette::namedColor(request.sessionColor), m_content), 0,
                       Qt::AlignVCenter);
    QStringList names;
    if (request.project && !request.project->isEmpty()) {
        names.append(*request.project);
    }
    if (request.sessionTitle && !request.sessionTitle->isEmpty()) {
        names.append(*request.sessionTitle);
    }
    if (names.isEmpty()) {
        names.append(l10n.text(QStringLiteral("Session")));
    }
    const QString sessionName = names.join(QStringLiteral(" · "));
    auto* session = new QPushButton(m_content);
    session->setObjectName(QStringLiteral("sessionCaption"));
    session->setText(QFontMetrics(session->font()).elidedText(sessionName, Qt::ElideRight, 250));
    session->setAccessibleName(sessionName);
    session->setMinimumWidth(1);
    session->setCursor(Qt::PointingHandCursor);
    session->setFocusPolicy(Qt::NoFocus);
    session->setAccessibleDescription(l10n.text(QStringLiteral("Go to this session")));
    session->setToolTip(l10n.text(QStringLiteral("Go to this session")));
    connect(session, &QPushButton::clicked, this, [this] {
        if (m_callbacks.onReach) {
            m_callbacks.onReach();
        }
    });
    caption->addWidget(session, 1);
    if (request.agentLabel) {
        caption->addWidget(label(*request.agentLabel, "agent", m_content, false), 0, Qt::AlignVCenter);
    }
    titles->addLayout(caption);
    row->addLayout(titles, 1);
    layout->addLayout(row);
}

void PermissionCardPanel::addRequestBody(QVBoxLayout* layout, const PendingPermission& request,
                                         const PermissionCardModel& model, const Localization& l10n) {
    switch (PermissionCardRules::kind(request)) {
    case PermissionCardKind::plan: {
        if (model.hint && model.hint->planSummary) {
            layout->addWidget(label(*model.hint->planSummary, "secondary", m_content));
        }
        // Headings of a plan are drawn at body size: the card's title already says what it is.
        QString markdown = *request.plan;
        static const QRegularExpression heading(QStringLiteral("^#{1,6}\\s+"),
                                                QRegularExpression::MultilineOption);
        markdown.replace(heading, QStringLiteral("#### "));
        QLabel* plan = label(markdown, "plan", m_content);
        plan->setTextFormat(Qt::MarkdownText);
        plan->setAccessibleName(l10n.text(QStringLiteral("Plan")));
        plan->setAccessibleDescription(*request.plan);
        layout->addWidget(plan);
        break;
    }
    case PermissionCardKind::question: {
        const AgentQuestion& question = *request.question;
        layout->addWidget(label(question.text, "question", m_content));
        if (question.allowsMultiple) {
            layout->addWidget(label(l10n.text(QStringLiteral("pick more than one")), "secondary", m_content));
        }
        break;
    }
    case PermissionCardKind::permission: {
        if (!request.summary.isEmpty()) {
            QLabel* summary = label(request.summary, "command", m_content);
            summary->setAccessibleName(request.summary);
            summary->setMaximumHeight(160);
            layout->addWidget(summary);
        }
        break;
    }
    }
    if (!request.files.isEmpty()) {
        auto* files = new QVBoxLayout;
        files->setSpacing(2);
        constexpr int shownFiles = 6;
        for (qsizetype i = 0; i < request.files.size() && i < shownFiles; ++i) {
            QLabel* file = label(request.files[i], "file", m_content, false);
            file->setText(QFontMetrics(file->font()).elidedText(request.files[i], Qt::ElideMiddle, 360));
            file->setAccessibleName(request.files[i]);
            files->addWidget(file);
        }
        if (request.files.size() > shownFiles) {
            files->addWidget(
                label(l10n.format(QStringLiteral("and %1 more"), request.files.size() - shownFiles),
                      "secondary", m_content));
        }
        layout->addLayout(files);
    }
    if (request.networkTarget) {
        layout->addWidget(label(l10n.format(QStringLiteral("Network: %1"), *request.networkTarget),
                                "secondary", m_content));
    }
    // The risk mark, when a hint rated the request.
    if (model.hint && model.hint->risk) {
        const auto risk = *model.hint->risk;
        const char* role = risk == PermissionHint::Risk::high     ? "risk-high"
                           : risk == PermissionHint::Risk::medium ? "risk-medium"
                                                                  : "risk-low";
        const QString level = risk == PermissionHint::Risk::high ? l10n.text(QStringLiteral("High risk"))
                              : risk == PermissionHint::Risk::medium
                                  ? l10n.text(QStringLiteral("Medium risk"))
                                  : l10n.text(QStringLiteral("Low risk"));
        QString text = QStringLiteral("● ") + level;
        if (model.hint->riskReason && !model.hint->riskReason->isEmpty()) {
            text += QStringLiteral(" · ") + *model.hint->riskReason;
        }
        QLabel* mark = label(text, role, m_content);
        mark->setAccessibleName(text.mid(2));
        layout->addWidget(mark);
    }
}

void PermissionCardPanel::addAnswers(QVBoxLayout* layout, const PendingPermission& request,
                                     const Localization& l10n, bool shortcutsActive) {
    m_draft = nullptr;
    if (const auto elsewhere = PermissionCardRules::answeredElsewhere(request)) {
        layout->addWidget(
            label(l10n.text(PermissionCardRules::elsewhereText(*elsewhere)), "elsewhere", m_content));
        return;
    }
    const auto cap = [&](QChar key) { return shortcutsActive ? shortcutText(key) : QString(); };

    switch (PermissionCardRules::kind(request)) {
    case PermissionCardKind::permission: {
        auto* row = new QHBoxLayout;
        row->setSpacing(8);
        for (PermissionDecision decision : PermissionCardRules::offeredDecisions(request)) {
            QString text = l10n.text(QStringLiteral("Allow"));
            auto tone = CardAnswerButton::Tone::primary;
            if (decision == PermissionDecision::dontAsk) {
                text = l10n.text(QStringLiteral("Always allow"));
                tone = CardAnswerButton::Tone::neutral;
            } else if (decision == PermissionDecision::deny) {
                text = l10n.text(QStringLiteral("Deny"));
                tone = CardAnswerButton::Tone::destructive;
            }
            auto* button = new CardAnswerButton(text, tone, m_content);
            button->setKeyCap(cap(PermissionCardRules::shortcutOf(decision)));
            if (decision == PermissionDecision::deny) {
                button->setToolTip(l10n.text(QStringLiteral("Deny this request?")));
                button->setAccessibleDescription(l10n.text(QStringLiteral("Tell the agent no")));
            }
            connect(button, &QPushButton::clicked, this, [this, decision] {
                if (m_callbacks.onDecide) {
                    m_callbacks.onDecide(decision);
                }
            });
            row->addWidget(button);
        }
        layout->addLayout(row);
        break;
    }
    case PermissionCardKind::question: {
        const AgentQuestion& question = *request.question;
        auto* options = new QVBoxLayout;
        options->setSpacing(6);
        for (const AgentQuestion::Option& option : question.options) {
            auto* button = new CardAnswerButton(option.label, CardAnswerButton::Tone::option, m_content);
            button->setCheckable(question.allowsMultiple);
            if (option.detail) {
                button->setDetail(*option.detail);
                button->setAccessibleDescription(*option.detail);
            }
            if (option.id < 9) {
                button->setKeyCap(cap(QChar(u'1' + static_cast<char16_t>(option.id))));
            }
            const int id = option.id;
            connect(button, &QPushButton::clicked, this, [this, id] {
                if (m_callbacks.onPick) {
                    m_callbacks.onPick(id);
                }
            });
            options->addWidget(button);
            m_options.append(button);
        }
        layout->addLayout(options);
        addDraftField(layout, l10n.text(QStringLiteral("Type your answer")),
                      l10n.text(QStringLiteral("Send")), false);
        break;
    }
    case PermissionCardKind::plan: {
        addDraftField(layout, l10n.text(QStringLiteral("What should change?")), QString(), true);
        const auto planButton = [&](PlanCardAction action, const QString& text, CardAnswerButton::Tone tone) {
            auto* button = new CardAnswerButton(text, tone, m_content);
            button->setKeyCap(cap(PermissionCardRules::shortcutOf(action)));
            connect(button, &QPushButton::clicked, this, [this, action] {
                if (m_callbacks.onPlan) {
                    m_callbacks.onPlan(action);
                }
            });
            return button;
        };
        auto* row = new QHBoxLayout;
        row->setSpacing(8);
        row->addWidget(planButton(PlanCardAction::approve, l10n.text(QStringLiteral("Approve")),
                                  CardAnswerButton::Tone::primary));
        row->addWidget(planButton(PlanCardAction::requestChanges,
                                  l10n.text(QStringLiteral("Request changes")),
                                  CardAnswerButton::Tone::destructive));
        layout->addLayout(row);
        layout->addWidget(planButton(PlanCardAction::approveAcceptingEdits,
                                     l10n.text(QStringLiteral("Approve and accept edits")),
                                     CardAnswerButton::Tone::neutral));
        layout->addLayout(row);
        break;
    }
    }
}

void PermissionCardPanel::addDraftField(QVBoxLayout* layout, const QString& placeholder,
                                        const QString& sendLabel, bool isPlan) {
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    m_draft = new QLineEdit(m_content);
    m_draft->setPlaceholderText(placeholder);
    m_draft->setAccessibleName(placeholder);
    m_draft->setFocusPolicy(Qt::ClickFocus);
    m_draft->installEventFilter(this);
    connect(m_draft, &QLineEdit::textEdited, this, [this](const QString& text) {
        if (m_callbacks.onDraftEdited) {
            m_callbacks.onDraftEdited(text);
        }
    });
    connect(m_draft, &QLineEdit::returnPressed, this, [this] {
        if (m_callbacks.onSendDraft) {
            m_callbacks.onSendDraft();
        }
    });
    row->addWidget(m_draft, 3);
    if (isPlan) {
        layout->addLayout(row); // its answer is the "Request changes" button below
        return;
    }
    auto* send = new CardAnswerButton(sendLabel, CardAnswerButton::Tone::neutral, m_content);
    if (m_key && m_key->shortcutsActive) {
        send->setKeyCap(shortcutText(u'y'));
    }
    connect(send, &QPushButton::clicked, this, [this] {
        if (m_callbacks.onSendDraft) {
            m_callbacks.onSendDraft();
        }
    });
    row->addWidget(send, 1);
    layout->addLayout(row);
}

void PermissionCardPanel::syncSelection(const PermissionCardModel& model) {
    for (qsizetype i = 0; i < m_options.size(); ++i) {
        if (m_options[i] && m_options[i]->isCheckable()) {
            m_options[i]->setChecked(model.selection().contains(static_cast<int>(i)));
        }
    }
}

double PermissionCardPanel::naturalHeight() const {
    if (m_content == nullptr) {
        return 0;
    }
    const QMargins outer = layout()->contentsMargins();
    QLayout* inner = m_content->layout();
    const int contentHeight = inner->hasHeightForWidth() ? inner->totalHeightForWidth(contentWidth)
                                                         : inner->totalSizeHint().height();
    return contentHeight + outer.top() + outer.bottom() + layout()->spacing() + m_countdown->height();
}

void PermissionCardPanel::place(const QPointF& topCentre, double height, bool scrolls) {
    m_scrolls = scrolls;
    m_scroll->setVerticalScrollBarPolicy(scrolls ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
    const QRect frame(static_cast<int>(std::round(topCentre.x() - PermissionCardLayout::width / 2)),
                      static_cast<int>(std::round(topCentre.y())),
                      static_cast<int>(PermissionCardLayout::width), static_cast<int>(std::ceil(height)));
    if (frame != geometry()) {
        setGeometry(frame);
    }
}

void PermissionCardPanel::present() {
    if (presentFloatingPanel(*this, m_traits, m_prepared)) {
        m_traits.clearInputRegion(static_cast<quintptr>(winId()));
    }
}

void PermissionCardPanel::setAcceptsKeyboard(bool accepts) {
    if (accepts == m_acceptsKeyboard) {
        return;
    }
    m_acceptsKeyboard = accepts;
    // The window manager reads whether a window takes the focus from its hints; Qt re-sends them
    // when the flag changes, which takes a fresh show.
    const bool visible = isVisible();
    const QRect frame = geometry();
    setWindowFlag(Qt::WindowDoesNotAcceptFocus, !accepts);
    setAttribute(Qt::WA_X11DoNotAcceptFocus, !accepts);
    setAttribute(Qt::WA_ShowWithoutActivating, !accepts);
    m_prepared = false;
    if (visible) {
        setGeometry(frame);
        present();
    }
}

void PermissionCardPanel::takeKeyboard() {
    if (!m_draft) {
        return;
    }
    setAcceptsKeyboard(true);
    activateWindow();
    if (QWindow* window = windowHandle()) {
        window->requestActivate();
    }
    m_draft->setFocus(Qt::OtherFocusReason);
}

void PermissionCardPanel::releaseKeyboard() {
    if (m_draft) {
        m_draft->clearFocus();
    }
    setAcceptsKeyboard(false);
}

void PermissionCardPanel::paintEvent(QPaintEvent* event) {
    Q_UNUSED(event);
    QPainter painter(this);
    SurfacePainter::paintPanelGlass(painter, QRectF(rect()), cornerRadius);
}

void PermissionCardPanel::enterEvent(QEnterEvent* event) {
    QWidget::enterEvent(event);
    if (m_callbacks.onHover) {
        m_callbacks.onHover(true);
    }
}

void PermissionCardPanel::leaveEvent(QEvent* event) {
    QWidget::leaveEvent(event);
    if (m_callbacks.onHover) {
        m_callbacks.onHover(false);
    }
}

void PermissionCardPanel::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && m_acceptsKeyboard) {
        if (m_callbacks.onEscape) {
            m_callbacks.onEscape();
        }
        return;
    }
    QWidget::keyPressEvent(event);
}

bool PermissionCardPanel::event(QEvent* event) {
    if (event->type() == QEvent::WindowDeactivate && m_acceptsKeyboard) {
        // Handled after the window system's change has settled, not in the middle of it.
        QTimer::singleShot(0, this, [this] {
            if (m_acceptsKeyboard && !isActiveWindow() && m_callbacks.onResignKey) {
                m_callbacks.onResignKey();
            }
        });
    }
    return QWidget::event(event);
}

bool PermissionCardPanel::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_draft) {
        if (event->type() == QEvent::MouseButtonPress && !m_acceptsKeyboard) {
            takeKeyboard();
        } else if (event->type() == QEvent::KeyPress &&
                   static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
            if (m_callbacks.onEscape) {
                m_callbacks.onEscape();
            }
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace tessary
