#include "surfaces/SurfaceAccessible.h"

#include "surfaces/SurfacePanel.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QPointer>
#include <QWindow>

#include <mutex>

namespace tessary {

namespace {

class ModuleAccessible final : public QAccessibleInterface {
public:
    ModuleAccessible(SurfacePanel* panel, int index)
        : m_panel(panel)
        , m_index(index) {}

    [[nodiscard]] bool isValid() const override {
        return m_panel && m_index < static_cast<int>(m_panel->moduleDescriptions().size());
    }
    [[nodiscard]] QObject* object() const override { return nullptr; }
    [[nodiscard]] QWindow* window() const override { return m_panel ? m_panel->windowHandle() : nullptr; }
    [[nodiscard]] QAccessibleInterface* focusChild() const override { return nullptr; }
    [[nodiscard]] QAccessibleInterface* childAt(int x, int y) const override {
        Q_UNUSED(x);
        Q_UNUSED(y);
        return nullptr;
    }
    [[nodiscard]] QAccessibleInterface* parent() const override {
        return m_panel ? QAccessible::queryAccessibleInterface(m_panel.data()) : nullptr;
    }
    [[nodiscard]] QAccessibleInterface* child(int index) const override {
        Q_UNUSED(index);
        return nullptr;
    }
    [[nodiscard]] int childCount() const override { return 0; }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override {
        Q_UNUSED(child);
        return -1;
    }
    [[nodiscard]] QString text(QAccessible::Text t) const override {
        if (!isValid()) {
            return {};
        }
        const ModuleDescription& description =
            m_panel->moduleDescriptions()[static_cast<std::size_t>(m_index)];
        switch (t) {
        case QAccessible::Name:
            return description.name;
        case QAccessible::Description:
            return description.description;
        default:
            return {};
        }
    }
    void setText(QAccessible::Text t, const QString& text) override {
        Q_UNUSED(t);
        Q_UNUSED(text);
    }
    [[nodiscard]] QRect rect() const override {
        return m_panel ? m_panel->moduleFrame(m_index).toAlignedRect() : QRect();
    }
    [[nodiscard]] QAccessible::Role role() const override { return QAccessible::StaticText; }
    [[nodiscard]] QAccessible::State state() const override {
        QAccessible::State state;
        state.readOnly = true;
        state.invisible = !m_panel || !m_panel->isVisible() || rect().isEmpty();
        return state;
    }

private:
    QPointer<SurfacePanel> m_panel;
    int m_index = 0;
};

class PanelAccessible final : public QAccessibleWidget {
public:
    explicit PanelAccessible(SurfacePanel* panel)
        : QAccessibleWidget(panel, QAccessible::Window) {}
    ~PanelAccessible() override { resetChildren(); }
    PanelAccessible(const PanelAccessible&) = delete;
    PanelAccessible& operator=(const PanelAccessible&) = delete;
    PanelAccessible(PanelAccessible&&) = delete;
    PanelAccessible& operator=(PanelAccessible&&) = delete;

    [[nodiscard]] SurfacePanel* panel() const { return static_cast<SurfacePanel*>(widget()); }

    [[nodiscard]] int childCount() const override {
        return static_cast<int>(panel()->moduleDescriptions().size());
    }
    [[nodiscard]] QAccessibleInterface* child(int index) const override {
        if (index < 0 || index >= childCount()) {
            return nullptr;
        }
        while (static_cast<int>(m_children.size()) <= index) {
            auto* made = new ModuleAccessible(panel(), static_cast<int>(m_children.size()));
            m_children.push_back(QAccessible::registerAccessibleInterface(made));
        }
        return QAccessible::accessibleInterface(m_children[static_cast<std::size_t>(index)]);
    }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override {
        for (std::size_t index = 0; index < m_children.size(); ++index) {
            if (QAccessible::accessibleInterface(m_children[index]) == child) {
                return static_cast<int>(index);
            }
        }
        return -1;
    }
    [[nodiscard]] QAccessibleInterface* childAt(int x, int y) const override {
        for (int index = 0; index < childCount(); ++index) {
            if (panel()->moduleFrame(index).contains(QPointF(x, y))) {
                return child(index);
            }
        }
        return nullptr;
    }

    void resetChildren() {
        for (const QAccessible::Id id : m_children) {
            QAccessible::deleteAccessibleInterface(id);
        }
        m_children.clear();
    }

private:
    mutable std::vector<QAccessible::Id> m_children;
};

QAccessibleInterface* makeInterface(const QString& className, QObject* object) {
    if (className == QLatin1StringView(SurfacePanel::staticMetaObject.className())) {
        if (auto* panel = qobject_cast<SurfacePanel*>(object)) {
            return new PanelAccessible(panel);
        }
    }
    return nullptr;
}

} // namespace

namespace SurfaceAccessible {

void install() {
    static std::once_flag installed;
    std::call_once(installed, [] { QAccessible::installFactory(&makeInterface); });
}

void contentChanged(SurfacePanel* panel, bool countChanged) {
    if (!QAccessible::isActive() || panel == nullptr) {
        return;
    }
    if (countChanged) {
        if (auto* iface = dynamic_cast<PanelAccessible*>(QAccessible::queryAccessibleInterface(panel))) {
            iface->resetChildren();
        }
        QAccessibleEvent reorder(panel, QAccessible::ObjectReorder);
        QAccessible::updateAccessibility(&reorder);
    }
    QAccessibleEvent name(panel, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&name);
    QAccessibleEvent description(panel, QAccessible::DescriptionChanged);
    QAccessible::updateAccessibility(&description);
}

} // namespace SurfaceAccessible

} // namespace tessary
