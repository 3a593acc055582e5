#pragma once

#include "core/diagnostics/DiagnosticLogger.h"
#include "modules/agents/installers/AgentHookInstaller.h"

#include <QProcess>
#include <QString>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

// The hook commands as the installers write them into the agents' settings, and a way to run
// them as the agents do: a real shell, real curl, the body on standard input.
namespace HookCommands {

// How a hook command ended: its exit status and what it printed (the hook's output to the agent).
struct HookRun {
    int exitCode = -1;
    QByteArray output;
    bool operator==(const HookRun&) const = default;
};

// `source` is empty for Claude Code.
inline QString eventCommand(const QString& source) {
    return tessary::AgentHookInstaller::eventCommand(source.isEmpty() ? u"claude"_s : source);
}

// `curlLimit` is the installers' own (545 for Claude Code, 50 for Codex) unless a test shortens it.
inline QString decisionCommand(const QString& source, int curlLimit = 0) {
    if (curlLimit <= 0) {
        curlLimit = source == u"codex"_s ? 50 : 545;
    }
    return tessary::AgentHookInstaller::decisionCommand(source.isEmpty() ? u"claude"_s : source, curlLimit);
}

// Starts `command` with HOME at `home` and `body` on its standard input; nothing if it could not start.
inline std::unique_ptr<QProcess> start(const QString& home, const QString& command, const QByteArray& body) {
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, home);
    process->setProcessEnvironment(environment);
    process->start(u"/bin/sh"_s, {u"-c"_s, command});
    if (!process->waitForStarted(5000)) {
        return nullptr;
    }
    process->write(body);
    process->closeWriteChannel();
    return process;
}

// Waits for the command's end while the event loop runs (the listener answers on this thread).
inline HookRun finish(QProcess* process, int waitMilliseconds = 15000) {
    if (process == nullptr) {
        return {};
    }
    if (!QTest::qWaitFor([&] { return process->state() == QProcess::NotRunning; }, waitMilliseconds)) {
        process->kill();
        process->waitForFinished();
        return {};
    }
    return {process->exitStatus() == QProcess::NormalExit ? process->exitCode() : -1,
            process->readAllStandardOutput()};
}

// Whether a recent line of the diagnostic log holds `fragment`.
inline bool logged(const QString& fragment) {
    const QStringList lines = tessary::DiagnosticLogger::shared().recentLines();
    return std::any_of(lines.cbegin(), lines.cend(),
                       [&](const QString& line) { return line.contains(fragment); });
}

} // namespace HookCommands

namespace QTest {
template <>
inline char* toString(const HookCommands::HookRun& run) {
    return qstrdup(
        QByteArray("exit " + QByteArray::number(run.exitCode) + ", output \"" + run.output.left(200) + "\"")
            .constData());
}
} // namespace QTest
