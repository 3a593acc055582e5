#pragma once

#include "services/shell/ProcessRunner.h"

#include <QString>
#include <QStringList>

#include <map>
#include <optional>

namespace tessary {

// The docker command line, where a client is installed. Every failure (no engine running, a time-out,
// a refusal) gives nothing: containers only add to what the scan knows.
class DockerClient {
public:
    static constexpr double timeoutSeconds = 5;
    static constexpr int logLines = 8;

    DockerClient(const ProcessRunner& runner, std::optional<QString> executable)
        : m_runner(runner)
        , m_executable(std::move(executable)) {}

    // The first executable of /usr/local/bin/docker, /opt/homebrew/bin/docker, /usr/bin/docker.
    static std::optional<QString> find();

    [[nodiscard]] const std::optional<QString>& executable() const { return m_executable; }

    // Host port to container name, from "docker ps".
    [[nodiscard]] std::map<int, QString> containers() const;
    // The last lines of a container's log: "docker logs --tail 8 <name>", both streams.
    [[nodiscard]] QStringList logs(const QString& container) const;

private:
    const ProcessRunner& m_runner;
    std::optional<QString> m_executable;
};

} // namespace tessary
