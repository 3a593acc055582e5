#include "modulekit/ModuleEventBus.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

// Records every call; answers with the scripted snapshot for each event, or nothing.
class RecordingModule final : public CorvaneModule {
public:
    RecordingModule(QString id, ModuleGroup group, QStringList* journal)
        : m_id(std::move(id))
        , m_group(group)
        , m_journal(journal) {}
    QString id() const override { return m_id; }
    QString displayName() const override { return m_id; }
    QString summary() const override { return {}; }
    ModuleGroup group() const override { return m_group; }

    std::optional<ModuleSnapshot> handle(HostEvent event, const ModuleContext& context) override {
        m_journal->append(m_id + u':' + rawValue(event));
        lastContext = context;
        const auto answer = answers.find(event);
        if (answer == answers.end()) {
            return std::nullopt;
        }
        return answer->second;
    }
    QFuture<void> perform(const DetailCommand& command) override {
        performed.append(command.id);
        return QtFuture::makeReadyFuture();
    }

    std::map<HostEvent, ModuleSnapshot> answers;
    ModuleContext lastContext;
    QStringList performed;

private:
    QString m_id;
    ModuleGroup m_group;
    QStringList* m_journal;
};

const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

ModuleSnapshot snapshot(const QString& id, ModuleState state, std::optional<double> ttl = std::nullopt,
                        ModuleGroup group = ModuleGroup::none) {
    ModuleSnapshot s;
    s.id = id;
    s.state = state;
    s.generatedAt = t0;
    s.ttl = ttl;
    s.group = group;
    s.variants.compact = {id, u"1"_s, u"circle"_s};
    return s;
}

} // namespace

class ModuleEventBusTest : public QObject {
    Q_OBJECT
private slots:
    void eventsReachModulesInEventThenRegistrationOrder();
    void duplicateRegistrationKeepsTheFirstInItsPlace();
    void laterAnswerWinsAndNoAnswerKeepsTheLast();
    void busOverwritesTheGroupAndKeysByModule();
    void eachModuleGetsItsOwnConfiguration();
    void expiredSnapshotsLeaveTheRankingButComeBack();
    void performRoutesByModuleAndIgnoresUnknown();
};

void ModuleEventBusTest::eventsReachModulesInEventThenRegistrationOrder() {
    QStringList journal;
    ModuleEventBus bus;
    bus.registerModule(std::make_shared<RecordingModule>(u"b"_s, ModuleGroup::none, &journal));
    bus.registerModule(std::make_shared<RecordingModule>(u"a"_s, ModuleGroup::none, &journal));
    bus.publish({HostEvent::hostStarted, HostEvent::layoutChanged}, {}, {});
    QCOMPARE(journal, (QStringList{u"b:hostStarted"_s, u"a:hostStarted"_s, u"b:layoutChanged"_s,
                                   u"a:layoutChanged"_s}));
}

void ModuleEventBusTest::duplicateRegistrationKeepsTheFirstInItsPlace() {
    QStringList journal;
    ModuleEventBus bus;
    auto first = std::make_shared<RecordingModule>(u"cpu"_s, ModuleGroup::system, &journal);
    QVERIFY(bus.registerModule(first));
    QVERIFY(
        bus.registerModule(std::make_shared<RecordingModule>(u"memory"_s, ModuleGroup::system, &journal)));
    QVERIFY(!bus.registerModule(std::make_shared<RecordingModule>(u"cpu"_s, ModuleGroup::code, &journal)));
    QCOMPARE(bus.registeredModuleIDs(), (QStringList{u"cpu"_s, u"memory"_s}));
    QCOMPARE(bus.registeredModules().front(), std::static_pointer_cast<CorvaneModule>(first));
}

void ModuleEventBusTest::laterAnswerWinsAndNoAnswerKeepsTheLast() {
    QStringList journal;
    ModuleEventBus bus;
    auto module = std::make_shared<RecordingModule>(u"cpu"_s, ModuleGroup::system, &journal);
    module->answers[HostEvent::hostStarted] = snapshot(u"cpu"_s, ModuleState::active);
    module->answers[HostEvent::moduleDataChanged] = snapshot(u"cpu"_s, ModuleState::critical);
    bus.registerModule(module);
    bus.publish({HostEvent::hostStarted, HostEvent::moduleDataChanged}, {}, {});
    bus.publish({HostEvent::refreshRequested}, {}, {});
    QCOMPARE(bus.latestSnapshots().size(), 1);
    QCOMPARE(bus.latestSnapshots().value(u"cpu"_s).state, ModuleState::critical);
}

void ModuleEventBusTest::busOverwritesTheGroupAndKeysByModule() {
    QStringList journal;
    ModuleEventBus bus;
    auto module = std::make_shared<RecordingModule>(u"github"_s, ModuleGroup::code, &journal);
    // A per-item snapshot id and a wrong group: the key stays the module's, the group the module's.
    module->answers[HostEvent::hostStarted] =
        snapshot(u"github.pr.12"_s, ModuleState::active, {}, ModuleGroup::agents);
    bus.registerModule(module);
    bus.publish({HostEvent::hostStarted}, {}, {});
    QVERIFY(bus.latestSnapshots().contains(u"github"_s));
    QCOMPARE(bus.latestSnapshots().value(u"github"_s).group, ModuleGroup::code);
    QCOMPARE(bus.latestSnapshots().value(u"github"_s).id, u"github.pr.12"_s);
}

void ModuleEventBusTest::eachModuleGetsItsOwnConfiguration() {
    QStringList journal;
    ModuleEventBus bus;
    auto configured = std::make_shared<RecordingModule>(u"github"_s, ModuleGroup::code, &journal);
    auto plain = std::make_shared<RecordingModule>(u"cpu"_s, ModuleGroup::system, &journal);
    bus.registerModule(configured);
    bus.registerModule(plain);
    ModuleContext context;
    context.configuration.values.insert(u"leak"_s, u"must not reach anyone"_s);
    context.workspace.activeApplicationName = u"Editor"_s;
    bus.publish({HostEvent::hostStarted}, context,
                {{u"github"_s, ModuleConfiguration{{{u"scope"_s, u"mine"_s}}}}});
    QCOMPARE(configured->lastContext.configuration.value(u"scope"_s, u"all"_s), u"mine"_s);
    QVERIFY(plain->lastContext.configuration.values.isEmpty());
    QCOMPARE(plain->lastContext.workspace.activeApplicationName, u"Editor"_s);
}

void ModuleEventBusTest::expiredSnapshotsLeaveTheRankingButComeBack() {
    QStringList journal;
    ModuleEventBus bus;
    auto module = std::make_shared<RecordingModule>(u"cpu"_s, ModuleGroup::system, &journal);
    module->answers[HostEvent::hostStarted] = snapshot(u"cpu"_s, ModuleState::active, 10);
    bus.registerModule(module);
    bus.publish({HostEvent::hostStarted}, {}, {});
    QCOMPARE(bus.rankedSnapshots(t0.addSecs(10)).size(), 1); // exactly at its ttl: still valid
    QCOMPARE(bus.rankedSnapshots(t0.addMSecs(10'001)).size(), 0);
    QVERIFY(bus.latestSnapshots().contains(u"cpu"_s)); // expiry is applied at reading only

    ModuleSnapshot fresh = snapshot(u"cpu"_s, ModuleState::active, 10);
    fresh.generatedAt = t0.addSecs(20);
    module->answers[HostEvent::refreshRequested] = fresh;
    bus.publish({HostEvent::refreshRequested}, {}, {});
    QCOMPARE(bus.rankedSnapshots(t0.addSecs(25)).size(), 1);
}

void ModuleEventBusTest::performRoutesByModuleAndIgnoresUnknown() {
    QStringList journal;
    ModuleEventBus bus;
    auto cpu = std::make_shared<RecordingModule>(u"cpu"_s, ModuleGroup::system, &journal);
    bus.registerModule(cpu);
    DetailCommand kill{u"kill"_s, u"cpu"_s, u"Quit"_s};
    bus.perform(kill.withInput(u"1234"_s)).waitForFinished();
    DetailCommand unknown{u"x"_s, u"nobody"_s, u"X"_s};
    bus.perform(unknown).waitForFinished();
    QCOMPARE(cpu->performed, QStringList{u"kill"_s});
}

QTEST_GUILESS_MAIN(ModuleEventBusTest)
#include "ModuleEventBusTest.moc"
