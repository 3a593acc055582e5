// Measures how quickly a running Tessary puts the permission card on screen and passes an answer
// back, the way a user meets it: a real curl posts a PermissionRequest hook to the listener, the
// card's window maps on the X server, Alt+Y is typed (XTest), and curl prints the decision. The
// request passes through this process on its way (a byte-for-byte relay on the loopback), so that
// its arrival is seen too. Every time is read on this process's one monotonic clock: curl started
// -> card mapped, the request reached the listener -> card mapped, and Alt+Y typed -> curl's
// reply read.
//
// Usage: card_latency_probe [--runs N] [--label TEXT]
// DISPLAY names the X server Tessary shows on; HOME holds its .tessary/hook-endpoint and
// hook-token. Each run prints one line:
//   <label> <run> curl-to-card <ms> request-to-card <ms> key-to-reply <ms>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <netinet/in.h>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

extern char** environ; // NOLINT(readability-redundant-declaration): posix_spawn's environment

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// The role the card's window carries (WM_WINDOW_ROLE), which tells it from Tessary's other windows.
constexpr std::string_view cardRole = "tessary-permission-card";
constexpr auto cardTimeout = 5s;
constexpr auto answerTimeout = 5s;
// Time the card is left on screen before Alt+Y: a user reads it first, and its own start-up work
// (the first paint, the sound) is not counted against the answer.
constexpr auto readingPause = 300ms;
// Time between runs, for the program to settle after the card left.
constexpr auto runPause = 500ms;

double millisecondsBetween(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

std::optional<std::string> readTrimmed(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        return std::nullopt;
    }
    std::stringstream text;
    text << file.rdbuf();
    std::string value = text.str();
    while (!value.empty() && (value.back() == '\n' || value.back() == '\r' || value.back() == ' ')) {
        value.pop_back();
    }
    return value.empty() ? std::nullopt : std::optional<std::string>(value);
}

template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

template <typename T>
Reply<T> own(T* reply) {
    return Reply<T>(reply, &std::free);
}

// The X side: map and unmap notices of the root's children, the card's role, and typed keys.
class Screen {
public:
    bool open() {
        m_connection = xcb_connect(nullptr, nullptr);
        if (m_connection == nullptr || xcb_connection_has_error(m_connection) != 0) {
            std::fprintf(stderr, "card_latency_probe: cannot open the display (DISPLAY)\n");
            return false;
        }
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        const std::uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(m_connection, m_root, XCB_CW_EVENT_MASK, &mask);
        m_roleAtom = atom("WM_WINDOW_ROLE");
        const auto xtest =
            own(xcb_test_get_version_reply(m_connection, xcb_test_get_version(m_connection, 2, 2), nullptr));
        if (!xtest) {
            std::fprintf(stderr, "card_latency_probe: the X server has no XTEST extension\n");
            return false;
        }
        m_altKey = keycodeOf(0xffe9); // Alt_L
        m_yKey = keycodeOf('y');
        if (m_altKey == 0 || m_yKey == 0) {
            std::fprintf(stderr, "card_latency_probe: the keyboard map has no Alt_L or y\n");
            return false;
        }
        xcb_flush(m_connection);
        return true;
    }

    ~Screen() {
        if (m_connection != nullptr) {
            xcb_disconnect(m_connection);
        }
    }

    [[nodiscard]] int fileDescriptor() const { return xcb_get_file_descriptor(m_connection); }

    // Reads what has come; the card's window being mapped or unmapped is noted with its time.
    void drain() {
        while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection)) {
            const auto now = Clock::now();
            const std::uint8_t type = event->response_type & 0x7f;
            if (type == XCB_MAP_NOTIFY) {
                const auto* map = reinterpret_cast<xcb_map_notify_event_t*>(event);
                if (map->event == m_root && isCard(map->window, 3)) {
                    m_cardWindow = map->window;
                    m_cardMappedAt = now;
                }
            } else if (type == XCB_UNMAP_NOTIFY) {
                const auto* unmap = reinterpret_cast<xcb_unmap_notify_event_t*>(event);
                if (unmap->event == m_root && m_cardWindow && unmap->window == *m_cardWindow) {
                    m_cardWindow.reset();
                }
            } else if (type == XCB_DESTROY_NOTIFY) {
                const auto* destroyed = reinterpret_cast<xcb_destroy_notify_event_t*>(event);
                if (m_cardWindow && destroyed->window == *m_cardWindow) {
                    m_cardWindow.reset();
                }
            }
            std::free(event);
        }
    }

    void typeAltY() {
        xcb_test_fake_input(m_connection, XCB_KEY_PRESS, m_altKey, XCB_CURRENT_TIME, m_root, 0, 0, 0);
        xcb_test_fake_input(m_connection, XCB_KEY_PRESS, m_yKey, XCB_CURRENT_TIME, m_root, 0, 0, 0);
        xcb_test_fake_input(m_connection, XCB_KEY_RELEASE, m_yKey, XCB_CURRENT_TIME, m_root, 0, 0, 0);
        xcb_test_fake_input(m_connection, XCB_KEY_RELEASE, m_altKey, XCB_CURRENT_TIME, m_root, 0, 0, 0);
        xcb_flush(m_connection);
    }

    [[nodiscard]] bool cardShown() const { return m_cardWindow.has_value(); }
    [[nodiscard]] std::optional<Clock::time_point> cardMappedAt() const { return m_cardMappedAt; }
    void forgetMapping() { m_cardMappedAt.reset(); }
    [[nodiscard]] bool broken() const { return xcb_connection_has_error(m_connection) != 0; }

private:
    xcb_atom_t atom(const char* name) {
        const auto reply = own(xcb_intern_atom_reply(
            m_connection,
            xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr));
        return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
    }

    [[nodiscard]] xcb_keycode_t keycodeOf(xcb_keysym_t wanted) const {
        const xcb_setup_t* setup = xcb_get_setup(m_connection);
        const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
        const auto reply = own(xcb_get_keyboard_mapping_reply(
            m_connection, xcb_get_keyboard_mapping(m_connection, setup->min_keycode, count), nullptr));
        if (!reply || reply->keysyms_per_keycode == 0) {
            return 0;
        }
        const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(reply.get());
        const int length = xcb_get_keyboard_mapping_keysyms_length(reply.get());
        for (int index = 0; index < length; index += reply->keysyms_per_keycode) {
            if (keysyms[index] == wanted) {
                return static_cast<xcb_keycode_t>(setup->min_keycode + index / reply->keysyms_per_keycode);
            }
        }
        return 0;
    }

    // The window, or one inside it (a window manager's frame holds the client), has the card's role.
    bool isCard(xcb_window_t window, int depth) {
        const auto role = own(xcb_get_property_reply(
            m_connection, xcb_get_property(m_connection, 0, window, m_roleAtom, XCB_ATOM_STRING, 0, 64),
            nullptr));
        if (role && xcb_get_property_value_length(role.get()) > 0) {
            const std::string_view value(static_cast<const char*>(xcb_get_property_value(role.get())),
                                         static_cast<std::size_t>(xcb_get_property_value_length(role.get())));
            if (value == cardRole) {
                return true;
            }
        }
        if (depth == 0) {
            return false;
        }
        const auto tree =
            own(xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, window), nullptr));
        if (!tree) {
            return false;
        }
        const xcb_window_t* children = xcb_query_tree_children(tree.get());
        const int count = xcb_query_tree_children_length(tree.get());
        return std::any_of(children, children + count,
                           [&](xcb_window_t child) { return isCard(child, depth - 1); });
    }

    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_root = XCB_WINDOW_NONE;
    xcb_atom_t m_roleAtom = XCB_ATOM_NONE;
    xcb_keycode_t m_altKey = 0;
    xcb_keycode_t m_yKey = 0;
    std::optional<xcb_window_t> m_cardWindow;
    std::optional<Clock::time_point> m_cardMappedAt;
};

// Where the listener is, from its endpoint file ("http://127.0.0.1:<port>/<path>").
struct Endpoint {
    std::uint16_t port = 0;
    std::string path;

    static std::optional<Endpoint> parse(const std::string& url) {
        constexpr std::string_view prefix = "http://127.0.0.1:";
        if (url.rfind(prefix, 0) != 0) {
            return std::nullopt;
        }
        const std::size_t slash = url.find('/', prefix.size());
        const std::string digits = url.substr(prefix.size(), slash - prefix.size());
        if (digits.empty() || digits.size() > 5 ||
            digits.find_first_not_of("0123456789") != std::string::npos) {
            return std::nullopt;
        }
        const int port = std::stoi(digits);
        if (port <= 0 || port > 65535) {
            return std::nullopt;
        }
        return Endpoint{static_cast<std::uint16_t>(port),
                        slash == std::string::npos ? "/" : url.substr(slash)};
    }
};

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// Passes connections from curl to the listener and back, unchanged, and notes when the bytes of
// the awaited request were handed on: on the loopback, the moment they reach the listener's socket.
// Other clients may find the relay's port too (the program's own port scan does): their bytes pass
// through as well, and are not taken for the request.
class Relay {
public:
    explicit Relay(std::uint16_t listenerPort)
        : m_listenerPort(listenerPort) {}
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;
    Relay(Relay&&) = delete;
    Relay& operator=(Relay&&) = delete;

    ~Relay() {
        while (!m_pairs.empty()) {
            closePair(0);
        }
        if (m_listening >= 0) {
            close(m_listening);
        }
    }

    bool listen() {
        m_listening = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = loopback(0);
        socklen_t length = sizeof address;
        if (m_listening < 0 ||
            bind(m_listening, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(m_listening, 8) != 0 ||
            getsockname(m_listening, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            std::fprintf(stderr, "card_latency_probe: cannot listen on the loopback: %s\n",
                         std::strerror(errno));
            return false;
        }
        m_port = ntohs(address.sin_port);
        return true;
    }

    [[nodiscard]] std::uint16_t port() const { return m_port; }

    // The next request to watch for: the one whose bytes carry `marker`.
    void await(std::string marker) {
        m_marker = std::move(marker);
        requestArrivedAt.reset();
    }

    [[nodiscard]] std::vector<pollfd> descriptors() const {
        std::vector<pollfd> open{{m_listening, POLLIN, 0}};
        for (const Pair& pair : m_pairs) {
            open.push_back({pair.client, POLLIN, 0});
            open.push_back({pair.listener, POLLIN, 0});
        }
        return open;
    }

    void handle(int descriptor) {
        if (descriptor == m_listening) {
            accept();
            return;
        }
        for (std::size_t index = 0; index < m_pairs.size(); ++index) {
            Pair& pair = m_pairs[index];
            if (descriptor == pair.client) {
                forwardRequest(index);
                return;
            }
            if (descriptor == pair.listener) {
                if (!forward(pair.listener, pair.client, nullptr)) {
                    closePair(index);
                }
                return;
            }
        }
    }

    std::optional<Clock::time_point> requestArrivedAt;

private:
    struct Pair {
        int client = -1;
        int listener = -1;
        std::string head; // the first bytes from the client, where the marker is looked for
        bool awaited = false;
    };

    void accept() {
        Pair pair;
        pair.client = ::accept4(m_listening, nullptr, nullptr, SOCK_CLOEXEC);
        if (pair.client < 0) {
            return;
        }
        pair.listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in listener = loopback(m_listenerPort);
        if (pair.listener < 0 ||
            connect(pair.listener, reinterpret_cast<const sockaddr*>(&listener), sizeof listener) != 0) {
            std::fprintf(stderr, "card_latency_probe: cannot reach the listener: %s\n", std::strerror(errno));
            close(pair.client);
            if (pair.listener >= 0) {
                close(pair.listener);
            }
            return;
        }
        m_pairs.push_back(std::move(pair));
    }

    void forwardRequest(std::size_t index) {
        Pair& pair = m_pairs[index];
        if (!forward(pair.client, pair.listener, &pair.head)) {
            closePair(index);
            return;
        }
        if (!pair.awaited && !m_marker.empty() && pair.head.find(m_marker) != std::string::npos) {
            pair.awaited = true;
        }
        if (pair.awaited) {
            requestArrivedAt = Clock::now(); // the last bytes of the request count
        }
    }

    // False at the end of either side: curl and the listener each close after the reply.
    static bool forward(int from, int to, std::string* head) {
        constexpr std::size_t headLimit = 65536;
        char buffer[16384];
        const ssize_t count = read(from, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) {
            return true;
        }
        if (count <= 0 || send(to, buffer, static_cast<std::size_t>(count), MSG_NOSIGNAL) != count) {
            return false;
        }
        if (head != nullptr && head->size() < headLimit) {
            head->append(buffer, std::min(static_cast<std::size_t>(count), headLimit - head->size()));
        }
        return true;
    }

    void closePair(std::size_t index) {
        close(m_pairs[index].client);
        close(m_pairs[index].listener);
        m_pairs.erase(m_pairs.begin() + static_cast<std::ptrdiff_t>(index));
    }

    std::uint16_t m_listenerPort;
    std::uint16_t m_port = 0;
    int m_listening = -1;
    std::vector<Pair> m_pairs;
    std::string m_marker;
};

// One hook's curl, as the installed hook command runs it: the body on its standard input, the
// reply on its standard output.
class HookCurl {
public:
    HookCurl() = default;
    HookCurl(const HookCurl&) = delete;
    HookCurl& operator=(const HookCurl&) = delete;
    HookCurl(HookCurl&&) = delete;
    HookCurl& operator=(HookCurl&&) = delete;

    bool start(const std::string& url, const std::string& token, const std::string& body) {
        int toCurl[2];
        int fromCurl[2];
        if (pipe2(toCurl, O_CLOEXEC) != 0 || pipe2(fromCurl, O_CLOEXEC) != 0) {
            return false;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, toCurl[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, fromCurl[1], STDOUT_FILENO);
        const std::string tokenHeader = "X-Tessary-Token: " + token;
        // The installed hook command's flags, with its longer time limit of a held request.
        std::vector<std::string> arguments{"curl", "-sS", "-m", "30", "-X", "POST", "-H", tokenHeader};
        arguments.insert(arguments.end(), {"-H", "X-Tessary-Decision: 1", "--data-binary", "@-", url});
        std::vector<char*> argv;
        argv.reserve(arguments.size() + 1);
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        startedAt = Clock::now();
        const int spawned = posix_spawnp(&m_pid, "curl", &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(toCurl[0]);
        close(fromCurl[1]);
        m_output = fromCurl[0];
        if (spawned != 0) {
            m_pid = -1;
            close(toCurl[1]);
            std::fprintf(stderr, "card_latency_probe: cannot start curl: %s\n", std::strerror(spawned));
            return false;
        }
        // A small body fits the pipe: the write does not wait for curl.
        const bool written = write(toCurl[1], body.data(), body.size()) == static_cast<ssize_t>(body.size());
        close(toCurl[1]);
        return written;
    }

    ~HookCurl() {
        if (m_output >= 0) {
            close(m_output);
        }
        if (m_pid > 0) {
            kill(m_pid, SIGTERM);
            waitpid(m_pid, nullptr, 0);
        }
    }

    [[nodiscard]] int fileDescriptor() const { return m_output; }

    // Reads what curl printed; at the end of its output, waits for it to end.
    void readOutput() {
        char buffer[4096];
        const ssize_t count = read(m_output, buffer, sizeof buffer);
        if (count > 0) {
            output.append(buffer, static_cast<std::size_t>(count));
            return;
        }
        if (count < 0 && errno == EINTR) {
            return;
        }
        endedAt = Clock::now();
        close(m_output);
        m_output = -1;
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_pid = -1;
        exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    Clock::time_point startedAt;
    std::optional<Clock::time_point> endedAt;
    std::string output;
    int exitCode = -1;

private:
    pid_t m_pid = -1;
    int m_output = -1;
};

// Waits for X events, the relay and curl's output until `done` holds or `timeout` passes.
template <typename Done>
bool waitFor(Screen& screen, Relay& relay, HookCurl* curl, Clock::duration timeout, Done done) {
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        screen.drain();
        if (done()) {
            return true;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left <= 0ms || screen.broken()) {
            return false;
        }
        std::vector<pollfd> descriptors = relay.descriptors();
        const std::size_t relayed = descriptors.size();
        descriptors.push_back({screen.fileDescriptor(), POLLIN, 0});
        if (curl != nullptr && curl->fileDescriptor() >= 0) {
            descriptors.push_back({curl->fileDescriptor(), POLLIN, 0});
        }
        if (poll(descriptors.data(), descriptors.size(), static_cast<int>(left.count())) < 0 &&
            errno != EINTR) {
            return false;
        }
        // One ready descriptor per round: handling one may close others of the same poll.
        const auto ready = std::find_if(descriptors.begin(), descriptors.end(), [](const pollfd& descriptor) {
            return (descriptor.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
        });
        if (ready == descriptors.end()) {
            continue;
        }
        if (static_cast<std::size_t>(ready - descriptors.begin()) < relayed) {
            relay.handle(ready->fd);
        } else if (curl != nullptr && ready->fd == curl->fileDescriptor()) {
            curl->readOutput();
        }
    }
}

// The run's own words, which tell its request from any other bytes through the relay.
std::string runMarker(int run) {
    return "latency-probe-" + std::to_string(getpid()) + "-" + std::to_string(run);
}

std::string permissionRequest(const std::string& marker) {
    return R"({"session_id":")" + marker +
           R"(","cwd":"/tmp","hook_event_name":"PermissionRequest","tool_name":"Bash","tool_use_id":"toolu_)" +
           marker + R"(","tool_input":{"command":"echo )" + marker + R"(","description":"Print a word"}})";
}

struct Timing {
    double curlToCard = 0;    // curl started -> card mapped: what the hook's caller waits
    double requestToCard = 0; // the request reached the listener -> card mapped: the program's part
    double keyToReply = 0;    // Alt+Y typed -> curl has the decision
};

std::optional<Timing> measureOnce(Screen& screen, Relay& relay, const std::string& url,
                                  const std::string& token, int run) {
    if (!waitFor(screen, relay, nullptr, cardTimeout, [&] { return !screen.cardShown(); })) {
        std::fprintf(stderr, "card_latency_probe: a card from before is still on screen\n");
        return std::nullopt;
    }
    screen.forgetMapping();
    const std::string marker = runMarker(run);
    relay.await(marker);
    HookCurl curl;
    if (!curl.start(url, token, permissionRequest(marker))) {
        return std::nullopt;
    }
    if (!waitFor(screen, relay, &curl, cardTimeout, [&] { return screen.cardMappedAt() || curl.endedAt; }) ||
        !screen.cardMappedAt() || !relay.requestArrivedAt) {
        std::fprintf(stderr, "card_latency_probe: no card within %lld s; curl %s (exit %d): %s\n",
                     static_cast<long long>(std::chrono::seconds(cardTimeout).count()),
                     curl.endedAt ? "ended" : "still waiting", curl.exitCode, curl.output.c_str());
        return std::nullopt;
    }
    Timing timing;
    timing.curlToCard = millisecondsBetween(curl.startedAt, *screen.cardMappedAt());
    timing.requestToCard = millisecondsBetween(*relay.requestArrivedAt, *screen.cardMappedAt());
    waitFor(screen, relay, &curl, readingPause, [] { return false; });
    if (curl.endedAt) {
        std::fprintf(stderr, "card_latency_probe: curl ended before the answer: %s\n", curl.output.c_str());
        return std::nullopt;
    }
    const auto typedAt = Clock::now();
    screen.typeAltY();
    if (!waitFor(screen, relay, &curl, answerTimeout, [&] { return curl.endedAt.has_value(); })) {
        std::fprintf(stderr, "card_latency_probe: no answer within %lld s of Alt+Y\n",
                     static_cast<long long>(std::chrono::seconds(answerTimeout).count()));
        return std::nullopt;
    }
    if (curl.output.find("\"allow\"") == std::string::npos) {
        std::fprintf(stderr, "card_latency_probe: the answer is not an allow: %s\n", curl.output.c_str());
        return std::nullopt;
    }
    timing.keyToReply = millisecondsBetween(typedAt, *curl.endedAt);
    return timing;
}

} // namespace

int main(int argc, char** argv) {
    int runs = 5;
    std::string label = "card";
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        if (argument == "--runs" && index + 1 < argc) {
            runs = std::clamp(std::atoi(argv[++index]), 1, 1000);
        } else if (argument == "--label" && index + 1 < argc) {
            label = argv[++index];
        } else {
            std::fprintf(stderr, "usage: card_latency_probe [--runs N] [--label TEXT]\n");
            return 2;
        }
    }
    const char* home = std::getenv("HOME");
    if (home == nullptr) {
        std::fprintf(stderr, "card_latency_probe: HOME is not set\n");
        return 2;
    }
    const std::string folder = std::string(home) + "/.tessary/";
    const auto url = readTrimmed(folder + "hook-endpoint");
    const auto token = readTrimmed(folder + "hook-token");
    if (!url || !token) {
        std::fprintf(stderr,
                     "card_latency_probe: Tessary is not listening (no %shook-endpoint or hook-token)\n",
                     folder.c_str());
        return 2;
    }
    const auto endpoint = Endpoint::parse(*url);
    if (!endpoint) {
        std::fprintf(stderr, "card_latency_probe: %shook-endpoint is not a loopback address\n",
                     folder.c_str());
        return 2;
    }
    Screen screen;
    Relay relay(endpoint->port);
    if (!screen.open() || !relay.listen()) {
        return 2;
    }
    const std::string relayURL = "http://127.0.0.1:" + std::to_string(relay.port()) + endpoint->path;
    for (int run = 1; run <= runs; ++run) {
        const auto timing = measureOnce(screen, relay, relayURL, *token, run);
        if (!timing) {
            return 1;
        }
        std::printf("%s %d curl-to-card %.1f request-to-card %.1f key-to-reply %.1f\n", label.c_str(), run,
                    timing->curlToCard, timing->requestToCard, timing->keyToReply);
        std::fflush(stdout);
        std::this_thread::sleep_for(runPause);
    }
    return 0;
}
