#pragma once

#include <QString>

#include <optional>

namespace tessary {

// What a process is to a person: the application, agent or program whose row it joins.
struct ProcessIdentity {
    // The grouping key: "app:<folder>", "claude:", "run:<runtime>:<folder>" or "exe:<path or name>".
    QString key;
    QString name;
    // The folder of the application, for rows that stand for one.
    std::optional<QString> appPath;
    bool operator==(const ProcessIdentity&) const = default;

    // `path` is the executable (empty when it can't be read), `name` the kernel's short name.
    // For language runtimes, `script` (the first argument) and `directory` (the working folder)
    // tell one project from another, so that each project's node is its own row.
    static ProcessIdentity group(const QString& path, const QString& name, const QString& script = {},
                                 const QString& directory = {});

    // Whether `path` names a language runtime (node, python, ruby, java, bun, deno, php), whose
    // processes are told apart by what they run.
    static bool isRuntime(const QString& path, const QString& name);

    // The display name of an application folder such as "/opt/google/chrome": "Chrome".
    static QString applicationName(const QString& folder);
};

} // namespace tessary
