// The local services monitor scans every 10 seconds on a worker thread. Where lsof is missing the same
// listeners come from /proc; the question is what each costs for one full scan of a machine with 50
// listening ports (schemes already known, as after the first scan): lsof and ps as child processes,
// or reading /proc alone. The third benchmark times both in turn and reports the ratio.
#include "services/localservices/LsofPortScanner.h"
#include "services/shell/Shell.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <memory>
#include <unistd.h>
#include <vector>

using namespace tessary;

namespace {

constexpr int serverCount = 5;
constexpr int portsPerServer = 10;

// Five python processes with ten listening ports each, answering HTTP.
class FiftyListeners {
public:
    FiftyListeners() {
        const QString script =
            QStringLiteral("import sys, threading, http.server\n"
                           "servers = [http.server.ThreadingHTTPServer(('127.0.0.1', 0), "
                           "http.server.SimpleHTTPRequestHandler)"
                           " for _ in range(int(sys.argv[1]))]\n"
                           "for s in servers:\n"
                           "    threading.Thread(target=s.serve_forever, daemon=True).start()\n"
                           "print(' '.join(str(s.server_address[1]) for s in servers), flush=True)\n"
                           "threading.Event().wait()\n");
        for (int i = 0; i < serverCount; ++i) {
            auto process = std::make_unique<QProcess>();
            process->setWorkingDirectory(m_folder.path());
            process->start(QStringLiteral("python3"),
                           {QStringLiteral("-c"), script, QString::number(portsPerServer)});
            if (!process->waitForReadyRead(20000)) {
                qFatal("a listener did not start");
            }
            for (const QByteArray& port : process->readLine().trimmed().split(' ')) {
                m_ports.push_back(port.toInt());
            }
            m_processes.push_back(std::move(process));
        }
    }
    ~FiftyListeners() {
        for (auto& process : m_processes) {
            process->kill();
            process->waitForFinished(5000);
        }
    }
    FiftyListeners(const FiftyListeners&) = delete;
    FiftyListeners& operator=(const FiftyListeners&) = delete;
    FiftyListeners(FiftyListeners&&) = delete;
    FiftyListeners& operator=(FiftyListeners&&) = delete;

    [[nodiscard]] std::size_t count() const { return m_ports.size(); }

private:
    QTemporaryDir m_folder;
    std::vector<std::unique_ptr<QProcess>> m_processes;
    std::vector<int> m_ports;
};

FiftyListeners& listeners() {
    static FiftyListeners instance;
    return instance;
}

struct Scanners {
    Shell shell;
    ProcFileSystem proc;
    TLSProbe prober;
    LsofPortScanner throughLsof;
    LsofPortScanner throughProc;

    Scanners()
        : throughLsof(proc, shell, prober, LsofPortScanner::systemConfiguration(::getuid()))
        , throughProc(proc, shell, prober, procOnly()) {
        if (!throughLsof.configuration().lsof || !throughLsof.configuration().ps) {
            qFatal("lsof and ps are needed for the comparison");
        }
        // The first scans probe every port's scheme; later ones know them.
        scan(throughLsof);
        scan(throughProc);
    }

    static LsofPortScanner::Configuration procOnly() {
        LsofPortScanner::Configuration configuration = LsofPortScanner::systemConfiguration(::getuid());
        configuration.lsof.reset();
        configuration.ps.reset();
        configuration.docker.reset();
        return configuration;
    }

    static std::size_t scan(LsofPortScanner& scanner) {
        const LocalServicesScan result = scanner.scan(QDateTime::currentDateTimeUtc(), {});
        if (const auto* error = std::get_if<LocalServicesError>(&result)) {
            qFatal("scan failed: %s", qPrintable(error->message));
        }
        return std::get<std::vector<LocalService>>(result).size();
    }
};

Scanners& scanners() {
    listeners();
    static Scanners instance;
    return instance;
}

void fullScanThroughLsof(benchmark::State& state) {
    Scanners& all = scanners();
    std::size_t found = 0;
    for (auto _ : state) {
        found = Scanners::scan(all.throughLsof);
    }
    state.counters["listeners"] = static_cast<double>(found);
}
BENCHMARK(fullScanThroughLsof)->Unit(benchmark::kMillisecond);

void fullScanThroughProc(benchmark::State& state) {
    Scanners& all = scanners();
    std::size_t found = 0;
    for (auto _ : state) {
        found = Scanners::scan(all.throughProc);
    }
    state.counters["listeners"] = static_cast<double>(found);
}
BENCHMARK(fullScanThroughProc)->Unit(benchmark::kMillisecond);

// Both in turn, each iteration; the counter is how many times cheaper /proc is.
void lsofOverProc(benchmark::State& state) {
    Scanners& all = scanners();
    qint64 lsofNanoseconds = 0;
    qint64 procNanoseconds = 0;
    QElapsedTimer timer;
    for (auto _ : state) {
        timer.start();
        Scanners::scan(all.throughLsof);
        lsofNanoseconds += timer.nsecsElapsed();
        timer.start();
        Scanners::scan(all.throughProc);
        procNanoseconds += timer.nsecsElapsed();
    }
    state.counters["ratio"] =
        procNanoseconds > 0 ? static_cast<double>(lsofNanoseconds) / static_cast<double>(procNanoseconds) : 0;
    state.counters["lsof_ms"] =
        static_cast<double>(lsofNanoseconds) / 1e6 / static_cast<double>(state.iterations());
    state.counters["proc_ms"] =
        static_cast<double>(procNanoseconds) / 1e6 / static_cast<double>(state.iterations());
}
BENCHMARK(lsofOverProc)->Unit(benchmark::kMillisecond)->Iterations(20);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
