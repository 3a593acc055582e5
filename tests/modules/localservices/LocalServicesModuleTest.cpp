#include "modules/localservices/LocalServicesModule.h"

#include "modules/localservices/SessionLinker.h"
#include "support/FakeProcessTerminator.h"

#include <QTest>

#include <set>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

using FakeTerminator = testing::FakeProcessTerminator;

LocalService service(std::int32_t pid, int port, Technology::Kind kind, const QString& name = u"Vite"_s,
                     const QString& directory = u"/home/u/shop"_s) {
    LocalService s;
    s.id = LocalService::identifier(pid, port);
    s.pid = pid;
    s.port = port;
    s.address = u"*"_s;
    s.uid = 1000;
    s.command = u"node"_s;
    s.arguments = u"node server.js"_s;
    s.directory = directory;
    s.technology = {kind == Technology::Kind::unknown ? QString() : name, kind};
    if (kind == Technology::Kind::unknown) {
        s.command = name;
    }
    return s;
}

SessionLink ancestry(const QString& id = u"s1"_s) {
    return {id, u"Fix the cart"_s, SessionLink::Evidence::ancestry};
}

ModuleContext context(QMap<QString, QString> values = {}, AppLanguage language = AppLanguage::english) {
    ModuleContext context;
    context.configuration.values = std::move(values);
    context.localization = Localization(language);
    return context;
}

QStringList ports(const std::vector<LocalService>& services) {
    QStringList result;
    for (const LocalService& s : services) {
        result.append(QString::number(s.port));
    }
    return result;
}

} // namespace

Q_DECLARE_METATYPE(std::vector<LocalService>)

class LocalServicesModuleTest : public QObject {
    Q_OBJECT
private slots:
    void init();

    void devScope_data();
    void devScope();
    void groupsByProjectAndTechnology();
    void snapshotOfAList();
    void snapshotBeforeAScanAndAfterAFailure();
    void stopThenForceStop();
    void stopOfAGoneProcessRemovesItAtOnce();
    void othersServersAndContainers();
    void linkerPrefersAncestry();
    void agentServerGoneRaisesAFactOnce();
    void userStopAndDirectoryLinksRaiseNothing();
    void busySessionDelaysTheNotice();
    void twentyOneFactsKeepTheNewestTwenty();

private:
    LocalServicesModuleServices services() {
        LocalServicesModuleServices services{*m_storage, m_clock};
        services.terminator = &m_terminator;
        services.delay = [this](double seconds) {
            m_delays.push_back(seconds);
            return QtFuture::makeReadyFuture();
        };
        services.isAlive = [this](std::int32_t pid) { return m_terminator.alive.contains(pid); };
        services.currentUID = 1000;
        services.homeDirectory = u"/home/u"_s;
        services.staleAfter = 60;
        return services;
    }

    ManualClock m_clock;
    bool m_busy = false;
    std::unique_ptr<LocalServicesStore> m_storage;
    FakeTerminator m_terminator;
    std::vector<double> m_delays;
};

void LocalServicesModuleTest::init() {
    m_storage = std::make_unique<LocalServicesStore>([this](const QString&) { return m_busy; });
    m_busy = false;
    m_terminator.sent.clear();
    m_terminator.alive.clear();
    m_terminator.stubborn.clear();
    m_terminator.containers.clear();
    m_delays.clear();
}

void LocalServicesModuleTest::devScope_data() {
    QTest::addColumn<std::vector<LocalService>>("services");
    QTest::addColumn<QStringList>("shown");
    const auto runtime = Technology::Kind::runtime;
    const auto unknown = Technology::Kind::unknown;

    LocalService agentNode = service(10, 61000, runtime, u"Node"_s);
    agentNode.owner = ancestry();
    QTest::newRow("node on an ephemeral port shows with a session")
        << std::vector<LocalService>{agentNode} << QStringList{u"61000"_s};
    QTest::newRow("and not without") << std::vector<LocalService>{service(10, 61000, runtime, u"Node"_s)}
                                     << QStringList{};
    LocalService agentUnknown = service(11, 5000, unknown, u"mystery"_s);
    agentUnknown.owner = ancestry();
    QTest::newRow("an unknown process on 5000 only with a session")
        << std::vector<LocalService>{service(12, 5000, unknown, u"mystery"_s), agentUnknown}
        << QStringList{u"5000"_s};
    QTest::newRow("49151 is low, 49152 is not")
        << std::vector<LocalService>{service(13, 49152, runtime), service(14, 49151, runtime)}
        << QStringList{u"49151"_s};
    LocalService ephemeralUnknown = service(15, 50000, unknown, u"x"_s);
    ephemeralUnknown.owner = ancestry();
    QTest::newRow("unknown and ephemeral never, even with a session")
        << std::vector<LocalService>{ephemeralUnknown} << QStringList{};
    QTest::newRow("sorted by port") << std::vector<LocalService>{service(1, 8000, Technology::Kind::web),
                                                                 service(2, 3000, Technology::Kind::database)}
                                    << QStringList{u"3000"_s, u"8000"_s};
}

void LocalServicesModuleTest::devScope() {
    QFETCH(std::vector<LocalService>, services);
    QTEST(ports(LocalServicesModule::visible(services, LocalServicesModule::Scope::dev)), "shown");
    QCOMPARE(LocalServicesModule::visible(services, LocalServicesModule::Scope::all).size(), services.size());
}

void LocalServicesModuleTest::groupsByProjectAndTechnology() {
    const std::vector<LocalService> services{
        service(1, 5173, Technology::Kind::web, u"Vite"_s, u"/home/u/shop"_s),
        service(2, 8000, Technology::Kind::web, u"Django"_s, u"/home/u/api"_s),
        service(3, 3000, Technology::Kind::web, u"Vite"_s, u"/home/u/Blog"_s),
        service(4, 5432, Technology::Kind::database, u"Postgres"_s, u"/"_s),
    };
    const auto byProject =
        LocalServicesModule::groups(services, LocalServicesModule::Grouping::project, Localization());
    QStringList titles;
    for (const auto& group : byProject) {
        titles.append(group.title);
    }
    QCOMPARE(titles, (QStringList{u"api"_s, u"Blog"_s, u"shop"_s, u"Other"_s}));
    const auto byTechnology =
        LocalServicesModule::groups(services, LocalServicesModule::Grouping::technology, Localization());
    QCOMPARE(byTechnology.size(), std::size_t(3));
    QCOMPARE(byTechnology[2].title, u"Vite"_s);
    QCOMPARE(ports(byTechnology[2].services), (QStringList{u"3000"_s, u"5173"_s}));
}

void LocalServicesModuleTest::snapshotOfAList() {
    LocalService vite = service(10, 5173, Technology::Kind::web);
    vite.owner = ancestry();
    vite.logFile = QUrl::fromLocalFile(u"/home/u/shop/dev.log"_s);
    LocalService tls = service(11, 8443, Technology::Kind::web, u"Express"_s, u"/home/u/api"_s);
    tls.scheme = Scheme::https;
    LocalService db = service(12, 5432, Technology::Kind::database, u"Postgres"_s);
    m_storage->update({vite, tls, db, service(13, 60000, Technology::Kind::runtime)}, m_clock.now(), {});
    LocalServicesModule module(services());

    const auto snapshot = module.handle(HostEvent::moduleDataChanged, context());
    QCOMPARE(snapshot->id, u"tessary.ports"_s);
    QCOMPARE(snapshot->state, ModuleState::active); // an agent's server is among them
    QCOMPARE(snapshot->variants.compact.value, u"3 servers"_s);
    QCOMPARE(snapshot->variants.card->subtitle,
             std::optional<QString>(u"Vite :5173 · Postgres :5432 · Express :8443"_s));
    QCOMPARE(snapshot->variants.gauges.size(), std::size_t(2));
    QCOMPARE(snapshot->variants.gauges[0].display, std::optional<QString>(u"3"_s));
    QCOMPARE(snapshot->variants.gauges[1].display, std::optional<QString>(u"1"_s));

    const auto& sections = snapshot->variants.detail->sections;
    QCOMPARE(sections[0].title, u"api"_s);
    QVERIFY(sections[0].isHeading);
    const DetailSection& express = sections[1];
    QCOMPARE(express.location->url, QUrl(u"https://localhost:8443/"_s));
    QCOMPARE(std::get<action::Open>(*express.action).url, QUrl(u"https://localhost:8443/"_s));
    QCOMPARE(*express.subtitle, u"~/api"_s);
    const DetailSection& postgres = sections[4];
    QCOMPARE(postgres.title, u"Postgres"_s);
    QVERIFY(!postgres.location); // no link for a database
    const DetailSection& viteRow = sections[3];
    QCOMPARE(*viteRow.subtitle, u"~/shop · Fix the cart"_s);
    QCOMPARE(*viteRow.badge, u":5173"_s);
    QCOMPARE(std::get<action::ViewLog>(viteRow.actions.at(0)).source.file, vite.logFile);
    QCOMPARE(viteRow.command->id, u"stop:10:5173"_s);
    QCOMPARE(*viteRow.command->confirmation, u"Stop Vite on :5173?"_s);
    QVERIFY(viteRow.command->isDestructive);

    const auto one = [&] {
        m_storage->update({db}, m_clock.now(), {});
        return module.handle(HostEvent::moduleDataChanged, context({{u"grouping"_s, u"technology"_s}}));
    }();
    QCOMPARE(one->state, ModuleState::quiet);
    QCOMPARE(one->variants.compact.value, u":5432"_s);

    m_storage->update({}, m_clock.now(), {});
    const auto none = module.handle(HostEvent::moduleDataChanged, context({}, AppLanguage::spanish));
    QCOMPARE(none->variants.compact.value, u"sin servidores locales"_s);
    QCOMPARE(none->variants.detail->sections.at(0).title, u"No hay servidores locales"_s);
}

void LocalServicesModuleTest::snapshotBeforeAScanAndAfterAFailure() {
    LocalServicesModule module(services());
    QCOMPARE(module.handle(HostEvent::hostStarted, context())->state, ModuleState::unavailable);

    m_storage->update({service(10, 5173, Technology::Kind::web)}, m_clock.now(), {});
    m_storage->updateErrorDescription(u"lsof exited 2"_s);
    const auto failed = module.handle(HostEvent::moduleDataChanged, context());
    // The list stays, with the reason.
    QCOMPARE(failed->variants.compact.value, u":5173"_s);
    QCOMPARE(failed->variants.detail->sections.at(0).title, u"could not list local ports: lsof exited 2"_s);

    m_clock.advance(61);
    QCOMPARE(module.handle(HostEvent::moduleDataChanged, context())->state, ModuleState::unavailable);
}

void LocalServicesModuleTest::stopThenForceStop() {
    m_storage->update({service(10, 5173, Technology::Kind::web)}, m_clock.now(), {});
    m_terminator.alive = {10};
    m_terminator.stubborn = {10};
    LocalServicesModuleServices withGrace = services();
    withGrace.gracePeriod = 3;
    withGrace.forceGracePeriod = 1;
    LocalServicesModule module(withGrace);
    module.perform({u"stop:10:5173"_s, u"tessary.ports"_s, u"Stop"_s}).waitForFinished();
    QCOMPARE(m_terminator.sent, (std::vector<std::pair<std::int32_t, bool>>{{10, false}}));
    QCOMPARE(m_delays, std::vector<double>{3});
    QVERIFY(m_storage->isSurvivor(u"10:5173"_s));
    QVERIFY(m_storage->stopRequestedPIDs().contains(10));

    const auto snapshot = module.handle(HostEvent::moduleDataChanged, context());
    const DetailCommand force = *snapshot->variants.detail->sections.at(1).command;
    QCOMPARE(force.id, u"force:10:5173"_s);
    QCOMPARE(*force.confirmation, u"Force stop Vite on :5173?"_s);
    module.perform(force).waitForFinished();
    QCOMPARE(m_terminator.sent.back(), (std::pair<std::int32_t, bool>{10, true}));
    QCOMPARE(m_delays.back(), 1.0);
    QVERIFY(m_storage->services().empty());
}

void LocalServicesModuleTest::stopOfAGoneProcessRemovesItAtOnce() {
    m_storage->update({service(10, 5173, Technology::Kind::web), service(10, 5174, Technology::Kind::web)},
                      m_clock.now(), {});
    m_terminator.alive = {10};
    LocalServicesModule module(services());
    module.perform({u"stop:10:5173"_s, u"tessary.ports"_s, u"Stop"_s}).waitForFinished();
    QVERIFY(m_storage->services().empty()); // both ports of the process
    module.perform({u"stop:99:1"_s, u"tessary.ports"_s, u"Stop"_s}).waitForFinished();
    module.perform({u"unknown:1"_s, u"tessary.ports"_s, u"Stop"_s}).waitForFinished();
    QCOMPARE(m_terminator.sent.size(), std::size_t(1));
}

void LocalServicesModuleTest::othersServersAndContainers() {
    LocalService foreign = service(20, 8080, Technology::Kind::web);
    foreign.uid = 0;
    LocalService container = service(21, 5000, Technology::Kind::container, u"Docker"_s);
    container.container = u"web-1"_s;
    container.logLines = {u"ready"_s};
    m_storage->update({foreign, container}, m_clock.now(), {});
    m_terminator.alive = {21};
    LocalServicesModule module(services());

    const auto snapshot = module.handle(HostEvent::moduleDataChanged, context());
    const auto& rows = snapshot->variants.detail->sections;
    const auto foreignRow =
        std::find_if(rows.begin(), rows.end(), [](const auto& s) { return s.id == u"20:8080"_s; });
    QVERIFY(!foreignRow->command); // not the user's: no stop offered
    module.perform({u"stop:20:8080"_s, u"tessary.ports"_s, u"Stop"_s}).waitForFinished();
    QCOMPARE(m_storage->failure(u"20:8080"_s), std::optional<QString>(u"not yours"_s));
    QVERIFY(m_terminator.sent.empty());

    const auto containerRow =
        std::find_if(rows.begin(), rows.end(), [](const auto& s) { return s.id == u"21:5000"_s; });
    QCOMPARE(containerRow->children.at(0).subtitle, std::optional<QString>(u"ready"_s));
    QCOMPARE(std::get<action::ViewLog>(containerRow->actions.at(0)).source.container,
             std::optional<QString>(u"web-1"_s));
    m_terminator.alive.clear(); // docker stop took the proxy with it
    module.perform({u"stop:21:5000"_s, u"tessary.ports"_s, u"Stop"_s}).waitForFinished();
    QCOMPARE(m_terminator.containers, QStringList{u"web-1"_s});
    QVERIFY(m_terminator.sent.empty());
    QCOMPARE(m_storage->services().size(), std::size_t(1));
}

void LocalServicesModuleTest::linkerPrefersAncestry() {
    const std::vector<SessionLinker::Session> sessions{
        {u"outer"_s, u"Outer"_s, u"/home/u"_s, std::nullopt},
        {u"deep"_s, u"Deep"_s, u"/home/u/shop/"_s, std::nullopt},
        {u"agent"_s, u"Agent's"_s, u"/home/u/shop"_s, 500},
        {u"sibling"_s, u"Sibling"_s, u"/home/u/shopping"_s, std::nullopt},
    };
    const std::vector<SessionLinker::Agent> agents{{500, u"/home/u/shop"_s}};
    const auto ancestors = [](std::int32_t pid) {
        return pid == 10 ? std::vector<std::int32_t>{9, 500, 1} : std::vector<std::int32_t>{9, 1};
    };
    auto linked =
        SessionLinker::link({service(10, 1, Technology::Kind::web), service(11, 2, Technology::Kind::web),
                             service(12, 3, Technology::Kind::web, u"x"_s, u"/tmp"_s)},
                            sessions, agents, ancestors);
    QCOMPARE(linked[0].owner,
             std::optional(SessionLink{u"agent"_s, u"Agent's"_s, SessionLink::Evidence::ancestry}));
    QCOMPARE(linked[1].owner,
             std::optional(SessionLink{u"deep"_s, u"Deep"_s, SessionLink::Evidence::directory}));
    QCOMPARE(linked[2].owner, std::nullopt);
    QCOMPARE(SessionLinker::deepestSession(u"/home/u/shopping/x"_s, sessions)->sessionID, u"sibling"_s);
}

void LocalServicesModuleTest::agentServerGoneRaisesAFactOnce() {
    LocalService vite = service(10, 5173, Technology::Kind::web);
    vite.owner = ancestry();
    const QSet<QString> running{u"s1"_s};
    m_storage->update({vite}, m_clock.now(), running);
    m_clock.advance(10);
    m_storage->update({}, m_clock.now(), running);
    QCOMPARE(m_storage->activeChanges().size(), std::size_t(1));
    const auto signal = m_storage->changeSignal(Localization());
    QCOMPARE(signal->facts().at(0).id, u"stopped:s1:5173"_s);
    QCOMPARE(signal->facts().at(0).text, u"Vite :5173 stopped · Fix the cart"_s);

    LocalServicesModule module(services());
    const auto snapshot = module.handle(HostEvent::moduleDataChanged, context());
    QCOMPARE(snapshot->state, ModuleState::attention);
    QVERIFY(snapshot->variants.signal);
    QVERIFY(!module.handle(HostEvent::moduleDataChanged, context({{u"highlight-changes"_s, u"off"_s}}))
                 ->variants.signal);

    // The fact stays while the port is unserved and the session runs; it goes when either changes.
    m_storage->update({}, m_clock.now(), running);
    QCOMPARE(m_storage->activeChanges().size(), std::size_t(1));
    m_storage->update({}, m_clock.now(), {});
    QVERIFY(m_storage->activeChanges().empty());
}

void LocalServicesModuleTest::userStopAndDirectoryLinksRaiseNothing() {
    LocalService byUser = service(10, 5173, Technology::Kind::web);
    byUser.owner = ancestry();
    LocalService byFolder = service(11, 8000, Technology::Kind::web);
    byFolder.owner = SessionLink{u"s1"_s, u"Fix the cart"_s, SessionLink::Evidence::directory};
    const QSet<QString> running{u"s1"_s};
    m_storage->update({byUser, byFolder}, m_clock.now(), running);
    m_storage->noteStopRequested(10, m_clock.now());
    m_storage->update({}, m_clock.now(), running);
    QVERIFY(m_storage->activeChanges().empty());
    QVERIFY(m_storage->stopRequestedPIDs().isEmpty()); // dies with the process
}

void LocalServicesModuleTest::busySessionDelaysTheNotice() {
    LocalService vite = service(10, 5173, Technology::Kind::web);
    vite.owner = ancestry();
    const QSet<QString> running{u"s1"_s};
    m_storage->update({vite}, m_clock.now(), running);
    m_busy = true;
    m_storage->update({}, m_clock.now(), running);
    QVERIFY(m_storage->activeChanges().empty());
    m_busy = false;
    m_storage->update({}, m_clock.now(), running);
    QCOMPARE(m_storage->activeChanges().size(), std::size_t(1));

    // A restart during work is no news at all.
    LocalServicesStore restart([](const QString&) { return true; });
    restart.update({vite}, m_clock.now(), running);
    restart.update({}, m_clock.now(), running);
    LocalService again = vite;
    again.pid = 12;
    restart.update({again}, m_clock.now(), running);
    restart.update({again}, m_clock.now(), running);
    QVERIFY(restart.activeChanges().empty());
}

void LocalServicesModuleTest::twentyOneFactsKeepTheNewestTwenty() {
    std::vector<LocalServiceChange> changes;
    for (int i = 0; i < 21; ++i) {
        changes.push_back({u"stopped:s:"_s + QString::number(i), LocalServiceChange::Kind::stopped, u"x"_s, i,
                           u"s"_s, u"t"_s, m_clock.now().addSecs(i)});
    }
    const auto kept = LocalServiceChanges::bounded(changes);
    QCOMPARE(kept.size(), std::size_t(20));
    QCOMPARE(kept.front().port, 20);
    QCOMPARE(kept.back().port, 1);
}

QTEST_GUILESS_MAIN(LocalServicesModuleTest)
#include "LocalServicesModuleTest.moc"
