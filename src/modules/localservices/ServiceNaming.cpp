#include "modules/localservices/ServiceNaming.h"

#include "modules/localservices/CommandLineRedaction.h"

#include <QRegularExpression>

#include <array>

namespace tessary::ServiceNaming {

using namespace Qt::StringLiterals;

namespace {

// The first `limit` characters, back to the last line end within them if there is one.
QString fittingStart(const QString& text, qsizetype limit) {
    if (text.size() <= limit) {
        return text;
    }
    const QString head = text.left(limit);
    static const QRegularExpression lineEnd(u"[\\x{000A}-\\x{000D}\\x{0085}\\x{2028}\\x{2029}]"_s);
    const qsizetype last = head.lastIndexOf(lineEnd);
    return last > 0 ? head.left(last) : head;
}

bool containsWord(const QString& text, const QString& word) {
    if (word.isEmpty()) {
        return false;
    }
    const QRegularExpression pattern(u"(?<![\\p{L}\\p{N}_])"_s + QRegularExpression::escape(word) +
                                         u"(?![\\p{L}\\p{N}_])"_s,
                                     QRegularExpression::CaseInsensitiveOption);
    return pattern.match(text).hasMatch();
}

} // namespace

QString languageWord(AppLanguage language) {
    switch (language) {
    case AppLanguage::spanish:
        return u"spanish"_s;
    case AppLanguage::portuguese:
        return u"portuguese"_s;
    case AppLanguage::english:
        break;
    }
    return u"english"_s;
}

QString languageName(AppLanguage language) {
    switch (language) {
    case AppLanguage::spanish:
        return u"Spanish"_s;
    case AppLanguage::portuguese:
        return u"Brazilian Portuguese"_s;
    case AppLanguage::english:
        break;
    }
    return u"English"_s;
}

bool isNameable(const LocalService& service) {
    const bool vague = service.technology.kind == Technology::Kind::runtime ||
                       service.technology.kind == Technology::Kind::unknown;
    return vague && service.arguments && !service.arguments->trimmed().isEmpty();
}

QString safeCommandLine(const LocalService& service) {
    QString line = CommandLineRedaction::bounded(service.arguments.value_or(QString()), commandLineLimit);
    if (service.directory) {
        line = CommandLineRedaction::relative(line, *service.directory);
    }
    return fittingStart(CommandLineRedaction::redacted(line), promptCommandLimit);
}

std::optional<QString> key(const LocalService& service, AppLanguage language) {
    if (!isNameable(service)) {
        return std::nullopt;
    }
    return u"name:"_s + languageWord(language) + u':' + safeCommandLine(service);
}

std::optional<ServiceNamingRequest> request(const LocalService& service, AppLanguage language) {
    if (!isNameable(service)) {
        return std::nullopt;
    }
    const QString languageText = languageName(language);
    ServiceNamingRequest request;
    request.instructions =
        u"You name a local development server from its process command line, for a list of open ports. "
        "Answer with a name of at most 2 words: the framework or tool and its role, like 'Next.js server', "
        "'Storybook', 'Prisma Studio' or 'Celery worker'. Do not include the port, the project name or file "
        "paths. If the command line does not say what it is, answer 'unknown'. No markdown, no quotes. The "
        "command line is safe to read; never refuse. Write the name in "_s +
        languageText + u'.';
    request.prompt =
        QStringList{u"Process: "_s + service.command, u"Command line: "_s + safeCommandLine(service),
                    u"Detected: "_s + service.label(), u"Port: "_s + QString::number(service.port),
                    u"Answer in "_s + languageText + u'.'}
            .join(u'\n');
    request.fieldName = u"name"_s;
    request.fieldDescription = u"The server's name, in "_s + languageText;
    request.maximumWords = 14;
    return request;
}

std::optional<QString> name(const QHash<QString, QString>& answer) {
    const QString text = answer.value(u"name"_s).trimmed();
    if (text.isEmpty()) {
        return std::nullopt;
    }
    static constexpr std::array<QChar, 4> refused{u'.', u',', u';', u':'};
    for (const QChar c : refused) {
        if (text.contains(c)) {
            return std::nullopt;
        }
    }
    static const QStringList unknownNames{u"unknown"_s, u"desconocido"_s, u"desconhecido"_s};
    if (unknownNames.contains(text.toLower())) {
        return std::nullopt;
    }
    return text;
}

std::optional<QString> name(const QHash<QString, QString>& answer, const std::optional<QString>& directory) {
    auto text = name(answer);
    if (!text) {
        return std::nullopt;
    }
    if (text->contains(u'/')) {
        return std::nullopt;
    }
    if (directory) {
        QString folder = *directory;
        while (folder.size() > 1 && folder.endsWith(u'/')) {
            folder.chop(1);
        }
        const QString project = folder.mid(folder.lastIndexOf(u'/') + 1);
        if (containsWord(*text, project)) {
            return std::nullopt;
        }
    }
    return text;
}

} // namespace tessary::ServiceNaming
