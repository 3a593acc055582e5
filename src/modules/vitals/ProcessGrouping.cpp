#include "modules/vitals/ProcessGrouping.h"

#include <QStringList>

#include <algorithm>
#include <map>

namespace tessary::ProcessGrouping {

using namespace Qt::StringLiterals;

std::vector<ProcessUsage> groups(const std::vector<ProcessSample>& samples, std::uint32_t currentUID) {
    struct Row {
        ProcessUsage usage;
        std::int32_t namedBy = 0;
    };
    std::map<QString, Row> rows;
    for (const ProcessSample& sample : samples) {
        if (sample.uid && *sample.uid != currentUID) {
            continue;
        }
        Row& row = rows[sample.key];
        ProcessUsage& usage = row.usage;
        if (usage.pids.empty() || sample.pid < row.namedBy) {
            usage.name = sample.name;
            row.namedBy = sample.pid;
        }
        usage.id = sample.key;
        usage.pids.push_back(sample.pid);
        usage.footprint += sample.footprint;
        if (sample.cpuPercent) {
            usage.cpuPercent = usage.cpuPercent.value_or(0) + *sample.cpuPercent;
        }
    }
    std::vector<ProcessUsage> result;
    result.reserve(rows.size());
    for (auto& [key, row] : rows) {
        std::sort(row.usage.pids.begin(), row.usage.pids.end());
        result.push_back(std::move(row.usage));
    }
    return result;
}

bool holdsAgent(const ProcessUsage& usage, const ProcessLabels& labels) {
    return std::any_of(labels.agentPIDs.begin(), labels.agentPIDs.end(), [&](std::int32_t pid) {
        return std::find(usage.pids.begin(), usage.pids.end(), pid) != usage.pids.end();
    });
}

std::vector<ProcessUsage> labeled(std::vector<ProcessUsage> usages, const ProcessLabels& labels,
                                  const Localization& localization) {
    for (ProcessUsage& usage : usages) {
        QStringList parts;
        for (const std::int32_t agent : labels.agentPIDs) {
            if (std::find(usage.pids.begin(), usage.pids.end(), agent) != usage.pids.end()) {
                parts.append(localization.format(u"pid %1 · session"_s, QString::number(agent)));
                break;
            }
        }
        for (const auto& [pid, service] : labels.services) {
            if (std::find(usage.pids.begin(), usage.pids.end(), pid) != usage.pids.end() &&
                !parts.contains(service)) {
                parts.append(service);
            }
        }
        if (usage.pids.size() > 1) {
            parts.append(localization.format(u"%1 processes"_s, QString::number(usage.pids.size())));
        }
        usage.detail = parts.isEmpty() ? std::nullopt : std::optional<QString>(parts.join(u" · "_s));
    }
    return usages;
}

} // namespace tessary::ProcessGrouping
