#include "services/localservices/DockerClient.h"

#include "modules/localservices/DockerPortsParser.h"

#include <QFileInfo>

namespace tessary {

using namespace Qt::StringLiterals;

std::optional<QString> DockerClient::find() {
    for (const QString& candidate :
         {u"/usr/local/bin/docker"_s, u"/opt/homebrew/bin/docker"_s, u"/usr/bin/docker"_s}) {
        const QFileInfo info(candidate);
        if (info.isFile() && info.isExecutable()) {
            return candidate;
        }
    }
    return std::nullopt;
}

std::map<int, QString> DockerClient::containers() const {
    if (!m_executable) {
        return {};
    }
    const ShellResult result = m_runner.run(
        *m_executable, {u"ps"_s, u"--format"_s, u"{{.Names}}\t{{.Ports}}"_s}, timeoutSeconds, std::nullopt);
    const auto* outcome = std::get_if<ShellOutcome>(&result);
    if (outcome == nullptr || outcome->status != 0) {
        return {};
    }
    return DockerPortsParser::containers(outcome->output);
}

QStringList DockerClient::logs(const QString& container) const {
    if (!m_executable || container.isEmpty() || container.startsWith(u'-')) {
        return {};
    }
    const ShellResult result =
        m_runner.run(*m_executable, {u"logs"_s, u"--tail"_s, QString::number(logLines), container},
                     timeoutSeconds, std::nullopt);
    const auto* outcome = std::get_if<ShellOutcome>(&result);
    if (outcome == nullptr || outcome->status != 0) {
        return {};
    }
    // A container writes to both streams; interleaving is lost, the last lines of both are kept.
    QStringList lines = QString(outcome->output + outcome->errorOutput).split(u'\n', Qt::SkipEmptyParts);
    if (lines.size() > qsizetype{logLines} * 2) {
        lines = lines.mid(lines.size() - qsizetype{logLines} * 2);
    }
    return lines;
}

} // namespace tessary
