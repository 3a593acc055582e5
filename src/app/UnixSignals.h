#pragma once

#include <QObject>
#include <QSocketNotifier>

namespace tessary {

// Turns SIGTERM and SIGINT into a Qt signal on the main thread (a self-pipe: the handler
// only writes one byte).
class UnixSignals final : public QObject {
    Q_OBJECT
public:
    explicit UnixSignals(QObject* parent = nullptr);
    ~UnixSignals() override;
    UnixSignals(const UnixSignals&) = delete;
    UnixSignals& operator=(const UnixSignals&) = delete;
    UnixSignals(UnixSignals&&) = delete;
    UnixSignals& operator=(UnixSignals&&) = delete;

signals:
    void terminationRequested(int signalNumber);

private:
    QSocketNotifier* m_notifier = nullptr;
};

} // namespace tessary
