#include "core/diagnostics/DiagnosticValue.h"

#include <QFileInfo>

#include <array>
#include <cmath>
#include <mutex>
#include <pwd.h>
#include <unistd.h>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype shortIDLength = 8;

bool isIDCharacter(QChar c) {
    const char16_t u = c.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '_' || u == '-';
}

// A safe name that is also free of credentials and personal words.
bool isPrintableName(QStringView text) {
    return isSafeName(text) && !DiagnosticRedaction::looksLikeCredential(text) &&
           !DiagnosticRedaction::containsPersonalWord(text);
}

qint64 sideOfSize(double side) {
    if (!std::isfinite(side) || std::fabs(side) >= 1e9) {
        return 0;
    }
    return std::llround(side);
}

} // namespace

QString DiagnosticValue::rendered() const {
    if (m_literal != nullptr) {
        return QLatin1StringView(m_literal, m_literalSize);
    }
    return m_text;
}

void DiagnosticValue::appendTo(QString& out) const {
    if (m_literal != nullptr) {
        out += QLatin1StringView(m_literal, m_literalSize);
    } else {
        out += m_text;
    }
}

DiagnosticValue DiagnosticValue::fromChecked(QString text) {
    DiagnosticValue value;
    value.m_text = std::move(text);
    return value;
}

DiagnosticValue DiagnosticValue::count(qint64 value) {
    return fromChecked(QString::number(value));
}

DiagnosticValue DiagnosticValue::milliseconds(qint64 value) {
    return fromChecked(QString::number(value) + "ms"_L1);
}

DiagnosticValue DiagnosticValue::bytes(qint64 value) {
    return fromChecked(QString::number(value) + "B"_L1);
}

DiagnosticValue DiagnosticValue::boolean(bool value) {
    return value ? DiagnosticValue("yes") : DiagnosticValue("no");
}

DiagnosticValue DiagnosticValue::size(double width, double height) {
    return fromChecked(QString::number(sideOfSize(width)) + u'x' + QString::number(sideOfSize(height)));
}

DiagnosticValue DiagnosticValue::shortID(const std::optional<QString>& id) {
    if (!id || id->isEmpty()) {
        return "none";
    }
    const QStringView head = QStringView(*id).left(shortIDLength);
    for (const QChar c : head) {
        if (!isIDCharacter(c)) {
            return "other";
        }
    }
    // Eight characters of an identifier mix letters and digits by nature; only a token's own prefix tells.
    if (DiagnosticRedaction::hasCredentialPrefix(head) || DiagnosticRedaction::containsPersonalWord(head)) {
        return "other";
    }
    return fromChecked(head.toString());
}

DiagnosticValue DiagnosticValue::kindOfID(QStringView id) {
    const qsizetype colon = id.indexOf(u':');
    if (colon < 0) {
        return "plain";
    }
    const QStringView kind = id.left(colon);
    return isPrintableName(kind) ? fromChecked(kind.toString()) : DiagnosticValue("other");
}

DiagnosticValue DiagnosticValue::name(const std::optional<QString>& text) {
    if (!text) {
        return "none";
    }
    return isPrintableName(*text) ? fromChecked(*text) : DiagnosticValue("other");
}

DiagnosticValue DiagnosticValue::oneOf(const std::optional<QString>& text,
                                       std::initializer_list<DiagnosticValue> allowed) {
    if (!text) {
        return "none";
    }
    for (const DiagnosticValue& entry : allowed) {
        QString candidate = entry.rendered();
        if (candidate == *text) {
            return fromChecked(candidate.replace(u' ', u'_'));
        }
    }
    return "other";
}

DiagnosticValue DiagnosticValue::audited(QStringView text) {
    QString result = text.toString();
    result.replace(u'\r', u' ');
    result.replace(u'\n', u' ');
    if (result.size() > auditedLimit) {
        qsizetype cut = auditedLimit;
        // Never leave half of a surrogate pair at the end.
        if (result.at(cut - 1).isHighSurrogate()) {
            --cut;
        }
        result.truncate(cut);
    }
    return fromChecked(std::move(result));
}

DiagnosticValue DiagnosticValue::errorKindOf(const QString& typeName, const QString& label, qint64 number) {
    const QString type = isPrintableName(typeName) ? typeName : u"Error"_s;
    if (isPrintableName(label)) {
        return fromChecked(type + u'.' + label);
    }
    return fromChecked(type + u'#' + QString::number(number));
}

DiagnosticValue DiagnosticValue::errorKind(DiagnosticLiteral typeName, qint64 code) {
    const QString type(typeName.text());
    return fromChecked((isPrintableName(type) ? type : u"Error"_s) + u'#' + QString::number(code));
}

DiagnosticValue DiagnosticValue::errorKind(const std::error_code& error) {
    const QString domain = QString::fromUtf8(error.category().name());
    return fromChecked((isPrintableName(domain) ? domain : u"other"_s) + u'#' +
                       QString::number(error.value()));
}

DiagnosticValue DiagnosticValue::errorKind(const Failure&) {
    return "Failure";
}

namespace DiagnosticRedaction {

namespace {

constexpr std::array credentialPrefixes{"sk-"_L1,   "ghp_"_L1,   "gho_"_L1,  "ghu_"_L1,       "ghs_"_L1,
                                        "ghr_"_L1,  "glpat-"_L1, "xoxa-"_L1, "xoxb-"_L1,      "xoxp-"_L1,
                                        "xoxs-"_L1, "AKIA"_L1,   "ASIA"_L1,  "AIza"_L1,       "ya29."_L1,
                                        "eyJ"_L1,   "npm_"_L1,   "pypi-"_L1, "github_pat_"_L1};

constexpr qsizetype mixedRunLength = 8;
constexpr qsizetype longRunLength = 20;
constexpr qsizetype shortestWord = 3;
constexpr qsizetype shortestSubstringWord = 4;

bool isSeparator(QChar c) {
    return c == u'-' || c == u'.' || c == u'_';
}

bool runLooksRandom(QStringView run) {
    bool letter = false;
    bool digit = false;
    for (const QChar c : run) {
        letter = letter || (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z');
        digit = digit || (c >= u'0' && c <= u'9');
    }
    return (run.size() >= mixedRunLength && letter && digit) || (run.size() >= longRunLength && digit);
}

struct PersonalWords {
    std::mutex mutex;
    QStringList words;
    bool loaded = false;
};

PersonalWords& personalWordStore() {
    // Leaked, like the shared logger that reads it, so that logging while the process ends stays safe.
    static auto* const store = new PersonalWords;
    return *store;
}

void addWord(QStringList& words, QString word) {
    word = word.trimmed().toLower();
    if (word.size() >= shortestWord && !words.contains(word)) {
        words.append(word);
    }
}

QStringList accountWords() {
    QStringList words;
    addWord(words, qEnvironmentVariable("USER"));
    addWord(words, qEnvironmentVariable("LOGNAME"));
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 4096> buffer{};
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
        addWord(words, QString::fromLocal8Bit(found->pw_name));
        if (found->pw_dir != nullptr) {
            addWord(words, QFileInfo(QString::fromLocal8Bit(found->pw_dir)).fileName());
        }
        if (found->pw_gecos != nullptr) {
            const QString fullName = QString::fromLocal8Bit(found->pw_gecos).section(u',', 0, 0);
            for (const QString& part : fullName.split(u' ', Qt::SkipEmptyParts)) {
                addWord(words, part);
            }
        }
    }
    return words;
}

} // namespace

bool hasCredentialPrefix(QStringView text) {
    for (const QLatin1StringView prefix : credentialPrefixes) {
        // A prefix that ends in a separator can't be the start of a plain word: it counts in any case.
        const bool marked = prefix.back() == '-' || prefix.back() == '_' || prefix.back() == '.';
        if (text.startsWith(prefix, marked ? Qt::CaseInsensitive : Qt::CaseSensitive)) {
            return true;
        }
    }
    return false;
}

bool looksLikeCredential(QStringView text) {
    if (hasCredentialPrefix(text)) {
        return true;
    }
    qsizetype start = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        if (i == text.size() || isSeparator(text.at(i))) {
            if (runLooksRandom(text.mid(start, i - start))) {
                return true;
            }
            start = i + 1;
        }
    }
    return false;
}

QStringList personalWords() {
    PersonalWords& store = personalWordStore();
    const std::lock_guard lock(store.mutex);
    if (!store.loaded) {
        for (const QString& word : accountWords()) {
            addWord(store.words, word);
        }
        store.loaded = true;
    }
    return store.words;
}

void addPersonalWords(const QStringList& words) {
    personalWords(); // the account's own words come first
    PersonalWords& store = personalWordStore();
    const std::lock_guard lock(store.mutex);
    for (const QString& word : words) {
        addWord(store.words, word);
    }
}

bool containsPersonalWord(QStringView text) {
    const QStringList words = personalWords();
    if (words.isEmpty()) {
        return false;
    }
    for (const QString& word : words) {
        if (word.size() >= shortestSubstringWord) {
            if (text.contains(word, Qt::CaseInsensitive)) {
                return true;
            }
            continue;
        }
        qsizetype start = 0;
        for (qsizetype i = 0; i <= text.size(); ++i) {
            if (i == text.size() || isSeparator(text.at(i))) {
                if (text.mid(start, i - start).compare(word, Qt::CaseInsensitive) == 0) {
                    return true;
                }
                start = i + 1;
            }
        }
    }
    return false;
}

} // namespace DiagnosticRedaction

} // namespace tessary
