#include "app/logviewer/LogFileFollower.h"

#include "core/diagnostics/DiagnosticRotation.h"

#include <QDir>

#include <sys/stat.h>

namespace tessary {

namespace {

struct FileIdentity {
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
};

std::optional<FileIdentity> identityOfPath(const QString& path) {
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return std::nullopt;
    }
    return FileIdentity{static_cast<quint64>(info.st_dev), static_cast<quint64>(info.st_ino),
                        static_cast<qint64>(info.st_size)};
}

std::optional<FileIdentity> identityOfHandle(int descriptor) {
    struct stat info {};
    if (descriptor < 0 || ::fstat(descriptor, &info) != 0) {
        return std::nullopt;
    }
    return FileIdentity{static_cast<quint64>(info.st_dev), static_cast<quint64>(info.st_ino),
                        static_cast<qint64>(info.st_size)};
}

// Where reading the last `limit` bytes of a file starts.
qint64 tailStart(qint64 size, qint64 limit) {
    return size > limit ? size - limit : 0;
}

} // namespace

LogFileFollower::LogFileFollower(QString directory, QObject* parent)
    : QObject(parent)
    , m_directory(std::move(directory)) {
    connect(&m_timer, &QTimer::timeout, this, &LogFileFollower::poll);
}

QString LogFileFollower::currentFile() const {
    return QDir(m_directory).filePath(DiagnosticRotation::currentFileName);
}

QString LogFileFollower::previousFile() const {
    return QDir(m_directory).filePath(DiagnosticRotation::previousFileName);
}

void LogFileFollower::load() {
    stop();
    QList<LogEntry> entries;
    readPrevious(entries);
    openCurrent(true, entries);
    if (!entries.isEmpty()) {
        emit entriesRead(entries);
    }
}

void LogFileFollower::start(int interval) {
    load();
    m_timer.start(interval);
}

void LogFileFollower::stop() {
    m_timer.stop();
    m_file.close();
    m_partial.clear();
    m_skippingRest = false;
}

void LogFileFollower::setStatus(Status status) {
    if (status != m_status) {
        m_status = status;
        emit statusChanged(status);
    }
}

void LogFileFollower::readPrevious(QList<LogEntry>& entries) {
    QFile previous(previousFile());
    if (!previous.open(QIODevice::ReadOnly)) {
        return;
    }
    const qint64 start = tailStart(previous.size(), initialReadLimit);
    if (start > 0 && !previous.seek(start)) {
        return;
    }
    QByteArray bytes = previous.read(initialReadLimit);
    if (start > 0) {
        const qsizetype newline = bytes.indexOf('\n');
        bytes.remove(0, newline < 0 ? bytes.size() : newline + 1);
    }
    split(bytes, entries);
    // The previous generation is finished: a last line without its newline is still a line.
    flushPartial(entries);
}

bool LogFileFollower::openCurrent(bool fromTail, QList<LogEntry>& entries) {
    m_file.close();
    m_partial.clear();
    m_skippingRest = false;
    m_file.setFileName(currentFile());
    if (!m_file.exists()) {
        setStatus(Status::waiting);
        return false;
    }
    if (!m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        setStatus(Status::unreadable);
        return false;
    }
    const auto identity = identityOfHandle(m_file.handle());
    if (!identity) {
        m_file.close();
        setStatus(Status::unreadable);
        return false;
    }
    m_device = identity->device;
    m_inode = identity->inode;
    const qint64 start = fromTail ? tailStart(identity->size, initialReadLimit) : 0;
    if (start > 0) {
        m_file.seek(start);
        // Reading began inside a line: skip to the next one.
        m_skippingRest = true;
    }
    setStatus(Status::following);
    readAvailable(entries);
    return true;
}

void LogFileFollower::poll() {
    QList<LogEntry> entries;
    if (m_file.isOpen()) {
        const auto handle = identityOfHandle(m_file.handle());
        if (handle && handle->size < m_file.pos()) {
            // Emptied in place (the writer's fallback when it cannot rotate): read it again from its start.
            flushPartial(entries);
            m_file.seek(0);
        }
        readAvailable(entries);
        const auto path = identityOfPath(currentFile());
        if (path && (path->device != m_device || path->inode != m_inode)) {
            // Rotated: the old file is read to its end above; now the new one, from its start.
            flushPartial(entries);
            openCurrent(false, entries);
        }
    } else {
        openCurrent(false, entries);
    }
    if (!entries.isEmpty()) {
        emit entriesRead(entries);
    }
}

void LogFileFollower::readAvailable(QList<LogEntry>& entries) {
    qint64 budget = pollReadLimit;
    constexpr qint64 chunk = qint64{256} * 1024;
    while (budget > 0) {
        const QByteArray bytes = m_file.read(std::min(chunk, budget));
        if (bytes.isEmpty()) {
            break;
        }
        budget -= bytes.size();
        split(bytes, entries);
    }
}

void LogFileFollower::split(QByteArrayView bytes, QList<LogEntry>& entries) {
    while (!bytes.isEmpty()) {
        const qsizetype newline = bytes.indexOf('\n');
        const QByteArrayView piece = newline < 0 ? bytes : bytes.first(newline);
        if (!m_skippingRest) {
            const qint64 room = lineLimit - m_partial.size();
            m_partial.append(piece.first(std::min<qint64>(piece.size(), room)));
            if (piece.size() > room) {
                // Too long to be a line of the log: show its start, skip the rest.
                entries.append(LogLineParser::parse(m_partial));
                m_partial.clear();
                m_skippingRest = true;
            }
        }
        if (newline < 0) {
            return;
        }
        if (!m_skippingRest && !m_partial.isEmpty()) {
            entries.append(LogLineParser::parse(m_partial));
        }
        m_partial.clear();
        m_skippingRest = false;
        bytes = bytes.sliced(newline + 1);
    }
}

void LogFileFollower::flushPartial(QList<LogEntry>& entries) {
    if (!m_partial.isEmpty() && !m_skippingRest) {
        entries.append(LogLineParser::parse(m_partial));
    }
    m_partial.clear();
    m_skippingRest = false;
}

} // namespace tessary
