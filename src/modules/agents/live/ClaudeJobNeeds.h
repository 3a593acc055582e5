#pragma once

#include <QByteArrayView>
#include <QString>

#include <optional>

namespace tessary {

// What a background agent of Claude Code waits for, as its job's state file tells it.
namespace ClaudeJobNeeds {

// A state file larger than this is not read.
inline constexpr qint64 fileLimit = qint64{1024} * 1024;

// The file of job `jobID` under `jobsDirectory`: "<jobsDirectory>/<jobID>/state.json". Nothing for an
// id that could lead out of that folder.
std::optional<QString> stateFile(const QString& jobID, const QString& jobsDirectory);
// The text `needs`; without it, for a job whose state is "blocked", its `detail`. Nothing for a
// file that is missing, too large or no JSON object.
std::optional<QString> read(const QString& jobID, const QString& jobsDirectory);
std::optional<QString> parse(QByteArrayView json);

} // namespace ClaudeJobNeeds

} // namespace tessary
