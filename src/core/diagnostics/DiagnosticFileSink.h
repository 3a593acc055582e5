#pragma once

#include "core/diagnostics/DiagnosticSerialQueue.h"
#include "core/diagnostics/DiagnosticSystemLog.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <atomic>
#include <memory>
#include <mutex>

namespace tessary {

// The private log file: "tessary.log" in a folder of mode 0700, mode 0600, with one older generation,
// "tessary.1.log", kept by rotation. Lines are written on a serial queue, with a bounded backlog: when the
// queue falls behind, lines are dropped and one notice says how many. The descriptor keeps its number
// through rotation, so that the crash capture can hold it.
class DiagnosticFileSink {
    struct Passkey {};

public:
    // Lines accepted and not yet written, and lines lost since the backlog was last empty.
    struct Pending {
        qint64 count = 0;
        qint64 dropped = 0;
        bool operator==(const Pending&) const = default;
    };

    // `$XDG_STATE_HOME/tessary/logs`, or `~/.local/state/tessary/logs` without an absolute XDG_STATE_HOME.
    static QString defaultDirectory();

    // Creates the folder and opens the file; gives nothing when either fails (said once to `systemLog`).
    // A failed sink is not fatal: the logger then keeps its ring and the system log.
    static std::shared_ptr<DiagnosticFileSink> create(const QString& directory, qint64 limit,
                                                      qint64 pendingLimit,
                                                      std::shared_ptr<DiagnosticSerialQueue> queue,
                                                      std::shared_ptr<DiagnosticSystemLog> systemLog);

    DiagnosticFileSink(Passkey, QString directory, int descriptor, qint64 size, qint64 limit,
                       qint64 pendingLimit, std::shared_ptr<DiagnosticSerialQueue> queue,
                       std::shared_ptr<DiagnosticSystemLog> systemLog);
    // Writes what is queued, then closes the file.
    ~DiagnosticFileSink();
    DiagnosticFileSink(const DiagnosticFileSink&) = delete;
    DiagnosticFileSink& operator=(const DiagnosticFileSink&) = delete;
    DiagnosticFileSink(DiagnosticFileSink&&) = delete;
    DiagnosticFileSink& operator=(DiagnosticFileSink&&) = delete;

    [[nodiscard]] const QString& directory() const { return m_directory; }
    [[nodiscard]] QString currentFile() const;
    [[nodiscard]] QString previousFile() const;
    // Stays the same number for the life of the sink.
    [[nodiscard]] int descriptor() const { return m_descriptor; }
    [[nodiscard]] qint64 limit() const { return m_limit; }
    [[nodiscard]] qint64 pendingLimit() const { return m_pendingLimit; }
    [[nodiscard]] Pending pending() const;
    [[nodiscard]] bool failureReported() const { return m_failureReported.load(); }

    // Queues a line (a newline is added); never blocks on the disk. With `pendingLimit` lines already
    // waiting, the line is dropped and counted.
    void append(const QString& line);
    // Returns when everything queued earlier has been written; for the end of the process and for export.
    void flush();
    // Writes the bytes at once on the calling thread, as they stand, without rotation; for the crash path.
    void writeSynchronously(QByteArrayView text);

private:
    void writeOnQueue(const QByteArray& bytes);
    void rotate();
    bool writeAll(QByteArrayView bytes);
    void reportFailure(const char* operation, int error);

    QString m_directory;
    QByteArray m_currentPath;
    QByteArray m_previousPath;
    int m_descriptor;
    qint64 m_limit;
    qint64 m_pendingLimit;
    std::shared_ptr<DiagnosticSerialQueue> m_queue;
    std::shared_ptr<DiagnosticSystemLog> m_systemLog;

    mutable std::mutex m_pendingMutex;
    Pending m_pending;
    std::atomic<bool> m_failureReported{false};
    qint64 m_size; // only on the queue
};

} // namespace tessary
