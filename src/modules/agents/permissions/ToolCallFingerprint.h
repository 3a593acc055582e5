#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

namespace tessary {

// Identifies one tool call across the hook events that speak of it (a permission request, then the
// tool's end), which do not all carry the call's id: the raw tool name and a digest of its input.
struct ToolCallFingerprint {
    QString tool;
    // SHA-256 of the input serialized with sorted keys, without "answers" (and, for "Bash", without
    // "description", which agents rewrite between events).
    QByteArray inputDigest;

    static ToolCallFingerprint of(const QString& tool, const QJsonObject& input);

    // Compact JSON with the keys of every object sorted by their UTF-16 code units and numbers in
    // their shortest exact form: equal values give equal bytes whatever order they came in.
    static QByteArray canonicalJson(const QJsonValue& value);

    bool operator==(const ToolCallFingerprint&) const = default;
};

} // namespace tessary
