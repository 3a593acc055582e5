#include "modules/usage/UsageMeterModule.h"

#include "modulekit/SnapshotPrioritizer.h"
#include "modules/sessionpanel/SessionPanel.h"
#include "modules/usage/UsageWidgetPresenter.h"

#include <QStringList>

namespace tessary {

using namespace Qt::StringLiterals;

UsageMeterModule::UsageMeterModule(UsageMeterServices services)
    : m_services(std::move(services)) {}

std::vector<ModuleSetting> UsageMeterModule::settings() const {
    return primaryLimitSettings();
}

std::vector<ModuleSetting> UsageMeterModule::primaryLimitSettings() {
    return {{QLatin1StringView(primaryLimitKey),
             u"Main reading"_s,
             u"The limit shown on the compact bubble. The others stay visible on hover."_s,
             {{u"auto"_s, u"Automatic (the most critical)"_s},
              {u"session"_s, u"5-hour window"_s},
              {u"weekly"_s, u"Weekly (all models)"_s},
              {u"model"_s, u"Weekly for the model in use"_s}},
             QLatin1StringView(UsageStore::automaticChoice)}};
}

std::optional<ModuleSnapshot> UsageMeterModule::handle(HostEvent event, const ModuleContext& context) {
    Q_UNUSED(event);
    return snapshot(id(), context.localization.text(u"Claude usage"_s), u"Claude"_s, m_services, context);
}

ModuleSnapshot UsageMeterModule::snapshot(const QString& moduleID, const QString& title,
                                          const QString& compactTitle, const UsageMeterServices& services,
                                          const ModuleContext& context) {
    const Localization& localization = context.localization;
    const QDateTime now = services.clock.now();
    UsageStore& store = services.store;

    const QString choice = context.configuration.value(QLatin1StringView(primaryLimitKey),
                                                       QLatin1StringView(UsageStore::automaticChoice));
    if (choice != store.primaryChoice()) {
        store.updatePrimaryChoice(choice);
    }

    UsageWidgetPresenter::Input input;
    input.moduleID = moduleID;
    input.title = title;
    input.compactTitle = compactTitle;
    input.report = store.latestReport();
    input.errorDescription = store.lastErrorDescription();
    input.primaryChoice = choice;
    std::optional<UsageLimitKind> shown;
    if (input.report) {
        if (const auto lead = UsageWidgetPresenter::primary(*input.report, choice, localization)) {
            shown = lead->kind;
        }
    }
    input.signal = store.limitChangeSignal(localization, shown);
    const UsageMeterSessions& sessions = services.sessions;
    std::optional<UsageMeterSessions::Reading> reading;
    if (sessions.read) {
        reading = sessions.read(now, localization);
        input.extraSections = std::move(reading->sections);
    }

    if (reading && reading->signal) {
        std::vector<ChangeSignal::Fact> facts =
            input.signal ? input.signal->facts() : std::vector<ChangeSignal::Fact>{};
        facts.insert(facts.end(), reading->signal->facts().cbegin(), reading->signal->facts().cend());
        input.signal = ChangeSignal::make(std::move(facts));
    }
    ModuleSnapshot snapshot = UsageWidgetPresenter::snapshot(input, now, localization);
    if (reading && reading->summary) {
        CardVariant card =
            snapshot.variants.card.value_or(CardVariant{input.title, std::nullopt, std::nullopt});
        card.detail = card.detail ? *card.detail + u'\n' + *reading->summary : *reading->summary;
        snapshot.variants.card = std::move(card);
    }
    // Sessions waiting on the user outrank quiet usage; a widget without usage figures still shows
    // its sessions.
    if (reading && reading->state &&
        SnapshotPrioritizer::weight(*reading->state) > SnapshotPrioritizer::weight(snapshot.state)) {
        snapshot.state = *reading->state;
    }
    return snapshot;
}

QFuture<void> UsageMeterModule::perform(const DetailCommand& command) {
    return jump(m_services.sessions, command);
}

QFuture<void> UsageMeterModule::jump(const UsageMeterSessions& sessions, const DetailCommand& command) {
    if (const auto session = SessionPanel::jumpTarget(command); session && sessions.jump) {
        return sessions.jump(*session);
    }
    return QtFuture::makeReadyFuture();
}

} // namespace tessary
