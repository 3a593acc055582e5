// Claude Code's transcripts can hold any bytes: lines cut by a crash or by a read that races the
// writer, other tools' edits, hostile content. The input is a transcript: every line goes through the
// readers of main and subagent transcripts, and the whole input through the readers of a file's head.
// Besides not crashing, the readings must keep their own rules: the maximum is never below the last
// count, a line that was read once more changes nothing, and a line that isn't an object changes
// nothing at all.
#include "modules/sessions/ClaudeTranscript.h"
#include "support/FuzzCheck.h"

#include <QByteArray>
#include <QByteArrayList>

#include <cstdint>

using tessary::ClaudeSubagentReading;
using tessary::ClaudeTranscriptReading;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    ClaudeTranscriptReading reading;
    ClaudeSubagentReading subagent;
    for (const QByteArray& line : input.split('\n')) {
        const ClaudeTranscriptReading before = reading;
        const bool parsed = reading.apply(line);
        check(parsed == tessary::ClaudeTranscript::parseLine(line).has_value());
        if (!parsed) {
            check(reading == before);
        } else {
            const ClaudeTranscriptReading once = reading;
            reading.apply(line);
            check(reading == once);
        }
        subagent.apply(line);
        if (reading.lastTokens) {
            check(reading.maximumTokens >= *reading.lastTokens);
        }
        if (subagent.lastTokens) {
            check(subagent.maximumTokens >= *subagent.lastTokens);
        }
    }
    const QString head = QString::fromUtf8(input);
    if (const auto description = tessary::ClaudeTranscript::headDescription(head)) {
        check(description->size() <= 60 && !description->contains(u'\n'));
    }
    (void)tessary::ClaudeTranscript::startedAt(head);
    (void)tessary::ClaudeTranscript::lastValue(QLatin1StringView("customTitle"),
                                               QLatin1StringView("custom-title"), head);
    return 0;
}
