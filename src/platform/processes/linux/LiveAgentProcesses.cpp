#include "platform/processes/linux/LiveAgentProcesses.h"

#include <QFile>
#include <QHash>
#include <QSet>

namespace tessary {

namespace {

QString pidFile(std::int32_t pid, QLatin1StringView file) {
    return QString::number(pid) + u'/' + file;
}

// The name a process was started by is at the front of its command line; more than this is never
// needed to tell it.
constexpr qsizetype firstArgumentLimit = 4096;
// The environment of one process, read for one variable.
constexpr qsizetype environmentLimit = qsizetype{1} << 20;

} // namespace

LiveAgentProcesses::LiveAgentProcesses(const Clock& clock, QString procRoot)
    : m_clock(clock)
    , m_proc(std::move(procRoot)) {}

QList<AgentProcess> LiveAgentProcesses::live(const QStringList& names) const {
    const std::lock_guard lock(m_scanLock);
    const QDateTime now = m_clock.now();
    if (m_lastScan && m_lastScan->names == names && m_lastScan->at <= now &&
        secondsBetween(m_lastScan->at, now) <= scanLifetime) {
        return m_lastScan->processes;
    }
    m_lastScan = Scan{now, names, scan(names)};
    ++m_scans;
    return m_lastScan->processes;
}

int LiveAgentProcesses::scanCount() const {
    const std::lock_guard lock(m_scanLock);
    return m_scans;
}

QList<AgentProcess> LiveAgentProcesses::scan(const QStringList& names) const {
    QList<AgentProcess> found;
    for (const std::int32_t pid : m_proc.pids()) {
        // Kernel threads, ended processes and other users' processes have no readable executable.
        const auto path = m_proc.executable(pid);
        if (!path) {
            continue;
        }
        auto agent = AgentProcessNames::agentName(*path, std::nullopt, names);
        if (!agent) {
            agent = AgentProcessNames::agentName(QString(), firstArgument(pid), names);
        }
        if (!agent) {
            continue;
        }
        const auto stat = m_proc.stat(pid);
        const auto started = stat ? m_proc.startedAt(*stat) : std::nullopt;
        if (!started || stat->state == 'Z' || stat->state == 'X') {
            continue;
        }
        found.append(AgentProcess{pid, m_proc.directory(pid), *started, agent});
    }
    return found;
}

std::optional<QString> LiveAgentProcesses::firstArgument(std::int32_t pid) const {
    const auto text = m_proc.read(pidFile(pid, QLatin1StringView("cmdline")), firstArgumentLimit);
    if (!text || text->isEmpty()) {
        return std::nullopt;
    }
    const qsizetype end = text->indexOf('\0');
    return QFile::decodeName(end < 0 ? *text : text->first(end));
}

bool LiveAgentProcesses::exists(qint32 pid) const {
    return m_proc.isAlive(pid);
}

QList<ProcessLink> LiveAgentProcesses::descendants(qint32 pid) const {
    struct Entry {
        std::int32_t pid;
        QDateTime startedAt;
    };
    QHash<std::int32_t, QList<Entry>> children;
    for (const std::int32_t candidate : m_proc.pids()) {
        const auto stat = m_proc.stat(candidate);
        if (!stat || stat->parent == candidate) {
            continue;
        }
        children[stat->parent].append({candidate, m_proc.startedAt(*stat).value_or(QDateTime())});
    }

    // Breadth first: children before grandchildren. A pid met twice (a table read while it
    // changed) is taken once.
    QList<ProcessLink> found;
    QSet<std::int32_t> seen{pid};
    QList<std::int32_t> parents{pid};
    for (qsizetype next = 0; next < parents.size(); ++next) {
        const std::int32_t parent = parents.at(next);
        for (const Entry& child : children.value(parent)) {
            if (seen.contains(child.pid)) {
                continue;
            }
            seen.insert(child.pid);
            found.append(ProcessLink{child.pid, parent, child.startedAt});
            parents.append(child.pid);
        }
    }
    return found;
}

std::optional<QStringList> LiveAgentProcesses::arguments(qint32 pid) const {
    const std::vector<QString> line = m_proc.commandLine(pid);
    if (line.empty()) {
        return std::nullopt;
    }
    return QStringList(line.begin(), line.end());
}

std::optional<bool> LiveAgentProcesses::hasControllingTerminal(qint32 pid) const {
    const auto stat = m_proc.stat(pid);
    if (!stat) {
        return std::nullopt;
    }
    return stat->terminal != 0;
}

QList<qint32> LiveAgentProcesses::ancestors(qint32 pid, int limit) const {
    const std::vector<std::int32_t> chain = m_proc.ancestors(pid, limit);
    return QList<qint32>(chain.begin(), chain.end());
}

std::optional<QString> LiveAgentProcesses::directory(qint32 pid) const {
    return m_proc.directory(pid);
}

std::optional<QString> LiveAgentProcesses::executable(qint32 pid) const {
    return m_proc.executable(pid);
}

std::optional<QString> LiveAgentProcesses::tty(qint32 pid) const {
    const auto stat = m_proc.stat(pid);
    return stat ? terminalDevice(stat->terminal) : std::nullopt;
}

std::optional<QString> LiveAgentProcesses::terminalDevice(std::int32_t terminal) {
    if (terminal == 0) {
        return std::nullopt;
    }
    // The kernel's encoding of a device number: major in bits 8-19, minor in 0-7 and 20-31.
    const auto number = static_cast<std::uint32_t>(terminal);
    const std::uint32_t major = (number >> 8) & 0xfffU;
    const std::uint32_t minor = (number & 0xffU) | ((number >> 12) & 0xfff00U);
    constexpr std::uint32_t ptySlaveMajor = 136;
    constexpr std::uint32_t ptySlaveMajorCount = 8;
    constexpr std::uint32_t consoleMajor = 4;
    constexpr std::uint32_t serialFirstMinor = 64;
    if (major >= ptySlaveMajor && major < ptySlaveMajor + ptySlaveMajorCount) {
        return QStringLiteral("/dev/pts/") + QString::number((major - ptySlaveMajor) * 256 + minor);
    }
    if (major == consoleMajor && minor < serialFirstMinor) {
        return QStringLiteral("/dev/tty") + QString::number(minor);
    }
    if (major == consoleMajor && minor < 256) {
        return QStringLiteral("/dev/ttyS") + QString::number(minor - serialFirstMinor);
    }
    return std::nullopt;
}

std::optional<QDateTime> LiveAgentProcesses::startedAt(qint32 pid) const {
    const auto stat = m_proc.stat(pid);
    return stat ? m_proc.startedAt(*stat) : std::nullopt;
}

std::optional<QString> LiveAgentProcesses::environmentValue(const QString& name, qint32 pid) const {
    if (name.isEmpty() || name.contains(u'=')) {
        return std::nullopt;
    }
    const auto block = m_proc.read(pidFile(pid, QLatin1StringView("environ")), environmentLimit);
    if (!block) {
        return std::nullopt;
    }
    const QByteArray prefix = QFile::encodeName(name) + '=';
    const QByteArrayView entries(*block);
    qsizetype start = 0;
    while (start < entries.size()) {
        qsizetype end = entries.indexOf('\0', start);
        if (end < 0) {
            end = entries.size();
        }
        const QByteArrayView entry = entries.sliced(start, end - start);
        if (entry.startsWith(prefix)) {
            return QFile::decodeName(entry.sliced(prefix.size()).toByteArray());
        }
        start = end + 1;
    }
    return std::nullopt;
}

} // namespace tessary
