#include "surfaces/SurfaceCoordinator.h"
#include "surfaces/SurfaceEnvironment.h"

namespace tessary {

SurfaceFactory makeSurfaceFactory(const SurfaceEnvironment& environment) {
    return [environment](const QString& key, SurfaceCallbacks callbacks) -> std::unique_ptr<Surface> {
        return std::make_unique<SurfaceCoordinator>(key, std::move(callbacks), environment);
    };
}

} // namespace tessary
