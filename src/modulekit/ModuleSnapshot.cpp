#include "modulekit/ModuleSnapshot.h"

namespace tessary {

std::optional<GaugeMetric> SnapshotVariants::primaryGauge() const {
    if (gauges.empty()) {
        return std::nullopt;
    }
    for (const GaugeMetric& gauge : gauges) {
        if (gauge.isEmphasized) {
            return gauge;
        }
    }
    const GaugeMetric* best = &gauges.front();
    for (const GaugeMetric& gauge : gauges) {
        if (gauge.fraction > best->fraction) {
            best = &gauge;
        }
    }
    return *best;
}

bool ModuleSnapshot::isExpired(const QDateTime& at) const {
    if (!ttl) {
        return false;
    }
    const double age = static_cast<double>(generatedAt.msecsTo(at)) / 1000.0;
    return *ttl < age;
}

} // namespace tessary
