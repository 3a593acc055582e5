#include "modules/localservices/CommandLineRedaction.h"

#include <QRegularExpression>
#include <QStringList>

#include <array>

namespace tessary::CommandLineRedaction {

using namespace Qt::StringLiterals;

namespace {

QString replacement() {
    return QLatin1StringView(placeholder);
}

bool isAuthorizationScheme(const QString& word) {
    return word.compare("Bearer"_L1, Qt::CaseInsensitive) == 0 ||
           word.compare("Basic"_L1, Qt::CaseInsensitive) == 0;
}

} // namespace

QString bounded(const QString& commandLine, qsizetype limit) {
    return commandLine.left(std::max<qsizetype>(limit, 0));
}

QString relative(const QString& commandLine, const QString& directory) {
    QString folder = directory;
    while (folder.size() > 1 && folder.endsWith(u'/')) {
        folder.chop(1);
    }
    if (folder.isEmpty() || folder == "/"_L1) {
        return commandLine;
    }
    QString result;
    qsizetype from = 0;
    while (true) {
        const qsizetype at = commandLine.indexOf(folder, from);
        if (at < 0) {
            break;
        }
        const qsizetype after = at + folder.size();
        const bool boundary = after == commandLine.size() || commandLine[after] == u'/' ||
                              commandLine[after] == u'=' || commandLine[after].isSpace();
        result += commandLine.mid(from, at - from);
        result += boundary ? u"."_s : folder;
        from = after;
    }
    result += commandLine.mid(from);
    return result;
}

bool isSecretName(const QString& name) {
    static constexpr std::array<QLatin1StringView, 7> words{"token"_L1, "secret"_L1, "pass"_L1,      "pwd"_L1,
                                                            "key"_L1,   "auth"_L1,   "credential"_L1};
    const QString lower = name.toLower();
    return std::any_of(words.begin(), words.end(),
                       [&](QLatin1StringView word) { return lower.contains(word); });
}

bool isFlagName(const QString& word) {
    static const QRegularExpression flag(u"^--?[A-Za-z][A-Za-z0-9_-]*$"_s);
    return flag.match(word).hasMatch();
}

bool isOpaque(const QString& value) {
    if (value.size() < 20 || value.contains(u'/') || value.contains(u'.')) {
        return false;
    }
    bool letter = false;
    bool digit = false;
    for (const QChar c : value) {
        letter = letter || c.isLetter();
        digit = digit || c.isDigit();
    }
    return letter && digit;
}

QString withoutSecretWords(const QString& commandLine) {
    // Split into blanks and words, keeping the blanks so the line keeps its shape.
    static const QRegularExpression pieces(u"\\s+|\\S+"_s);
    QStringList parts;
    for (auto it = pieces.globalMatch(commandLine); it.hasNext();) {
        parts.append(it.next().captured());
    }
    bool hideNext = false;
    for (QString& part : parts) {
        if (part.front().isSpace()) {
            continue;
        }
        if (hideNext) {
            hideNext = false;
            // A following flag is no value: "--token --verbose" hides nothing.
            if (!isFlagName(part)) {
                part = replacement();
                continue;
            }
        }
        hideNext = (isFlagName(part) && isSecretName(part)) || isAuthorizationScheme(part);
    }
    return parts.join(QString());
}

QString withoutSecretAssignments(const QString& commandLine) {
    static const QRegularExpression assignment(u"\\b([A-Za-z0-9_]+)=([^\\s&;,\"']+)"_s);
    QString result;
    qsizetype from = 0;
    for (auto it = assignment.globalMatch(commandLine); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        if (!isSecretName(match.captured(1)) || match.captured(2) == replacement()) {
            continue;
        }
        result += commandLine.mid(from, match.capturedStart(2) - from);
        result += replacement();
        from = match.capturedEnd(2);
    }
    result += commandLine.mid(from);
    return result;
}

QString withoutKeysAndURLCredentials(const QString& commandLine) {
    static const QRegularExpression accessKey(u"\\b(?:AKIA|ASIA)[0-9A-Z]{16}\\b"_s);
    static const QRegularExpression urlCredentials(
        u"\\b([A-Za-z][A-Za-z0-9+.\\-]*://)[^/\\s:@]+(?::[^/\\s@]*)?@"_s);
    QString result = commandLine;
    result.replace(accessKey, replacement());
    result.replace(urlCredentials, u"\\1"_s + replacement() + u'@');
    return result;
}

QString withoutOpaqueValues(const QString& commandLine) {
    static const QRegularExpression candidate(
        u"(?<![A-Za-z0-9_+\\-])[A-Za-z0-9][A-Za-z0-9_+\\-]{19,}={0,2}(?![A-Za-z0-9_+\\-=])"_s);
    QString result;
    qsizetype from = 0;
    for (auto it = candidate.globalMatch(commandLine); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        if (!isOpaque(match.captured())) {
            continue;
        }
        result += commandLine.mid(from, match.capturedStart() - from);
        result += replacement();
        from = match.capturedEnd();
    }
    result += commandLine.mid(from);
    return result;
}

QString redacted(const QString& commandLine) {
    return withoutOpaqueValues(
        withoutKeysAndURLCredentials(withoutSecretAssignments(withoutSecretWords(commandLine))));
}

} // namespace tessary::CommandLineRedaction
