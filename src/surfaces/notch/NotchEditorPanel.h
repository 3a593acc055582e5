#pragma once

#include "core/localization/Localization.h"
#include "services/workspace/NotchEditor.h"

#include <QWidget>

#include <functional>
#include <optional>

namespace tessary {

class PanelWindowTraits;

// The notch's order, edited in place: a panel under the notch that lists its tabs and their
// members, with buttons to move a tab or a member, to keep a module out of the notch, and the
// notch's switches (order by urgency, the system strip, one or two tabs at rest). Every button is
// a real push button, read and pressed like any other; the panel never takes the focus.
class NotchEditorPanel final : public QWidget, public NotchEditor {
    Q_OBJECT
public:
    static constexpr int panelWidth = 420;

    NotchEditorPanel(PanelWindowTraits& traits, std::function<Localization()> localization,
                     QWidget* parent = nullptr);
    ~NotchEditorPanel() override;
    NotchEditorPanel(const NotchEditorPanel&) = delete;
    NotchEditorPanel& operator=(const NotchEditorPanel&) = delete;
    NotchEditorPanel(NotchEditorPanel&&) = delete;
    NotchEditorPanel& operator=(NotchEditorPanel&&) = delete;

    void setEditorCallbacks(Callbacks callbacks) override { m_callbacks = std::move(callbacks); }
    void showEditor(const Content& content) override;
    void hideEditor() override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void rebuild();
    void change(const NotchPreferences& edited);
    [[nodiscard]] QString tabTitle(const NotchEditingTab& tab) const;
    [[nodiscard]] QString moduleTitle(const QString& id) const;

    PanelWindowTraits& m_traits;
    std::function<Localization()> m_localization;
    Callbacks m_callbacks;
    std::optional<Content> m_content;
    QWidget* m_body = nullptr;
    bool m_prepared = false;
};

} // namespace tessary
