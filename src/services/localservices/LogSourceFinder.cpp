#include "services/localservices/LogSourceFinder.h"

#include "modules/localservices/LogSourcePicker.h"

#include <QFileInfo>

#include <fcntl.h>

namespace tessary {

using namespace Qt::StringLiterals;

std::optional<QString> LogSourceFinder::logFile(std::int32_t pid, const QString& processKey,
                                                LogFileCache& cache) const {
    if (auto known = cache.value(processKey)) {
        return *known;
    }
    auto found = find(pid);
    cache.insert(processKey, found);
    return found;
}

std::optional<QString> LogSourceFinder::find(std::int32_t pid) const {
    const auto descriptors = m_proc.descriptors(pid);
    if (!descriptors.empty()) {
        std::vector<LogSourcePicker::OpenFile> files;
        for (const auto& descriptor : descriptors) {
            if (!descriptor.target.startsWith(u'/')) {
                continue; // sockets, pipes, anonymous files
            }
            LogSourcePicker::OpenFile file;
            file.descriptor = descriptor.number;
            file.path = descriptor.target;
            file.isRegularFile = QFileInfo(descriptor.target).isFile();
            const auto flags = m_proc.fileFlags(pid, descriptor.number);
            file.isWritable = flags && (*flags & O_ACCMODE) != O_RDONLY;
            files.push_back(std::move(file));
        }
        return LogSourcePicker::pick(files);
    }
    if (!m_lsof) {
        return std::nullopt;
    }
    const ShellResult result =
        m_runner.run(*m_lsof, {u"-n"_s, u"-P"_s, u"-a"_s, u"-p"_s, QString::number(pid), u"-F"_s, u"fatn"_s},
                     5.0, std::nullopt);
    const auto* outcome = std::get_if<ShellOutcome>(&result);
    if (outcome == nullptr) {
        return std::nullopt;
    }
    return LogSourcePicker::pick(LogSourcePicker::parse(outcome->output));
}

} // namespace tessary
