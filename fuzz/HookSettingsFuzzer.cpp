// An agent's settings file is the user's own, edited by hand and by the agent: any bytes can be there.
// Installing the hooks over them must give valid JSON holding every hook, or refuse cleanly.
#include "modules/agents/installers/AgentHookInstaller.h"
#include "modules/agents/installers/HookSettingsDocument.h"
#include "support/FuzzCheck.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstdint>

namespace {

using namespace tessary;

// The editing rules on the parsed document: install is complete, stable and undone by removal.
void checkDocument(const AgentHookInstaller& installer, const QJsonObject& root) {
    const QJsonObject installed = installer.installing(root);
    const QByteArray bytes = HookSettingsDocument::serialize(installed);
    const auto reparsed = HookSettingsDocument::parse(bytes);
    check(reparsed.has_value());
    check(installer.allPresent(*reparsed));
    check(HookSettingsDocument::serialize(installer.installing(*reparsed)) == bytes);
    const auto removed = HookSettingsDocument::removingProgramEntries(*reparsed, installer.eventNames());
    check(removed.has_value());
    check(!installer.anyPresent(*removed));
    for (const auto& key : root.keys()) {
        if (key != QStringLiteral("hooks")) {
            check(installed.value(key) == root.value(key));
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static QTemporaryDir folder;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QString home = folder.path();
    QDir().mkpath(home + QStringLiteral("/.claude"));
    const AgentHookInstaller claude = AgentHookInstaller::claude(home, nullptr);
    const AgentHookInstaller codex = AgentHookInstaller::codex(home, nullptr);

    const auto root = HookSettingsDocument::parse(bytes);
    checkDocument(claude, root.value_or(QJsonObject{}));
    checkDocument(codex, root.value_or(QJsonObject{}));

    // The same through the file: the result parses and holds the hooks, and a parsed file keeps its keys.
    QFile::remove(claude.backupFile());
    QFile file(claude.settingsFile);
    check(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
    file.close();
    claude.removeMatching();
    check(claude.install());
    check(claude.isFullyInstalled());
    check(file.open(QIODevice::ReadOnly));
    const auto written = HookSettingsDocument::parse(file.readAll());
    file.close();
    check(written.has_value());
    if (root) {
        check(written->size() == root->size() + (root->contains(QStringLiteral("hooks")) ? 0 : 1));
    }
    return 0;
}
