#include "app/onboarding/OnboardingWindow.h"

#include "app/onboarding/OnboardingSwitch.h"

#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class OnboardingWindowTest : public QObject {
    Q_OBJECT
private slots:
    void switchesFollowTheOffers();
    void everyControlHasAnAccessibleName();
    void keyboardWalksAndAnswers();
    void escapeAndClosingMeanLater_data();
    void escapeAndClosingMeanLater();
    void noAgentFound();
    void textsFollowTheLanguage();
};

namespace {

QList<AgentOffer> threeOffers() {
    const QString home = u"/nonexistent-home"_s;
    AgentOffer claude{u"claude"_s, u"Claude Code"_s, u"Claude detail"_s,
                      AgentHookInstaller::claude(home, nullptr)};
    claude.isConnected = true;
    AgentOffer codex{u"codex"_s, u"Codex"_s, u"Codex detail"_s, AgentHookInstaller::codex(home, nullptr)};
    codex.isDeclined = true;
    const AgentOffer antigravity{u"antigravity"_s, u"Antigravity"_s, u"Nothing to connect"_s, std::nullopt};
    return {claude, codex, antigravity};
}

OnboardingSwitch* switchNamed(QWidget& window, const QString& name) {
    return window.findChild<OnboardingSwitch*>(name);
}

struct Answers {
    int starts = 0;
    int laters = 0;
    QMap<QString, bool> agents;
    bool launchAtLogin = false;

    void attach(OnboardingWindow& window) {
        window.onStart = [this](const QMap<QString, bool>& chosen, bool login) {
            ++starts;
            agents = chosen;
            launchAtLogin = login;
        };
        window.onLater = [this] { ++laters; };
    }
};

} // namespace

void OnboardingWindowTest::switchesFollowTheOffers() {
    OnboardingWindow window(threeOffers(), true, Localization());
    QVERIFY(switchNamed(window, u"claude"_s)->isChecked());
    QVERIFY(!switchNamed(window, u"codex"_s)->isChecked());
    QVERIFY(!switchNamed(window, u"antigravity"_s));
    QVERIFY(switchNamed(window, u"launchAtLogin"_s)->isChecked());
    QCOMPARE(window.choices(), (QMap<QString, bool>{{u"claude"_s, true}, {u"codex"_s, false}}));
    QStringList texts;
    for (const QLabel* label : window.findChildren<QLabel*>()) {
        texts.append(label->text());
    }
    for (const QString& expected :
         {u"Claude Code"_s, u"Codex"_s, u"Antigravity"_s, u"Nothing to connect"_s, u"Connected"_s}) {
        QVERIFY2(texts.contains(expected), qPrintable(expected));
    }
    QCOMPARE(texts.count(u"Connected"_s), 1);
}

void OnboardingWindowTest::everyControlHasAnAccessibleName() {
    OnboardingWindow window(threeOffers(), false, Localization());
    window.show();
    const QList<QAbstractButton*> buttons = window.findChildren<QAbstractButton*>();
    QCOMPARE(buttons.size(), 5);
    for (QAbstractButton* button : buttons) {
        QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(button);
        QVERIFY(accessible);
        QVERIFY2(!accessible->text(QAccessible::Name).isEmpty(), qPrintable(button->objectName()));
        QVERIFY(accessible->state().focusable);
    }
    QAccessibleInterface* codex = QAccessible::queryAccessibleInterface(switchNamed(window, u"codex"_s));
    QCOMPARE(codex->text(QAccessible::Name), u"Connect Codex"_s);
    QCOMPARE(codex->text(QAccessible::Description), u"Codex detail"_s);
    QCOMPARE(codex->role(), QAccessible::CheckBox);
    QVERIFY(codex->state().checkable);
    QVERIFY(!codex->state().checked);
    switchNamed(window, u"codex"_s)->click();
    QVERIFY(codex->state().checked);
    for (const QLabel* label : window.findChildren<QLabel*>()) {
        QVERIFY2(!label->accessibleName().isEmpty(), qPrintable(label->text()));
    }
}

void OnboardingWindowTest::keyboardWalksAndAnswers() {
    OnboardingWindow window(threeOffers(), false, Localization());
    Answers answers;
    answers.attach(window);
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));

    const QList<QWidget*> order{switchNamed(window, u"claude"_s), switchNamed(window, u"codex"_s),
                                switchNamed(window, u"launchAtLogin"_s)};
    QCOMPARE(QApplication::focusWidget(), order[0]);
    for (qsizetype i = 1; i < order.size(); ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), order[i]);
    }
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
    QVERIFY(window.launchAtLogin());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QCOMPARE(qobject_cast<QPushButton*>(QApplication::focusWidget())->text(), u"Later"_s);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QCOMPARE(qobject_cast<QPushButton*>(QApplication::focusWidget())->text(), u"Start"_s);

    // Return starts, from wherever the focus is.
    QTest::keyClick(switchNamed(window, u"claude"_s), Qt::Key_Return);
    QCOMPARE(answers.starts, 1);
    QCOMPARE(answers.agents, (QMap<QString, bool>{{u"claude"_s, true}, {u"codex"_s, true}}));
    QVERIFY(answers.launchAtLogin);
    QVERIFY(!window.isVisible());
    window.close();
    QCOMPARE(answers.laters, 0);
    QCOMPARE(answers.starts, 1);
}

void OnboardingWindowTest::escapeAndClosingMeanLater_data() {
    QTest::addColumn<int>("way");
    QTest::newRow("escape") << 0;
    QTest::newRow("close") << 1;
    QTest::newRow("Later") << 2;
}

void OnboardingWindowTest::escapeAndClosingMeanLater() {
    QFETCH(int, way);
    OnboardingWindow window(threeOffers(), false, Localization());
    Answers answers;
    answers.attach(window);
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    switch (way) {
    case 0:
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
        break;
    case 1:
        window.close();
        break;
    default:
        for (QPushButton* button : window.findChildren<QPushButton*>()) {
            if (button->text() == u"Later"_s) {
                button->click();
            }
        }
    }
    QCOMPARE(answers.laters, 1);
    QCOMPARE(answers.starts, 0);
    QVERIFY(!window.isVisible());
    window.close();
    QCOMPARE(answers.laters, 1);
}

void OnboardingWindowTest::noAgentFound() {
    OnboardingWindow window({}, false, Localization());
    Answers answers;
    answers.attach(window);
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    bool explained = false;
    for (const QLabel* label : window.findChildren<QLabel*>()) {
        explained = explained || label->text().startsWith(u"No coding agent was found"_s);
    }
    QVERIFY(explained);
    QCOMPARE(qobject_cast<QPushButton*>(QApplication::focusWidget())->text(), u"Start"_s);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QCOMPARE(answers.starts, 1);
    QVERIFY(answers.agents.isEmpty());
}

void OnboardingWindowTest::textsFollowTheLanguage() {
    for (const AppLanguage language : {AppLanguage::spanish, AppLanguage::portuguese}) {
        OnboardingWindow window(threeOffers(), false, Localization(language));
        QVERIFY(window.windowTitle() != u"Welcome to Tessary"_s);
        for (const QAbstractButton* button : window.findChildren<QAbstractButton*>()) {
            QVERIFY(!button->accessibleName().contains(u"Connect "_s));
            QVERIFY(button->text() != u"Later"_s && button->text() != u"Start"_s);
        }
        for (const QLabel* label : window.findChildren<QLabel*>()) {
            // Every text of the window itself is translated; only names and the given details stay.
            QVERIFY2(!label->text().contains(u" the "_s), qPrintable(label->text()));
        }
    }
}

QTEST_MAIN(OnboardingWindowTest)
#include "OnboardingWindowTest.moc"
