// The output of lsof and docker is read as it comes: any bytes a tool, a damaged terminal or a hostile
// process name can put there. The first byte of the input chooses the reader.
#include "modules/localservices/DockerPortsParser.h"
#include "modules/localservices/LogSourcePicker.h"
#include "modules/localservices/LsofParser.h"
#include "support/FuzzCheck.h"

#include <cstdint>
#include <set>

namespace {

using namespace tessary;

void listeners(const QString& text) {
    const std::vector<LsofParser::Listener> found = LsofParser::parse(text);
    std::set<std::pair<std::int32_t, int>> keys;
    for (const auto& listener : found) {
        check(listener.pid > 0);
        check(listener.port >= 1 && listener.port <= 65535);
        check(!listener.address.isEmpty());
        check(keys.insert({listener.pid, listener.port}).second); // one per process and port
    }
    check(std::is_sorted(keys.begin(), keys.end()));
    // Without listeners, an exit of 0 is never a failure; with them, no exit is.
    check(!LsofParser::scanFailure(0, text, 0));
    check(!LsofParser::scanFailure(3, text, found.size() + 1));
    if (const auto failure = LsofParser::scanFailure(2, text, 0)) {
        check(failure->startsWith(QLatin1StringView("lsof exited 2")));
    }
    if (const auto endpoint = LsofParser::endpoint(text)) {
        check(endpoint->port >= 1 && endpoint->port <= 65535);
    }
}

void openFiles(const QString& text) {
    const auto files = LogSourcePicker::parse(text);
    if (const auto log = LogSourcePicker::pick(files)) {
        check(log->startsWith(u'/'));
        check(std::any_of(files.begin(), files.end(), [&](const auto& file) { return file.path == *log; }));
    }
}

void dockerPorts(const QString& text) {
    for (const auto& [port, name] : DockerPortsParser::containers(text)) {
        check(port >= 1 && port <= 65535);
        check(!name.isEmpty());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const QString text =
        QString::fromUtf8(reinterpret_cast<const char*>(data) + 1, static_cast<qsizetype>(size - 1));
    switch (data[0] % 3) {
    case 0:
        listeners(text);
        break;
    case 1:
        openFiles(text);
        break;
    default:
        dockerPorts(text);
        break;
    }
    return 0;
}
