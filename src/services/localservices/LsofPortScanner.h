#pragma once

#include "modules/localservices/LocalService.h"
#include "modules/localservices/ServiceCaches.h"
#include "services/localservices/DockerClient.h"
#include "services/localservices/ListenerSource.h"
#include "services/localservices/LogSourceFinder.h"
#include "services/localservices/SchemeProber.h"
#include "services/monitoring/CancellationToken.h"

#include <QDateTime>
#include <QThreadPool>

#include <memory>
#include <variant>
#include <vector>

namespace tessary {

using LocalServicesScan = std::variant<std::vector<LocalService>, LocalServicesError>;

// Gives every listening TCP port of the machine as a LocalService. Blocking; runs on worker threads.
class LocalServicesProvider {
public:
    LocalServicesProvider() = default;
    LocalServicesProvider(const LocalServicesProvider&) = delete;
    LocalServicesProvider& operator=(const LocalServicesProvider&) = delete;
    LocalServicesProvider(LocalServicesProvider&&) = delete;
    LocalServicesProvider& operator=(LocalServicesProvider&&) = delete;
    virtual ~LocalServicesProvider() = default;

    virtual LocalServicesScan scan(const QDateTime& now, const CancellationToken& cancellation) = 0;
};

// The scan: the listeners (from lsof, or from /proc where lsof is missing), their command lines (from
// one ps, or from /proc), working folder, package.json and technology; the containers behind docker's
// ports; the scheme of each port that may speak HTTP, probed once per process and port; the log file
// of each of the user's servers; CPU share and memory. The caches are pruned to what still lives.
class LsofPortScanner final : public LocalServicesProvider {
public:
    struct Configuration {
        // lsof to run; absent: the kernel's tables instead.
        std::optional<QString> lsof;
        // ps for the command lines; absent: /proc/<pid>/cmdline.
        std::optional<QString> ps;
        // docker, where a client is installed.
        std::optional<QString> docker;
        std::uint32_t currentUID = 0;
        bool operator==(const Configuration&) const = default;
    };

    // lsof and ps where they are installed, docker where a client is.
    static Configuration systemConfiguration(std::uint32_t currentUID);

    LsofPortScanner(const ProcFileSystem& proc, const ProcessRunner& runner, const SchemeProber& prober,
                    Configuration configuration);

    LocalServicesScan scan(const QDateTime& now, const CancellationToken& cancellation) override;

    [[nodiscard]] const Configuration& configuration() const { return m_configuration; }
    [[nodiscard]] const SchemeCache& schemes() const { return m_schemes; }
    [[nodiscard]] const LogFileCache& logFiles() const { return m_logFiles; }
    [[nodiscard]] const ResourceCache& resourceSamples() const { return m_resourceSamples; }

    // The command lines of processes from "ps -ww -o pid=,args= -p <ids>".
    static QHash<std::int32_t, QString> parsePs(const QString& output);

private:
    [[nodiscard]] QHash<std::int32_t, QString> arguments(const std::vector<std::int32_t>& pids) const;
    [[nodiscard]] std::optional<QString> packageJSON(const QString& directory, const QString& processKey);
    void probeSchemes(std::vector<LocalService>& services);

    const ProcFileSystem& m_proc;
    const ProcessRunner& m_runner;
    const SchemeProber& m_prober;
    Configuration m_configuration;
    std::unique_ptr<ListenerSource> m_listeners;
    DockerClient m_docker;
    LogSourceFinder m_logFinder;
    SchemeCache m_schemes;
    LogFileCache m_logFiles;
    ResourceCache m_resourceSamples;
    LockedCache<QString, std::optional<QString>> m_packages;
    // Probes wait on the network, not the CPU: more of them run at once than there are cores.
    QThreadPool m_probePool;
    int m_cores = 1;
};

} // namespace tessary
