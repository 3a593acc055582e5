#pragma once

#include <QString>

namespace tessary {

// The short form of a model identifier wherever a model is shown: "claude-opus-4-5-20251101" reads
// "Opus 4.5", "claude-sonnet-4-6[1m]" "Sonnet 4.6", "gpt-5.1-codex-max" "GPT-5.1 Codex Max".
namespace ModelName {

QString display(const QString& model);

} // namespace ModelName

} // namespace tessary
