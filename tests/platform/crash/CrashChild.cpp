// A small program armed like the application, for the crash tests: it dies in the way its argument
// names, or ("check") says what its start learns about the previous run.
#include "core/diagnostics/CrashExceptionDeduplicator.h"
#include "core/diagnostics/DiagnosticLog.h"
#include "platform/crash/CrashCapture.h"
#include "services/diagnostics/CrashHistory.h"

#include <QCoreApplication>
#include <QSettings>
#include <QTemporaryFile>

#include <array>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

// Deep enough to overflow any main-thread stack; the array keeps each frame large and the use after
// the call keeps the recursion from becoming a loop.
// Never reached: it only tells the compiler that the recursion has an end.
volatile int deepest = -1;

int overflow(int depth) {
    if (depth == deepest) {
        return 0;
    }
    std::array<char, 4096> frame{};
    frame.at(static_cast<std::size_t>(depth) % frame.size()) = static_cast<char>(depth);
    const volatile char* kept = frame.data();
    return overflow(depth + 1) + kept[depth % 4096];
}

[[noreturn]] void busError() {
    QTemporaryFile file;
    (void)file.open();
    // A mapping past the end of an empty file: touching it is a bus error.
    void* mapped = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, static_cast<int>(file.handle()), 0);
    const volatile char* bytes = static_cast<const char*>(mapped);
    std::printf("%d\n", bytes[0]);
    std::abort();
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    application.setOrganizationName(u"Tessary"_s);
    application.setApplicationName(u"Tessary"_s);
    const QString mode = argc > 1 ? QString::fromLatin1(argv[1]) : QString();
    const auto sink = DiagnosticLog::startFileLogging();
    if (!sink) {
        return 2;
    }
    if (mode == u"check"_s) {
        QSettings defaults;
        const auto reports = CrashHistory(sink->directory(), nullptr, u"tessary"_s).reports();
        const auto crashed =
            CrashHistory::checkPreviousRun(defaults, reports, QDateTime::currentDateTimeUtc());
        std::printf("%s %d\n", crashed ? "crashed" : "none", crashed ? crashed->signal : 0);
        DiagnosticLog::flush();
        return 0;
    }
    CrashCapture::installSignalMarker(sink->descriptor());
    CrashExceptionDeduplicator deduplicator;
    CrashCapture::installUncaughtExceptionHandler(DiagnosticLogger::shared(), deduplicator);
    DiagnosticLog::info(DiagnosticCategory::app, "launch");
    DiagnosticLog::flush();

    if (mode == u"segv"_s) {
        // A page that may not be touched (a null pointer would be caught by the sanitizer first).
        void* page = ::mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        *static_cast<volatile int*>(page) = 1;
    } else if (mode == u"bus"_s) {
        busError();
    } else if (mode == u"ill"_s) {
        __builtin_trap();
    } else if (mode == u"trap"_s) {
        __asm__ volatile("int3");
    } else if (mode == u"abort"_s) {
        std::abort();
    } else if (mode == u"overflow"_s) {
        return overflow(0);
    } else if (mode == u"throw"_s) {
        throw std::runtime_error("cannot open /home/ana/private.txt");
    } else if (mode == u"wait"_s) {
        std::puts("ready");
        std::fflush(stdout);
        for (;;) {
            ::pause();
        }
    }
    return 3;
}
