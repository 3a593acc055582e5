#include "surfaces/card/PermissionCardController.h"

#include "core/diagnostics/DiagnosticLog.h"
#include "core/time/Clock.h"
#include "modules/agents/card/PermissionCardLayout.h"
#include "platform/keygrab/ShortcutGrab.h"
#include "surfaces/card/PermissionCardPanel.h"

#include <QLineEdit>
#include <QPointer>

namespace tessary {

namespace {
constexpr int tickMilliseconds = 250;
// Room between the notch area (or the top of the display) and the card.
constexpr double gapBelowAnchor = 8;
} // namespace

PermissionCardController::PermissionCardController(Dependencies dependencies, QObject* parent)
    : QObject(parent)
    , m_deps(std::move(dependencies))
    // Built, with its native window, before any request: a request only fills and maps it.
    , m_panel(std::make_unique<PermissionCardPanel>(m_deps.windowTraits)) {
    m_ticker.setInterval(tickMilliseconds);
    connect(&m_ticker, &QTimer::timeout, this, &PermissionCardController::tick);
    m_deps.shortcuts.onKey = [this](QChar key) { handleShortcut(key); };

    PermissionCardPanel::Callbacks callbacks;
    callbacks.onDecide = [this](PermissionDecision decision) { carryOut(CardOutcome::Decide{decision}); };
    callbacks.onPlan = [this](PlanCardAction action) {
        if (const auto outcome = m_model.planAnswer(action)) {
            carryOut(*outcome);
        }
    };
    callbacks.onPick = [this](int optionID) {
        if (const auto outcome = m_model.pick(optionID)) {
            carryOut(*outcome);
        }
    };
    callbacks.onDraftEdited = [this](const QString& text) { m_model.setDraft(text); };
    callbacks.onSendDraft = [this] {
        if (const auto outcome = m_model.sendDraft()) {
            carryOut(*outcome);
        }
    };
    callbacks.onReach = [this] {
        if (m_model.permission() && onReach) {
            onReach(*m_model.permission());
        }
    };
    callbacks.onEscape = [this] { m_panel->releaseKeyboard(); };
    callbacks.onResignKey = [this] { m_panel->releaseKeyboard(); };
    callbacks.onHover = [this](bool hovering) { setHovering(hovering); };
    m_panel->setCallbacks(std::move(callbacks));
}

PermissionCardController::~PermissionCardController() {
    m_deps.shortcuts.onKey = nullptr;
    m_deps.shortcuts.release();
}

QList<PendingPermission> PermissionCardController::withoutAnswered(const QList<PendingPermission>& requests) {
    QSet<QString> present;
    QList<PendingPermission> open;
    for (const PendingPermission& request : requests) {
        present.insert(request.id);
        if (!m_answered.contains(request.id)) {
            open.append(request);
        }
    }
    m_answered.intersect(present); // an answered request that has left needs no more hiding
    return open;
}

void PermissionCardController::show(const QList<PendingPermission>& requests, const Placement& placement) {
    const QDateTime now = m_deps.clock.now();
    m_visibility.setVisibleFor(placement.visibleFor);
    const auto hostInFront = [this](const PendingPermission& request) {
        return isHostInFront ? isHostInFront(request) : false;
    };
    const QList<PendingPermission> queue = m_visibility.queue(withoutAnswered(requests), now, hostInFront);
    m_lastShown = std::make_pair(requests, placement);
    if (queue.isEmpty()) {
        hide();
        return;
    }
    const PendingPermission& front = queue.front();
    const bool newFront = !m_model.permission() || m_model.permission()->id != front.id;
    const bool wasShowing = m_showing;
    m_model.setFront(front, static_cast<int>(queue.size() - 1));
    m_model.docked = placement.docked;
    m_model.notchHeight = placement.notchHeight;
    m_model.maxHeight = placement.maxHeight;
    m_model.elapsed = m_visibility.elapsedFraction(front.id, now);
    if (newFront) {
        m_hints.front(front.id);
        requestHint(front);
    }
    render();

    if (!m_showing) {
        m_showing = true;
        m_panel->present();
        m_ticker.start();
    } else {
        m_panel->present();
    }
    if (newFront) {
        // Taken once the card is mapping: the window manager maps it while the X server answers.
        grabShortcuts(front);
    }
    if (!wasShowing) {
        if (onVisibilityChange) {
            onVisibilityChange(true);
        }
        DiagnosticLog::info(DiagnosticCategory::card, "card.show", [&] {
            return DiagnosticFields{{"queued", DiagnosticValue::count(static_cast<qint64>(queue.size() - 1))},
                                    {"docked", DiagnosticValue::boolean(placement.docked)}};
        });
    }
    if (newFront && m_alertSound && !m_alertSound->isEmpty() && m_deps.playSound) {
        m_deps.playSound(*m_alertSound);
    }
}

void PermissionCardController::grabShortcuts(const PendingPermission& front) {
    m_shortcutsActive = m_deps.shortcuts.grab(PermissionCardRules::shortcutKeys(front));
    if (!m_shortcutsActive) {
        m_deps.shortcuts.release();
    }
    if (m_shortcutsActive != m_keyCapsShown) {
        m_keyCapsShown = m_shortcutsActive;
        render(); // the key caps come or go
    }
}

void PermissionCardController::render() {
    const PendingPermission& front = *m_model.permission();
    const Localization localization = m_deps.localization ? m_deps.localization() : Localization();
    m_panel->setContent(m_model, localization, m_keyCapsShown);

    // The same request and hint are measured once.
    const Fit fit{front.id, m_model.hint, 0};
    if (!m_lastFit || *m_lastFit != fit) {
        m_lastFit = fit;
        m_lastNatural = m_panel->naturalHeight();
        DiagnosticLog::debug(DiagnosticCategory::card, "measure", [&] {
            return DiagnosticFields{
                {"size", DiagnosticValue::size(PermissionCardLayout::width, m_lastNatural)}};
        });
    }
    const Placement& placement = m_lastShown->second;
    const auto decision =
        PermissionCardLayout::decide(m_lastNatural, m_model.maxHeight, front.plan.has_value());
    const QPointF topCentre(placement.anchor.center().x(), placement.anchor.bottom() + gapBelowAnchor);
    m_panel->place(topCentre, decision.cardHeight, decision.scrolls);
}

void PermissionCardController::hide() {
    m_ticker.stop();
    m_deps.shortcuts.release();
    m_shortcutsActive = false;
    ++m_hintGeneration; // a hint still on its way is dropped
    m_hints.clear();
    m_model.setFront(std::nullopt, 0);
    m_lastFit.reset();
    if (!m_showing) {
        return;
    }
    m_showing = false;
    m_panel->releaseKeyboard();
    m_panel->hide();
    DiagnosticLog::info(DiagnosticCategory::card, "card.hide");
    if (onVisibilityChange) {
        onVisibilityChange(false);
    }
}

void PermissionCardController::tick() {
    if (!m_showing || !m_model.permission()) {
        return;
    }
    const QDateTime now = m_deps.clock.now();
    const QString id = m_model.permission()->id;
    if (m_hovering) {
        m_visibility.pause(id, now);
    } else {
        m_visibility.resume(id, now);
    }
    m_model.elapsed = m_visibility.elapsedFraction(id, now);
    m_panel->setElapsed(m_model.elapsed);
    if (m_model.elapsed >= 1 && m_lastShown) {
        const auto [requests, placement] = *m_lastShown;
        show(requests, placement); // its time is up: the next request, or nothing
    }
}

void PermissionCardController::setHovering(bool hovering) {
    m_hovering = hovering;
    tick();
}

bool PermissionCardController::handleShortcut(QChar key) {
    if (!m_showing) {
        return false;
    }
    const auto outcome = m_model.handleKey(key);
    if (!outcome) {
        return false;
    }
    carryOut(*outcome);
    return true;
}

void PermissionCardController::carryOut(const CardOutcomeValue& outcome) {
    if (!m_model.permission()) {
        return;
    }
    const PendingPermission request = *m_model.permission();
    if (std::holds_alternative<CardOutcome::EditDraft>(outcome)) {
        m_panel->takeKeyboard();
        return;
    }
    if (std::holds_alternative<CardOutcome::Toggled>(outcome)) {
        render();
        return;
    }
    // Answered: the card leaves this request at once rather than waiting for the next refresh.
    m_answered.insert(request.id);
    if (const auto* decide = std::get_if<CardOutcome::Decide>(&outcome)) {
        if (onDecide) {
            onDecide(request, decide->decision);
        }
    } else if (const auto* answer = std::get_if<CardOutcome::Answer>(&outcome)) {
        if (onAnswer) {
            onAnswer(request, answer->answers);
        }
    } else if (const auto* review = std::get_if<CardOutcome::Review>(&outcome)) {
        if (onReview) {
            onReview(request, review->review);
        }
    }
    if (m_lastShown) {
        const auto [requests, placement] = *m_lastShown;
        show(requests, placement);
    }
}

void PermissionCardController::requestHint(const PendingPermission& request) {
    if (!hintProvider) {
        return;
    }
    const int generation = ++m_hintGeneration;
    QPointer<PermissionCardController> self(this);
    hintProvider(request, [self, generation, id = request.id](const std::optional<PermissionHint>& hint) {
        if (!self || self->m_hintGeneration != generation) {
            return;
        }
        self->m_hints.deliver(id, hint);
        const auto held = self->m_hints.release(id);
        if (held && self->m_model.permission() && self->m_model.permission()->id == id) {
            self->m_model.hint = held;
            if (self->m_showing) {
                self->render(); // a hint that comes later lays the card out afresh
            }
        }
    });
}

} // namespace tessary
