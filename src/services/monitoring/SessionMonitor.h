#pragma once

#include "services/monitoring/LatestValueStore.h"
#include "services/monitoring/PolledMonitor.h"

#include <concepts>
#include <variant>

namespace tessary {

// A store that keeps the latest list and says whether it holds anything.
template <typename S, typename List>
concept ListStore = requires(S& store, const S& readOnly, List list) {
    store.update(std::move(list));
    { readOnly.isEmpty() } -> std::convertible_to<bool>;
};

// Paces a provider of session lists. A provider can see nothing for a moment (a folder being
// rewritten, a tool between two states), and publishing that would make every session vanish from
// the screen: an empty list over a non-empty store is taken only at the third empty reading in a
// row, the two before it retrying at the shorter period. A failure leaves the store alone.
template <typename List, typename Store = LatestValueStore<List>>
requires ListStore<Store, List>
class SessionMonitor final : public PolledMonitor {
public:
    // Empty readings over a non-empty store that are set aside before an empty list is believed.
    static constexpr int ignoredEmptyReadings = 2;

    SessionMonitor(DiagnosticLiteral name, MonitorPeriods periods, Provider<List> provider, Store& store,
                   MonitorServices services, OnUpdate onUpdate)
        : PolledMonitor(name, periods, services, std::move(onUpdate))
        , m_provider(std::move(provider))
        , m_store(store) {}

    [[nodiscard]] int consecutiveEmptyReads() const { return m_consecutiveEmptyReads; }

protected:
    void read(const CancellationToken& cancellation, PollingLoop::Finish finish) override {
        readProvider(m_provider, cancellation, std::move(finish),
                     [this](ProviderResult<List> result) { handle(std::move(result)); });
    }

private:
    void handle(ProviderResult<List> result) {
        if (const auto* failure = std::get_if<ProviderFailure>(&result)) {
            if (!failure->isCancellation) {
                noteFailure(*failure);
            }
            return;
        }
        List& list = std::get<List>(result);
        if (list.isEmpty() && !m_store.isEmpty() && m_consecutiveEmptyReads < ignoredEmptyReadings) {
            ++m_consecutiveEmptyReads;
            setRetrying(true);
            if (m_consecutiveEmptyReads == 1) {
                logEmptyReading();
            }
            return;
        }
        if (!list.isEmpty() && m_consecutiveEmptyReads >= 1) {
            logRecovered();
        }
        m_consecutiveEmptyReads = 0;
        setRetrying(false);
        m_store.update(std::move(list));
        notifyUpdate();
        noteSuccess();
    }

    Provider<List> m_provider;
    Store& m_store;
    int m_consecutiveEmptyReads = 0;
};

} // namespace tessary
