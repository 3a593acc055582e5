#include "app/widgets/WindowText.h"

#include <QLabel>

namespace tessary {

QString withoutMnemonic(const QString& text) {
    QString result;
    result.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) == u'&') {
            if (i + 1 < text.size() && text.at(i + 1) == u'&') {
                result.append(u'&');
                ++i;
            }
            continue;
        }
        result.append(text.at(i));
    }
    return result;
}

QLabel* makeTextLabel(const QString& text, QWidget* parent, double scale, bool bold) {
    auto* label = new QLabel(text, parent);
    label->setAccessibleName(withoutMnemonic(text));
    label->setWordWrap(true);
    label->setTextFormat(Qt::PlainText);
    QFont font = label->font();
    if (scale != 1.0) {
        font.setPointSizeF(font.pointSizeF() * scale);
    }
    font.setBold(bold);
    label->setFont(font);
    return label;
}

void dimLabel(QLabel* label) {
    QPalette colors = label->palette();
    colors.setColor(QPalette::WindowText, colors.color(QPalette::PlaceholderText));
    label->setPalette(colors);
}

} // namespace tessary
