#pragma once

#include <QString>
#include <QStringView>

#include <map>

namespace tessary {

// Reads `docker ps --format "{{.Names}}\t{{.Ports}}"`: one container a line, its name, a tab and its
// published ports, such as "0.0.0.0:8080->80/tcp, [::]:8080->80/tcp".
namespace DockerPortsParser {

// Host port to container name. In each entry the part before "->" is the host side and its port
// follows the last ":"; a range ("8000-8002") stands for each of its ports, up to `rangeLimit`.
// Entries without "->" are not published and are passed over.
std::map<int, QString> containers(QStringView output);

inline constexpr int rangeLimit = 256;

} // namespace DockerPortsParser

} // namespace tessary
