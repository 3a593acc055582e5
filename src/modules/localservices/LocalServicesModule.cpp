#include "modules/localservices/LocalServicesModule.h"

#include <QStringList>

#include <algorithm>
#include <cstring>
#include <map>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

constexpr auto scopeKey = "scope";
constexpr auto groupingKey = "grouping";

} // namespace

LocalServicesModule::LocalServicesModule(LocalServicesModuleServices services)
    : m_services(std::move(services))
    , m_naming(std::make_shared<std::atomic_bool>(false)) {}

std::vector<ModuleSetting> LocalServicesModule::settings() const {
    return {
        {QLatin1StringView(scopeKey),
         u"What the list shows"_s,
         u"Only what looks like development, or belongs to an agent session."_s,
         {{u"dev"_s, u"Dev servers only"_s}, {u"all"_s, u"Everything listening"_s}},
         u"dev"_s},
        {QLatin1StringView(groupingKey),
         u"Group by"_s,
         std::nullopt,
         {{u"project"_s, u"By project"_s}, {u"technology"_s, u"By technology"_s}},
         u"project"_s},
        highlightChangesSetting(),
    };
}

std::vector<LocalService> LocalServicesModule::visible(const std::vector<LocalService>& services,
                                                       Scope scope) {
    std::vector<LocalService> shown;
    for (const LocalService& service : services) {
        const bool low = !service.isEphemeral();
        const bool owned = service.owner.has_value();
        const bool named = service.technology.kind != Technology::Kind::unknown;
        if (scope == Scope::all || (named && (owned || low)) || (!named && owned && low)) {
            shown.push_back(service);
        }
    }
    std::stable_sort(shown.begin(), shown.end(), [](const LocalService& a, const LocalService& b) {
        return a.port != b.port ? a.port < b.port : a.pid < b.pid;
    });
    return shown;
}

std::vector<LocalServicesModule::ServiceGroup>
LocalServicesModule::groups(const std::vector<LocalService>& services, Grouping grouping,
                            const Localization& localization) {
    // Keyed so that the map's order is the title's, without regard to case, with "Other" last.
    std::map<std::pair<int, QString>, ServiceGroup> byKey;
    for (const LocalService& service : services) {
        QString id;
        QString title;
        if (grouping == Grouping::technology) {
            title = service.label();
            id = u"technology:"_s + title;
        } else if (service.directory && !service.projectName().isEmpty()) {
            title = service.projectName();
            id = u"project:"_s + *service.directory;
        }
        const bool other = title.isEmpty();
        if (other) {
            title = localization.text(u"Other"_s);
            id = u"other"_s;
        }
        ServiceGroup& group = byKey[{other ? 1 : 0, title.toLower() + u'\n' + id}];
        group.id = id;
        group.title = title;
        group.services.push_back(service);
    }
    std::vector<ServiceGroup> result;
    for (auto& [key, group] : byKey) {
        std::stable_sort(group.services.begin(), group.services.end(),
                         [](const LocalService& a, const LocalService& b) { return a.port < b.port; });
        result.push_back(std::move(group));
    }
    return result;
}

std::vector<GaugeMetric> LocalServicesModule::gauges(const std::vector<LocalService>& services,
                                                     const Localization& localization) {
    const auto owned = std::count_if(services.begin(), services.end(),
                                     [](const LocalService& service) { return service.owner.has_value(); });
    GaugeMetric all;
    all.id = u"servers"_s;
    all.label = localization.text(u"servers"_s);
    all.display = QString::number(services.size());
    all.isTextual = true;
    all.isEmphasized = true;
    all.scale = GaugeMetric::Scale::progress;
    std::vector<GaugeMetric> result{all};
    if (owned > 0) {
        GaugeMetric fromAgents;
        fromAgents.id = u"agent-servers"_s;
        fromAgents.label = localization.text(u"from agents"_s);
        fromAgents.display = QString::number(owned);
        fromAgents.isTextual = true;
        fromAgents.scale = GaugeMetric::Scale::progress;
        result.push_back(fromAgents);
    }
    return result;
}

QString LocalServicesModule::serviceName(const LocalService& service, const LocalServicesStore& store,
                                         AppLanguage language) {
    if (const auto key = ServiceNaming::key(service, language)) {
        if (auto named = store.serviceName(*key)) {
            return *named;
        }
    }
    return service.label();
}

std::optional<DetailCommand> LocalServicesModule::stopCommand(const LocalService& service,
                                                              const Localization& localization) const {
    if (m_services.terminator == nullptr || !service.isMine(m_services.currentUID)) {
        return std::nullopt;
    }
    const QString name = serviceName(service, m_services.store, localization.language());
    const QString port = QString::number(service.port);
    DetailCommand command;
    command.moduleID = id();
    command.isDestructive = true;
    if (m_services.store.isSurvivor(service.id)) {
        command.id = QLatin1StringView(forcePrefix) + service.id;
        command.title = localization.text(u"Force stop"_s);
        command.confirmation = localization.format(u"Force stop %1 on :%2?"_s, name, port);
    } else {
        command.id = QLatin1StringView(stopPrefix) + service.id;
        command.title = localization.text(u"Stop"_s);
        command.confirmation = localization.format(u"Stop %1 on :%2?"_s, name, port);
    }
    return command;
}

DetailSection LocalServicesModule::row(const LocalService& service, const Localization& localization) const {
    DetailSection section;
    section.id = service.id;
    section.title = serviceName(service, m_services.store, localization.language());
    section.badge = u':' + QString::number(service.port);
    QStringList parts;
    if (!service.technology.name.isEmpty() && service.technology.name != section.title) {
        parts.append(service.technology.name);
    }
    if (service.container) {
        parts.append(*service.container);
    } else if (service.directory) {
        parts.append(service.displayDirectory(m_services.homeDirectory));
    }
    if (service.owner) {
        parts.append(service.owner->title);
        section.swatch = RoleColor::purple;
    }
    if (!parts.isEmpty()) {
        section.subtitle = parts.join(u" · "_s);
    }
    section.icon =
        icon::Symbol{service.technology.kind == Technology::Kind::database ? u"cylinder"_s : u"network"_s};
    if (service.isHTTPLikely()) {
        const QUrl url = service.url();
        section.location = DetailLocation{url.toString(), url};
        section.action = action::Open{url};
    }
    if (service.logFile || service.container) {
        LogSource source{section.title, service.logFile, service.container};
        section.actions.emplace_back(action::ViewLog{std::move(source)});
    }
    section.command = stopCommand(service, localization);
    if (!service.logLines.isEmpty()) {
        DetailSection log;
        log.id = service.id + u"/log"_s;
        log.title = localization.text(u"Recent log"_s);
        log.subtitle = service.logLines.join(u'\n');
        log.isNote = true;
        section.children.push_back(std::move(log));
    }
    if (const auto failure = m_services.store.failure(service.id)) {
        section.footnote = localization.text(*failure);
    }
    return section;
}

std::optional<ModuleSnapshot> LocalServicesModule::handle(HostEvent event, const ModuleContext& context) {
    Q_UNUSED(event);
    const Localization& localization = context.localization;
    m_language = localization.language();
    const QDateTime now = m_services.clock.now();
    const QString title = localization.text(u"Local ports"_s);
    const QString symbol = u"network"_s;
    const auto capturedAt = m_services.store.capturedAt();
    const auto error = m_services.store.lastErrorDescription();

    ModuleSnapshot snapshot;
    snapshot.id = id();
    snapshot.generatedAt = now;
    if (!capturedAt) {
        snapshot.state = ModuleState::unavailable;
        snapshot.variants.compact = {title, localization.text(u"no data"_s), symbol};
        snapshot.variants.card = CardVariant{title, std::nullopt, error};
        return snapshot;
    }

    const auto scope = context.configuration.value(QLatin1StringView(scopeKey), u"dev"_s) == "all"_L1
                           ? Scope::all
                           : Scope::dev;
    const auto grouping =
        context.configuration.value(QLatin1StringView(groupingKey), u"project"_s) == "technology"_L1
            ? Grouping::technology
            : Grouping::project;
    const bool highlights = highlightsChanges(context.configuration);
    const std::vector<LocalService> shown = visible(m_services.store.services(), scope);
    const bool owned =
        std::any_of(shown.begin(), shown.end(), [](const LocalService& s) { return s.owner.has_value(); });
    const std::optional<ChangeSignal> signal = m_services.store.changeSignal(localization);

    if (secondsBetween(*capturedAt, now) > m_services.staleAfter) {
        snapshot.state = ModuleState::unavailable;
    } else if (signal) {
        snapshot.state = ModuleState::attention;
    } else if (owned) {
        snapshot.state = ModuleState::active;
    } else {
        snapshot.state = ModuleState::quiet;
    }
    snapshot.priority = static_cast<int>(std::min<std::size_t>(shown.size(), 100));

    QString value;
    if (shown.empty()) {
        value = localization.text(u"no local servers"_s);
    } else if (shown.size() == 1) {
        value = u':' + QString::number(shown.front().port);
    } else {
        value = localization.format(u"%1 servers"_s, QString::number(shown.size()));
    }
    snapshot.variants.compact = {title, value, symbol};
    QStringList names;
    for (const LocalService& service : shown) {
        if (names.size() == 3) {
            break;
        }
        names.append(serviceName(service, m_services.store, m_language) + u" :"_s +
                     QString::number(service.port));
    }
    snapshot.variants.card = CardVariant{
        title, names.isEmpty() ? std::nullopt : std::optional<QString>(names.join(u" · "_s)),
        error ? std::optional<QString>(localization.format(u"could not list local ports: %1"_s, *error))
              : std::nullopt};
    snapshot.variants.gauges = gauges(shown, localization);

    DetailVariant detail;
    detail.title = title;
    if (error) {
        DetailSection note;
        note.id = u"error"_s;
        note.title = localization.format(u"could not list local ports: %1"_s, *error);
        note.isNote = true;
        detail.sections.push_back(std::move(note));
    }
    if (shown.empty()) {
        DetailSection empty;
        empty.id = u"empty"_s;
        empty.title = localization.text(u"No local servers"_s);
        empty.isNote = true;
        detail.sections.push_back(std::move(empty));
    }
    for (const ServiceGroup& group : groups(shown, grouping, localization)) {
        DetailSection heading;
        heading.id = u"group:"_s + group.id;
        heading.title = group.title;
        heading.isHeading = true;
        detail.sections.push_back(std::move(heading));
        for (const LocalService& service : group.services) {
            detail.sections.push_back(row(service, localization));
        }
    }
    if (m_services.namer) {
        const bool unnamed = std::any_of(shown.begin(), shown.end(), [&](const LocalService& service) {
            const auto key = ServiceNaming::key(service, m_language);
            return key && !m_services.store.serviceName(*key);
        });
        if (unnamed) {
            detail.revealCommand = DetailCommand{QLatin1StringView(nameServicesPrefix) + rawValue(m_language),
                                                 id(), localization.text(u"Name servers"_s)};
        }
    }
    snapshot.variants.detail = std::move(detail);
    if (highlights && signal) {
        snapshot.variants.signal = signal;
    }
    return snapshot;
}

QFuture<void> LocalServicesModule::perform(const DetailCommand& command) {
    if (const auto id = command.argument(forcePrefix)) {
        return stop(*id, true);
    }
    if (const auto id = command.argument(stopPrefix)) {
        return stop(*id, false);
    }
    if (command.id.startsWith(QLatin1StringView(nameServicesPrefix))) {
        const auto language =
            enumFromRaw<AppLanguage>(command.id.mid(qsizetype(std::strlen(nameServicesPrefix))));
        return nameServices(language.value_or(m_language));
    }
    return QtFuture::makeReadyFuture();
}

QFuture<void> LocalServicesModule::stop(const QString& serviceID, bool force) {
    const auto service = m_services.store.service(serviceID);
    if (!service || m_services.terminator == nullptr) {
        return QtFuture::makeReadyFuture();
    }
    LocalServicesStore& store = m_services.store;
    if (!service->isMine(m_services.currentUID)) {
        store.recordFailure(serviceID, u"not yours"_s);
        return QtFuture::makeReadyFuture();
    }
    StopRequest request;
    request.pids = {service->pid};
    request.container = service->container;
    request.force = force;
    request.gracePeriod = force ? m_services.forceGracePeriod : m_services.gracePeriod;
    const std::int32_t pid = service->pid;
    store.noteStopRequested(pid, m_services.clock.now());
    return stopProcesses(*m_services.terminator, std::move(request), m_services.delay, m_services.isAlive)
        .then([&store, serviceID, pid](const StopResult& result) {
            if (result.failure) {
                store.recordFailure(serviceID, result.failure->userText);
            }
            if (!result.stopped) {
                return;
            }
            if (result.survivors.empty()) {
                store.remove(pid);
            } else {
                store.markSurvivor(serviceID);
            }
        });
}

QFuture<void> LocalServicesModule::nameServices(AppLanguage language) {
    if (!m_services.namer || m_naming->exchange(true)) {
        return QtFuture::makeReadyFuture();
    }
    std::vector<std::pair<QString, ServiceNamingRequest>> questions;
    std::vector<std::optional<QString>> directories;
    QSet<QString> asked;
    for (const LocalService& service : m_services.store.services()) {
        const auto key = ServiceNaming::key(service, language);
        const auto request = ServiceNaming::request(service, language);
        if (!key || !request || asked.contains(*key) || m_services.store.serviceName(*key)) {
            continue;
        }
        asked.insert(*key);
        questions.emplace_back(*key, *request);
        directories.push_back(service.directory);
    }
    // One question after another: the model answers one at a time anyway.
    QFuture<void> chain = QtFuture::makeReadyFuture();
    LocalServicesStore& store = m_services.store;
    for (std::size_t i = 0; i < questions.size(); ++i) {
        chain =
            chain.then([namer = m_services.namer, request = questions[i].second] { return namer(request); })
                .unwrap()
                .then([&store, key = questions[i].first,
                       directory = directories[i]](std::optional<QString> answer) {
                    if (!answer) {
                        return;
                    }
                    const QHash<QString, QString> fields{{u"name"_s, *answer}};
                    if (const auto name = ServiceNaming::name(fields, directory)) {
                        store.setServiceName(key, *name);
                    }
                });
    }
    const auto done = [naming = m_naming] { naming->store(false); };
    return chain.then(done).onCanceled(done);
}

} // namespace tessary
