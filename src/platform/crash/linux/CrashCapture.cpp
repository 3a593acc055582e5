#include "platform/crash/CrashCapture.h"

#include "core/diagnostics/CrashExceptionDeduplicator.h"
#include "core/diagnostics/CrashMarker.h"
#include "core/diagnostics/CrashReportText.h"
#include "core/diagnostics/DiagnosticLogger.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <cxxabi.h>
#include <exception>
#include <typeinfo>
#include <unistd.h>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

constexpr int signalCount = 32;

// All made before any handler can run; the handler only reads them.
std::atomic<int> g_descriptor{-1};
std::atomic<bool> g_armed{false};
std::array<char, CrashMarker::capacity> g_marker{};
std::array<struct sigaction, signalCount> g_saved{};
alignas(16) std::array<char, CrashCapture::alternateStackSize> g_stack{};

DiagnosticLogger* g_logger = nullptr;
CrashExceptionDeduplicator* g_deduplicator = nullptr;

void writeAll(int descriptor, const char* bytes, std::size_t size) noexcept {
    while (size > 0) {
        const ssize_t written = ::write(descriptor, bytes, size);
        if (written <= 0) {
            return; // nothing to tell and no one to tell it to
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

void onSignal(int signal, siginfo_t* /*info*/, void* /*context*/) {
    const int descriptor = g_descriptor.load(std::memory_order_relaxed);
    if (descriptor >= 0) {
        const std::size_t size = CrashMarker::render(signal, static_cast<long long>(::time(nullptr)),
                                                     g_marker.data(), g_marker.size());
        writeAll(descriptor, g_marker.data(), size);
    }
    if (signal > 0 && signal < signalCount) {
        ::sigaction(signal, &g_saved.at(static_cast<std::size_t>(signal)), nullptr);
    }
    // A fault would repeat on return, but a signal sent with kill(2) or raise(3) would not: raising it
    // again covers both. It stays blocked until the handler returns, then the previous action ends the
    // process.
    ::raise(signal);
}

QString exceptionTypeName() {
    const std::type_info* type = abi::__cxa_current_exception_type();
    if (type == nullptr) {
        return u"other"_s;
    }
    int status = 0;
    char* demangled = abi::__cxa_demangle(type->name(), nullptr, nullptr, &status);
    QString name = status == 0 && demangled != nullptr ? QString::fromLatin1(demangled) : u"other"_s;
    std::free(demangled); // NOLINT(cppcoreguidelines-no-malloc): __cxa_demangle's buffer
    return name.isEmpty() || name.size() > 40 ? u"other"_s : name;
}

[[noreturn]] void onTerminate() {
    if (g_logger != nullptr && g_deduplicator != nullptr) {
        CrashCapture::recordCurrentException("uncaught", *g_logger, *g_deduplicator);
    }
    std::abort();
}

} // namespace

bool CrashCapture::installSignalMarker(int descriptor) {
    if (g_armed.exchange(true)) {
        return false;
    }
    g_descriptor.store(descriptor);
    stack_t stack{};
    stack.ss_sp = g_stack.data();
    stack.ss_size = g_stack.size();
    ::sigaltstack(&stack, nullptr);

    struct sigaction action {};
    action.sa_sigaction = onSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (const int signal : caughtSignals) {
        sigaddset(&action.sa_mask, signal);
    }
    for (const int signal : caughtSignals) {
        ::sigaction(signal, &action, &g_saved.at(static_cast<std::size_t>(signal)));
    }
    return true;
}

void CrashCapture::installUncaughtExceptionHandler(DiagnosticLogger& logger,
                                                   CrashExceptionDeduplicator& deduplicator) {
    g_logger = &logger;
    g_deduplicator = &deduplicator;
    std::set_terminate(onTerminate);
}

void CrashCapture::recordCurrentException(const char* origin, DiagnosticLogger& logger,
                                          CrashExceptionDeduplicator& deduplicator) {
    const std::exception_ptr current = std::current_exception();
    if (!current) {
        return;
    }
    // The exception object's address is its identity: the same object thrown on is caught at the same
    // address. An exception of another kind has none and is always written.
    const void* identity = nullptr;
    std::optional<QString> reason;
    try {
        std::rethrow_exception(current);
    } catch (const std::exception& exception) {
        identity = &exception;
        reason = QString::fromUtf8(exception.what());
    } catch (...) {
    }
    if (identity != nullptr && !deduplicator.shouldRecord(identity, QDateTime::currentDateTimeUtc())) {
        return;
    }
    const QString header =
        logger.formattedLine(DiagnosticLevel::error, DiagnosticCategory::crash, "exception",
                             {{"origin", DiagnosticValue::audited(QString::fromLatin1(origin))},
                              {"type", DiagnosticValue::audited(QString::fromUtf8(
                                           CrashReportText::redacted(exceptionTypeName().toUtf8())))}});
    const QString block =
        CrashReportText::exceptionBlock(header, reason, {}, logger.recentLinesIfAvailable());
    const auto sink = logger.sinkIfAvailable();
    if (sink && *sink) {
        (*sink)->writeSynchronously(block.toUtf8());
    }
}

} // namespace tessary
