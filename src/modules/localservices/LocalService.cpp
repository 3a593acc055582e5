#include "modules/localservices/LocalService.h"

namespace tessary {

using namespace Qt::StringLiterals;

QString LocalService::identifier(std::int32_t pid, int port) {
    return QString::number(pid) + u':' + QString::number(port);
}

QString LocalService::projectName() const {
    if (!directory) {
        return {};
    }
    QString folder = *directory;
    while (folder.size() > 1 && folder.endsWith(u'/')) {
        folder.chop(1);
    }
    const qsizetype slash = folder.lastIndexOf(u'/');
    return slash < 0 ? folder : folder.mid(slash + 1);
}

QString LocalService::displayDirectory(const QString& home) const {
    if (!directory) {
        return {};
    }
    if (!home.isEmpty() && home != "/"_L1) {
        if (*directory == home) {
            return u"~"_s;
        }
        if (directory->startsWith(home) && directory->at(home.size()) == u'/') {
            return u"~"_s + directory->mid(home.size());
        }
    }
    return *directory;
}

QString LocalService::label() const {
    return technology.name.isEmpty() ? command : technology.name;
}

QUrl LocalService::url() const {
    QUrl url;
    url.setScheme(rawValue(scheme));
    url.setHost(u"localhost"_s);
    url.setPort(port);
    url.setPath(u"/"_s);
    return url;
}

ProcessLabels processLabels(const std::vector<LocalService>& services, std::vector<std::int32_t> agentPIDs) {
    ProcessLabels labels;
    labels.agentPIDs = std::move(agentPIDs);
    for (const LocalService& service : services) {
        labels.services.emplace_back(service.pid, service.label() + u" :"_s + QString::number(service.port));
    }
    return labels;
}

QString LocalServicesError::userText(const Localization& localization) const {
    return localization.format(u"could not list local ports: %1"_s, message);
}

} // namespace tessary
