#include "modules/vitals/ProcessIdentity.h"

#include <QRegularExpression>
#include <QStringList>

#include <array>
#include <utility>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

QString lastComponent(const QString& path) {
    const qsizetype slash = path.lastIndexOf(u'/');
    return slash < 0 ? path : path.mid(slash + 1);
}

QString folderOf(const QString& path) {
    const qsizetype slash = path.lastIndexOf(u'/');
    return slash <= 0 ? QString() : path.left(slash);
}

bool isClaudeCode(const QString& path, const QString& script) {
    for (const QString& candidate : {path, script}) {
        if (candidate.isEmpty()) {
            continue;
        }
        if (candidate.contains("/@anthropic-ai/claude-code/"_L1) ||
            candidate.contains("/.local/share/claude/"_L1) || candidate.endsWith("/claude"_L1) ||
            candidate.endsWith("/claude.exe"_L1)) {
            return true;
        }
    }
    return false;
}

// Folders that hold a program's parts rather than naming it.
bool isGenericFolder(const QString& name) {
    static const QStringList generic{
        u"bin"_s,      u"sbin"_s,  u"lib"_s,        u"lib64"_s, u"libexec"_s,  u"resources"_s, u"helpers"_s,
        u"current"_s,  u"x64"_s,   u"x86_64"_s,     u"arm64"_s, u"release"_s,  u"usr"_s,       u"app"_s,
        u"Contents"_s, u"MacOS"_s, u"Frameworks"_s, u"jbr"_s,   u"electron"_s,
    };
    static const QRegularExpression versionLike(u"^v?[0-9][0-9._-]*$"_s);
    return generic.contains(name) || name.endsWith("-linux-gnu"_L1) || versionLike.match(name).hasMatch();
}

// The standard folders of commands: a program there is known by its own name.
bool inCommandFolder(const QString& folder) {
    static const QStringList folders{u"/bin"_s,      u"/sbin"_s,          u"/usr/bin"_s,
                                     u"/usr/sbin"_s, u"/usr/local/bin"_s, u"/usr/local/sbin"_s,
                                     u"/usr/games"_s};
    return folders.contains(folder) || folder.endsWith("/.local/bin"_L1) ||
           folder.endsWith("/.cargo/bin"_L1) || folder.endsWith("/go/bin"_L1) ||
           folder.endsWith("/node_modules/.bin"_L1);
}

// Where installed applications keep a folder of their own.
const std::array<QLatin1StringView, 8> applicationRoots{
    "/opt/"_L1,         "/usr/lib/"_L1,       "/usr/lib64/"_L1, "/usr/share/"_L1,
    "/usr/libexec/"_L1, "/usr/local/lib/"_L1, "/snap/"_L1,      "/.local/share/"_L1,
};

// The folder that stands for the application `path` belongs to, if it belongs to one.
std::optional<QString> applicationFolder(const QString& path) {
    // A macOS bundle: helpers fold into their application.
    const qsizetype bundle = path.indexOf(".app/"_L1);
    if (bundle > 0) {
        return path.left(bundle + 4);
    }
    const QString folder = folderOf(path);
    if (folder.isEmpty() || inCommandFolder(folder)) {
        return std::nullopt;
    }
    for (const QLatin1StringView root : applicationRoots) {
        const qsizetype at = path.indexOf(root);
        if (at < 0 || (root != "/.local/share/"_L1 && at != 0)) {
            continue;
        }
        const qsizetype start = at + root.size();
        if (root == "/snap/"_L1) {
            // /snap/<name>/<revision>/...: the snap is the application.
            const qsizetype end = path.indexOf(u'/', start);
            return end < 0 ? std::nullopt : std::optional<QString>(path.left(end));
        }
        // Walk up from the executable's folder past the folders that only hold parts.
        QString candidate = folder;
        while (candidate.size() > start && isGenericFolder(lastComponent(candidate))) {
            candidate = folderOf(candidate);
        }
        if (candidate.size() <= start - 1) {
            return std::nullopt;
        }
        return candidate;
    }
    return std::nullopt;
}

QString capitalized(QString name) {
    if (!name.isEmpty()) {
        name[0] = name[0].toUpper();
    }
    return name;
}

} // namespace

bool ProcessIdentity::isRuntime(const QString& path, const QString& name) {
    static const QRegularExpression runtime(
        u"^(node|nodejs|bun|deno|java|python[0-9.]*|ruby[0-9.]*|php[0-9.]*)$"_s);
    const QString base = path.isEmpty() ? name : lastComponent(path);
    return runtime.match(base).hasMatch();
}

QString ProcessIdentity::applicationName(const QString& folder) {
    QString base = lastComponent(folder);
    if (base.endsWith(".app"_L1)) {
        return base.chopped(4);
    }
    static const std::array<std::pair<QLatin1StringView, QLatin1StringView>, 22> known{{
        {"chrome"_L1, "Chrome"_L1},
        {"google-chrome"_L1, "Chrome"_L1},
        {"chromium"_L1, "Chromium"_L1},
        {"chromium-browser"_L1, "Chromium"_L1},
        {"firefox"_L1, "Firefox"_L1},
        {"firefox-esr"_L1, "Firefox"_L1},
        {"code"_L1, "Visual Studio Code"_L1},
        {"code-insiders"_L1, "Visual Studio Code Insiders"_L1},
        {"vscode"_L1, "Visual Studio Code"_L1},
        {"cursor"_L1, "Cursor"_L1},
        {"slack"_L1, "Slack"_L1},
        {"discord"_L1, "Discord"_L1},
        {"spotify"_L1, "Spotify"_L1},
        {"brave"_L1, "Brave"_L1},
        {"brave-browser"_L1, "Brave"_L1},
        {"microsoft-edge"_L1, "Edge"_L1},
        {"msedge"_L1, "Edge"_L1},
        {"thunderbird"_L1, "Thunderbird"_L1},
        {"signal-desktop"_L1, "Signal"_L1},
        {"obsidian"_L1, "Obsidian"_L1},
        {"zoom"_L1, "Zoom"_L1},
        {"teams-for-linux"_L1, "Teams"_L1},
    }};
    for (const auto& [folderName, display] : known) {
        if (base.compare(folderName, Qt::CaseInsensitive) == 0) {
            return display;
        }
    }
    return capitalized(base);
}

ProcessIdentity ProcessIdentity::group(const QString& path, const QString& name, const QString& script,
                                       const QString& directory) {
    if (isClaudeCode(path, script)) {
        return {u"claude:"_s, u"Claude Code"_s, std::nullopt};
    }
    if (!path.isEmpty() && isRuntime(path, name)) {
        const QString runtime = lastComponent(path);
        // One row per project: the folder it runs in, unless that says nothing.
        QString project = directory;
        while (project.size() > 1 && project.endsWith(u'/')) {
            project.chop(1);
        }
        if (!project.isEmpty() && project != "/"_L1 && !lastComponent(project).isEmpty()) {
            return {u"run:"_s + runtime + u':' + project, lastComponent(project) + u" ("_s + runtime + u')',
                    std::nullopt};
        }
        return {u"exe:"_s + path, runtime, std::nullopt};
    }
    if (!path.isEmpty()) {
        if (const auto folder = applicationFolder(path)) {
            return {u"app:"_s + *folder, applicationName(*folder), *folder};
        }
        return {u"exe:"_s + path, lastComponent(path), std::nullopt};
    }
    return {u"exe:"_s + name, name, std::nullopt};
}

} // namespace tessary
