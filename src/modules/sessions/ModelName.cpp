#include "modules/sessions/ModelName.h"

#include <QStringList>

#include <algorithm>

namespace tessary::ModelName {

namespace {

bool isDateStamp(const QString& part) {
    return part.size() == 8 && std::all_of(part.cbegin(), part.cend(), [](QChar c) { return c.isDigit(); });
}

bool isVersion(const QString& part) {
    return std::all_of(part.cbegin(), part.cend(), [](QChar c) { return c.isDigit() || c == u'.'; });
}

QString capitalized(const QString& word) {
    if (word.isEmpty()) {
        return word;
    }
    return word.left(1).toUpper() + word.mid(1).toLower();
}

} // namespace

QString display(const QString& model) {
    QString text = model;
    if (const qsizetype bracket = text.indexOf(u'['); bracket >= 0) {
        text.truncate(bracket);
    }
    if (text.startsWith(QLatin1StringView("claude-"))) {
        text.remove(0, 7);
    }
    QStringList parts = text.split(u'-');
    if (parts.isEmpty() || parts.first().isEmpty()) {
        return model;
    }
    const QString family = parts.takeFirst();
    if (!parts.isEmpty() && isDateStamp(parts.last())) {
        parts.removeLast();
    }
    QStringList versions;
    QStringList words;
    for (const QString& part : std::as_const(parts)) {
        if (isVersion(part)) {
            versions.append(part);
        } else {
            words.append(capitalized(part));
        }
    }
    const bool isGPT = family.compare(QLatin1StringView("gpt"), Qt::CaseInsensitive) == 0;
    QString name = isGPT ? QStringLiteral("GPT") : capitalized(family);
    if (!versions.isEmpty()) {
        name += (isGPT ? u'-' : u' ') + versions.join(u'.');
    }
    words.prepend(name);
    return words.join(u' ');
}

} // namespace tessary::ModelName
