#include "core/diagnostics/DiagnosticValue.h"

#include <QTest>

#include <cerrno>
#include <cmath>
#include <limits>
#include <string>
#include <system_error>
#include <type_traits>

using namespace tessary;
using namespace Qt::StringLiterals;

// A value reaches a line only from a literal or a factory: no run-time text converts to one, and the keys and
// events of a line are literals too. (A char array that is not a constant is refused as well: the consteval
// constructors cannot read it while compiling.)
static_assert(!std::is_constructible_v<DiagnosticValue, QString>);
static_assert(!std::is_constructible_v<DiagnosticValue, const QString&>);
static_assert(!std::is_constructible_v<DiagnosticValue, QStringView>);
static_assert(!std::is_constructible_v<DiagnosticValue, QLatin1StringView>);
static_assert(!std::is_constructible_v<DiagnosticValue, QByteArray>);
static_assert(!std::is_constructible_v<DiagnosticValue, const char*>);
static_assert(!std::is_constructible_v<DiagnosticValue, std::string>);
static_assert(!std::is_convertible_v<QString, DiagnosticValue>);
static_assert(!std::is_default_constructible_v<DiagnosticValue>);
static_assert(!std::is_constructible_v<DiagnosticLiteral, QString>);
static_assert(!std::is_constructible_v<DiagnosticLiteral, const char*>);
static_assert(!std::is_constructible_v<DiagnosticLiteral, std::string>);
static_assert(!std::is_constructible_v<DiagnosticField, QString, QString>);
static_assert(!std::is_constructible_v<DiagnosticField, const char*, DiagnosticValue>);

namespace probe {

enum class ProbeError { timeout, refused, badLabel };

// An error record with a payload, as the typed provider errors are.
struct ProbeFailure {
    enum class Kind { timeout, refused };
    Kind kind = Kind::timeout;
    int seconds = 0;
    // Defined once the EnumTable of Kind is known.
    [[nodiscard]] DiagnosticValue diagnosticKind() const;
};

struct Transfer {
    Q_GADGET
public:
    enum TransferError { NoError = 0, HostNotFoundError = 3, OperationCanceledError = 5 };
    Q_ENUM(TransferError)
};

enum class Mode { compact, secretPath };

class MyDomain final : public std::error_category {
public:
    [[nodiscard]] const char* name() const noexcept override { return "my domain"; }
    [[nodiscard]] std::string message(int) const override { return "failed"; }
};

} // namespace probe

template <>
struct tessary::EnumTable<probe::ProbeError> {
    static constexpr std::array<std::pair<probe::ProbeError, const char*>, 3> cases{{
        {probe::ProbeError::timeout, "timeout"},
        {probe::ProbeError::refused, "refused"},
        {probe::ProbeError::badLabel, "bad label"},
    }};
};

template <>
struct tessary::EnumTable<probe::ProbeFailure::Kind> {
    static constexpr std::array<std::pair<probe::ProbeFailure::Kind, const char*>, 2> cases{{
        {probe::ProbeFailure::Kind::timeout, "timeout"},
        {probe::ProbeFailure::Kind::refused, "refused"},
    }};
};

template <>
struct tessary::EnumTable<probe::Mode> {
    static constexpr std::array<std::pair<probe::Mode, const char*>, 2> cases{{
        {probe::Mode::compact, "compact"},
        {probe::Mode::secretPath, "/home/alice/secret-project"},
    }};
};

DiagnosticValue probe::ProbeFailure::diagnosticKind() const {
    return DiagnosticValue::errorKind("ProbeError", kind);
}

class DiagnosticValueTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void renders_data();
    void renders();
    void redactionShapes_data();
    void redactionShapes();
};

void DiagnosticValueTest::initTestCase() {
    DiagnosticRedaction::addPersonalWords({u"alice"_s, u"bob"_s, u"al"_s});
}

void DiagnosticValueTest::renders_data() {
    QTest::addColumn<QString>("rendered");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char* name, const DiagnosticValue& value, const QString& expected) {
        QTest::newRow(name) << value.rendered() << expected;
    };

    row("literal", "two words", u"two words"_s);
    row("count", DiagnosticValue::count(-42), u"-42"_s);
    row("milliseconds", DiagnosticValue::milliseconds(250), u"250ms"_s);
    row("bytes", DiagnosticValue::bytes(1'000'000), u"1000000B"_s);
    row("bool yes", DiagnosticValue::boolean(true), u"yes"_s);

    row("size rounds", DiagnosticValue::size(319.5, 239.4), u"320x239"_s);
    row("size negative", DiagnosticValue::size(-2.5, -0.4), u"-3x0"_s);
    row("size NaN", DiagnosticValue::size(std::nan(""), 10), u"0x10"_s);
    row("size infinite", DiagnosticValue::size(10, -std::numeric_limits<double>::infinity()), u"10x0"_s);
    row("size 2e9", DiagnosticValue::size(2e9, 5), u"0x5"_s);
    row("size 1e9", DiagnosticValue::size(-1e9, 1), u"0x1"_s);

    row("shortID cut", DiagnosticValue::shortID(u"abcd1234zzz"_s), u"abcd1234"_s);
    row("shortID short", DiagnosticValue::shortID(u"ab_-9"_s), u"ab_-9"_s);
    row("shortID slash", DiagnosticValue::shortID(u"ab/cd"_s), u"other"_s);
    row("shortID bad after 8", DiagnosticValue::shortID(u"abcd1234/home"_s), u"abcd1234"_s);
    row("shortID non-ASCII", DiagnosticValue::shortID(u"abcé"_s), u"other"_s);
    row("shortID empty", DiagnosticValue::shortID(u""_s), u"none"_s);
    row("shortID nothing", DiagnosticValue::shortID(std::nullopt), u"none"_s);
    row("shortID uuid", DiagnosticValue::shortID(u"3f2a9c1e-77b0-4c1d-9e0a-5b6c7d8e9f00"_s), u"3f2a9c1e"_s);
    row("shortID user name", DiagnosticValue::shortID(u"alice"_s), u"other"_s);
    row("shortID token prefix", DiagnosticValue::shortID(u"sk-ant-api03-xyz"_s), u"other"_s);

    row("kindOfID", DiagnosticValue::kindOfID(u"token:abc"_s), u"token"_s);
    row("kindOfID first colon", DiagnosticValue::kindOfID(u"pid:123:456"_s), u"pid"_s);
    row("kindOfID plain", DiagnosticValue::kindOfID(u"abc"_s), u"plain"_s);
    row("kindOfID empty prefix", DiagnosticValue::kindOfID(u":abc"_s), u"other"_s);
    row("kindOfID path prefix", DiagnosticValue::kindOfID(u"/tmp/x:abc"_s), u"other"_s);
    row("kindOfID empty", DiagnosticValue::kindOfID(u""_s), u"plain"_s);

    row("name safe", DiagnosticValue::name(u"claude-sonnet-4-5_20250929"_s), u"claude-sonnet-4-5_20250929"_s);
    row("name 40", DiagnosticValue::name(QString(40, u'a')), QString(40, u'a'));
    row("name 41", DiagnosticValue::name(QString(41, u'a')), u"other"_s);
    row("name blank", DiagnosticValue::name(u"two words"_s), u"other"_s);
    row("name nothing", DiagnosticValue::name(std::nullopt), u"none"_s);
    row("name non-ASCII", DiagnosticValue::name(u"caf\u00e9"_s), u"other"_s);
    row("name user", DiagnosticValue::name(u"Alice"_s), u"other"_s);
    row("name token", DiagnosticValue::name(u"ghp_0123456789abcdef"_s), u"other"_s);

    row("oneOf blank", DiagnosticValue::oneOf(u"two words"_s, {"one", "two words"}), u"two_words"_s);
    row("oneOf plain", DiagnosticValue::oneOf(u"one"_s, {"one", "two words"}), u"one"_s);
    row("oneOf other", DiagnosticValue::oneOf(u"three"_s, {"one", "two words"}), u"other"_s);
    row("oneOf case matters", DiagnosticValue::oneOf(u"ONE"_s, {"one"}), u"other"_s);
    row("oneOf nothing", DiagnosticValue::oneOf(std::nullopt, {"one"}), u"none"_s);

    row("audited newline", DiagnosticValue::audited(u"a\nb"_s), u"a b"_s);
    row("audited CRLF", DiagnosticValue::audited(u"a\r\nb"_s), u"a  b"_s);
    row("audited cut", DiagnosticValue::audited(QString(700, u'x')), QString(600, u'x'));
    row("audited keeps pairs whole", DiagnosticValue::audited(QString(QString(599, u'x') + u"\U0001F600"_s)),
        QString(599, u'x'));

    row("caseName table", DiagnosticValue::caseName(probe::ProbeError::refused), u"refused"_s);
    row("caseName unsafe raw", DiagnosticValue::caseName(probe::Mode::secretPath), u"other"_s);
    row("caseName Q_ENUM", DiagnosticValue::caseName(probe::Transfer::HostNotFoundError),
        u"HostNotFoundError"_s);
    row("caseName Q_ENUM unknown", DiagnosticValue::caseName(static_cast<probe::Transfer::TransferError>(77)),
        u"other"_s);

    row("errorKind enum", DiagnosticValue::errorKind(probe::ProbeError::timeout), u"ProbeError.timeout"_s);
    row("errorKind enum unsafe label", DiagnosticValue::errorKind(probe::ProbeError::badLabel),
        u"ProbeError#2"_s);
    row("errorKind record with payload", DiagnosticValue::errorKind(probe::ProbeFailure{{}, 30}),
        u"ProbeError.timeout"_s);
    row("errorKind Q_ENUM", DiagnosticValue::errorKind(probe::Transfer::HostNotFoundError),
        u"TransferError.HostNotFoundError"_s);
    row("errorKind type and code", DiagnosticValue::errorKind("Oops", 1), u"Oops#1"_s);
    row("errorKind system", DiagnosticValue::errorKind(std::error_code(ENOENT, std::generic_category())),
        u"generic#2"_s);
    static const probe::MyDomain myDomain;
    row("errorKind unsafe domain", DiagnosticValue::errorKind(std::error_code(4, myDomain)), u"other#4"_s);
    row("errorKind failure", DiagnosticValue::errorKind(Failure{u"/home/alice/secret-project is gone"_s}),
        u"Failure"_s);
}

void DiagnosticValueTest::renders() {
    QFETCH(QString, rendered);
    QFETCH(QString, expected);
    QCOMPARE(rendered, expected);
}

void DiagnosticValueTest::redactionShapes_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("credential");
    QTest::addColumn<bool>("personal");
    QTest::newRow("anthropic key") << u"sk-ant-abc123XYZ"_s << true << false;
    QTest::newRow("github token") << u"ghp_abcdef"_s << true << false;
    QTest::newRow("jwt head") << u"eyJhbGciOi"_s << true << false;
    QTest::newRow("mixed run") << u"run-aB3dE6gH"_s << true << false;
    QTest::newRow("long hex") << u"0123456789abcdef0123"_s << true << false;
    QTest::newRow("model name") << u"claude-sonnet-4-5-20250929"_s << false << false;
    QTest::newRow("codex model") << u"gpt-5.1-codex-max"_s << false << false;
    QTest::newRow("tool name") << u"NotebookEdit"_s << false << false;
    QTest::newRow("arch") << u"x86_64"_s << false << false;
    QTest::newRow("region") << u"asia-east1"_s << false << false;
    QTest::newRow("upper-case token") << u"SK-ANT-ABC123XYZ"_s << true << false;
    QTest::newRow("user word") << u"ALICE-laptop"_s << false << true;
    QTest::newRow("user word inside") << u"malice"_s << false << true;
    QTest::newRow("short word as a part") << u"build.bob"_s << false << true;
    QTest::newRow("short word inside another") << u"bobcat"_s << false << false;
    QTest::newRow("two-letter words are ignored") << u"al"_s << false << false;
}

void DiagnosticValueTest::redactionShapes() {
    QFETCH(QString, text);
    QFETCH(bool, credential);
    QFETCH(bool, personal);
    QCOMPARE(DiagnosticRedaction::looksLikeCredential(text), credential);
    QCOMPARE(DiagnosticRedaction::containsPersonalWord(text), personal);
}

QTEST_GUILESS_MAIN(DiagnosticValueTest)
#include "DiagnosticValueTest.moc"
