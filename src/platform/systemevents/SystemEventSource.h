#pragma once

#include <QObject>

namespace tessary {

// The four system changes after which the screen is read again.
enum class SystemEventKind { applicationActivated, activeSpaceChanged, didWake, screenParametersChanged };

// Where those changes come from on this platform.
class SystemEventSource : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    virtual void start() = 0;
    virtual void stop() = 0;

signals:
    void occurred(tessary::SystemEventKind kind);
};

} // namespace tessary
