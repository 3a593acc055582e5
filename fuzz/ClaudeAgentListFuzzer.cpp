// `claude agents --json` is another program's output, and a job's state file another program's
// file: a newer version, a cut pipe or a hostile writer may have made either. Besides not crashing:
// every entry read has its session id, a process id read is positive, and a need read is never
// blank.
#include "modules/agents/live/ClaudeAgentList.h"
#include "modules/agents/live/ClaudeJobNeeds.h"
#include "support/FuzzCheck.h"

#include <QByteArray>

#include <cstdint>

using tessary::ClaudeAgentList;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (const auto list = ClaudeAgentList::parse(input)) {
        for (const ClaudeAgentList::Session& session : list->sessions) {
            check(!session.sessionID.isEmpty());
            check(!session.pid || *session.pid > 0);
            check(!session.startedAt || session.startedAt->isValid());
            check(!session.waitingFor || session.status);
        }
        for (const ClaudeAgentList::BackgroundAgent& agent : list->background) {
            check(!agent.sessionID.isEmpty() && !agent.key().isEmpty());
        }
    }
    if (const auto needs = tessary::ClaudeJobNeeds::parse(input)) {
        check(!needs->trimmed().isEmpty());
    }
    return 0;
}
