#pragma once

#include "modules/agents/live/ClaudeAgentList.h"
#include "modules/agents/permissions/HeldRequestRelease.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

namespace tessary {

// Claude Code's own list of its sessions as a witness of answers given in the terminal: a session
// that the list showed waiting, and at a later reading busy or idle, had its question answered there.
// Keeps, between readings, when each session was first seen waiting.
class AgentListRelease {
public:
    // The requests among `candidates` that such a session asked before it was seen waiting.
    QStringList observe(const ClaudeAgentList& list, const QDateTime& readAt,
                        const QList<HeldRequestRelease::Held>& candidates);

private:
    QHash<QString, QDateTime> m_waitingSince;
};

} // namespace tessary
