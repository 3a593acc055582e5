#include "spatial/engine/SpatialConfiguration.h"

namespace tessary {

SpatialConfiguration SpatialConfiguration::forBubbleSize(BubbleSize size) {
    double side = 280;
    switch (size) {
    case BubbleSize::small:
        side = 220;
        break;
    case BubbleSize::medium:
        side = 280;
        break;
    case BubbleSize::large:
        side = 340;
        break;
    }
    SpatialConfiguration configuration;
    configuration.chipWidth = side;
    configuration.chipHeight = side;
    return configuration;
}

} // namespace tessary
