#include "modules/agents/jump/SessionJumpRoutes.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class SessionJumpRoutesTest : public QObject {
    Q_OBJECT
private slots:
    void warpLink_data();
    void warpLink();
    void warpHosting();
    void tmuxPanes();
    void routeChoice_data();
    void routeChoice();
    void terminalCommands();
};

void SessionJumpRoutesTest::warpLink_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("link"); // empty: no link

    const QString id = u"0123456789abcdefABCDEF0123456789"_s;
    QTest::newRow("valid") << u"warp://session/"_s + id << u"warp://session/"_s + id;
    QTest::newRow("spaces around") << u"  warp://session/"_s + id + u"\n"_s << u"warp://session/"_s + id;
    QTest::newRow("31 characters") << u"warp://session/"_s + id.left(31) << QString();
    QTest::newRow("33 characters") << u"warp://session/"_s + id + u"0"_s << QString();
    QTest::newRow("not hexadecimal") << u"warp://session/"_s + id.left(31) + u"g"_s << QString();
    QTest::newRow("query") << u"warp://session/"_s + id + u"?open=1"_s << QString();
    QTest::newRow("empty query") << u"warp://session/"_s + id + u"?"_s << QString();
    QTest::newRow("fragment") << u"warp://session/"_s + id + u"#x"_s << QString();
    QTest::newRow("user") << u"warp://me@session/"_s + id << QString();
    QTest::newRow("port") << u"warp://session:80/"_s + id << QString();
    QTest::newRow("other host") << u"warp://tab/"_s + id << QString();
    QTest::newRow("other scheme") << u"https://session/"_s + id << QString();
    QTest::newRow("deeper path") << u"warp://session/"_s + id + u"/x"_s << QString();
    QTest::newRow("encoded slash") << u"warp://session/%2F"_s + id.left(29) << QString();
    QTest::newRow("empty") << QString() << QString();
}

void SessionJumpRoutesTest::warpLink() {
    QFETCH(QString, text);
    QFETCH(QString, link);
    QCOMPARE(WarpSession::focusURL(text).value_or(QString()), link);
}

void SessionJumpRoutesTest::warpHosting() {
    QVERIFY(WarpSession::isHosted(std::nullopt, u"WarpTerminal"_s));
    QVERIFY(!WarpSession::isHosted(u"warp://session/123"_s, u"xterm"_s));
    QVERIFY(WarpSession::isHosted(u"warp://session/0123456789abcdef0123456789abcdef"_s, std::nullopt));
    QVERIFY(!WarpSession::isHosted(std::nullopt, std::nullopt));
}

void SessionJumpRoutesTest::tmuxPanes() {
    const QString output = u"/dev/pts/3\t$0\t@0\t%0\n"
                           "garbage line\n"
                           "/dev/pts/4\t$0\t@1\t%1\textra\n"
                           "/dev/pts/5\t$1\t@2\t%2\r\n"
                           "/etc/passwd\t$1\t@2\t%3\n"
                           "/dev/pts/6\t@1\t$2\t%4\n"
                           "/dev/pts/7\t$1\t@2\t%-1\n"
                           "\n"_s;
    const QList<TmuxPane> panes = TmuxPanes::parse(output);
    QCOMPARE(panes, (QList<TmuxPane>{{u"/dev/pts/3"_s, u"$0"_s, u"@0"_s, u"%0"_s},
                                     {u"/dev/pts/5"_s, u"$1"_s, u"@2"_s, u"%2"_s}}));
    QCOMPARE(TmuxPanes::onTTY(panes, u"/dev/pts/5"_s)->pane, u"%2"_s);
    QVERIFY(!TmuxPanes::onTTY(panes, u"/dev/pts/9"_s));
    QCOMPARE(TmuxPanes::socketOf(u"/tmp/tmux-1000/default,4242,0"_s), u"/tmp/tmux-1000/default"_s);
    QVERIFY(!TmuxPanes::socketOf(u"relative,1,0"_s));
    QVERIFY(!TmuxPanes::socketOf(QString()));
}

void SessionJumpRoutesTest::routeChoice_data() {
    QTest::addColumn<JumpFacts>("facts");
    QTest::addColumn<QString>("route");

    const QString warp = u"warp://session/0123456789abcdef0123456789abcdef"_s;
    JumpFacts tmux{u"/dev/pts/3"_s, u"/tmp/s,1,0"_s, u"7"_s, {}, u"1"_s, warp, {}};
    QTest::newRow("tmux before the terminal's own") << tmux << u"tmux"_s;
    JumpFacts tmuxWithoutTTY = tmux;
    tmuxWithoutTTY.tty.reset();
    QTest::newRow("tmux without a terminal") << tmuxWithoutTTY << u"kitty"_s;
    QTest::newRow("kitty") << JumpFacts{{}, {}, u"12"_s, {}, {}, {}, {}} << u"kitty"_s;
    QTest::newRow("kitty id not a number") << JumpFacts{{}, {}, u"1;rm"_s, {}, {}, {}, {}} << u"window"_s;
    QTest::newRow("wezterm") << JumpFacts{{}, {}, {}, {}, u"3"_s, {}, {}} << u"wezterm"_s;
    QTest::newRow("warp link") << JumpFacts{{}, {}, {}, {}, {}, warp, {}} << u"warp-link"_s;
    QTest::newRow("warp without a link")
        << JumpFacts{{}, {}, {}, {}, {}, {}, u"WarpTerminal"_s} << u"window"_s;
    QTest::newRow("bad warp link") << JumpFacts{{}, {}, {}, {}, {}, warp + u"?x"_s, {}} << u"window"_s;
    QTest::newRow("plain terminal") << JumpFacts{u"/dev/pts/1"_s, {}, {}, {}, {}, {}, u"xterm"_s}
                                    << u"window"_s;
}

void SessionJumpRoutesTest::routeChoice() {
    QFETCH(JumpFacts, facts);
    QFETCH(QString, route);
    QCOMPARE(QString::fromLatin1(SessionJumpRoutes::routeName(SessionJumpRoutes::choose(facts))), route);
}

void SessionJumpRoutesTest::terminalCommands() {
    JumpFacts kitty{{}, {}, u"12"_s, u"unix:/tmp/kitty-sock"_s, {}, {}, {}};
    QCOMPARE(*SessionJumpRoutes::terminalCommand(kitty, 99),
             (JumpCommand{u"kitty"_s,
                          {u"@"_s, u"--to"_s, u"unix:/tmp/kitty-sock"_s, u"focus-window"_s, u"--match"_s,
                           u"id:12"_s}}));
    kitty.kittyListenOn = u"tcp:evil.example:1"_s; // never a network address from another environment
    QCOMPARE(SessionJumpRoutes::terminalCommand(kitty, 99)->arguments,
             (QStringList{u"@"_s, u"focus-window"_s, u"--match"_s, u"id:12"_s}));
    const JumpFacts wezterm{{}, {}, {}, {}, u"3"_s, {}, {}};
    QCOMPARE(*SessionJumpRoutes::terminalCommand(wezterm, 99),
             (JumpCommand{u"wezterm"_s, {u"cli"_s, u"activate-pane"_s, u"--pane-id"_s, u"3"_s}}));
    QVERIFY(!SessionJumpRoutes::terminalCommand(JumpFacts{}, 99));
}

QTEST_GUILESS_MAIN(SessionJumpRoutesTest)
#include "SessionJumpRoutesTest.moc"
