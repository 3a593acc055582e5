#include "platform/procfs/ProcFileSystem.h"

#include <QFile>

#include <array>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace tessary {

namespace {

QString pidPath(std::int32_t pid, const char* file) {
    return QString::number(pid) + u'/' + QLatin1StringView(file);
}

} // namespace

ProcFileSystem::ProcFileSystem(QString root)
    : m_root(std::move(root))
    , m_rootBytes(QFile::encodeName(m_root)) {
    if (const long ticks = ::sysconf(_SC_CLK_TCK); ticks > 0) {
        m_ticksPerSecond = ticks;
    }
    if (const long page = ::sysconf(_SC_PAGESIZE); page > 0) {
        m_pageSize = page;
    }
}

QByteArray ProcFileSystem::path(const QString& relative) const {
    return m_rootBytes + '/' + QFile::encodeName(relative);
}

std::optional<QByteArray> ProcFileSystem::read(const QString& relative, qsizetype limit) const {
    // Plain system calls: these files are small and read often, and their size says nothing.
    const int descriptor = ::open(path(relative).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return std::nullopt;
    }
    QByteArray content;
    std::array<char, 4096> buffer{};
    while (content.size() < limit) {
        const ssize_t got =
            ::read(descriptor, buffer.data(),
                   static_cast<size_t>(std::min<qsizetype>(buffer.size(), limit - content.size())));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            ::close(descriptor);
            return std::nullopt;
        }
        if (got == 0) {
            break;
        }
        content.append(buffer.data(), got);
    }
    ::close(descriptor);
    return content;
}

std::optional<QString> ProcFileSystem::link(const QString& relative) const {
    std::array<char, 4096> buffer{};
    const ssize_t size = ::readlink(path(relative).constData(), buffer.data(), buffer.size());
    if (size <= 0 || static_cast<std::size_t>(size) >= buffer.size()) {
        return std::nullopt;
    }
    return QFile::decodeName(QByteArray(buffer.data(), size));
}

std::vector<std::int32_t> ProcFileSystem::pids() const {
    std::vector<std::int32_t> result;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(m_rootBytes.constData()), ::closedir);
    if (!folder) {
        return result;
    }
    while (const dirent* entry = ::readdir(folder.get())) {
        if (const auto pid = ProcParser::unsignedNumber(QByteArrayView(entry->d_name));
            pid && *pid > 0 && *pid <= INT32_MAX) {
            result.push_back(static_cast<std::int32_t>(*pid));
        }
    }
    std::sort(result.begin(), result.end());
    return result;
}

std::optional<ProcessStat> ProcFileSystem::stat(std::int32_t pid) const {
    const auto text = read(pidPath(pid, "stat"), 4096);
    return text ? ProcParser::processStat(*text) : std::nullopt;
}

std::optional<ProcessStatm> ProcFileSystem::statm(std::int32_t pid) const {
    const auto text = read(pidPath(pid, "statm"), 1024);
    return text ? ProcParser::processStatm(*text) : std::nullopt;
}

std::optional<std::uint32_t> ProcFileSystem::owner(std::int32_t pid) const {
    struct stat info {};
    if (::stat(path(QString::number(pid)).constData(), &info) != 0) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(info.st_uid);
}

std::optional<QString> ProcFileSystem::executable(std::int32_t pid) const {
    auto target = link(pidPath(pid, "exe"));
    // An executable replaced since it started is shown " (deleted)"; it is still that program.
    if (target && target->endsWith(QLatin1StringView(" (deleted)"))) {
        target->chop(10);
    }
    return target;
}

std::optional<QString> ProcFileSystem::directory(std::int32_t pid) const {
    return link(pidPath(pid, "cwd"));
}

std::vector<QString> ProcFileSystem::commandLine(std::int32_t pid) const {
    const auto text = read(pidPath(pid, "cmdline"), qsizetype{64} * 1024);
    return text ? ProcParser::commandLine(*text) : std::vector<QString>{};
}

std::vector<ProcFileSystem::Descriptor> ProcFileSystem::descriptors(std::int32_t pid) const {
    std::vector<Descriptor> result;
    const QByteArray folderPath = path(pidPath(pid, "fd"));
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(folderPath.constData()), ::closedir);
    if (!folder) {
        return result;
    }
    std::array<char, 4096> buffer{};
    while (const dirent* entry = ::readdir(folder.get())) {
        const auto number = ProcParser::unsignedNumber(QByteArrayView(entry->d_name));
        if (!number || *number > INT32_MAX) {
            continue;
        }
        const QByteArray linkPath = folderPath + '/' + entry->d_name;
        const ssize_t size = ::readlink(linkPath.constData(), buffer.data(), buffer.size());
        if (size <= 0 || static_cast<std::size_t>(size) >= buffer.size()) {
            continue;
        }
        result.push_back({static_cast<int>(*number), QFile::decodeName(QByteArray(buffer.data(), size))});
    }
    return result;
}

std::vector<std::uint64_t> ProcFileSystem::socketInodes(std::int32_t pid) const {
    std::vector<std::uint64_t> inodes;
    const QByteArray folderPath = path(pidPath(pid, "fd"));
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(folderPath.constData()), ::closedir);
    if (!folder) {
        return inodes;
    }
    // Only the targets that name sockets are wanted; they are read without building texts.
    std::array<char, 64> buffer{};
    constexpr QByteArrayView prefix("socket:[");
    while (const dirent* entry = ::readdir(folder.get())) {
        if (entry->d_name[0] < '0' || entry->d_name[0] > '9') {
            continue;
        }
        const QByteArray linkPath = folderPath + '/' + entry->d_name;
        const ssize_t size = ::readlink(linkPath.constData(), buffer.data(), buffer.size());
        if (size <= prefix.size() + 1 || static_cast<std::size_t>(size) >= buffer.size()) {
            continue;
        }
        const QByteArrayView target(buffer.data(), size);
        if (!target.startsWith(prefix) || !target.endsWith(']')) {
            continue;
        }
        if (const auto inode =
                ProcParser::unsignedNumber(target.sliced(prefix.size(), size - prefix.size() - 1))) {
            inodes.push_back(*inode);
        }
    }
    return inodes;
}

std::optional<int> ProcFileSystem::fileFlags(std::int32_t pid, int descriptor) const {
    const auto text =
        read(QString::number(pid) + QStringLiteral("/fdinfo/") + QString::number(descriptor), 4096);
    return text ? ProcParser::fileFlags(*text) : std::nullopt;
}

std::vector<std::int32_t> ProcFileSystem::ancestors(std::int32_t pid, int limit) const {
    std::vector<std::int32_t> chain;
    std::int32_t current = pid;
    while (static_cast<int>(chain.size()) < limit) {
        const auto info = stat(current);
        if (!info || info->parent < 2 || info->parent == current) {
            break;
        }
        chain.push_back(info->parent);
        current = info->parent;
    }
    return chain;
}

bool ProcFileSystem::isAlive(std::int32_t pid) const {
    if (pid <= 0) {
        return false;
    }
    const auto info = stat(pid);
    return info && info->state != 'Z' && info->state != 'X' && info->state != 'x';
}

std::optional<std::int64_t> ProcFileSystem::bootTime() const {
    if (const std::int64_t known = m_bootTime.load(std::memory_order_relaxed); known >= 0) {
        return known;
    }
    const auto text = read(QStringLiteral("stat"), 1 << 20);
    const auto boot = text ? ProcParser::bootTime(*text) : std::nullopt;
    if (boot) {
        m_bootTime.store(*boot, std::memory_order_relaxed);
    }
    return boot;
}

std::optional<QDateTime> ProcFileSystem::startedAt(const ProcessStat& stat) const {
    const auto boot = bootTime();
    if (!boot) {
        return std::nullopt;
    }
    const qint64 milliseconds =
        *boot * 1000 +
        static_cast<qint64>(stat.startTicks * 1000 / static_cast<std::uint64_t>(m_ticksPerSecond));
    return QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC);
}

std::optional<ProcessResources> ProcFileSystem::resources(std::int32_t pid) const {
    const auto info = stat(pid);
    if (!info) {
        return std::nullopt;
    }
    const auto memory = statm(pid);
    ProcessResources resources;
    resources.cpuTime =
        static_cast<double>(info->userTicks + info->systemTicks) / static_cast<double>(m_ticksPerSecond);
    const std::uint64_t pages =
        memory ? memory->resident
               : static_cast<std::uint64_t>(std::max<std::int64_t>(info->residentPages, 0));
    resources.residentBytes = pages * static_cast<std::uint64_t>(m_pageSize);
    return resources;
}

} // namespace tessary
