#include "modules/agents/live/ClaudeJobNeeds.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace tessary {

using namespace Qt::StringLiterals;

std::optional<QString> ClaudeJobNeeds::stateFile(const QString& jobID, const QString& jobsDirectory) {
    if (jobID.isEmpty() || jobID == "."_L1 || jobID == ".."_L1 || jobID.contains(u'/') ||
        jobID.contains(u'\\') || jobID.contains(QChar(0)) || jobsDirectory.isEmpty()) {
        return std::nullopt;
    }
    return QDir(jobsDirectory).filePath(jobID + "/state.json"_L1);
}

std::optional<QString> ClaudeJobNeeds::read(const QString& jobID, const QString& jobsDirectory) {
    const std::optional<QString> path = stateFile(jobID, jobsDirectory);
    if (!path) {
        return std::nullopt;
    }
    QFile file(*path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > fileLimit) {
        return std::nullopt;
    }
    return parse(file.read(fileLimit));
}

std::optional<QString> ClaudeJobNeeds::parse(QByteArrayView json) {
    const QJsonDocument document = QJsonDocument::fromJson(json.toByteArray());
    if (!document.isObject()) {
        return std::nullopt;
    }
    const QJsonObject state = document.object();
    const auto text = [&](const QString& key) -> std::optional<QString> {
        const QString value = state.value(key).toString().trimmed();
        return value.isEmpty() ? std::nullopt : std::optional(value);
    };
    if (auto needs = text(u"needs"_s)) {
        return needs;
    }
    if (state.value("state"_L1).toString() == "blocked"_L1) {
        return text(u"detail"_s);
    }
    return std::nullopt;
}

} // namespace tessary
