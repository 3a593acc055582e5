#pragma once

#include <QString>

namespace tessary {

// Takes secrets out of a command line before it is shown to anything beyond this machine's screen:
// the on-device model, a cache key. The removed parts are replaced by `placeholder`.
namespace CommandLineRedaction {

inline constexpr auto placeholder = "[redacted]";

// The first `limit` characters.
QString bounded(const QString& commandLine, qsizetype limit = 2400);
// The working folder replaced by "." where it ends at a path boundary ("/", "=", a blank, the end).
QString relative(const QString& commandLine, const QString& directory);

// In order: values of flags with a secret name (and what follows "Bearer" or "Basic"), values of
// assignments with a secret name, cloud access keys and credentials in URLs, and opaque random values.
QString redacted(const QString& commandLine);

QString withoutSecretWords(const QString& commandLine);
QString withoutSecretAssignments(const QString& commandLine);
QString withoutKeysAndURLCredentials(const QString& commandLine);
QString withoutOpaqueValues(const QString& commandLine);

// A name that says it holds a secret: "token", "secret", "pass", "pwd", "key", "auth", "credential".
bool isSecretName(const QString& name);
// "-x", "--name" or "--name-with-dashes".
bool isFlagName(const QString& word);
// At least 20 characters, letters and digits both, no "/" or ".".
bool isOpaque(const QString& value);

} // namespace CommandLineRedaction

} // namespace tessary
