#pragma once

#include "core/localization/Localization.h"
#include "modules/agents/card/PermissionCardModel.h"
#include "surfaces/SymbolIconCache.h"

#include <QLineEdit>
#include <QPointer>
#include <QWidget>

#include <functional>
#include <optional>

class QScrollArea;
class QVBoxLayout;

namespace tessary {

class PanelWindowTraits;
class CardAnswerButton;
class CardCountdown;

// The floating card that shows one held request and its answers: frameless, above other
// windows, shown without activating the program. It takes the keyboard only when the user goes
// to write in its text field, and gives it back on Escape or when another window takes it.
// Every answer is a real button, so assistive technologies read and press it by name.
class PermissionCardPanel final : public QWidget {
    Q_OBJECT
public:
    struct Callbacks {
        std::function<void(PermissionDecision)> onDecide;
        std::function<void(PlanCardAction)> onPlan;
        std::function<void(int optionID)> onPick;
        std::function<void(const QString& text)> onDraftEdited;
        std::function<void()> onSendDraft;
        std::function<void()> onReach;
        std::function<void()> onEscape;
        std::function<void()> onResignKey;
        std::function<void(bool hovering)> onHover;
    };

    // The card window's WM_WINDOW_ROLE on X11.
    static constexpr auto windowRole = "tessary-permission-card";

    explicit PermissionCardPanel(PanelWindowTraits& traits, QWidget* parent = nullptr);
    ~PermissionCardPanel() override;
    PermissionCardPanel(const PermissionCardPanel&) = delete;
    PermissionCardPanel& operator=(const PermissionCardPanel&) = delete;
    PermissionCardPanel(PermissionCardPanel&&) = delete;
    PermissionCardPanel& operator=(PermissionCardPanel&&) = delete;

    void setCallbacks(Callbacks callbacks) { m_callbacks = std::move(callbacks); }

    // Builds the content for the model's front request; a call with the same request, hint and
    // question choices only refreshes the countdown and the queued count.
    void setContent(const PermissionCardModel& model, const Localization& localization, bool shortcutsActive);
    void setElapsed(double fraction);
    // The height the content asks for at the card's width.
    [[nodiscard]] double naturalHeight() const;
    // Places the card with its top centre at `topCentre` (global coordinates) and this height.
    void place(const QPointF& topCentre, double height, bool scrolls);

    // Shows the card without activating anything.
    void present();
    // The card goes to writing: the window may take the keyboard, the text field gets it.
    void takeKeyboard();
    // The keyboard goes back; the card stays on screen.
    void releaseKeyboard();
    [[nodiscard]] bool acceptsKeyboard() const { return m_acceptsKeyboard; }
    [[nodiscard]] QLineEdit* draftField() const { return m_draft; }
    [[nodiscard]] bool scrolls() const { return m_scrolls; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct ContentKey {
        QString requestID;
        std::optional<PermissionHint> hint;
        bool shortcutsActive = false;
        AppLanguage language = AppLanguage::english;
        bool operator==(const ContentKey&) const = default;
    };

    // Lays out a command's card once, hidden, so that the style sheet, the fonts and the icon are
    // loaded before the first request rather than while it waits.
    void rehearse();
    void rebuild(const PermissionCardModel& model, const Localization& localization, bool shortcutsActive);
    void addHeader(QVBoxLayout* layout, const PendingPermission& request, int queued,
                   const Localization& l10n);
    void addRequestBody(QVBoxLayout* layout, const PendingPermission& request,
                        const PermissionCardModel& model, const Localization& l10n);
    void addAnswers(QVBoxLayout* layout, const PendingPermission& request, const Localization& l10n,
                    bool shortcutsActive);
    void addDraftField(QVBoxLayout* layout, const QString& placeholder, const QString& sendLabel,
                       bool isPlan);
    void syncSelection(const PermissionCardModel& model);
    void setAcceptsKeyboard(bool accepts);

    PanelWindowTraits& m_traits;
    Callbacks m_callbacks;
    SymbolIconCache m_icons;
    std::optional<ContentKey> m_key;
    QScrollArea* m_scroll = nullptr;
    QWidget* m_content = nullptr;
    QPointer<QLineEdit> m_draft;
    QPointer<QWidget> m_queuedBadge;
    QList<QPointer<CardAnswerButton>> m_options;
    CardCountdown* m_countdown = nullptr;
    bool m_prepared = false;
    bool m_acceptsKeyboard = false;
    bool m_scrolls = false;
};

} // namespace tessary
