// The files of /proc are written by the kernel, but a process can end halfway through a read, put
// anything in its own name and arguments, and a test points the readers at files of its choosing. The
// first byte of the input chooses the reader; the figures that come out must stay within their bounds.
#include "modules/localservices/ProcNetParser.h"
#include "modules/vitals/HostFigures.h"
#include "modules/vitals/ProcParser.h"
#include "support/FuzzCheck.h"

#include <cmath>
#include <cstdint>

namespace {

using namespace tessary;

void machine(QByteArrayView text) {
    const auto ticks = ProcParser::cpuTicks(text);
    check(ProcParser::cpuCount(text) >= 0);
    (void)ProcParser::bootTime(text);
    if (ticks) {
        const CPUTicks later{ticks->user + 7, ticks->system + 3, ticks->idle + 10, ticks->nice};
        const auto reading = HostFigures::cpuReading(*ticks, later, 4, {}, std::nullopt);
        check(reading.has_value());
        check(reading->percent >= 0 && reading->percent <= 100);
        check(std::abs(reading->percent - reading->userPercent - reading->systemPercent) < 1e-9);
        const auto backwards = HostFigures::cpuReading(later, *ticks, 4, {}, std::nullopt);
        check(!backwards || (backwards->percent >= 0 && backwards->percent <= 100));
    }
}

void memory(QByteArrayView text) {
    const auto info = ProcParser::memInfo(text);
    const auto stall = ProcParser::pressure(text);
    if (stall) {
        check(stall->someAvg10 >= 0 && stall->someAvg10 <= 100);
    }
    if (info) {
        const MemoryReading reading = HostFigures::memoryReading(*info, stall);
        check(reading.app + reading.wired + reading.compressed <= reading.total);
        check(reading.usedFraction() >= 0 && reading.usedFraction() <= 1);
        check(reading.swapUsed <= reading.swapTotal);
    }
}

void process(QByteArrayView text) {
    if (const auto stat = ProcParser::processStat(text)) {
        check(stat->pid > 0);
        check(stat->parent >= 0);
    }
    if (const auto statm = ProcParser::processStatm(text)) {
        check(statm->privatePages() <= statm->resident);
    }
    (void)ProcParser::fileFlags(text);
    for (const double load : ProcParser::loadAverages(text)) {
        check(load >= 0 && std::isfinite(load));
    }
    qsizetype characters = 0;
    for (const QString& argument : ProcParser::commandLine(text)) {
        characters += argument.size();
    }
    check(characters <= text.size());
}

void sockets(QByteArrayView text) {
    for (const auto& socket : ProcNetParser::listening(text)) {
        check(socket.port >= 1 && socket.port <= 65535);
        check(socket.inode > 0);
        check(socket.address == QLatin1StringView("*") || socket.address.front().isDigit() ||
              socket.address.front() == u'[');
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const QByteArrayView text(reinterpret_cast<const char*>(data) + 1, static_cast<qsizetype>(size - 1));
    switch (data[0] % 4) {
    case 0:
        machine(text);
        break;
    case 1:
        memory(text);
        break;
    case 2:
        process(text);
        break;
    default:
        sockets(text);
        break;
    }
    return 0;
}
