#include "modules/localservices/TechnologyDetector.h"

#include <QRegularExpression>
#include <QStringList>

#include <array>
#include <utility>

namespace tessary::TechnologyDetector {

using namespace Qt::StringLiterals;

namespace {

using Entry = std::pair<QLatin1StringView, QLatin1StringView>;

Technology web(QLatin1StringView name) {
    return {QString(name), Technology::Kind::web};
}

std::optional<Technology> fromArguments(const QString& arguments) {
    static constexpr std::array<Entry, 3> phrases{{
        {"manage.py runserver"_L1, "Django"_L1},
        {"artisan serve"_L1, "Laravel"_L1},
        {"rails server"_L1, "Rails"_L1},
    }};
    for (const auto& [phrase, name] : phrases) {
        if (arguments.contains(phrase)) {
            return web(name);
        }
    }
    static const QRegularExpression phpServer(u"\\bphp -S\\b"_s, QRegularExpression::CaseInsensitiveOption);
    if (phpServer.match(arguments).hasMatch()) {
        return web("PHP"_L1);
    }
    static const QRegularExpression railsShort(u"\\brails s\\b"_s);
    if (railsShort.match(arguments).hasMatch()) {
        return web("Rails"_L1);
    }

    static constexpr std::array<Entry, 15> tools{{
        {"webpack-dev-server"_L1, "Webpack"_L1},
        {"webpack"_L1, "Webpack"_L1},
        {"vite"_L1, "Vite"_L1},
        {"next"_L1, "Next.js"_L1},
        {"nuxt"_L1, "Nuxt"_L1},
        {"astro"_L1, "Astro"_L1},
        {"remix"_L1, "Remix"_L1},
        {"parcel"_L1, "Parcel"_L1},
        {"uvicorn"_L1, "Uvicorn"_L1},
        {"gunicorn"_L1, "Gunicorn"_L1},
        {"fastapi"_L1, "FastAPI"_L1},
        {"flask"_L1, "Flask"_L1},
        {"django"_L1, "Django"_L1},
        {"puma"_L1, "Puma"_L1},
        {"unicorn"_L1, "Unicorn"_L1},
    }};
    // Words are runs of letters, digits, "." and "-".
    static const QRegularExpression separators(u"[^\\p{L}\\p{N}.\\-]+"_s);
    const QStringList words = arguments.split(separators, Qt::SkipEmptyParts);
    for (const auto& [word, name] : tools) {
        if (words.contains(word)) {
            return web(name);
        }
    }
    return std::nullopt;
}

std::optional<Technology> fromPackage(const QString& packageJSON) {
    static constexpr std::array<Entry, 8> dependencies{{
        {"vite"_L1, "Vite"_L1},
        {"next"_L1, "Next.js"_L1},
        {"nuxt"_L1, "Nuxt"_L1},
        {"astro"_L1, "Astro"_L1},
        {"@remix-run/dev"_L1, "Remix"_L1},
        {"@nestjs/core"_L1, "NestJS"_L1},
        {"fastify"_L1, "Fastify"_L1},
        {"express"_L1, "Express"_L1},
    }};
    // The name must stand quoted as a key, so "vite" doesn't match "vitest" or a description.
    static const std::vector<QRegularExpression> keys = [] {
        std::vector<QRegularExpression> made;
        made.reserve(dependencies.size());
        for (const auto& entry : dependencies) {
            made.emplace_back(u"\""_s + QRegularExpression::escape(QString(entry.first)) + u"\"\\s*:"_s);
        }
        return made;
    }();
    for (std::size_t i = 0; i < dependencies.size(); ++i) {
        if (keys[i].match(packageJSON).hasMatch()) {
            return web(dependencies[i].second);
        }
    }
    return std::nullopt;
}

} // namespace

Technology detect(const QString& command, const std::optional<QString>& arguments,
                  const std::optional<QString>& packageJSON) {
    const QString lowerCommand = command.toLower();
    if (arguments) {
        if (auto technology = fromArguments(arguments->toLower())) {
            return *technology;
        }
    }
    if (packageJSON) {
        if (auto technology = fromPackage(packageJSON->toLower())) {
            return *technology;
        }
    }
    static constexpr std::array<Entry, 4> databases{{
        {"postgres"_L1, "Postgres"_L1},
        {"redis-server"_L1, "Redis"_L1},
        {"mysqld"_L1, "MySQL"_L1},
        {"mongod"_L1, "MongoDB"_L1},
    }};
    for (const auto& [prefix, name] : databases) {
        if (lowerCommand.startsWith(prefix)) {
            return {QString(name), Technology::Kind::database};
        }
    }
    if (lowerCommand.contains("docker"_L1)) {
        return {u"Docker"_s, Technology::Kind::container};
    }
    static constexpr std::array<Entry, 6> runtimes{{
        {"node"_L1, "Node"_L1},
        {"bun"_L1, "Bun"_L1},
        {"deno"_L1, "Deno"_L1},
        {"python"_L1, "Python"_L1},
        {"ruby"_L1, "Ruby"_L1},
        {"java"_L1, "Java"_L1},
    }};
    for (const auto& [prefix, name] : runtimes) {
        if (lowerCommand.startsWith(prefix)) {
            return {QString(name), Technology::Kind::runtime};
        }
    }
    return {command, Technology::Kind::unknown};
}

} // namespace tessary::TechnologyDetector
