#pragma once

// What a resting surface's one-line caption shows in the room it has. A caption is a title and a
// value side by side; when both don't fit, a part is dropped whole, the value (the reading) kept
// before the title, and the value may shrink to a smallest size first. No part is ever cut to a
// stub with an ellipsis: "Loca…" tells the user nothing.

#include <QString>

#include <functional>

namespace tessary {

struct RestingCaption {
    // Width of `text` at `pixelSize` in the font of its part.
    using Measure = std::function<double(const QString& text, double pixelSize)>;

    QString title;
    QString value;
    double pixelSize = 0; // the value's size; the title keeps the size it was given
    bool operator==(const RestingCaption&) const = default;

    // `spacing` stands between the two parts; the value may shrink down to `smallestSize`.
    [[nodiscard]] static RestingCaption fit(const QString& title, const QString& value, double width,
                                            double pixelSize, double smallestSize, double spacing,
                                            const Measure& measureTitle, const Measure& measureValue);
};

} // namespace tessary
