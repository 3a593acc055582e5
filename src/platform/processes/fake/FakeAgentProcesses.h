#pragma once

#include "platform/processes/AgentProcesses.h"

#include <QHash>
#include <QSet>

#include <mutex>

namespace tessary {

// A process table written by the test. Agents are recognised by the same rule as on the real
// table; `scans` counts the calls of `live`.
class FakeAgentProcesses final : public AgentProcesses {
public:
    struct Process {
        qint32 pid = 0;
        qint32 parent = 1;
        QString executable;
        QStringList arguments;
        std::optional<QString> directory;
        QDateTime startedAt;
        std::optional<QString> tty;
        QHash<QString, QString> environment;
        bool isAlive = true;
    };

    void add(const Process& process) {
        const std::lock_guard lock(m_lock);
        m_processes.insert(process.pid, process);
    }
    void remove(qint32 pid) {
        const std::lock_guard lock(m_lock);
        m_processes.remove(pid);
    }
    [[nodiscard]] int scans() const {
        const std::lock_guard lock(m_lock);
        return m_scans;
    }

    [[nodiscard]] QList<AgentProcess> live(const QStringList& names) const override {
        const std::lock_guard lock(m_lock);
        ++m_scans;
        QList<AgentProcess> found;
        for (const Process& process : m_processes) {
            const auto agent = AgentProcessNames::agentName(
                process.executable,
                process.arguments.isEmpty() ? std::nullopt : std::optional(process.arguments.first()), names);
            if (process.isAlive && agent) {
                found.append({process.pid, process.directory, process.startedAt, agent});
            }
        }
        std::sort(found.begin(), found.end(),
                  [](const AgentProcess& a, const AgentProcess& b) { return a.pid < b.pid; });
        return found;
    }
    [[nodiscard]] bool exists(qint32 pid) const override {
        const auto process = find(pid);
        return process && process->isAlive;
    }
    [[nodiscard]] QList<ProcessLink> descendants(qint32 pid) const override {
        const std::lock_guard lock(m_lock);
        QList<ProcessLink> found;
        QList<qint32> parents{pid};
        QSet<qint32> seen{pid};
        for (qsizetype next = 0; next < parents.size(); ++next) {
            for (const Process& process : m_processes) {
                if (process.parent == parents.at(next) && !seen.contains(process.pid)) {
                    seen.insert(process.pid);
                    found.append({process.pid, process.parent, process.startedAt});
                    parents.append(process.pid);
                }
            }
        }
        return found;
    }
    [[nodiscard]] std::optional<QStringList> arguments(qint32 pid) const override {
        const auto process = find(pid);
        return process && !process->arguments.isEmpty() ? std::optional(process->arguments) : std::nullopt;
    }
    [[nodiscard]] std::optional<bool> hasControllingTerminal(qint32 pid) const override {
        const auto process = find(pid);
        return process ? std::optional(process->tty.has_value()) : std::nullopt;
    }
    [[nodiscard]] QList<qint32> ancestors(qint32 pid, int limit) const override {
        QList<qint32> chain;
        for (auto process = find(pid); process && process->parent >= 2 && chain.size() < limit;
             process = find(process->parent)) {
            chain.append(process->parent);
        }
        return chain;
    }
    [[nodiscard]] std::optional<QString> directory(qint32 pid) const override {
        const auto process = find(pid);
        return process ? process->directory : std::nullopt;
    }
    [[nodiscard]] std::optional<QString> executable(qint32 pid) const override {
        const auto process = find(pid);
        return process ? std::optional(process->executable) : std::nullopt;
    }
    [[nodiscard]] std::optional<QString> tty(qint32 pid) const override {
        const auto process = find(pid);
        return process ? process->tty : std::nullopt;
    }
    [[nodiscard]] std::optional<QDateTime> startedAt(qint32 pid) const override {
        const auto process = find(pid);
        return process ? std::optional(process->startedAt) : std::nullopt;
    }
    [[nodiscard]] std::optional<QString> environmentValue(const QString& name, qint32 pid) const override {
        const auto process = find(pid);
        if (!process || name.isEmpty() || name.contains(u'=') || !process->environment.contains(name)) {
            return std::nullopt;
        }
        return process->environment.value(name);
    }

private:
    [[nodiscard]] std::optional<Process> find(qint32 pid) const {
        const std::lock_guard lock(m_lock);
        const auto found = m_processes.constFind(pid);
        return found == m_processes.cend() ? std::nullopt : std::optional(*found);
    }

    mutable std::mutex m_lock;
    QHash<qint32, Process> m_processes;
    mutable int m_scans = 0;
};

} // namespace tessary
