#include "services/sessions/ClaudeAgentListProvider.h"

#include "services/shell/Shell.h"

#include <QDir>
#include <QVersionNumber>

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

QStringList ClaudeAgentListProvider::defaultCandidates(const QString& home) {
    QStringList candidates;
    // nvm names its folders "v22.3.0": the newest version first.
    QStringList versions = QDir(home + "/.nvm/versions/node"_L1).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    std::sort(versions.begin(), versions.end(), [](const QString& a, const QString& b) {
        return QVersionNumber::fromString(QStringView(a).mid(a.startsWith(u'v') ? 1 : 0)) >
               QVersionNumber::fromString(QStringView(b).mid(b.startsWith(u'v') ? 1 : 0));
    });
    for (const QString& version : std::as_const(versions)) {
        candidates.append(home + "/.nvm/versions/node/"_L1 + version + "/bin/claude"_L1);
    }
    candidates << home + "/.local/bin/claude"_L1 << u"/opt/homebrew/bin/claude"_s
               << u"/usr/local/bin/claude"_s << home + "/.claude/local/claude"_L1
               << home + "/.volta/bin/claude"_L1 << u"/usr/bin/claude"_s;
    return candidates;
}

QString ClaudeAgentListProvider::defaultJobsDirectory(const QString& home) {
    return home + "/.claude/jobs"_L1;
}

QProcessEnvironment ClaudeAgentListProvider::environment(QProcessEnvironment base) {
    const QString key = u"PATH"_s;
    QStringList entries = base.value(key).split(u':', Qt::SkipEmptyParts);
    for (const QString& folder : {u"/opt/homebrew/bin"_s, u"/usr/local/bin"_s, u"/usr/bin"_s, u"/bin"_s}) {
        if (!entries.contains(folder)) {
            entries.append(folder);
        }
    }
    base.insert(key, entries.join(u':'));
    return base;
}

ClaudeAgentListProvider::ClaudeAgentListProvider(const ProcessRunner& runner, QStringList candidates,
                                                 QString jobsDirectory, const QProcessEnvironment& base)
    : m_runner(runner)
    , m_candidates(std::move(candidates))
    , m_jobsDirectory(std::move(jobsDirectory))
    , m_environment(environment(base)) {}

QString ClaudeAgentListProvider::executable() const {
    return Shell::firstExecutable(m_candidates);
}

std::optional<ClaudeAgentList> ClaudeAgentListProvider::read() const {
    const QString tool = executable();
    if (tool.isEmpty()) {
        return std::nullopt;
    }
    const ShellResult result =
        m_runner.run(tool, {u"agents"_s, u"--json"_s, u"--all"_s}, timeout, m_environment);
    const auto* outcome = std::get_if<ShellOutcome>(&result);
    if (outcome == nullptr || outcome->status != 0) {
        return std::nullopt;
    }
    std::optional<ClaudeAgentList> list = ClaudeAgentList::parse(outcome->output.toUtf8());
    if (list) {
        list->readNeeds(m_jobsDirectory);
    }
    return list;
}

} // namespace tessary
