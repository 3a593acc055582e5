#pragma once

#include <QAbstractButton>
#include <QVariantAnimation>

namespace tessary {

// An on/off switch: a checkable button drawn as a track with a sliding knob. Space toggles it, like
// a check box, and assistive technologies read it as one with its checked state.
class OnboardingSwitch final : public QAbstractButton {
    Q_OBJECT
public:
    explicit OnboardingSwitch(QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    void checkStateSet() override;
    void nextCheckState() override;
    [[nodiscard]] bool hitButton(const QPoint& position) const override;

private:
    void slideTo(bool checked);

    QVariantAnimation m_slide;
    double m_position = 0; // 0 off, 1 on
};

} // namespace tessary
