#pragma once

#include "core/localization/Localization.h"
#include "core/records/EnumText.h"
#include "modules/vitals/VitalsRecords.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <cstdint>
#include <optional>
#include <vector>

namespace tessary {

enum class Scheme { http, https };
template <>
struct EnumTable<Scheme> {
    static constexpr std::array<std::pair<Scheme, const char*>, 2> cases{{
        {Scheme::http, "http"},
        {Scheme::https, "https"},
    }};
};

// What a listening process is, as far as its name, arguments and project tell.
struct Technology {
    enum class Kind { web, runtime, database, container, unknown };

    QString name;
    Kind kind = Kind::unknown;
    bool operator==(const Technology&) const = default;

    static Technology unknown() { return {}; }
};

template <>
struct EnumTable<Technology::Kind> {
    static constexpr std::array<std::pair<Technology::Kind, const char*>, 5> cases{{
        {Technology::Kind::web, "web"},
        {Technology::Kind::runtime, "runtime"},
        {Technology::Kind::database, "database"},
        {Technology::Kind::container, "container"},
        {Technology::Kind::unknown, "unknown"},
    }};
};

// The agent session that opened a server, and how that is known: its process descends from the
// agent's (`ancestry`), or only its folder lies in the session's project (`directory`).
struct SessionLink {
    enum class Evidence { ancestry, directory };

    QString sessionID;
    QString title;
    Evidence evidence = Evidence::directory;
    bool operator==(const SessionLink&) const = default;
};

// One listening TCP port and what is known of its process.
struct LocalService {
    static constexpr int ephemeralPort = 49152;

    QString id;
    int port = 0;
    QString address;
    std::int32_t pid = 0;
    std::optional<std::uint32_t> uid;
    QString command;
    std::optional<QString> arguments;
    std::optional<QString> directory;
    Technology technology;
    std::optional<SessionLink> owner;
    std::optional<QString> container;
    QStringList logLines;
    Scheme scheme = Scheme::http;
    std::optional<QUrl> logFile;
    std::optional<QDateTime> startedAt;
    std::optional<ProcessResources> resources;
    std::optional<double> cpuPercent;
    bool operator==(const LocalService&) const = default;

    // The identity of a listener: its process and port.
    static QString identifier(std::int32_t pid, int port);

    [[nodiscard]] bool isEphemeral() const { return port >= ephemeralPort; }
    // Everything but a database may answer HTTP.
    [[nodiscard]] bool isHTTPLikely() const { return technology.kind != Technology::Kind::database; }
    // True when the owner is unknown or is `currentUID`.
    [[nodiscard]] bool isMine(std::uint32_t currentUID) const { return !uid || *uid == currentUID; }
    // The last component of the working folder.
    [[nodiscard]] QString projectName() const;
    // The working folder with the home folder written "~".
    [[nodiscard]] QString displayDirectory(const QString& home) const;
    // The name a person knows it by: the technology's, or the command's.
    [[nodiscard]] QString label() const;
    // "http://localhost:<port>/" or the https form.
    [[nodiscard]] QUrl url() const;
};

// What the CPU and Memory rows say of the processes they hold: the agents, and each server as
// "<label> :<port>".
ProcessLabels processLabels(const std::vector<LocalService>& services, std::vector<std::int32_t> agentPIDs);

// Why a scan gave no list.
struct LocalServicesError {
    enum class Kind { scanFailed };
    Kind kind = Kind::scanFailed;
    QString message;
    bool operator==(const LocalServicesError&) const = default;

    static LocalServicesError scanFailed(QString message) { return {Kind::scanFailed, std::move(message)}; }
    // "could not list local ports: %1".
    [[nodiscard]] QString userText(const Localization& localization) const;
};

template <>
struct EnumTable<LocalServicesError::Kind> {
    static constexpr std::array<std::pair<LocalServicesError::Kind, const char*>, 1> cases{{
        {LocalServicesError::Kind::scanFailed, "scanFailed"},
    }};
};

} // namespace tessary
