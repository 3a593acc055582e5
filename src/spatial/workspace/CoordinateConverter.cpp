#include "spatial/workspace/CoordinateConverter.h"

#include <utility>

namespace tessary {

CoordinateConverter::CoordinateConverter(std::function<double()> mainDisplayHeightProvider)
    : m_mainDisplayHeightProvider(std::move(mainDisplayHeightProvider)) {}

QRectF CoordinateConverter::toAppKit(const QRectF& rect) const {
    return flipped(rect);
}

QRectF CoordinateConverter::toQuartz(const QRectF& rect) const {
    return flipped(rect);
}

QRectF CoordinateConverter::flipped(const QRectF& rect) const {
    const double height = m_mainDisplayHeightProvider ? m_mainDisplayHeightProvider() : 0;
    const QRectF standard = rect.normalized();
    return {standard.x(), height - standard.bottom(), standard.width(), standard.height()};
}

} // namespace tessary
