// Orca's command line answers with JSON that another version, a cut pipe or a hostile program may
// have written. Besides not crashing: every terminal read has its folder and time, its session is
// keyed by the handle, and it always has a title to show.
#include "modules/sessions/OrcaSessionProvider.h"
#include "support/FuzzCheck.h"

#include <QByteArray>

#include <cstdint>

using tessary::OrcaSessionProvider;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const OrcaSessionProvider::Projects projects = OrcaSessionProvider::parseProjects(input);
    const auto parsed = OrcaSessionProvider::parse(input);
    if (const auto* terminals = std::get_if<QList<OrcaSessionProvider::Terminal>>(&parsed)) {
        for (const auto& terminal : *terminals) {
            check(!terminal.worktreePath.isEmpty() && terminal.lastOutputAt.isValid());
            const tessary::AgentSession session = OrcaSessionProvider::session(terminal, projects);
            check(session.id == QStringLiteral("orca:") + terminal.handle);
            check(session.title.has_value() && !session.title->isEmpty());
            check(session.hostItemID == terminal.handle && session.directory == terminal.worktreePath);
        }
    }
    // The same text as a title.
    const QString cleaned =
        OrcaSessionProvider::cleanTitle(QString::fromUtf8(input), QStringLiteral("fallback"));
    check(!cleaned.isEmpty());
    return 0;
}
