#pragma once

#include "core/localization/Localization.h"
#include "modulekit/ModuleSnapshot.h"
#include "services/workspace/DetailPanelLink.h"
#include "surfaces/SymbolIconCache.h"
#include "surfaces/form/DetailPlacement.h"

#include <QPointer>
#include <QRectF>
#include <QSet>
#include <QWidget>

#include <functional>
#include <optional>
#include <vector>

class QLineEdit;
class QMenu;
class QPushButton;
class QScrollArea;
class QVBoxLayout;

namespace tessary {

class PanelWindowTraits;

// The one detail panel that all surfaces share. A surface claims it for the module under the
// pointer and it hangs beside that surface: sections with metrics and small gauges, step lists,
// badges, live marks, buttons (asking first where a command is destructive), a text field where a
// command asks for input, submenus for children, locations that open files and links, and a
// footnote. It never takes the focus except while its text field is in use. Main thread only.
class DetailPanel final : public QWidget, public DetailPanelLink {
    Q_OBJECT
public:
    static constexpr int panelWidth = 344;
    static constexpr int maximumHeight = 560;

    // What a surface hands over when it claims the panel.
    struct Opening {
        const void* owner = nullptr;
        ModuleSnapshot module;
        QRectF anchor; // the surface's drawn part, global space
        QRectF visibleFrame;
        DetailPlacement::Side side = DetailPlacement::Side::beside;
        std::vector<ChangeSignal::Fact> notices; // what changed, as it stood when the user looked
        Localization localization;
        // The pointer left the panel: its owner decides whether the hover ends.
        std::function<void()> onPointerLeft;
    };

    explicit DetailPanel(PanelWindowTraits& traits, QWidget* parent = nullptr);
    ~DetailPanel() override;
    DetailPanel(const DetailPanel&) = delete;
    DetailPanel& operator=(const DetailPanel&) = delete;
    DetailPanel(DetailPanel&&) = delete;
    DetailPanel& operator=(DetailPanel&&) = delete;

    void setLinkCallbacks(Callbacks callbacks) override { m_callbacks = std::move(callbacks); }
    void setRunningCommands(const QSet<QString>& commandIDs) override;
    // Focus, application and log actions the program can carry out; without a handler only links,
    // files and module commands get a button.
    void setActionHandler(std::function<bool(const DetailAction& action)> handler) {
        m_actionHandler = std::move(handler);
    }

    // Claims the panel (from whoever held it) and shows the module's detail.
    void open(const Opening& opening);
    // New content for the module the owner shows; ignored from anyone else.
    void refresh(const void* owner, const ModuleSnapshot& module, const QRectF& anchor);
    // Hides the panel if `owner` holds it.
    void release(const void* owner);

    [[nodiscard]] bool isOwnedBy(const void* owner) const { return owner != nullptr && m_owner == owner; }
    [[nodiscard]] std::optional<QString> moduleID() const;
    // A question, a text field or a submenu is open: the panel stays while the user answers.
    [[nodiscard]] bool isEngaged() const;
    [[nodiscard]] bool containsPointer(const QPointF& global) const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    // A command waiting for the user: a question to confirm, or text to type.
    struct Pending {
        QString sectionID;
        DetailCommand command;
    };

    void rebuild();
    void place();
    [[nodiscard]] QWidget* header();
    [[nodiscard]] QWidget* notices();
    [[nodiscard]] QWidget* section(const DetailSection& section);
    [[nodiscard]] QWidget* row(const DetailSection& section);
    [[nodiscard]] QWidget* commandArea(const DetailSection& section);
    [[nodiscard]] QWidget* pendingArea(const Pending& pending);
    [[nodiscard]] QPushButton* commandButton(const DetailCommand& command, const QString& sectionID);
    [[nodiscard]] QPushButton* actionButton(const DetailAction& action, const QString& sectionID);
    [[nodiscard]] QPushButton* childrenButton(const DetailSection& section);
    void fillMenu(QMenu* menu, const std::vector<DetailSection>& children);

    void choose(const DetailCommand& command, const QString& sectionID);
    void send(const DetailCommand& command) const;
    void run(const DetailAction& action, const QString& sectionID);
    [[nodiscard]] bool canRun(const DetailAction& action) const;
    void reveal(const std::optional<DetailCommand>& command);
    void endPending();
    void takeFocus(bool take);
    void disengaged();

    PanelWindowTraits& m_traits;
    Callbacks m_callbacks;
    std::function<bool(const DetailAction&)> m_actionHandler;
    SymbolIconCache m_icons;

    const void* m_owner = nullptr;
    std::optional<Opening> m_opening;
    QSet<QString> m_running;
    QSet<QString> m_revealed; // reveal commands already sent while this opening lasts
    std::optional<Pending> m_pending;
    QPointer<QLineEdit> m_input;
    QPointer<QMenu> m_openMenu;
    bool m_prepared = false;
    bool m_hasFocus = false;
    bool m_rebuildDeferred = false;

    QScrollArea* m_scroll = nullptr;
    QWidget* m_content = nullptr;
};

} // namespace tessary
