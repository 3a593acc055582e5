// What one installed hook costs the agent: the shell command of AgentHookInstaller run as the agents run
// it (bash -c, the event's JSON on standard input), with the program not running (no endpoint file),
// with a listener that answers 204 on loopback, and with an endpoint file left behind by a listener
// that is gone (the connection is refused). And what the status-line envelope adds to the user's own
// status line, run as Claude Code runs it (/bin/sh -c), against the same line unwrapped.
#include "modules/agents/installers/AgentHookInstaller.h"
#include "modules/agents/installers/StatusLineEnvelopeInstaller.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <arpa/inet.h>
#include <atomic>
#include <benchmark/benchmark.h>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <netinet/in.h>
#include <optional>
#include <spawn.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using tessary::AgentHookInstaller;

// A hook that exits before reading its input makes the write fail; that must not end the benchmark.
[[maybe_unused]] const auto ignoreBrokenPipes = std::signal(SIGPIPE, SIG_IGN);

const QByteArray body =
    R"({"session_id":"6a3c1f0e-2b7d-4c59-9e1a-0f4b8d2c7e31","transcript_path":"/home/u/.claude/projects/)"
    R"(p/6a3c1f0e.jsonl","cwd":"/home/u/project","hook_event_name":"PreToolUse","tool_name":"Bash",)"
    R"("tool_input":{"command":"npm test","description":"Run the tests"},"tool_use_id":"toolu_01"})";

// Answers every request with 204 on 127.0.0.1, one connection at a time, as the program's listener does
// for an ordinary event.
class NoContentListener {
public:
    NoContentListener() {
        m_socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(m_socket, 64) != 0) {
            std::abort();
        }
        socklen_t length = sizeof address;
        ::getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &length);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { serve(); });
    }
    NoContentListener(const NoContentListener&) = delete;
    NoContentListener& operator=(const NoContentListener&) = delete;
    NoContentListener(NoContentListener&&) = delete;
    NoContentListener& operator=(NoContentListener&&) = delete;
    ~NoContentListener() {
        m_stopping = true;
        ::shutdown(m_socket, SHUT_RDWR);
        ::close(m_socket);
        m_thread.join();
    }

    [[nodiscard]] quint16 port() const { return m_port; }

private:
    void serve() {
        while (!m_stopping) {
            const int connection = ::accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC);
            if (connection < 0) {
                continue;
            }
            std::string request;
            char chunk[4096];
            std::size_t expected = std::string::npos;
            while (request.size() < expected) {
                const ssize_t got = ::read(connection, chunk, sizeof chunk);
                if (got <= 0) {
                    break;
                }
                request.append(chunk, static_cast<std::size_t>(got));
                const std::size_t end = request.find("\r\n\r\n");
                const std::size_t length = request.find("Content-Length: ");
                if (end != std::string::npos && length != std::string::npos) {
                    expected = end + 4 + std::stoul(request.substr(length + 16));
                }
            }
            const char reply[] = "HTTP/1.1 204 No Content\r\nConnection: close\r\n\r\n";
            [[maybe_unused]] const ssize_t sent = ::write(connection, reply, sizeof reply - 1);
            ::close(connection);
        }
    }

    int m_socket = -1;
    quint16 m_port = 0;
    std::atomic<bool> m_stopping{false};
    std::thread m_thread;
};

// A home folder with the program's files as the command reads them.
struct Home {
    QTemporaryDir folder;

    explicit Home(std::optional<quint16> port) {
        QDir().mkpath(folder.filePath(QStringLiteral(".tessary")));
        write(QStringLiteral(".tessary/hook-token"), "0123456789abcdef0123456789abcdef");
        if (port) {
            write(QStringLiteral(".tessary/hook-endpoint"),
                  "http://127.0.0.1:" + QByteArray::number(*port) + "/event");
        }
    }
    void write(const QString& name, const QByteArray& bytes) const {
        QFile file(folder.filePath(name));
        if (file.open(QIODevice::WriteOnly)) {
            file.write(bytes);
        }
    }
};

// Runs `shell -c command` with HOME set and the body on standard input, its output thrown away; gives its
// exit status.
int runHook(const std::string& command, const std::string& home, std::string shell = "/bin/bash") {
    int input[2];
    if (::pipe2(input, O_CLOEXEC) != 0) {
        return -1;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<std::string> environment{"HOME=" + home, "PATH=/usr/local/bin:/usr/bin:/bin"};
    std::vector<char*> envp;
    envp.reserve(environment.size() + 1);
    for (std::string& entry : environment) {
        envp.push_back(entry.data());
    }
    envp.push_back(nullptr);
    std::string flag = "-c";
    std::string text = command;
    char* argv[] = {shell.data(), flag.data(), text.data(), nullptr};
    pid_t child = 0;
    const int spawned = ::posix_spawn(&child, shell.c_str(), &actions, nullptr, argv, envp.data());
    posix_spawn_file_actions_destroy(&actions);
    ::close(input[0]);
    if (spawned != 0) {
        ::close(input[1]);
        return -1;
    }
    [[maybe_unused]] const ssize_t written =
        ::write(input[1], body.constData(), static_cast<std::size_t>(body.size()));
    ::close(input[1]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void runCommand(benchmark::State& state, const std::string& command, const Home& home,
                const std::string& shell = "/bin/bash") {
    const std::string homePath = home.folder.path().toStdString();
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        if (runHook(command, homePath, shell) != 0) {
            state.SkipWithError("the hook command did not exit 0");
            return;
        }
    }
}

std::string eventCommand() {
    return AgentHookInstaller::claude(QStringLiteral("/unused"), nullptr).eventCommand().toStdString();
}

void BM_EventHookWithoutProgram(benchmark::State& state) {
    const Home home(std::nullopt);
    runCommand(state, eventCommand(), home);
}

void BM_EventHookWithListener(benchmark::State& state) {
    const NoContentListener listener;
    const Home home(listener.port());
    runCommand(state, eventCommand(), home);
}

void BM_DecisionHookWithListenerNoOpinion(benchmark::State& state) {
    const NoContentListener listener;
    const Home home(listener.port());
    runCommand(state,
               AgentHookInstaller::claude(QStringLiteral("/unused"), nullptr).decisionCommand().toStdString(),
               home);
}

void BM_EventHookWithListenerGone(benchmark::State& state) {
    // A port that was just free: nothing listens there, so curl's connection is refused.
    quint16 port = 0;
    {
        const NoContentListener listener;
        port = listener.port();
    }
    const Home home(port);
    runCommand(state, eventCommand(), home);
}

// A user's status line of the usual kind: it reads the payload and prints one line.
const QString usersStatusLine = QStringLiteral(R"(json=$(cat); printf '%s\n' "[Opus] ${#json} bytes")");

void BM_StatusLineUnwrapped(benchmark::State& state) {
    const Home home(std::nullopt);
    runCommand(state, usersStatusLine.toStdString(), home, "/bin/sh");
}

void BM_StatusLineWrappedWithoutProgram(benchmark::State& state) {
    const Home home(std::nullopt);
    runCommand(state, tessary::StatusLineEnvelopeInstaller::wrapping(usersStatusLine).toStdString(), home,
               "/bin/sh");
}

void BM_StatusLineWrappedWithListener(benchmark::State& state) {
    const NoContentListener listener;
    const Home home(listener.port());
    runCommand(state, tessary::StatusLineEnvelopeInstaller::wrapping(usersStatusLine).toStdString(), home,
               "/bin/sh");
}

} // namespace

BENCHMARK(BM_StatusLineUnwrapped)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StatusLineWrappedWithoutProgram)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StatusLineWrappedWithListener)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EventHookWithoutProgram)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EventHookWithListener)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecisionHookWithListenerNoOpinion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EventHookWithListenerGone)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
