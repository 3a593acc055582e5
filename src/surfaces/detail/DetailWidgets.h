#pragma once

// The small pieces the detail panel is built of, drawn in the surfaces' dark-glass look.

#include "modulekit/ChangeSignal.h"
#include "modulekit/Detail.h"
#include "modulekit/GaugeMetric.h"
#include "surfaces/SurfacePalette.h"

#include <QColor>
#include <QPushButton>
#include <QWidget>

#include <functional>

class QVariantAnimation;

namespace tessary {

class SymbolIconCache;

// A link whose text gives way in its middle when the row is narrower than it: a long folder keeps its
// start and its last parts, and never widens the panel. Assistive technologies read the whole text.
class ElidedLinkButton final : public QPushButton {
    Q_OBJECT
public:
    explicit ElidedLinkButton(QString text, QWidget* parent = nullptr);
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] QString fullText() const { return m_fullText; }

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    // The button's width around its text.
    [[nodiscard]] int padding() const;

    QString m_fullText;
};

// One row of a section. Read as a list item; a row with an action is pressed like a button.
class DetailRow final : public QWidget {
    Q_OBJECT
public:
    explicit DetailRow(QWidget* parent = nullptr);
    void setActivation(std::function<void()> activate);
    [[nodiscard]] bool isActivatable() const { return static_cast<bool>(m_activate); }
    void activate();

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    std::function<void()> m_activate;
    bool m_hovered = false;
};

// A small horizontal bar, for metrics, badges and runs of a subtitle.
class MiniGauge final : public QWidget {
    Q_OBJECT
public:
    MiniGauge(const GaugeMetric& gauge, int width, QWidget* parent = nullptr);
    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    GaugeMetric m_gauge;
    int m_width;
};

// A live mark: a steady dot for waiting and failed, a breathing one while working.
class ActivityMark final : public QWidget {
    Q_OBJECT
public:
    ActivityMark(DetailSection::Activity activity, QWidget* parent = nullptr);
    [[nodiscard]] QSize sizeHint() const override { return {12, 12}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    DetailSection::Activity m_activity;
    double m_phase = 0;
    QVariantAnimation* m_breath = nullptr;
};

// A line icon from the bundled set, or a round colour chip.
class DetailGlyph final : public QWidget {
    Q_OBJECT
public:
    DetailGlyph(SymbolIconCache& icons, QString symbol, const QColor& color, int side,
                QWidget* parent = nullptr);
    static DetailGlyph* swatch(SymbolIconCache& icons, const QColor& color, QWidget* parent = nullptr);
    [[nodiscard]] QSize sizeHint() const override { return {m_side, m_side}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    SymbolIconCache& m_icons;
    QString m_symbol; // empty: a colour chip
    QColor m_color;
    int m_side;
};

// Makes Qt read rows as list items with a press action; safe to call again.
void installDetailAccessibility();

} // namespace tessary
