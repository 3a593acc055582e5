#include "services/monitoring/ProviderRunner.h"

namespace tessary {

ProviderRunner::ProviderRunner(int maximumThreads, QObject* parent)
    : QObject(parent) {
    m_pool.setMaxThreadCount(std::max(1, maximumThreads));
    m_pool.setObjectName(QStringLiteral("tessary-providers"));
}

ProviderRunner::~ProviderRunner() {
    m_pool.clear();
    m_pool.waitForDone();
}

} // namespace tessary
