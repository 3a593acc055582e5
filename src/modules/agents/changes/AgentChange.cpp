#include "modules/agents/changes/AgentChange.h"

#include "core/records/Overloaded.h"
#include "modules/sessions/RelativeText.h"

namespace tessary {

using namespace Qt::StringLiterals;

QString AgentChange::clipped(const QString& title, qsizetype limit) {
    QString simplified = title.simplified();
    if (limit < 1 || simplified.size() <= limit) {
        return simplified;
    }
    QString cut = simplified.left(limit - 1);
    // Never leave half of a surrogate pair before the ellipsis.
    if (!cut.isEmpty() && cut.back().isHighSurrogate()) {
        cut.chop(1);
    }
    return cut.trimmed() + u'…';
}

QString AgentChange::text(const QString& sessionTitle, const Localization& localization) const {
    // Without a title a session is named by the start of its id.
    const QString title = clipped(sessionTitle.trimmed().isEmpty() ? sessionID.left(8) : sessionTitle);
    return std::visit(
        Overloaded{
            [&](const Stopped& stopped) {
                return localization.format(u"%1 stopped: %2"_s, title,
                                           stopped.reason.value_or(localization.text(u"error"_s)));
            },
            [&](const ToolFinished& tool) {
                return localization.format(u"%1 finished in %2"_s, tool.tool,
                                           RelativeText::duration(tool.duration, localization));
            },
            [&](const ToolFailed& tool) {
                return localization.format(u"%1 failed after %2"_s, tool.tool,
                                           RelativeText::duration(tool.duration, localization));
            },
            [&](const Background& background) {
                const QString name = sessionTitle.trimmed().isEmpty() && !background.agent.isEmpty()
                                         ? clipped(background.agent)
                                         : title;
                switch (background.transition) {
                case BackgroundTransition::blocked:
                    return localization.format(u"Background agent needs you · %1"_s, name);
                case BackgroundTransition::failed:
                    return localization.format(u"Background agent failed · %1"_s, name);
                case BackgroundTransition::done:
                    break;
                }
                return localization.format(u"Background agent finished · %1"_s, name);
            },
            [&](const Question&) { return localization.format(u"Waiting for your answer · %1"_s, title); },
            [&](const Permission&) { return localization.format(u"Needs permission · %1"_s, title); },
            [&](const Waiting&) { return localization.format(u"Waiting for you · %1"_s, title); },
            [&](const Completed&) { return localization.format(u"%1 finished"_s, title); },
            [&](const DesktopReply&) {
                return localization.format(u"New reply in Claude Desktop · %1"_s, title);
            },
        },
        kind);
}

ChangeSignal::Fact::Tone AgentChange::tone() const {
    using Tone = ChangeSignal::Fact::Tone;
    return std::visit(Overloaded{
                          [](const Stopped&) { return Tone::critical; },
                          [](const ToolFailed&) { return Tone::critical; },
                          [](const Background& background) {
                              switch (background.transition) {
                              case BackgroundTransition::blocked:
                                  return Tone::attention;
                              case BackgroundTransition::failed:
                                  return Tone::critical;
                              case BackgroundTransition::done:
                                  break;
                              }
                              return Tone::success;
                          },
                          [](const Question&) { return Tone::attention; },
                          [](const Permission&) { return Tone::attention; },
                          [](const Waiting&) { return Tone::attention; },
                          [](const auto&) { return Tone::success; },
                      },
                      kind);
}

bool AgentChange::isWait() const {
    if (const auto* background = std::get_if<Background>(&kind)) {
        return background->transition == BackgroundTransition::blocked;
    }
    return std::holds_alternative<Question>(kind) || std::holds_alternative<Permission>(kind) ||
           std::holds_alternative<Waiting>(kind);
}

} // namespace tessary
