#include "modulekit/Detail.h"

namespace tessary {

using namespace Qt::StringLiterals;

std::optional<QString> DetailCommand::argument(const char* prefix) const {
    const QLatin1StringView text(prefix);
    if (!id.startsWith(text) || id.size() == text.size()) {
        return std::nullopt;
    }
    return id.mid(text.size());
}

QString DetailStep::line() const {
    QString text = name;
    if (detail && !detail->isEmpty()) {
        text += u" · "_s + *detail;
    }
    if (note && !note->isEmpty()) {
        text += u" ("_s + *note + u')';
    }
    return text;
}

QStringList DetailSection::noteLines() const {
    QStringList lines{title};
    if (subtitle) {
        lines.append(subtitle->split(u'\n'));
    }
    return lines;
}

namespace {

const DetailSection* findSection(const std::vector<DetailSection>& sections, const QString& id) {
    for (const DetailSection& section : sections) {
        if (section.id == id) {
            return &section;
        }
        if (const DetailSection* child = findSection(section.children, id)) {
            return child;
        }
    }
    return nullptr;
}

} // namespace

const DetailSection* DetailVariant::section(const QString& id) const {
    return findSection(sections, id);
}

std::vector<DetailCommand> commandsOf(const DetailSection& section) {
    std::vector<DetailCommand> commands;
    if (section.command) {
        commands.push_back(*section.command);
    }
    for (const DetailAction& action : section.actions) {
        if (const auto* perform = std::get_if<action::Perform>(&action)) {
            commands.push_back(perform->command);
        }
    }
    return commands;
}

} // namespace tessary
