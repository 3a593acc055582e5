#include "core/settings/TessarySettings.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class SettingsCodecTest : public QObject {
    Q_OBJECT
private slots:
    void roundTripKeepsEveryField();
    void damagedBlobLosesOnlyTheBadField_data();
    void damagedBlobLosesOnlyTheBadField();
    void unreadableBlobGivesDefaults_data();
    void unreadableBlobGivesDefaults();
    void widgetEntryMissingAKeyDropsAllWidgets();
    void olderBlobWithFewerKeysTakesDefaults();
    void displaysToRender_data();
    void displaysToRender();
    void languageMatchesLocale_data();
    void languageMatchesLocale();
};

namespace {
TessarySettings everythingChanged() {
    TessarySettings s;
    s.visibility = visibility::Pinned{u"HDMI-1"_s};
    s.placementMode = PlacementMode::leftRail;
    s.hoverBehavior = HoverBehavior::staysCompact;
    s.bubbleSize = BubbleSize::large;
    s.hidesWhenActiveWindowIsFullScreen = true;
    s.hidesWhenScreenIsLocked = false;
    s.launchesAtLogin = true;
    s.reducesMotion = true;
    s.questionSound = AlertSound::sosumi;
    s.language = AppLanguage::portuguese;
    s.displays.insert(u"DP-2"_s,
                      DisplaySettings{u"Dell U2720Q"_s, {u"cpu"_s}, DisplaySettings::Visibility::always});
    s.widgets.insert(u"github"_s, WidgetSettings{false, {{u"scope"_s, u"mine"_s}}});
    s.notch.smartOrdering = false;
    s.notch.tabOrder = {u"code"_s, u"agents"_s};
    s.notch.memberOrder.insert(u"agents"_s, {u"claude"_s, u"codex"_s});
    s.notch.hiddenInNotch = {u"memory"_s};
    s.notch.showsSystemStrip = false;
    s.notch.restingTabs = RestingTabs::one;
    s.notch.opensOn = NotchOpening::click;
    s.notch.restingStyle = RestingStyle::strip;
    s.usesAppleIntelligence = false;
    s.verboseLogging = true;
    s.groupsCadenzoSessions = false;
    return s;
}

QByteArray withField(const QByteArray& blob, const QString& key, const QJsonValue& value) {
    QJsonObject root = QJsonDocument::fromJson(blob).object();
    root.insert(key, value);
    return QJsonDocument(root).toJson();
}
} // namespace

void SettingsCodecTest::roundTripKeepsEveryField() {
    const TessarySettings original = everythingChanged();
    QCOMPARE(SettingsCodec::decode(SettingsCodec::encode(original)), original);
    // Encoding is stable, so an unchanged value writes the same bytes.
    QCOMPARE(SettingsCodec::encode(original),
             SettingsCodec::encode(SettingsCodec::decode(SettingsCodec::encode(original))));
}

void SettingsCodecTest::damagedBlobLosesOnlyTheBadField_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("bad");
    QTest::newRow("unknown bubble size") << u"bubbleSize"_s << QJsonValue(u"gigantic"_s);
    QTest::newRow("placement of wrong type") << u"placementMode"_s << QJsonValue(3);
    QTest::newRow("bool as string") << u"reducesMotion"_s << QJsonValue(u"true"_s);
    QTest::newRow("visibility with unknown case")
        << u"visibility"_s << QJsonValue(QJsonObject{{u"floating"_s, 1}});
    QTest::newRow("pinned without display")
        << u"visibility"_s << QJsonValue(QJsonObject{{u"pinned"_s, QJsonObject{}}});
    QTest::newRow("language unknown") << u"language"_s << QJsonValue(u"klingon"_s);
    QTest::newRow("displays not an object") << u"displays"_s << QJsonValue(QJsonArray{1, 2});
    QTest::newRow("notch a number") << u"notch"_s << QJsonValue(7);
    QTest::newRow("null sound") << u"questionSound"_s << QJsonValue(QJsonValue::Null);
}

void SettingsCodecTest::damagedBlobLosesOnlyTheBadField() {
    QFETCH(QString, key);
    QFETCH(QJsonValue, bad);
    const TessarySettings original = everythingChanged();
    const TessarySettings decoded =
        SettingsCodec::decode(withField(SettingsCodec::encode(original), key, bad));

    // The one damaged field takes its default; everything else is as it was.
    const auto encoded = [](const TessarySettings& settings) {
        return QJsonDocument::fromJson(SettingsCodec::encode(settings)).object();
    };
    QJsonObject expected = encoded(original);
    expected.insert(key, encoded(TessarySettings{}).value(key));
    QCOMPARE(encoded(decoded), expected);
}

void SettingsCodecTest::unreadableBlobGivesDefaults_data() {
    QTest::addColumn<QByteArray>("blob");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("cut in the middle") << SettingsCodec::encode(everythingChanged()).left(40);
    QTest::newRow("array") << QByteArray("[1,2,3]");
    QTest::newRow("binary") << QByteArray("\x00\xff\xfe{", 4);
    QTest::newRow("string") << QByteArray("\"settings\"");
}

void SettingsCodecTest::unreadableBlobGivesDefaults() {
    QFETCH(QByteArray, blob);
    QCOMPARE(SettingsCodec::decode(blob), TessarySettings{});
}

void SettingsCodecTest::widgetEntryMissingAKeyDropsAllWidgets() {
    const QByteArray blob = R"({"bubbleSize":"small","widgets":{
        "github":{"isEnabled":false,"options":{}},
        "cpu":{"isEnabled":true}}})";
    const TessarySettings decoded = SettingsCodec::decode(blob);
    QVERIFY(decoded.widgets.isEmpty());
    QCOMPARE(decoded.bubbleSize, BubbleSize::small);
}

void SettingsCodecTest::olderBlobWithFewerKeysTakesDefaults() {
    const QByteArray blob = R"({"visibility":{"pinned":{"displayID":"eDP-1"}},"bubbleSize":"huge",
        "notch":{"smartOrdering":false,"restingTabs":"three"},
        "displays":{"eDP-1":{"lastKnownName":"Built-in","visibility":"sideways"}}})";
    const TessarySettings decoded = SettingsCodec::decode(blob);
    QCOMPARE(decoded.visibility, Visibility(visibility::Pinned{u"eDP-1"_s}));
    QCOMPARE(decoded.bubbleSize, BubbleSize::medium);
    QCOMPARE(decoded.notch.smartOrdering, false);
    QCOMPARE(decoded.notch.restingTabs, RestingTabs::two);
    QCOMPARE(decoded.displays.value(u"eDP-1"_s).lastKnownName, u"Built-in"_s);
    QCOMPARE(decoded.displays.value(u"eDP-1"_s).visibility, DisplaySettings::Visibility::followsFocus);
    QCOMPARE(decoded.usesAppleIntelligence, true);
    QCOMPARE(decoded.hidesWhenScreenIsLocked, true);
}

void SettingsCodecTest::displaysToRender_data() {
    QTest::addColumn<QByteArray>("blob");
    QTest::addColumn<QString>("active");
    QTest::addColumn<QString>("fullScreen");
    QTest::addColumn<QStringList>("expected");
    const QStringList both{u"A"_s, u"B"_s};
    QTest::newRow("only the active display by default")
        << QByteArray("{}") << u"B"_s << QString() << QStringList{u"B"_s};
    QTest::newRow("always-visible display stays")
        << QByteArray(R"({"displays":{"A":{"visibility":"always"}}})") << u"B"_s << QString() << both;
    QTest::newRow("full-screen display drops") << QByteArray(R"({"displays":{"A":{"visibility":"always"}}})")
                                               << u"B"_s << u"B"_s << QStringList{u"A"_s};
    QTest::newRow("pinned elsewhere") << QByteArray(R"({"visibility":{"pinned":{"displayID":"A"}}})")
                                      << u"B"_s << QString() << QStringList{};
    QTest::newRow("pinned to a display not connected")
        << QByteArray(
               R"({"visibility":{"pinned":{"displayID":"Z"}},"displays":{"A":{"visibility":"always"}}})")
        << u"B"_s << QString() << QStringList{};
    QTest::newRow("every widget disabled on the display")
        << QByteArray(R"({"displays":{"B":{"disabledWidgetIDs":["cpu","memory"]}}})") << u"B"_s << QString()
        << QStringList{};
    QTest::newRow("one widget still enabled")
        << QByteArray(R"({"displays":{"B":{"disabledWidgetIDs":["cpu"]}}})") << u"B"_s << QString()
        << QStringList{u"B"_s};
    QTest::newRow("widget disabled everywhere and the other on this display")
        << QByteArray(
               R"({"widgets":{"memory":{"isEnabled":false,"options":{}}},"displays":{"B":{"disabledWidgetIDs":["cpu"]}}})")
        << u"B"_s << QString() << QStringList{};
}

void SettingsCodecTest::displaysToRender() {
    QFETCH(QByteArray, blob);
    QFETCH(QString, active);
    QFETCH(QString, fullScreen);
    QFETCH(QStringList, expected);
    const TessarySettings settings = SettingsCodec::decode(blob);
    const std::optional<QString> full = fullScreen.isEmpty() ? std::nullopt : std::optional(fullScreen);
    QCOMPARE(settings.displaysToRender(active, {u"A"_s, u"B"_s}, {u"cpu"_s, u"memory"_s}, full), expected);
}

void SettingsCodecTest::languageMatchesLocale_data() {
    QTest::addColumn<QString>("locale");
    QTest::addColumn<int>("expected"); // -1: none
    QTest::newRow("US English") << u"en_US"_s << int(AppLanguage::english);
    QTest::newRow("Mexican Spanish") << u"es_MX"_s << int(AppLanguage::spanish);
    QTest::newRow("Brazilian Portuguese") << u"pt_BR"_s << int(AppLanguage::portuguese);
    QTest::newRow("European Portuguese") << u"pt_PT"_s << int(AppLanguage::portuguese);
    QTest::newRow("German") << u"de_DE"_s << -1;
}

void SettingsCodecTest::languageMatchesLocale() {
    QFETCH(QString, locale);
    QFETCH(int, expected);
    const auto matched = matchingLanguage(QLocale(locale));
    QCOMPARE(matched ? int(*matched) : -1, expected);
}

QTEST_GUILESS_MAIN(SettingsCodecTest)
#include "SettingsCodecTest.moc"
