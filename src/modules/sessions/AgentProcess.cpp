#include "modules/sessions/AgentProcess.h"

namespace tessary::AgentProcessNames {

namespace {

std::optional<QString> nameOf(QStringView component, const QStringList& names) {
    constexpr QLatin1StringView executableSuffix(".exe");
    const QStringView bare =
        component.endsWith(executableSuffix) ? component.chopped(executableSuffix.size()) : component;
    for (const QString& name : names) {
        if (component == name || bare == name) {
            return name;
        }
    }
    return std::nullopt;
}

} // namespace

const QStringList& agentNames() {
    static const QStringList names{QStringLiteral("claude"), QStringLiteral("codex"), QStringLiteral("agy")};
    return names;
}

std::optional<QString> agentName(const QString& executablePath, const std::optional<QString>& firstArgument,
                                 const QStringList& names) {
    const QList<QStringView> components = QStringView(executablePath).split(u'/', Qt::SkipEmptyParts);
    for (auto component = components.crbegin(); component != components.crend(); ++component) {
        if (auto name = nameOf(*component, names)) {
            return name;
        }
    }
    if (firstArgument) {
        const QStringView started(*firstArgument);
        const qsizetype slash = started.lastIndexOf(u'/');
        const QStringView last = slash < 0 ? started : started.sliced(slash + 1);
        if (!last.isEmpty()) {
            return nameOf(last, names);
        }
    }
    return std::nullopt;
}

} // namespace tessary::AgentProcessNames
