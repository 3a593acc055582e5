#include "app/settings/SettingsForm.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {
constexpr int rowVerticalMargin = 9;
constexpr int boxHorizontalMargin = 14;
constexpr qreal boxRadius = 8;

// A colour between two palette colours, so that lines stay faint in light, dark and high-contrast themes.
QColor between(const QColor& from, const QColor& to, float amount) {
    return QColor::fromRgbF(from.redF() + (to.redF() - from.redF()) * amount,
                            from.greenF() + (to.greenF() - from.greenF()) * amount,
                            from.blueF() + (to.blueF() - from.blueF()) * amount);
}

// The box of a group: the base colour with rounded corners and a faint border.
class RoundedBox final : public QFrame {
public:
    using QFrame::QFrame;

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QPalette& colors = palette();
        painter.setPen(
            QPen(between(colors.color(QPalette::Base), colors.color(QPalette::WindowText), 0.18F), 1));
        painter.setBrush(colors.color(QPalette::Base));
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), boxRadius, boxRadius);
    }
};

} // namespace

SettingsGroup::SettingsGroup(const QString& heading, QWidget* parent)
    : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    if (!heading.isEmpty()) {
        m_heading = makeTextLabel(heading, this, 1.0, true);
        m_heading->setContentsMargins(2, 0, 0, 0);
        layout->addWidget(m_heading);
    }
    m_box = new RoundedBox(this);
    if (!heading.isEmpty()) {
        m_box->setAccessibleName(heading);
    }
    m_rows = new QVBoxLayout(m_box);
    m_rows->setContentsMargins(boxHorizontalMargin, 2, boxHorizontalMargin, 2);
    m_rows->setSpacing(0);
    layout->addWidget(m_box);
}

void SettingsGroup::addSeparatorIfNeeded() {
    if (m_rows->count() == 0) {
        return;
    }
    auto* line = new QFrame(m_box);
    line->setFrameShape(QFrame::NoFrame);
    line->setFixedHeight(1);
    line->setAutoFillBackground(true);
    QPalette colors = line->palette();
    colors.setColor(QPalette::Window,
                    between(colors.color(QPalette::Base), colors.color(QPalette::WindowText), 0.1F));
    line->setPalette(colors);
    m_rows->addWidget(line);
}

QLabel* SettingsGroup::addRow(const QString& title, const QString& explanation, QWidget* control) {
    addSeparatorIfNeeded();
    auto* row = new QWidget(m_box);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, rowVerticalMargin, 0, rowVerticalMargin);
    layout->setSpacing(16);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    // A plain-text label with a buddy draws its "&" as the underlined mnemonic.
    QLabel* label = makeTextLabel(title, row);
    label->setBuddy(control);
    texts->addWidget(label);
    if (!explanation.isEmpty()) {
        QLabel* detail = makeTextLabel(explanation, row, 0.9);
        dimLabel(detail);
        texts->addWidget(detail);
    }
    layout->addLayout(texts, 1);
    control->setParent(row);
    control->setAccessibleName(withoutMnemonic(title));
    if (!explanation.isEmpty()) {
        control->setAccessibleDescription(explanation);
    }
    layout->addWidget(control, 0, Qt::AlignVCenter | Qt::AlignRight);
    m_rows->addWidget(row);
    return label;
}

void SettingsGroup::addWide(QWidget* widget) {
    addSeparatorIfNeeded();
    auto* row = new QWidget(m_box);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, rowVerticalMargin, 0, rowVerticalMargin);
    widget->setParent(row);
    layout->addWidget(widget, 1);
    m_rows->addWidget(row);
}

} // namespace tessary
