#include "services/shell/Shell.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <algorithm>
#include <cmath>

namespace tessary {

namespace {

// How often the wait wakes to collect output and look at the deadline.
constexpr int waitSliceMilliseconds = 100;
// Starting is a fork and an exec; a system that takes longer than this is stuck.
constexpr int startLimitMilliseconds = 30000;

QDeadlineTimer deadlineFor(std::optional<double> timeout) {
    if (!timeout || !std::isfinite(*timeout)) {
        return QDeadlineTimer(QDeadlineTimer::Forever);
    }
    const double milliseconds = std::clamp(*timeout * 1000.0, 0.0, 24.0 * 3600.0 * 1000.0);
    return QDeadlineTimer(static_cast<qint64>(milliseconds));
}

// Asks the child to end, then kills it after the grace period, and reaps it.
void stop(QProcess& process) {
    process.terminate();
    if (!process.waitForFinished(Shell::killGraceMilliseconds)) {
        process.kill();
        process.waitForFinished(-1);
    }
}

std::optional<ShellFailure> start(QProcess& process, const QString& program, const QStringList& arguments) {
    process.setInputChannelMode(QProcess::ManagedInputChannel);
    process.start(program, arguments, QIODevice::ReadWrite);
    if (process.waitForStarted(startLimitMilliseconds)) {
        return std::nullopt;
    }
    const QString reason = process.errorString();
    if (process.state() != QProcess::NotRunning) {
        stop(process);
    }
    return ShellFailure{ShellFailure::Kind::failedToStart, program + QStringLiteral(": ") + reason};
}

// The input is closed first: a child that reads it to its end leaves by itself.
void closeAndStop(QProcess& process) {
    process.closeWriteChannel();
    if (process.state() != QProcess::NotRunning &&
        !process.waitForFinished(Shell::inputClosedGraceMilliseconds)) {
        stop(process);
    }
}

} // namespace

QStringList Shell::extraPathFolders() {
    return {QStringLiteral("/usr/bin"), QStringLiteral("/bin"), QStringLiteral("/usr/local/bin"),
            QDir::homePath() + QStringLiteral("/.local/bin")};
}

QProcessEnvironment Shell::extendedEnvironment(QProcessEnvironment environment) {
    const QString key = QStringLiteral("PATH");
    QStringList entries = environment.value(key).split(u':', Qt::SkipEmptyParts);
    for (const QString& folder : extraPathFolders()) {
        if (!entries.contains(folder)) {
            entries.append(folder);
        }
    }
    environment.insert(key, entries.join(u':'));
    return environment;
}

QString Shell::firstExecutable(const QStringList& candidates) {
    for (const QString& candidate : candidates) {
        const QFileInfo file(candidate);
        if (file.isAbsolute() && file.isFile() && file.isExecutable()) {
            return candidate;
        }
    }
    return {};
}

QString Shell::resolve(const QString& executable, const QProcessEnvironment& environment) {
    if (executable.isEmpty()) {
        return {};
    }
    if (executable.contains(u'/')) {
        const QFileInfo info(executable);
        // The mode bits, not access(2): for root that says yes to any file.
        const bool executableBits =
            (info.permissions() & (QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther)) != 0;
        return info.isFile() && executableBits ? info.absoluteFilePath() : QString();
    }
    const QStringList folders = environment.value(QStringLiteral("PATH")).split(u':', Qt::SkipEmptyParts);
    return QStandardPaths::findExecutable(executable, folders);
}

ShellResult Shell::run(const QString& executable, const QStringList& arguments, std::optional<double> timeout,
                       const std::optional<QProcessEnvironment>& environment) const {
    const QProcessEnvironment childEnvironment =
        extendedEnvironment(environment ? *environment : QProcessEnvironment::systemEnvironment());
    const QString program = resolve(executable, childEnvironment);
    if (program.isEmpty()) {
        return ShellFailure{ShellFailure::Kind::notFound, executable + QStringLiteral(" not found")};
    }

    const QDeadlineTimer deadline = deadlineFor(timeout);
    QProcess process;
    process.setProcessEnvironment(childEnvironment);
    process.setProcessChannelMode(QProcess::SeparateChannels);
    if (auto failure = start(process, program, arguments)) {
        return std::move(*failure);
    }
    // The child reads nothing from us: it sees the end of its input at once.
    process.closeWriteChannel();

    QByteArray output;
    QByteArray errorOutput;
    const auto collect = [&] {
        output += process.readAllStandardOutput();
        errorOutput += process.readAllStandardError();
        return output.size() <= outputLimit && errorOutput.size() <= outputLimit;
    };

    while (true) {
        const qint64 remaining = deadline.remainingTime();
        const int slice = remaining < 0
                              ? waitSliceMilliseconds
                              : static_cast<int>(std::min<qint64>(remaining, waitSliceMilliseconds));
        // waitForFinished keeps both pipes drained while it waits.
        const bool finished = process.waitForFinished(slice);
        if (!collect()) {
            stop(process);
            return ShellFailure{ShellFailure::Kind::outputTooLarge,
                                program + QStringLiteral(" wrote more output than allowed")};
        }
        if (finished || process.state() == QProcess::NotRunning) {
            break;
        }
        if (deadline.hasExpired()) {
            stop(process);
            return ShellFailure{ShellFailure::Kind::timedOut, program + QStringLiteral(" timed out")};
        }
    }
    collect();

    if (process.exitStatus() == QProcess::CrashExit) {
        return ShellFailure{ShellFailure::Kind::crashed, program + QStringLiteral(" ended abnormally")};
    }
    return ShellOutcome{process.exitCode(), QString::fromUtf8(output), QString::fromUtf8(errorOutput)};
}

} // namespace tessary

namespace tessary {

ShellConversationResult
Shell::converse(const ShellConversation& conversation,
                const std::function<ShellListening(QByteArrayView output)>& listen) const {
    const QProcessEnvironment childEnvironment =
        extendedEnvironment(QProcessEnvironment::systemEnvironment());
    const QString program = resolve(conversation.executable, childEnvironment);
    if (program.isEmpty()) {
        return ShellFailure{ShellFailure::Kind::notFound,
                            conversation.executable + QStringLiteral(" not found")};
    }

    const QDeadlineTimer deadline = deadlineFor(conversation.timeout);
    QProcess process;
    process.setProcessEnvironment(childEnvironment);
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.setReadChannel(QProcess::StandardOutput);
    process.setStandardErrorFile(QProcess::nullDevice());
    if (!conversation.workingDirectory.isEmpty()) {
        process.setWorkingDirectory(conversation.workingDirectory);
    }
    if (auto failure = start(process, program, conversation.arguments)) {
        return std::move(*failure);
    }
    process.write(conversation.input);

    qint64 heard = 0;
    while (true) {
        const qint64 remaining = deadline.remainingTime();
        const int slice = remaining < 0
                              ? waitSliceMilliseconds
                              : static_cast<int>(std::min<qint64>(remaining, waitSliceMilliseconds));
        // Waiting for output also writes what is left of the input.
        QElapsedTimer waited;
        waited.start();
        if (!process.waitForReadyRead(slice) && waited.elapsed() < slice / 2 &&
            process.state() != QProcess::NotRunning) {
            // Output closed by a child that runs on: wait for its end instead of spinning.
            process.waitForFinished(slice);
        }
        const QByteArray output = process.readAllStandardOutput();
        heard += output.size();
        if (listen(output) == ShellListening::done) {
            closeAndStop(process);
            return ShellConversationEnd{true};
        }
        if (heard > outputLimit) {
            closeAndStop(process);
            return ShellFailure{ShellFailure::Kind::outputTooLarge,
                                program + QStringLiteral(" wrote more output than allowed")};
        }
        if (process.state() == QProcess::NotRunning && process.bytesAvailable() == 0) {
            break;
        }
        if (deadline.hasExpired()) {
            closeAndStop(process);
            return ShellFailure{ShellFailure::Kind::timedOut, program + QStringLiteral(" timed out")};
        }
    }
    if (process.exitStatus() == QProcess::CrashExit) {
        return ShellFailure{ShellFailure::Kind::crashed, program + QStringLiteral(" ended abnormally")};
    }
    return ShellConversationEnd{false};
}

} // namespace tessary
