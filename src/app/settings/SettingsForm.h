#pragma once

#include "app/widgets/WindowText.h"

#include <QFrame>
#include <QString>

class QLabel;
class QVBoxLayout;

namespace tessary {

// A titled group of settings: a heading, then a rounded box of rows separated by thin lines. Each row has
// a label (with an optional dimmed explanation under it) on the left and its control on the right.
class SettingsGroup final : public QWidget {
    Q_OBJECT
public:
    // A heading of empty text leaves the heading out.
    explicit SettingsGroup(const QString& heading, QWidget* parent = nullptr);

    // The title may hold a mnemonic ("&Language"): it moves the focus to the control. The control's
    // accessible name becomes the title without the mnemonic, its description the explanation.
    QLabel* addRow(const QString& title, const QString& explanation, QWidget* control);
    // A row that spans the box: a note, a line of buttons.
    void addWide(QWidget* widget);
    [[nodiscard]] QLabel* heading() const { return m_heading; }

private:
    void addSeparatorIfNeeded();

    QLabel* m_heading = nullptr;
    QFrame* m_box = nullptr;
    QVBoxLayout* m_rows = nullptr;
};

} // namespace tessary
