#pragma once

#include "modules/sessions/AgentProcess.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace tessary {

// A session that runs without a person at a terminal: started to print one answer, or to stream
// its output to another program. Such a session has nobody to show a card to.
namespace HeadlessSession {

// "-p", "--print", "--output-format".
const QStringList& headlessFlags();

// The arguments after the program's name, up to a literal "--", are looked through for a headless
// flag (or "--output-format=..."). Without one, the session is headless only when it is known to
// have no terminal.
bool isHeadless(const std::optional<QStringList>& arguments, std::optional<bool> hasTerminal);
bool isHeadless(qint32 agentPID, const AgentProcessReading& reading);

} // namespace HeadlessSession

// A session driven by another program that answers its permission prompts itself (it was started
// with "--permission-prompt-tool").
namespace HostedSession {

// The tool by which an agent asks to leave plan mode: its request goes to the program that hosts
// the session.
inline constexpr auto planReviewTool = "ExitPlanMode";

// The arguments after the program's name, up to a literal "--", hold "--permission-prompt-tool"
// or "--permission-prompt-tool=...".
bool isHosted(const QStringList& arguments);

// A plan review of a hosted process is left to its host: the hook path then doesn't hold it.
bool skipsRequest(const QString& tool, std::optional<qint32> agentPID, const AgentProcessReading& reading);

} // namespace HostedSession

} // namespace tessary
