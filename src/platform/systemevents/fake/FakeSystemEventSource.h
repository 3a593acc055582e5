#pragma once

#include "platform/systemevents/SystemEventSource.h"

namespace tessary {

class FakeSystemEventSource final : public SystemEventSource {
    Q_OBJECT
public:
    using SystemEventSource::SystemEventSource;
    void start() override { running = true; }
    void stop() override { running = false; }
    void emitEvent(SystemEventKind kind) {
        if (running) {
            emit occurred(kind);
        }
    }
    bool running = false;
};

} // namespace tessary
