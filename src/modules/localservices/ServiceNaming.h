#pragma once

#include "core/settings/TessarySettings.h"
#include "modules/localservices/LocalService.h"

#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

namespace tessary {

// A question for the on-device model: its instructions, its prompt and the one field it answers.
// The broker turns it into its own request.
struct ServiceNamingRequest {
    QString instructions;
    QString prompt;
    QString fieldName;
    QString fieldDescription;
    int maximumWords = 14;
    bool operator==(const ServiceNamingRequest&) const = default;
};

// Names a server the tables couldn't name, with the on-device model, from its command line made safe
// first. Services with a definite technology keep their name.
namespace ServiceNaming {

// A runtime or unknown technology with arguments.
bool isNameable(const LocalService& service);

// The command line as the model may see it: at most 2400 characters, the working folder written ".",
// secrets taken out, at most 600 characters.
QString safeCommandLine(const LocalService& service);

// "name:<language word>:<safe command line>": the key of the answer in the cache; nothing when the
// service isn't nameable.
std::optional<QString> key(const LocalService& service, AppLanguage language);

std::optional<ServiceNamingRequest> request(const LocalService& service, AppLanguage language);

// The answer's "name" field, trimmed; refused when empty, holding ".", ",", ";" or ":", or a word for
// "unknown".
std::optional<QString> name(const QHash<QString, QString>& answer);
// As name(answer), also refused when it holds the project's folder name (a whole word, any case), a
// "/" or the root path.
std::optional<QString> name(const QHash<QString, QString>& answer, const std::optional<QString>& directory);

// "english", "spanish", "portuguese".
QString languageWord(AppLanguage language);
// "English", "Spanish", "Brazilian Portuguese".
QString languageName(AppLanguage language);

inline constexpr qsizetype commandLineLimit = 2400;
inline constexpr qsizetype promptCommandLimit = 600;

} // namespace ServiceNaming

} // namespace tessary
