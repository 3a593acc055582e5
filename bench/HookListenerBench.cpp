// Hook events arrive one connection each, from a curl that an agent starts per event. The listener
// must keep up with bursts of them on loopback about as well as a plain web server that answers 204
// (nginx here), and a long stream of events must not make the program grow.
//
// The same client drives both servers: C threads, each opening a connection per request, posting a
// real hook body, and reading until the server closes. Counters: requests per second, the 99th
// percentile of the latency of one request, and, for the memory run, the growth of resident memory.
#include "modules/agents/hooks/HookRequestReader.h"
#include "modules/agents/live/AgentEventStore.h"
#include "services/hooks/HookListener.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <malloc.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace tessary;

namespace {

constexpr int clients = 8;
constexpr int requestsPerRun = 4000;

// The bodies of one session as Claude Code sends them, 22 events in all: its start, a prompt, nine tool
// calls (each a PreToolUse and a PostToolUse with its response), the turn's stop and the session's end.
QByteArray hookBody(int session, int event) {
    const QByteArray common =
        R"({"session_id":"bench-)" + QByteArray::number(session) +
        R"(-4311-4841-874e-ae548476f74b","transcript_path":"/home/dev/.claude/projects/)"
        R"(-home-dev-app/3baee143-4311-4841-874e-ae548476f74b.jsonl","cwd":"/home/dev/app",)"
        R"("permission_mode":"default",)";
    const int step = event % 22;
    const QByteArray call = QByteArray::number(session) + "_" + QByteArray::number(step / 2);
    const QByteArray tool =
        R"("tool_name":"Bash","tool_input":{"command":"npm test","description":"Run the tests"},)";
    QByteArray body;
    if (step == 0) {
        body = common + R"("hook_event_name":"SessionStart","source":"startup","model":"claude-opus-4-8"})";
    } else if (step == 1) {
        body =
            common + R"("hook_event_name":"UserPromptSubmit","prompt":"run the tests and fix what fails"})";
    } else if (step == 20) {
        body = common + R"("hook_event_name":"Stop","stop_hook_active":false,"last_assistant_message":)"
                        R"("All 42 tests pass now.","background_tasks":[],"session_crons":[]})";
    } else if (step == 21) {
        body = common + R"("hook_event_name":"SessionEnd","reason":"other"})";
    } else if (step % 2 == 0) {
        body =
            common + R"("hook_event_name":"PreToolUse",)" + tool + R"("tool_use_id":"toolu_)" + call + "\"}";
    } else {
        body = common + R"("hook_event_name":"PostToolUse",)" + tool +
               R"("tool_response":{"stdout":"PASS src/app.test.js\n  42 tests passed","stderr":"",)"
               R"("interrupted":false,"isImage":false},"tool_use_id":"toolu_)" +
               call + R"(","duration_ms":1234})";
    }
    return body + "\n";
}

QByteArray request(quint16 port, const QByteArray& token, const QByteArray& body) {
    return "POST /event HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(port) +
           "\r\nUser-Agent: curl/7.88.1\r\nAccept: */*\r\nX-Tessary-Token: " + token +
           "\r\nX-Tessary-Agent: 4242\r\nContent-Length: " + QByteArray::number(body.size()) +
           "\r\nContent-Type: application/x-www-form-urlencoded\r\n\r\n" + body;
}

// One request on its own connection; the latency in microseconds, or -1 when it failed.
double exchange(quint16 port, const QByteArray& bytes) {
    const auto start = std::chrono::steady_clock::now();
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) {
        return -1;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        ::close(fd);
        return -1;
    }
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        const ssize_t written =
            ::write(fd, bytes.constData() + sent, static_cast<size_t>(bytes.size() - sent));
        if (written <= 0) {
            ::close(fd);
            return -1;
        }
        sent += written;
    }
    char reply[512];
    qsizetype received = 0;
    for (;;) {
        const ssize_t got = ::read(fd, reply, sizeof(reply));
        if (got <= 0) {
            break;
        }
        received += got;
    }
    ::close(fd);
    if (received == 0) {
        return -1;
    }
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
}

struct LoadResult {
    double seconds = 0;
    std::vector<double> latencies;
    int failures = 0;
};

// The client side: `count` requests from `clients` threads, each playing whole sessions.
LoadResult runClients(quint16 port, const QByteArray& token, int count, int firstSession) {
    std::vector<std::vector<double>> perThread(clients);
    std::atomic<int> failures{0};
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    threads.reserve(clients);
    for (int c = 0; c < clients; ++c) {
        threads.emplace_back([&, c] {
            for (int i = c; i < count; i += clients) {
                const int local = i / clients;
                const int session = firstSession + local / 22 * clients + c;
                const double latency = exchange(port, request(port, token, hookBody(session, local % 22)));
                if (latency < 0) {
                    ++failures;
                } else {
                    perThread[static_cast<size_t>(c)].push_back(latency);
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    LoadResult result;
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    for (const auto& latencies : perThread) {
        result.latencies.insert(result.latencies.end(), latencies.begin(), latencies.end());
    }
    result.failures = failures.load();
    return result;
}

// Runs the clients in a child process (this program with "--client"), so that neither their threads
// nor their memory are counted with the server's, while this thread keeps its Qt events flowing (the
// listener answers on it).
LoadResult load(quint16 port, const QByteArray& token, int count, int firstSession) {
    QProcess client;
    QEventLoop loop;
    QObject::connect(&client, &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(&client, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    client.start(QCoreApplication::applicationFilePath(),
                 {QStringLiteral("--client"), QString::number(port), QString::fromLatin1(token),
                  QString::number(count), QString::number(firstSession)});
    loop.exec();
    client.waitForFinished(10000);
    LoadResult result;
    QList<QByteArray> lines = client.readAllStandardOutput().split('\n');
    if (lines.size() < 2) {
        result.failures = count;
        return result;
    }
    const QList<QByteArray> head = lines.takeFirst().split(' ');
    result.seconds = head.value(0).toDouble();
    result.failures = head.value(1).toInt();
    for (const QByteArray& line : lines) {
        if (!line.isEmpty()) {
            result.latencies.push_back(line.toDouble());
        }
    }
    return result;
}

int clientMain(const QStringList& arguments) {
    const LoadResult result =
        runClients(static_cast<quint16>(arguments.value(2).toUInt()), arguments.value(3).toLatin1(),
                   arguments.value(4).toInt(), arguments.value(5).toInt());
    QByteArray out =
        QByteArray::number(result.seconds, 'f', 6) + ' ' + QByteArray::number(result.failures) + '\n';
    for (const double latency : result.latencies) {
        out += QByteArray::number(latency, 'f', 1) + '\n';
    }
    fwrite(out.constData(), 1, static_cast<size_t>(out.size()), stdout);
    return 0;
}

double percentile(std::vector<double> values, double fraction) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const auto index = static_cast<size_t>(fraction * static_cast<double>(values.size() - 1));
    return values[index];
}

// Counters over all the runs of a benchmark: the runs' requests and latencies are pooled.
void report(benchmark::State& state, const std::vector<LoadResult>& results) {
    double seconds = 0;
    int failures = 0;
    std::vector<double> latencies;
    for (const LoadResult& result : results) {
        seconds += result.seconds;
        failures += result.failures;
        latencies.insert(latencies.end(), result.latencies.begin(), result.latencies.end());
    }
    state.counters["requests_per_second"] = seconds > 0 ? static_cast<double>(latencies.size()) / seconds : 0;
    state.counters["p99_us"] = percentile(latencies, 0.99);
    state.counters["p50_us"] = percentile(latencies, 0.50);
    state.counters["failures"] = failures;
}

qint64 residentKilobytes() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:")) {
            return line.mid(6).trimmed().split(' ').first().toLongLong();
        }
    }
    return 0;
}

struct RunningListener {
    QTemporaryDir home;
    AgentEventStore store;
    SystemClock clock;
    HookListener listener{store, clock, home.path()};
    QByteArray token;

    RunningListener() {
        listener.start();
        QFile file(listener.files().tokenPath());
        if (file.open(QIODevice::ReadOnly)) {
            token = file.readAll();
        }
    }
};

void listenerLoopback(benchmark::State& state) {
    RunningListener running;
    int session = 0;
    std::vector<LoadResult> results;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        results.push_back(load(*running.listener.port(), running.token, requestsPerRun, session));
        session += requestsPerRun;
    }
    report(state, results);
}
BENCHMARK(listenerLoopback)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

// nginx answering 204 to every request on its own connection, in one worker process.
void nginxLoopback(benchmark::State& state) {
    const QString nginx = QStandardPaths::findExecutable(
        QStringLiteral("nginx"), {QStringLiteral("/usr/sbin"), QStringLiteral("/usr/bin")});
    if (nginx.isEmpty()) {
        state.SkipWithError("nginx is not installed (scripts/install-deps installs it)");
        return;
    }
    quint16 port = 0;
    {
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost, 0);
        port = probe.serverPort();
    }
    QTemporaryDir prefix;
    QFile config(prefix.filePath(QStringLiteral("nginx.conf")));
    config.open(QIODevice::WriteOnly);
    config.write("daemon off; master_process off; worker_processes 1; error_log stderr crit; pid " +
                 prefix.filePath(QStringLiteral("nginx.pid")).toUtf8() +
                 ";\nevents { worker_connections 1024; }\nhttp { access_log off; keepalive_timeout 0;\n"
                 "  client_body_temp_path " +
                 prefix.path().toUtf8() + ";\n  server { listen 127.0.0.1:" + QByteArray::number(port) +
                 "; location / { return 204; } } }\n");
    config.close();
    QProcess server;
    server.start(nginx, {QStringLiteral("-p"), prefix.path(), QStringLiteral("-c"), config.fileName()});
    if (!server.waitForStarted(5000)) {
        state.SkipWithError("nginx did not start");
        return;
    }
    bool ready = false;
    for (int attempt = 0; attempt < 100 && !ready; ++attempt) {
        ready = exchange(port, "GET / HTTP/1.1\r\nHost: x\r\n\r\n") >= 0;
        if (!ready) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    if (!ready) {
        state.SkipWithError("nginx does not answer");
        return;
    }
    std::vector<LoadResult> results;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        results.push_back(load(port, "unused", requestsPerRun, 0));
    }
    report(state, results);
    server.terminate();
    server.waitForFinished(3000);
}
BENCHMARK(nginxLoopback)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

// 10,000 events, after a warm-up that brings the threads, pools and caps to their working size, must
// leave resident memory within 2 MB.
void tenThousandEventsMemory(benchmark::State& state) {
    RunningListener running;
    const quint16 port = *running.listener.port();
    load(port, running.token, 2000, 0);
    malloc_trim(0);
    const qint64 before = residentKilobytes();
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        const LoadResult result = load(port, running.token, 10'000, 100'000);
        state.counters["failures"] = result.failures;
    }
    malloc_trim(0);
    const qint64 growth = residentKilobytes() - before;
    state.counters["rss_growth_kb"] = static_cast<double>(growth);
    state.counters["rss_kb"] = static_cast<double>(residentKilobytes());
    if (growth > 2048) {
        fprintf(stderr, "resident memory grew by %lld kB\n", static_cast<long long>(growth));
        state.SkipWithError("resident memory grew by more than 2 MB");
    }
}
BENCHMARK(tenThousandEventsMemory)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

// Framing alone: a typical body in the reads curl makes of it.
void readerFramesTypicalRequest(benchmark::State& state) {
    const QByteArray bytes = request(40123, "0123456789abcdef0123456789abcdef", hookBody(1, 3));
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        HookRequestReader reader;
        auto progress = reader.append(QByteArrayView(bytes).first(200));
        progress = reader.append(QByteArrayView(bytes).sliced(200));
        benchmark::DoNotOptimize(progress);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes.size());
}
BENCHMARK(readerFramesTypicalRequest);

// Routing alone, on the main thread: the 22 events of a session, in order, without the sockets.
void routeSessionEvents(benchmark::State& state) {
    RunningListener running;
    std::vector<HookRequest> requests;
    for (int event = 0; event < 22; ++event) {
        HookRequestReader reader;
        auto progress = reader.append(request(1, running.token, hookBody(7, event)));
        requests.push_back(std::get<HookRequestReader::Complete>(progress).request);
    }
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        for (const HookRequest& hook : requests) {
            benchmark::DoNotOptimize(running.listener.handle(hook, nullptr));
        }
    }
    QCoreApplication::processEvents();
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 22);
}
BENCHMARK(routeSessionEvents);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    if (argc > 1 && qstrcmp(argv[1], "--client") == 0) {
        return clientMain(QCoreApplication::arguments());
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
