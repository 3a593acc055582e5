#include "modules/localservices/DockerPortsParser.h"

#include <QList>

#include <optional>

namespace tessary::DockerPortsParser {

namespace {

std::optional<int> port(QStringView text) {
    bool ok = false;
    const int value = text.toInt(&ok);
    return ok && value >= 1 && value <= 65535 && !text.startsWith(u'+') ? std::optional<int>(value)
                                                                        : std::nullopt;
}

} // namespace

std::map<int, QString> containers(QStringView output) {
    std::map<int, QString> result;
    for (const QStringView line : output.split(u'\n')) {
        const qsizetype tab = line.indexOf(u'\t');
        if (tab <= 0) {
            continue;
        }
        const QString name = line.first(tab).trimmed().toString();
        if (name.isEmpty()) {
            continue;
        }
        for (const QStringView entry : line.sliced(tab + 1).split(u',')) {
            const qsizetype arrow = entry.indexOf(u"->");
            if (arrow < 0) {
                continue;
            }
            const QStringView host = entry.first(arrow).trimmed();
            const qsizetype colon = host.lastIndexOf(u':');
            const QStringView ports = host.sliced(colon + 1);
            const qsizetype dash = ports.indexOf(u'-');
            const auto first = port(dash < 0 ? ports : ports.first(dash));
            const auto last = dash < 0 ? first : port(ports.sliced(dash + 1));
            if (!first || !last || *last < *first || *last - *first >= rangeLimit) {
                continue;
            }
            for (int value = *first; value <= *last; ++value) {
                result.emplace(value, name);
            }
        }
    }
    return result;
}

} // namespace tessary::DockerPortsParser
