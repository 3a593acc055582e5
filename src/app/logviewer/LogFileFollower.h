#pragma once

#include "app/logviewer/LogEntry.h"

#include <QFile>
#include <QList>
#include <QObject>
#include <QTimer>

namespace tessary {

// Follows the diagnostic log in a folder as it grows and rotates. At the start it reads the end of the
// previous generation, then the end of the current file; from then on it reads what is appended. When the
// writer renames the file away and opens a new one, the rest of the old file is read through the still-open
// handle and then the new file from its start; a file emptied in place is read again from its start.
// Read-only: the files are never written, locked or moved.
class LogFileFollower final : public QObject {
    Q_OBJECT
public:
    enum class Status {
        waiting,    // no log file yet
        following,  // the current file is open
        unreadable, // the file is there but cannot be opened
    };

    // At most this much of the end of each file is read at the start; a cut first line is dropped.
    static constexpr qint64 initialReadLimit = 2'000'000;
    // Longer lines are cut there; the rest, up to the next newline, is skipped.
    static constexpr qint64 lineLimit = qint64{64} * 1024;
    // At most this much is read in one poll; the rest comes with the next.
    static constexpr qint64 pollReadLimit = 4'000'000;

    explicit LogFileFollower(QString directory, QObject* parent = nullptr);

    // Reads the end of both generations, as `start` does, without polling afterwards.
    void load();
    // Reads what is there and polls every `interval` milliseconds from then on.
    void start(int interval = 400);
    void stop();
    // Reads what was appended since the last call and notices rotation; the timer calls it.
    void poll();

    [[nodiscard]] Status status() const { return m_status; }
    [[nodiscard]] QString currentFile() const;
    [[nodiscard]] QString previousFile() const;
    [[nodiscard]] const QString& directory() const { return m_directory; }

signals:
    void entriesRead(const QList<tessary::LogEntry>& entries);
    void statusChanged(tessary::LogFileFollower::Status status);

private:
    void readPrevious(QList<LogEntry>& entries);
    bool openCurrent(bool fromTail, QList<LogEntry>& entries);
    void readAvailable(QList<LogEntry>& entries);
    void split(QByteArrayView bytes, QList<LogEntry>& entries);
    void flushPartial(QList<LogEntry>& entries);
    void setStatus(Status status);

    QString m_directory;
    QFile m_file;
    quint64 m_device = 0;
    quint64 m_inode = 0;
    QByteArray m_partial;
    bool m_skippingRest = false;
    Status m_status = Status::waiting;
    QTimer m_timer;
};

} // namespace tessary
