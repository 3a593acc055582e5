#include "surfaces/form/RestingCaption.h"

namespace tessary {

RestingCaption RestingCaption::fit(const QString& title, const QString& value, double width, double pixelSize,
                                   double smallestSize, double spacing, const Measure& measureTitle,
                                   const Measure& measureValue) {
    const double titleWidth = title.isEmpty() ? 0 : measureTitle(title, pixelSize);
    const double valueWidth = value.isEmpty() ? 0 : measureValue(value, pixelSize);
    const double between = title.isEmpty() || value.isEmpty() ? 0 : spacing;
    if (titleWidth + between + valueWidth <= width) {
        return {title, value, pixelSize};
    }
    // Half a pixel at a time: the reading alone, as large as fits.
    for (double size = pixelSize; !value.isEmpty() && size >= smallestSize - 1e-9; size -= 0.5) {
        if (measureValue(value, size) <= width) {
            return {{}, value, size};
        }
    }
    if (!title.isEmpty() && titleWidth <= width) {
        return {title, {}, pixelSize};
    }
    return {{}, {}, pixelSize};
}

} // namespace tessary
