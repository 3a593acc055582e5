#pragma once

#include "modules/localservices/LocalService.h"
#include "modules/localservices/LsofParser.h"
#include "platform/procfs/ProcFileSystem.h"
#include "services/shell/ProcessRunner.h"

#include <variant>
#include <vector>

namespace tessary {

using ListenerListing = std::variant<std::vector<LsofParser::Listener>, LocalServicesError>;

// Where the listening TCP sockets and their processes come from. Blocking; safe from any thread.
class ListenerSource {
public:
    ListenerSource() = default;
    ListenerSource(const ListenerSource&) = delete;
    ListenerSource& operator=(const ListenerSource&) = delete;
    ListenerSource(ListenerSource&&) = delete;
    ListenerSource& operator=(ListenerSource&&) = delete;
    virtual ~ListenerSource() = default;

    [[nodiscard]] virtual ListenerListing listeners() const = 0;
};

// `lsof -iTCP -sTCP:LISTEN -P -n -F pcnu`. An exit with warnings only, or status 1 with nothing
// listening, is no failure.
class LsofListenerSource final : public ListenerSource {
public:
    static constexpr double timeoutSeconds = 10;

    LsofListenerSource(const ProcessRunner& runner, QString lsof)
        : m_runner(runner)
        , m_lsof(std::move(lsof)) {}

    [[nodiscard]] ListenerListing listeners() const override;

    // The first executable of /usr/bin/lsof, /usr/sbin/lsof, /bin/lsof.
    static std::optional<QString> find();

private:
    const ProcessRunner& m_runner;
    QString m_lsof;
};

// The same listeners from the kernel's tables, where lsof is missing: the sockets in state LISTEN,
// matched by inode with the "socket:[inode]" descriptors of each process in /proc. Like lsof, it sees
// the processes whose descriptors it may read. The socket table comes from sock_diag netlink where
// asked for and available, else from net/tcp and net/tcp6 under the root.
class ProcListenerSource final : public ListenerSource {
public:
    enum class SocketTable { netlinkFirst, files };

    explicit ProcListenerSource(const ProcFileSystem& proc, SocketTable table = SocketTable::netlinkFirst)
        : m_proc(proc)
        , m_table(table) {}

    [[nodiscard]] ListenerListing listeners() const override;

private:
    const ProcFileSystem& m_proc;
    SocketTable m_table;
};

} // namespace tessary
