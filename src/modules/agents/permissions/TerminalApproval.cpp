#include "modules/agents/permissions/TerminalApproval.h"

#include <QHash>

#include <algorithm>
#include <map>

namespace tessary::TerminalApproval {

namespace {

// How deep shells within shells (and evals within evals) are followed.
constexpr int nestingLimit = 4;

const QStringList& shellNames() {
    static const QStringList names{QStringLiteral("sh"),   QStringLiteral("bash"), QStringLiteral("zsh"),
                                   QStringLiteral("dash"), QStringLiteral("ksh"),  QStringLiteral("mksh"),
                                   QStringLiteral("fish"), QStringLiteral("ash")};
    return names;
}

QString processName(const QString& path) {
    const qsizetype slash = path.lastIndexOf(u'/');
    return slash < 0 ? path : path.sliced(slash + 1);
}

bool isShell(const QString& program) {
    QString name = processName(program);
    // A login shell is started as "-bash".
    if (name.startsWith(u'-')) {
        name = name.sliced(1);
    }
    return shellNames().contains(name);
}

bool isOperatorCharacter(QChar character) {
    return character == u';' || character == u'&' || character == u'|' || character == u'(' ||
           character == u')' || character == u'<' || character == u'>';
}

bool isOperator(const QString& word) {
    return !word.isEmpty() && std::all_of(word.cbegin(), word.cend(), isOperatorCharacter);
}

// The script of a shell's command line: the first operand after options that include "c".
std::optional<QString> shellScript(const QStringList& arguments) {
    if (arguments.isEmpty() || !isShell(arguments.first())) {
        return std::nullopt;
    }
    bool runsString = false;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == QLatin1StringView("--")) {
            return runsString && i + 1 < arguments.size() ? std::optional(arguments.at(i + 1)) : std::nullopt;
        }
        if (argument.startsWith(QLatin1StringView("--"))) {
            continue;
        }
        if (argument.size() > 1 && (argument.startsWith(u'-') || argument.startsWith(u'+'))) {
            if (argument.startsWith(u'-') && argument.contains(u'c')) {
                runsString = true;
            }
            // "-o name" and "-O name" take the next argument as their value.
            if (argument == QLatin1StringView("-o") || argument == QLatin1StringView("-O") ||
                argument == QLatin1StringView("+o") || argument == QLatin1StringView("+O")) {
                ++i;
            }
            continue;
        }
        return runsString ? std::optional(argument) : std::nullopt;
    }
    return std::nullopt;
}

void collectScripts(const QString& script, int depth, QStringList& found) {
    found.append(script);
    if (depth >= nestingLimit) {
        return;
    }
    const auto scriptWords = words(script);
    if (!scriptWords) {
        return;
    }
    // Simple commands between operators: an "eval" runs its operands joined; a shell runs its script.
    QStringList simple;
    const auto endOfCommand = [&] {
        if (simple.isEmpty()) {
            return;
        }
        if (simple.first() == QLatin1StringView("eval") && simple.size() > 1) {
            collectScripts(simple.sliced(1).join(u' '), depth + 1, found);
        } else if (const auto inner = shellScript(simple)) {
            collectScripts(*inner, depth + 1, found);
        }
        simple.clear();
    };
    for (const QString& word : std::as_const(*scriptWords)) {
        if (isOperator(word)) {
            endOfCommand();
        } else {
            simple.append(word);
        }
    }
    endOfCommand();
}

struct Candidate {
    ProcessLink link;
    QStringList arguments;
    bool used = false;
};

// The processes of one line of descent with `chosen`: its ancestors and descendants among `candidates`.
QSet<std::int32_t> lineage(const QList<ProcessLink>& tree, std::int32_t chosen) {
    QHash<std::int32_t, std::int32_t> parents;
    for (const ProcessLink& link : tree) {
        parents.insert(link.pid, link.parent);
    }
    QSet<std::int32_t> related{chosen};
    for (auto parent = parents.constFind(chosen); parent != parents.cend() && !related.contains(*parent);
         parent = parents.constFind(*parent)) {
        related.insert(*parent);
    }
    QSet<std::int32_t> below{chosen};
    bool grew = true;
    while (grew) {
        grew = false;
        for (const ProcessLink& link : tree) {
            if (below.contains(link.parent) && !below.contains(link.pid)) {
                below.insert(link.pid);
                grew = true;
            }
        }
    }
    return related.unite(below);
}

} // namespace

const QString& separators() {
    static const QString characters = QStringLiteral(" \t\n\r;&|()<>'\"`");
    return characters;
}

std::optional<QStringList> words(const QString& command) {
    QStringList result;
    QString current;
    bool inWord = false;
    const auto endWord = [&] {
        if (inWord) {
            result.append(current);
            current.clear();
            inWord = false;
        }
    };
    const qsizetype size = command.size();
    for (qsizetype i = 0; i < size; ++i) {
        const QChar character = command.at(i);
        if (character == u'\\') {
            if (i + 1 < size) {
                // An escaped newline joins two lines.
                if (command.at(i + 1) != u'\n') {
                    current += command.at(i + 1);
                    inWord = true;
                }
                ++i;
            }
            continue;
        }
        if (character == u'\'') {
            const qsizetype close = command.indexOf(u'\'', i + 1);
            if (close < 0) {
                return std::nullopt;
            }
            current += QStringView(command).sliced(i + 1, close - i - 1);
            inWord = true;
            i = close;
            continue;
        }
        if (character == u'"') {
            inWord = true;
            ++i;
            for (; i < size && command.at(i) != u'"'; ++i) {
                if (command.at(i) == u'\\' && i + 1 < size) {
                    const QChar next = command.at(i + 1);
                    if (next == u'"' || next == u'\\' || next == u'$' || next == u'`') {
                        current += next;
                        ++i;
                        continue;
                    }
                    if (next == u'\n') {
                        ++i;
                        continue;
                    }
                }
                current += command.at(i);
            }
            if (i >= size) {
                return std::nullopt;
            }
            continue;
        }
        if (character == u'#' && !inWord) {
            // A comment runs to the end of the line.
            const qsizetype lineEnd = command.indexOf(u'\n', i);
            if (lineEnd < 0) {
                break;
            }
            i = lineEnd - 1;
            continue;
        }
        if (character.isSpace()) {
            endWord();
            continue;
        }
        if (isOperatorCharacter(character)) {
            endWord();
            qsizetype end = i + 1;
            // "&&", "||", ">>", ">|", "2>&1"'s ">&": at most two characters make one operator.
            if (end < size && isOperatorCharacter(command.at(end)) && command.at(end) != u'(' &&
                command.at(end) != u')' && character != u'(' && character != u')') {
                ++end;
            }
            result.append(command.sliced(i, end - i));
            i = end - 1;
            continue;
        }
        current += character;
        inWord = true;
    }
    endWord();
    return result;
}

QStringList evaluated(const QStringList& arguments) {
    QStringList found;
    if (const auto script = shellScript(arguments)) {
        collectScripts(*script, 1, found);
    }
    return found;
}

bool containsBounded(const QString& text, const QString& needle) {
    if (needle.isEmpty()) {
        return false;
    }
    const auto isBoundary = [&](qsizetype index) {
        return index < 0 || index >= text.size() || separators().contains(text.at(index));
    };
    for (qsizetype at = text.indexOf(needle); at >= 0; at = text.indexOf(needle, at + 1)) {
        if (isBoundary(at - 1) && isBoundary(at + needle.size())) {
            return true;
        }
    }
    return false;
}

bool matches(const QString& command, const QStringList& arguments) {
    const QString wanted = command.trimmed();
    if (wanted.isEmpty() || arguments.isEmpty()) {
        return false;
    }
    const QStringList scripts = evaluated(arguments);
    for (const QString& script : scripts) {
        if (script.trimmed() == wanted) {
            return true;
        }
    }
    if (scripts.isEmpty() && containsBounded(arguments.join(u' '), wanted)) {
        return true;
    }
    const auto commandWords = words(wanted);
    if (!commandWords || commandWords->isEmpty()) {
        return false;
    }
    const qsizetype wordCount = commandWords->size();
    const qsizetype argumentCount = arguments.size();
    if (argumentCount < wordCount || argumentCount > wordCount + 2) {
        return false;
    }
    if (processName(commandWords->first()) != processName(arguments.first())) {
        return false;
    }
    for (qsizetype k = 1; k < wordCount; ++k) {
        if (commandWords->at(wordCount - k) != arguments.at(argumentCount - k)) {
            return false;
        }
    }
    return true;
}

QList<Release> releases(const QList<HeldRequestRelease::Held>& held, const AgentProcessReading& reading,
                        const QSet<RunningProcessIdentity>& excluding) {
    std::map<qint32, QList<const HeldRequestRelease::Held*>> byAgent;
    for (const auto& record : held) {
        if (record.command && !record.command->trimmed().isEmpty() && record.agentPID) {
            byAgent[*record.agentPID].append(&record);
        }
    }
    QList<Release> result;
    for (auto& [agentPID, records] : byAgent) {
        std::sort(records.begin(), records.end(),
                  [](const auto* a, const auto* b) { return a->askedAt < b->askedAt; });
        const QDateTime earliest = records.first()->askedAt;
        const QList<ProcessLink> tree = reading.descendants(agentPID);
        QList<Candidate> candidates;
        for (const ProcessLink& link : tree) {
            if (!link.startedAt.isValid() || link.startedAt < earliest ||
                excluding.contains({link.pid, link.startedAt})) {
                continue;
            }
            if (auto arguments = reading.arguments(link.pid)) {
                candidates.append({link, std::move(*arguments)});
            }
        }
        std::sort(candidates.begin(), candidates.end(),
                  [](const Candidate& a, const Candidate& b) { return a.link.startedAt < b.link.startedAt; });
        for (const auto* record : std::as_const(records)) {
            const auto chosen =
                std::find_if(candidates.begin(), candidates.end(), [&](const Candidate& candidate) {
                    return !candidate.used && candidate.link.startedAt >= record->askedAt &&
                           matches(*record->command, candidate.arguments);
                });
            if (chosen == candidates.end()) {
                continue;
            }
            // The shell that runs the command and the command itself both match: they go together, so
            // that neither releases a later identical request.
            const QSet<std::int32_t> related = lineage(tree, chosen->link.pid);
            Release release{record->id, {}};
            for (Candidate& candidate : candidates) {
                if (!candidate.used && related.contains(candidate.link.pid) &&
                    candidate.link.startedAt >= record->askedAt &&
                    matches(*record->command, candidate.arguments)) {
                    candidate.used = true;
                    release.processes.insert({candidate.link.pid, candidate.link.startedAt});
                }
            }
            result.append(release);
        }
    }
    return result;
}

} // namespace tessary::TerminalApproval
