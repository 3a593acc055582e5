// The controller between the queue and the card: what it grabs, what an answer sends, and that a
// hint or a key never reaches a request other than the one in front.

#include "surfaces/card/PermissionCardController.h"

#include "CardSamples.h"
#include "core/time/Clock.h"
#include "platform/keygrab/fake/FakeShortcutGrab.h"
#include "platform/panels/fake/FakePanelWindowTraits.h"
#include "surfaces/card/PermissionCardPanel.h"

#include <QApplication>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class PermissionCardControllerTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void windowIsReadyBeforeTheFirstRequest();
    void grabsWhatTheFrontRequestOffers();
    void answerMovesToTheNextAtOnce();
    void lateHintForAnotherRequestIsDropped();
    void timeOnScreenRunsOutAndSoundPlaysPerRequest();

private:
    FakePanelWindowTraits m_traits;
    FakeShortcutGrab m_keys;
    ManualClock m_clock;
    QStringList m_sounds;
    std::unique_ptr<PermissionCardController> m_card;
    QList<std::pair<QString, PermissionDecision>> m_decisions;
    QList<bool> m_visibility;
    const PermissionCardController::Placement m_placement{QRectF(600, 0, 180, 32), false, 32, 900, 45};
};

void PermissionCardControllerTest::init() {
    m_card = std::make_unique<PermissionCardController>(PermissionCardController::Dependencies{
        m_traits, m_keys, m_clock, {}, [this](const QString& sound) { m_sounds.append(sound); }});
    m_keys.available = true;
    m_decisions.clear();
    m_visibility.clear();
    m_sounds.clear();
    m_card->onDecide = [this](const PendingPermission& request, PermissionDecision decision) {
        m_decisions.append({request.id, decision});
    };
    m_card->onVisibilityChange = [this](bool showing) { m_visibility.append(showing); };
}

void PermissionCardControllerTest::cleanup() {
    m_card.reset();
}

void PermissionCardControllerTest::windowIsReadyBeforeTheFirstRequest() {
    // Made and described to the window manager with the controller; a request only maps it.
    const quintptr window = m_card->panel()->internalWinId();
    QVERIFY(window != 0);
    QCOMPARE(m_traits.prepared.value(window), 1);
    m_card->show({cardsamples::command(u"a"_s)}, m_placement);
    m_card->hide();
    m_card->show({cardsamples::command(u"b"_s)}, m_placement);
    QCOMPARE(m_card->panel()->internalWinId(), window);
    QCOMPARE(m_traits.prepared.value(window), 1);
    QCOMPARE(m_traits.reasserted.value(window), 2);
}

void PermissionCardControllerTest::grabsWhatTheFrontRequestOffers() {
    // (What a command without "always allow" takes is shown with the real keyboard grab.)
    m_card->show({cardsamples::plan()}, m_placement);
    QCOMPARE(m_keys.grabbedKeys(), (QList<QChar>{u'y', u'a', u'n'}));
    // "n" on a plan with nothing written opens the field instead of sending an empty change request.
    QVERIFY(m_keys.press(u'n'));
    QVERIFY(m_card->panel()->acceptsKeyboard());

    m_card->show({}, m_placement);
    QVERIFY(!m_card->isShowing());
    QVERIFY(m_keys.grabbedKeys().isEmpty());
    QVERIFY(!m_card->panel()->acceptsKeyboard());
    QCOMPARE(m_visibility, (QList<bool>{true, false}));

    // Without global keys the card still works with the pointer, and shows no key caps.
    m_keys.available = false;
    m_card->show({cardsamples::command()}, m_placement);
    QVERIFY(m_card->isShowing());
    QVERIFY(!m_card->shortcutsActive());
}

void PermissionCardControllerTest::answerMovesToTheNextAtOnce() {
    const QList<PendingPermission> queue{cardsamples::command(u"a"_s), cardsamples::command(u"b"_s)};
    m_card->show(queue, m_placement);
    QCOMPARE(m_card->model().queued(), 1);
    QVERIFY(m_keys.press(u'y'));
    QVERIFY(m_keys.press(u'n')); // reaches "b": "a" is answered and leaves before the next refresh
    QCOMPARE(m_decisions, (QList<std::pair<QString, PermissionDecision>>{
                              {u"a"_s, PermissionDecision::allow}, {u"b"_s, PermissionDecision::deny}}));
    QVERIFY(!m_card->isShowing());
    // A refresh that still lists them (the listener has not dropped them yet) shows nothing again.
    m_card->show(queue, m_placement);
    QVERIFY(!m_card->isShowing());
}

void PermissionCardControllerTest::lateHintForAnotherRequestIsDropped() {
    QList<std::pair<QString, PermissionCardController::HintReply>> asked;
    m_card->hintProvider = [&](const PendingPermission& request, PermissionCardController::HintReply reply) {
        asked.append({request.id, std::move(reply)});
    };
    m_card->show({cardsamples::command(u"a"_s), cardsamples::command(u"b"_s)}, m_placement);
    m_card->show({cardsamples::command(u"a"_s), cardsamples::command(u"b"_s)}, m_placement);
    QCOMPARE(asked.size(), 1); // asked once per request
    m_card->show({cardsamples::command(u"b"_s)}, m_placement);
    QCOMPARE(asked.size(), 2);
    const PermissionHint risky{PermissionHint::Risk::high, u"deletes files"_s, std::nullopt, {}};
    asked[0].second(risky); // for "a", which has left
    QVERIFY(!m_card->model().hint);
    asked[1].second(risky);
    QCOMPARE(m_card->model().hint, std::optional<PermissionHint>(risky));
}

void PermissionCardControllerTest::timeOnScreenRunsOutAndSoundPlaysPerRequest() {
    m_card->setAlertSound(u"Tink"_s);
    const QList<PendingPermission> queue{cardsamples::command(u"a"_s), cardsamples::question(u"b"_s)};
    m_card->show(queue, m_placement);
    m_clock.advance(30);
    m_card->setHovering(true); // the pointer rests on the card: its clock stops
    m_clock.advance(100);
    m_card->tick();
    QCOMPARE(m_card->model().permission()->id, u"a"_s);
    m_card->setHovering(false);
    m_clock.advance(15);
    m_card->tick();
    QCOMPARE(m_card->model().permission()->id, u"b"_s);
    QCOMPARE(m_keys.grabbedKeys(), (QList<QChar>{u'1', u'2', u'3', u'y'}));
    QCOMPARE(m_sounds, (QStringList{u"Tink"_s, u"Tink"_s}));
}

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    PermissionCardControllerTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "PermissionCardControllerTest.moc"
