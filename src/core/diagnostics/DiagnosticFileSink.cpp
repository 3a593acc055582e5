#include "core/diagnostics/DiagnosticFileSink.h"

#include "core/diagnostics/DiagnosticRotation.h"
#include "core/diagnostics/DiagnosticValue.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

constexpr auto ownCategory = "diagnostics"_L1;
constexpr int fileFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW;
constexpr mode_t fileMode = 0600;
constexpr mode_t folderMode = 0700;

int openLogFile(const QByteArray& path) {
    int descriptor = -1;
    do {
        descriptor = ::open(path.constData(), fileFlags, fileMode);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

// mkdir -p with mode 0700 for each folder made; the error number of the first failure, or 0.
int makeFolders(const QString& path) {
    const QByteArray encoded = QFile::encodeName(QDir::cleanPath(path));
    for (qsizetype end = 1; end <= encoded.size(); ++end) {
        if (end != encoded.size() && encoded.at(end) != '/') {
            continue;
        }
        const QByteArray prefix = encoded.left(end);
        if (::mkdir(prefix.constData(), folderMode) == 0) {
            continue;
        }
        const int error = errno;
        struct stat info {};
        if (::stat(prefix.constData(), &info) != 0) {
            return error;
        }
        if (!S_ISDIR(info.st_mode)) {
            return ENOTDIR;
        }
    }
    return 0;
}

QString folderError(int error) {
    return u"diagnostics folder not created: "_s +
           DiagnosticValue::errorKind(std::error_code(error, std::generic_category())).rendered();
}

} // namespace

QString DiagnosticFileSink::defaultDirectory() {
    QString stateHome = qEnvironmentVariable("XDG_STATE_HOME");
    if (stateHome.isEmpty() || !QDir::isAbsolutePath(stateHome)) {
        stateHome = QDir::homePath() + "/.local/state"_L1;
    }
    return stateHome + "/tessary/logs"_L1;
}

std::shared_ptr<DiagnosticFileSink>
DiagnosticFileSink::create(const QString& directory, qint64 limit, qint64 pendingLimit,
                           std::shared_ptr<DiagnosticSerialQueue> queue,
                           std::shared_ptr<DiagnosticSystemLog> systemLog) {
    if (const int error = makeFolders(directory); error != 0) {
        if (systemLog) {
            systemLog->write(DiagnosticLevel::error, ownCategory, folderError(error));
        }
        return nullptr;
    }
    // The folder may be older than this program's rule; it holds only the log.
    ::chmod(QFile::encodeName(directory).constData(), folderMode);

    const QByteArray currentPath = QFile::encodeName(directory + u'/' + DiagnosticRotation::currentFileName);
    const int descriptor = openLogFile(currentPath);
    if (descriptor < 0) {
        const int error = errno;
        if (systemLog) {
            systemLog->write(DiagnosticLevel::error, ownCategory,
                             u"diagnostics file not opened: errno %1"_s.arg(error));
        }
        return nullptr;
    }
    // The file may be older, with a wider mode.
    ::fchmod(descriptor, fileMode);
    struct stat info {};
    const qint64 size = ::fstat(descriptor, &info) == 0 ? static_cast<qint64>(info.st_size) : 0;
    return std::make_shared<DiagnosticFileSink>(Passkey{}, directory, descriptor, size, limit, pendingLimit,
                                                std::move(queue), std::move(systemLog));
}

DiagnosticFileSink::DiagnosticFileSink(Passkey, QString directory, int descriptor, qint64 size, qint64 limit,
                                       qint64 pendingLimit, std::shared_ptr<DiagnosticSerialQueue> queue,
                                       std::shared_ptr<DiagnosticSystemLog> systemLog)
    : m_directory(std::move(directory))
    , m_currentPath(QFile::encodeName(currentFile()))
    , m_previousPath(QFile::encodeName(previousFile()))
    , m_descriptor(descriptor)
    , m_limit(limit)
    , m_pendingLimit(std::max<qint64>(pendingLimit, 1))
    , m_queue(std::move(queue))
    , m_systemLog(std::move(systemLog))
    , m_size(size) {}

DiagnosticFileSink::~DiagnosticFileSink() {
    m_queue->sync();
    ::close(m_descriptor);
}

QString DiagnosticFileSink::currentFile() const {
    return m_directory + u'/' + DiagnosticRotation::currentFileName;
}

QString DiagnosticFileSink::previousFile() const {
    return m_directory + u'/' + DiagnosticRotation::previousFileName;
}

DiagnosticFileSink::Pending DiagnosticFileSink::pending() const {
    const std::lock_guard lock(m_pendingMutex);
    return m_pending;
}

void DiagnosticFileSink::append(const QString& line) {
    {
        const std::lock_guard lock(m_pendingMutex);
        if (m_pending.count >= m_pendingLimit) {
            ++m_pending.dropped;
            return;
        }
        ++m_pending.count;
    }
    m_queue->async([this, line] {
        QByteArray bytes = line.toUtf8();
        bytes.append('\n');
        writeOnQueue(bytes);

        qint64 dropped = 0;
        {
            const std::lock_guard lock(m_pendingMutex);
            --m_pending.count;
            if (m_pending.count == 0) {
                dropped = m_pending.dropped;
                m_pending.dropped = 0;
            }
        }
        if (dropped >= 1) {
            // The notice bears no time and goes to the file alone; it is not counted in the backlog.
            writeOnQueue("--- " + QByteArray::number(dropped) +
                         " diagnostic lines dropped: the file queue was full ---\n");
        }
    });
}

void DiagnosticFileSink::flush() {
    m_queue->sync();
}

void DiagnosticFileSink::writeSynchronously(QByteArrayView text) {
    writeAll(text);
}

void DiagnosticFileSink::writeOnQueue(const QByteArray& bytes) {
    if (DiagnosticRotation::shouldRotate(m_size, bytes.size(), m_limit)) {
        rotate();
    }
    if (writeAll(bytes)) {
        m_size += bytes.size();
    }
}

bool DiagnosticFileSink::writeAll(QByteArrayView bytes) {
    qsizetype offset = 0;
    while (offset < bytes.size()) {
        const ssize_t written =
            ::write(m_descriptor, bytes.data() + offset, static_cast<size_t>(bytes.size() - offset));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            reportFailure("write", written < 0 ? errno : EIO);
            return false;
        }
        offset += written;
    }
    return true;
}

void DiagnosticFileSink::rotate() {
    if (::rename(m_currentPath.constData(), m_previousPath.constData()) != 0) {
        const int error = errno;
        reportFailure("rotate", error);
        ::ftruncate(m_descriptor, 0);
        m_size = 0;
        return;
    }
    const int reopened = openLogFile(m_currentPath);
    if (reopened < 0) {
        const int error = errno;
        // The descriptor still refers to the renamed file, which is emptied: the log starts again there.
        reportFailure("reopen", error);
        ::ftruncate(m_descriptor, 0);
        m_size = 0;
        return;
    }
    ::fchmod(reopened, fileMode);
    // The crash capture holds the number of the descriptor: keep it, pointing at the new file, and keep it
    // closed on exec (a plain dup2 would clear that and hand the log to every child process).
#if defined(__linux__)
    while (::dup3(reopened, m_descriptor, O_CLOEXEC) < 0 && errno == EINTR) {
    }
#else
    while (::dup2(reopened, m_descriptor) < 0 && errno == EINTR) {
    }
    ::fcntl(m_descriptor, F_SETFD, FD_CLOEXEC);
#endif
    ::close(reopened);
    m_size = 0;
}

void DiagnosticFileSink::reportFailure(const char* operation, int error) {
    if (m_failureReported.exchange(true)) {
        return;
    }
    if (m_systemLog) {
        m_systemLog->write(
            DiagnosticLevel::error, ownCategory,
            u"diagnostics file %1 failed: errno %2"_s.arg(QLatin1StringView(operation)).arg(error));
    }
}

} // namespace tessary
