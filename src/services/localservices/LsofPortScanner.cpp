#include "services/localservices/LsofPortScanner.h"

#include "core/time/Clock.h"
#include "modules/localservices/TechnologyDetector.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QtConcurrent/QtConcurrentMap>

#include <algorithm>
#include <unistd.h>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

constexpr int probeThreads = 16;
constexpr qsizetype packageLimit = qsizetype{512} * 1024;

std::optional<QString> executableAt(std::initializer_list<QString> candidates) {
    for (const QString& candidate : candidates) {
        const QFileInfo info(candidate);
        if (info.isFile() && info.isExecutable()) {
            return candidate;
        }
    }
    return std::nullopt;
}

} // namespace

LsofPortScanner::Configuration LsofPortScanner::systemConfiguration(std::uint32_t currentUID) {
    return {LsofListenerSource::find(), executableAt({u"/usr/bin/ps"_s, u"/bin/ps"_s}), DockerClient::find(),
            currentUID};
}

LsofPortScanner::LsofPortScanner(const ProcFileSystem& proc, const ProcessRunner& runner,
                                 const SchemeProber& prober, Configuration configuration)
    : m_proc(proc)
    , m_runner(runner)
    , m_prober(prober)
    , m_configuration(std::move(configuration))
    , m_docker(runner, m_configuration.docker)
    , m_logFinder(proc, runner, m_configuration.lsof) {
    if (m_configuration.lsof) {
        m_listeners = std::make_unique<LsofListenerSource>(runner, *m_configuration.lsof);
    } else {
        // The kernel's netlink answers for this machine only; a /proc elsewhere is read as files.
        const bool realProc = proc.root() == QLatin1StringView("/proc");
        m_listeners = std::make_unique<ProcListenerSource>(
            proc, realProc ? ProcListenerSource::SocketTable::netlinkFirst
                           : ProcListenerSource::SocketTable::files);
    }
    m_probePool.setMaxThreadCount(probeThreads);
    m_probePool.setObjectName(u"tessary-scheme-probes"_s);
    m_cores = static_cast<int>(std::max(::sysconf(_SC_NPROCESSORS_ONLN), 1L));
}

QHash<std::int32_t, QString> LsofPortScanner::parsePs(const QString& output) {
    QHash<std::int32_t, QString> arguments;
    for (const QStringView line : QStringView(output).split(u'\n')) {
        const QStringView trimmed = line.trimmed();
        const qsizetype blank = trimmed.indexOf(u' ');
        if (blank <= 0) {
            continue;
        }
        bool ok = false;
        const int pid = trimmed.first(blank).toInt(&ok);
        const QStringView text = trimmed.sliced(blank + 1).trimmed();
        if (ok && pid > 0 && !text.isEmpty()) {
            arguments.insert(pid, text.toString());
        }
    }
    return arguments;
}

QHash<std::int32_t, QString> LsofPortScanner::arguments(const std::vector<std::int32_t>& pids) const {
    QHash<std::int32_t, QString> result;
    if (pids.empty()) {
        return result;
    }
    if (m_configuration.ps) {
        QStringList ids;
        for (const std::int32_t pid : pids) {
            ids.append(QString::number(pid));
        }
        // ps exits 1 when one of the processes has ended meanwhile; the rest of its list still holds.
        const ShellResult ran =
            m_runner.run(*m_configuration.ps, {u"-ww"_s, u"-o"_s, u"pid=,args="_s, u"-p"_s, ids.join(u',')},
                         5.0, std::nullopt);
        if (const auto* outcome = std::get_if<ShellOutcome>(&ran)) {
            result = parsePs(outcome->output);
        }
        return result;
    }
    for (const std::int32_t pid : pids) {
        const std::vector<QString> line = m_proc.commandLine(pid);
        if (!line.empty()) {
            result.insert(pid, QStringList(line.begin(), line.end()).join(u' '));
        }
    }
    return result;
}

std::optional<QString> LsofPortScanner::packageJSON(const QString& directory, const QString& processKey) {
    if (auto known = m_packages.value(processKey)) {
        return *known;
    }
    std::optional<QString> text;
    QFile file(directory + u"/package.json"_s);
    if (file.open(QIODevice::ReadOnly)) {
        text = QString::fromUtf8(file.read(packageLimit));
    }
    m_packages.insert(processKey, text);
    return text;
}

void LsofPortScanner::probeSchemes(std::vector<LocalService>& services) {
    std::vector<LocalService*> unknown;
    for (LocalService& service : services) {
        if (!service.isHTTPLikely()) {
            continue;
        }
        if (const auto known = m_schemes.value(service.id)) {
            service.scheme = known->value_or(Scheme::http);
        } else {
            unknown.push_back(&service);
        }
    }
    if (unknown.empty()) {
        return;
    }
    // One probe a port, all at once, each within its own limit.
    const std::vector<std::optional<Scheme>> answers =
        QtConcurrent::blockingMapped(&m_probePool, unknown, [this](const LocalService* service) {
            return m_prober.scheme(service->port);
        });
    for (std::size_t i = 0; i < answers.size(); ++i) {
        m_schemes.insert(unknown[i]->id, answers[i]);
        unknown[i]->scheme = answers[i].value_or(Scheme::http);
    }
}

LocalServicesScan LsofPortScanner::scan(const QDateTime& now, const CancellationToken& cancellation) {
    ListenerListing listing = m_listeners->listeners();
    if (auto* error = std::get_if<LocalServicesError>(&listing)) {
        return *error;
    }
    const auto& listeners = std::get<std::vector<LsofParser::Listener>>(listing);
    std::vector<std::int32_t> pids;
    pids.reserve(listeners.size());
    for (const auto& listener : listeners) {
        pids.push_back(listener.pid);
    }
    std::sort(pids.begin(), pids.end());
    pids.erase(std::unique(pids.begin(), pids.end()), pids.end());
    if (cancellation.isCancelled()) {
        return std::vector<LocalService>{};
    }

    const QHash<std::int32_t, QString> commandLines = arguments(pids);
    struct ProcessFacts {
        QString key;
        std::optional<QString> directory;
        std::optional<QDateTime> startedAt;
        std::optional<ProcessResources> resources;
        std::optional<double> cpuPercent;
    };
    QHash<std::int32_t, ProcessFacts> facts;
    QSet<QString> aliveKeys;
    QSet<std::int32_t> alivePIDs;
    for (const std::int32_t pid : pids) {
        ProcessFacts fact;
        const auto stat = m_proc.stat(pid);
        fact.key = QString::number(pid) + u':' + (stat ? QString::number(stat->startTicks) : QString());
        fact.directory = m_proc.directory(pid);
        if (stat) {
            fact.startedAt = m_proc.startedAt(*stat);
        }
        fact.resources = m_proc.resources(pid);
        if (fact.resources) {
            if (const auto previous = m_resourceSamples.value(pid)) {
                const double seconds = secondsBetween(previous->at, now);
                if (seconds > 0) {
                    const double grown = std::max(fact.resources->cpuTime - previous->cpuTime, 0.0);
                    fact.cpuPercent = std::clamp(grown / seconds / m_cores * 100.0, 0.0, 100.0);
                }
            }
            m_resourceSamples.insert(pid, {fact.resources->cpuTime, now});
        }
        aliveKeys.insert(fact.key);
        alivePIDs.insert(pid);
        facts.insert(pid, fact);
    }

    std::vector<LocalService> services;
    services.reserve(listeners.size());
    for (const auto& listener : listeners) {
        const ProcessFacts& fact = facts[listener.pid];
        LocalService service;
        service.id = LocalService::identifier(listener.pid, listener.port);
        service.port = listener.port;
        service.address = listener.address;
        service.pid = listener.pid;
        service.uid = listener.uid;
        service.command = listener.command;
        if (const auto it = commandLines.constFind(listener.pid); it != commandLines.cend()) {
            service.arguments = *it;
        }
        service.directory = fact.directory;
        service.startedAt = fact.startedAt;
        service.resources = fact.resources;
        service.cpuPercent = fact.cpuPercent;
        const std::optional<QString> package =
            fact.directory ? packageJSON(*fact.directory, fact.key) : std::optional<QString>();
        service.technology = TechnologyDetector::detect(service.command, service.arguments, package);
        services.push_back(std::move(service));
    }
    if (cancellation.isCancelled()) {
        return services;
    }

    const bool anyContainer = std::any_of(services.begin(), services.end(), [](const LocalService& service) {
        return service.technology.kind == Technology::Kind::container;
    });
    if (anyContainer && m_docker.executable()) {
        const std::map<int, QString> containers = m_docker.containers();
        QHash<QString, QStringList> logs;
        for (LocalService& service : services) {
            const auto it = containers.find(service.port);
            if (it == containers.end()) {
                continue;
            }
            service.container = it->second;
            if (!logs.contains(it->second)) {
                logs.insert(it->second, m_docker.logs(it->second));
            }
            service.logLines = logs.value(it->second);
        }
    }

    probeSchemes(services);
    if (cancellation.isCancelled()) {
        return services;
    }

    for (LocalService& service : services) {
        if (service.container || !service.isMine(m_configuration.currentUID)) {
            continue;
        }
        if (const auto path = m_logFinder.logFile(service.pid, facts[service.pid].key, m_logFiles)) {
            service.logFile = QUrl::fromLocalFile(*path);
        }
    }

    QSet<QString> aliveIDs;
    for (const LocalService& service : services) {
        aliveIDs.insert(service.id);
    }
    m_schemes.keep(aliveIDs);
    m_logFiles.keep(aliveKeys);
    m_packages.keep(aliveKeys);
    m_resourceSamples.keep(alivePIDs);
    return services;
}

} // namespace tessary
