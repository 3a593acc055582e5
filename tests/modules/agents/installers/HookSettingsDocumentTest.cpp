#include "modules/agents/installers/HookSettingsDocument.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class HookSettingsDocumentTest : public QObject {
    Q_OBJECT
private slots:
    void parse_data();
    void parse();
    void serializeSortsKeysAndKeepsSlashesAndText();
    void isPresent_data();
    void isPresent();
    void removal_data();
    void removal();
    void appending_data();
    void appending();
};

namespace {

const QByteArray ours = R"({"type":"command","command":"curl -H \"X-Tessary-Agent: $PPID\" x"})";
const QByteArray oldToken = R"({"type":"command","command":"curl -H \"X-Tessary-Token: t\" x"})";
const QByteArray oldCorvane = R"({"type":"command","command":"curl -H \"X-Corvane-Token: t\" x"})";
const QByteArray users = R"({"type":"command","command":"/home/u/check.sh"})";

QByteArray withEntries(const QByteArray& text) {
    QByteArray result = text;
    result.replace("OURS", ours)
        .replace("OLDTOKEN", oldToken)
        .replace("CORVANE", oldCorvane)
        .replace("USERS", users);
    return result;
}

QJsonObject object(const QByteArray& text) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(withEntries(text), &error);
    if (error.error != QJsonParseError::NoError) {
        qFatal("bad test JSON: %s", text.constData());
    }
    return document.object();
}

} // namespace

void HookSettingsDocumentTest::parse_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("parses");
    QTest::newRow("object") << QByteArray(R"({"a":1})") << true;
    QTest::newRow("object after a byte-order mark") << QByteArray("\xEF\xBB\xBF{\"a\":1}") << true;
    QTest::newRow("empty") << QByteArray() << false;
    QTest::newRow("blank") << QByteArray(" \n") << false;
    QTest::newRow("array") << QByteArray("[]") << false;
    QTest::newRow("text") << QByteArray(R"("hooks")") << false;
    QTest::newRow("null") << QByteArray("null") << false;
    QTest::newRow("cut short") << QByteArray(R"({"hooks":{"Stop":[)") << false;
    QTest::newRow("trailing comma") << QByteArray(R"({"a":1,})") << false;
    QTest::newRow("comment") << QByteArray("// mine\n{}") << false;
    QTest::newRow("garbage after the object") << QByteArray("{} {}") << false;
    QTest::newRow("invalid UTF-8 in a string") << QByteArray("{\"a\":\"\xff\"}") << false;
    QTest::newRow("nested too deep") << QByteArray(100000, '[') << false;
}

void HookSettingsDocumentTest::parse() {
    QFETCH(QByteArray, bytes);
    QFETCH(bool, parses);
    QCOMPARE(HookSettingsDocument::parse(bytes).has_value(), parses);
}

void HookSettingsDocumentTest::serializeSortsKeysAndKeepsSlashesAndText() {
    const QJsonObject root = object(R"({"z":1,"a":{"y":"a/b","b":"ñ \u00e9 \"q\""},"M":[],"e":{}})");
    const QByteArray bytes = HookSettingsDocument::serialize(root);
    QVERIFY(!bytes.contains("\\/"));
    QVERIFY(bytes.contains("\"a/b\""));
    QVERIFY(bytes.contains("ñ é \\\"q\\\""));
    QVERIFY(bytes.indexOf("\"M\"") < bytes.indexOf("\"a\"") &&
            bytes.indexOf("\"a\"") < bytes.indexOf("\"z\""));
    QVERIFY(bytes.indexOf("\"b\"") < bytes.indexOf("\"y\""));
    QVERIFY(bytes.contains('\n'));
    QCOMPARE(HookSettingsDocument::serialize(*HookSettingsDocument::parse(bytes)), bytes);
}

void HookSettingsDocumentTest::isPresent_data() {
    QTest::addColumn<QByteArray>("settings");
    QTest::addColumn<bool>("present");
    QTest::newRow("current entry") << QByteArray(R"({"hooks":{"Stop":[{"hooks":[OURS]}]}})") << true;
    QTest::newRow("after a user group")
        << QByteArray(R"({"hooks":{"Stop":[{"hooks":[USERS]},{"hooks":[OURS]}]}})") << true;
    QTest::newRow("old token only") << QByteArray(R"({"hooks":{"Stop":[{"hooks":[OLDTOKEN]}]}})") << false;
    QTest::newRow("old Corvane token only")
        << QByteArray(R"({"hooks":{"Stop":[{"hooks":[CORVANE]}]}})") << false;
    QTest::newRow("other event") << QByteArray(R"({"hooks":{"PreToolUse":[{"hooks":[OURS]}]}})") << false;
    QTest::newRow("no hooks") << QByteArray(R"({"model":"x"})") << false;
    QTest::newRow("hooks is a list") << QByteArray(R"({"hooks":[{"hooks":[OURS]}]})") << false;
    QTest::newRow("event is an object") << QByteArray(R"({"hooks":{"Stop":{"hooks":[OURS]}}})") << false;
    QTest::newRow("command of another type")
        << QByteArray(R"({"hooks":{"Stop":[{"hooks":[{"command":["X-Tessary-Agent"]}]}]}})") << false;
    QTest::newRow("marker outside the command")
        << QByteArray(R"({"hooks":{"Stop":[{"hooks":[{"command":"true","note":"X-Tessary-Agent"}]}]}})")
        << false;
}

void HookSettingsDocumentTest::isPresent() {
    QFETCH(QByteArray, settings);
    QFETCH(bool, present);
    QCOMPARE(HookSettingsDocument::isPresent(object(settings), u"Stop"_s), present);
}

void HookSettingsDocumentTest::removal_data() {
    QTest::addColumn<QByteArray>("settings");
    // Empty when nothing is removed.
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("no hooks object") << QByteArray(R"({"model":"x"})") << QByteArray();
    QTest::newRow("hooks is not an object") << QByteArray(R"({"hooks":[OURS]})") << QByteArray();
    QTest::newRow("only the user's entries")
        << QByteArray(R"({"hooks":{"Stop":[{"hooks":[USERS]}]}})") << QByteArray();
    QTest::newRow("ours alone: hooks goes, the rest stays")
        << QByteArray(R"({"model":"x","hooks":{"Stop":[{"hooks":[OURS]}]},"env":{"A":"1"}})")
        << QByteArray(R"({"model":"x","env":{"A":"1"}})");
    QTest::newRow("user's entry in our group stays, with the matcher")
        << QByteArray(R"({"hooks":{"Stop":[{"matcher":"*","hooks":[USERS,OURS]}]}})")
        << QByteArray(R"({"hooks":{"Stop":[{"matcher":"*","hooks":[USERS]}]}})");
    QTest::newRow("user's group before ours stays")
        << QByteArray(
               R"({"hooks":{"PreToolUse":[{"matcher":"Bash","hooks":[USERS]},{"matcher":"*","hooks":[OURS]}]}})")
        << QByteArray(R"({"hooks":{"PreToolUse":[{"matcher":"Bash","hooks":[USERS]}]}})");
    QTest::newRow("old token form") << QByteArray(R"({"hooks":{"Stop":[{"hooks":[OLDTOKEN]}]}})")
                                    << QByteArray("{}");
    QTest::newRow("old Corvane form")
        << QByteArray(R"({"hooks":{"Stop":[{"hooks":[CORVANE]}]}})") << QByteArray("{}");
    QTest::newRow("ours under an event not in the list stays")
        << QByteArray(R"({"hooks":{"FileChanged":[{"hooks":[OURS]}]}})") << QByteArray();
    QTest::newRow("under an unknown event stays while a known one is cleared")
        << QByteArray(R"({"hooks":{"FileChanged":[{"hooks":[OURS]}],"Stop":[{"hooks":[OURS]}]}})")
        << QByteArray(R"({"hooks":{"FileChanged":[{"hooks":[OURS]}]}})");
    QTest::newRow("entry without a text command stays")
        << QByteArray(
               R"({"hooks":{"Stop":[{"hooks":[{"type":"http","url":"http://x/X-Tessary-Agent"},OURS]}]}})")
        << QByteArray(R"({"hooks":{"Stop":[{"hooks":[{"type":"http","url":"http://x/X-Tessary-Agent"}]}]}})");
    QTest::newRow("group without a hooks list stays")
        << QByteArray(R"({"hooks":{"Stop":[{"matcher":"x"},{"hooks":[OURS]}]}})")
        << QByteArray(R"({"hooks":{"Stop":[{"matcher":"x"}]}})");
    QTest::newRow("group that is not an object stays")
        << QByteArray(R"({"hooks":{"Stop":["junk",{"hooks":[OURS]}]}})")
        << QByteArray(R"({"hooks":{"Stop":["junk"]}})");
    QTest::newRow("entry that is not an object stays")
        << QByteArray(R"({"hooks":{"Stop":[{"hooks":[7,OURS]}]}})")
        << QByteArray(R"({"hooks":{"Stop":[{"hooks":[7]}]}})");
    QTest::newRow("event that is not a list is left alone")
        << QByteArray(R"({"hooks":{"Stop":{"hooks":[OURS]},"PreToolUse":[{"hooks":[OURS]}]}})")
        << QByteArray(R"({"hooks":{"Stop":{"hooks":[OURS]}}})");
    QTest::newRow("user's other events stay")
        << QByteArray(R"({"hooks":{"Stop":[{"hooks":[OURS]}],"UserPromptSubmit":[{"hooks":[USERS]}]}})")
        << QByteArray(R"({"hooks":{"UserPromptSubmit":[{"hooks":[USERS]}]}})");
}

void HookSettingsDocumentTest::removal() {
    QFETCH(QByteArray, settings);
    QFETCH(QByteArray, expected);
    const auto removed =
        HookSettingsDocument::removingProgramEntries(object(settings), {u"PreToolUse"_s, u"Stop"_s});
    if (expected.isEmpty()) {
        QVERIFY(!removed);
    } else {
        QVERIFY(removed);
        QCOMPARE(*removed, object(expected));
    }
}

void HookSettingsDocumentTest::appending_data() {
    QTest::addColumn<QByteArray>("settings");
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("empty document") << QByteArray("{}") << QByteArray(R"({"hooks":{"Stop":[GROUP]}})");
    QTest::newRow("after the user's group")
        << QByteArray(R"({"hooks":{"Stop":[{"hooks":[USERS]}]},"x":1})")
        << QByteArray(R"({"hooks":{"Stop":[{"hooks":[USERS]},GROUP]},"x":1})");
    QTest::newRow("hooks that is not an object is replaced")
        << QByteArray(R"({"hooks":"none"})") << QByteArray(R"({"hooks":{"Stop":[GROUP]}})");
    QTest::newRow("event that is not a list is replaced")
        << QByteArray(R"({"hooks":{"Stop":{"a":1}}})") << QByteArray(R"({"hooks":{"Stop":[GROUP]}})");
    QTest::newRow("current entry present: nothing appended")
        << QByteArray(R"({"hooks":{"Stop":[{"hooks":[USERS,OURS]}]}})")
        << QByteArray(R"({"hooks":{"Stop":[{"hooks":[USERS,OURS]}]}})");
    QTest::newRow("elements of the wrong kind stay")
        << QByteArray(R"({"hooks":{"Stop":["junk"]}})") << QByteArray(R"({"hooks":{"Stop":["junk",GROUP]}})");
}

void HookSettingsDocumentTest::appending() {
    QFETCH(QByteArray, settings);
    QFETCH(QByteArray, expected);
    const QJsonObject group = object(R"({"matcher":"*","hooks":[OURS]})");
    const QJsonObject result = HookSettingsDocument::appendingGroups(object(settings), {{u"Stop"_s, group}});
    QByteArray expectedText = expected;
    expectedText.replace("GROUP", R"({"matcher":"*","hooks":[OURS]})");
    QCOMPARE(result, object(expectedText));
}

QTEST_GUILESS_MAIN(HookSettingsDocumentTest)
#include "HookSettingsDocumentTest.moc"
