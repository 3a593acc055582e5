#include "modules/agents/hooks/HookRequestReader.h"

#include <QJsonDocument>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(QList<QByteArray>)

class HookRequestReaderTest : public QObject {
    Q_OBJECT
private slots:
    void progressAfterEachPiece_data();
    void progressAfterEachPiece();
    void headersAndBody_data();
    void headersAndBody();
    void everyCutGivesTheSameRequest_data();
    void everyCutGivesTheSameRequest();
    void headLimitIsExact();
    void contentLengthLimitIsExact();
    void toolResponseIsDroppedAtOnce();
    void finishedReaderRefusesMore();
    void peerClosedReaderHoldsNothing();
};

namespace {

// "more", "continue", "complete" or "invalid".
QString describe(const HookRequestReader::Progress& progress) {
    if (const auto* more = std::get_if<HookRequestReader::NeedsMore>(&progress)) {
        return more->continueNow ? u"continue"_s : u"more"_s;
    }
    return std::holds_alternative<HookRequestReader::Complete>(progress) ? u"complete"_s : u"invalid"_s;
}

QByteArray post(const QByteArray& body, const QByteArray& extraHeaders = {}) {
    return "POST /event HTTP/1.1\r\nHost: 127.0.0.1:4711\r\nX-Tessary-Token: abc\r\nContent-Length: " +
           QByteArray::number(body.size()) + "\r\n" + extraHeaders + "\r\n" + body;
}

HookRequest completeRequest(HookRequestReader& reader, const QList<QByteArray>& pieces) {
    for (const QByteArray& piece : pieces) {
        auto progress = reader.append(piece);
        if (auto* complete = std::get_if<HookRequestReader::Complete>(&progress)) {
            return complete->request;
        }
    }
    return {};
}

} // namespace

void HookRequestReaderTest::progressAfterEachPiece_data() {
    QTest::addColumn<QList<QByteArray>>("pieces");
    QTest::addColumn<QStringList>("progress");

    const QByteArray body = R"({"session_id":"s1","hook_event_name":"Stop"})";
    QTest::newRow("head and body in one read") << QList<QByteArray>{post(body)} << QStringList{u"complete"_s};
    QTest::newRow("terminator cut after CR LF CR")
        << QList<QByteArray>{"GET / HTTP/1.1\r\nA: b\r\n\r", "\n"} << QStringList{u"more"_s, u"complete"_s};
    QTest::newRow("terminator cut after CR")
        << QList<QByteArray>{"GET / HTTP/1.1\r", "\n\r\n"} << QStringList{u"more"_s, u"complete"_s};
    QTest::newRow("terminator one byte a read")
        << QList<QByteArray>{"GET / HTTP/1.1", "\r", "\n", "\r", "\n"}
        << QStringList{u"more"_s, u"more"_s, u"more"_s, u"more"_s, u"complete"_s};
    QTest::newRow("body in pieces") << QList<QByteArray>{post(body).chopped(10), post(body).right(10).left(4),
                                                         post(body).right(6)}
                                    << QStringList{u"more"_s, u"more"_s, u"complete"_s};
    QTest::newRow("content length zero") << QList<QByteArray>{post({})} << QStringList{u"complete"_s};
    QTest::newRow("GET without body")
        << QList<QByteArray>{"GET / HTTP/1.1\r\nX-Tessary-Token: abc\r\n\r\n"} << QStringList{u"complete"_s};
    QTest::newRow("expect continue, then body")
        << QList<QByteArray>{"POST / HTTP/1.1\r\nContent-Length: 2\r\nExpect: 100-continue\r\n\r\n", "{}"}
        << QStringList{u"continue"_s, u"complete"_s};
    QTest::newRow("expect continue in upper case")
        << QList<QByteArray>{"POST / HTTP/1.1\r\nContent-Length: 2\r\nexpect:  100-CONTINUE \r\n\r\n", "{}"}
        << QStringList{u"continue"_s, u"complete"_s};
    QTest::newRow("expect continue with the body already there")
        << QList<QByteArray>{"POST / HTTP/1.1\r\nContent-Length: 2\r\nExpect: 100-continue\r\n\r\n{}"}
        << QStringList{u"complete"_s};
    QTest::newRow("other expectation")
        << QList<QByteArray>{"POST / HTTP/1.1\r\nContent-Length: 2\r\nExpect: something\r\n\r\n", "{}"}
        << QStringList{u"more"_s, u"complete"_s};
    QTest::newRow("no content length completes with its head")
        << QList<QByteArray>{"POST / HTTP/1.1\r\n\r\n{\"a\":1}", "{\"b\":2}"}
        << QStringList{u"complete"_s, u"invalid"_s};
    QTest::newRow("bad UTF-8 in the head")
        << QList<QByteArray>{"POST / HTTP/1.1\r\nX-Name: \xc3\x28\r\n\r\n"} << QStringList{u"invalid"_s};
    QTest::newRow("overlong UTF-8 in the head")
        << QList<QByteArray>{"POST / HTTP/1.1\r\nX-Name: \xc0\xaf\r\n\r\n"} << QStringList{u"invalid"_s};
    QTest::newRow("bad UTF-8 in the body is only a bad body")
        << QList<QByteArray>{post("{\"a\":\"\xff\"}")} << QStringList{u"complete"_s};
    QTest::newRow("content length not a number")
        << QList<QByteArray>{"POST / HTTP/1.1\r\nContent-Length: ten\r\n\r\n"} << QStringList{u"invalid"_s};
    QTest::newRow("content length negative")
        << QList<QByteArray>{"POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\n"} << QStringList{u"invalid"_s};
    QTest::newRow("content length with a sign")
        << QList<QByteArray>{"POST / HTTP/1.1\r\nContent-Length: +2\r\n\r\n{}"} << QStringList{u"invalid"_s};
    QTest::newRow("content length empty")
        << QList<QByteArray>{"POST / HTTP/1.1\r\nContent-Length:\r\n\r\n"} << QStringList{u"invalid"_s};
    QTest::newRow("content length with digits after a blank")
        << QList<QByteArray>{"POST / HTTP/1.1\r\nContent-Length: 1 2\r\n\r\n"} << QStringList{u"invalid"_s};
    QTest::newRow("content length past any integer")
        << QList<QByteArray>{"POST / HTTP/1.1\r\nContent-Length: 99999999999999999999999999\r\n\r\n"}
        << QStringList{u"invalid"_s};
    QTest::newRow("content length with leading zeros")
        << QList<QByteArray>{"POST / HTTP/1.1\r\nContent-Length: 0000000000000000000002\r\n\r\n{}"}
        << QStringList{u"complete"_s};
    QTest::newRow("content length padded with tabs")
        << QList<QByteArray>{"POST / HTTP/1.1\r\nContent-Length:\t2\t\r\n\r\n{}"}
        << QStringList{u"complete"_s};
}

void HookRequestReaderTest::progressAfterEachPiece() {
    QFETCH(QList<QByteArray>, pieces);
    QFETCH(QStringList, progress);
    HookRequestReader reader;
    QStringList seen;
    for (const QByteArray& piece : pieces) {
        seen.append(describe(reader.append(piece)));
    }
    QCOMPARE(seen, progress);
}

void HookRequestReaderTest::headersAndBody_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QVariantMap>("headers");
    QTest::addColumn<QByteArray>("json");

    QTest::newRow("names lower-cased, values trimmed of blanks and tabs")
        << QByteArray("POST / HTTP/1.1\r\nX-Tessary-Agent: \t 4242 \t\r\nX-TESSARY-SOURCE:codex\r\n\r\n")
        << QVariantMap{{u"x-tessary-agent"_s, u"4242"_s}, {u"x-tessary-source"_s, u"codex"_s}}
        << QByteArray("{}");
    QTest::newRow("the last of two equal names wins")
        << QByteArray("POST / HTTP/1.1\r\nX-Tessary-Token: first\r\nx-tessary-token: second\r\n\r\n")
        << QVariantMap{{u"x-tessary-token"_s, u"second"_s}} << QByteArray("{}");
    QTest::newRow("lines without a colon are ignored, a colon in the value stays")
        << QByteArray("GET / HTTP/1.1\r\nnonsense\r\nHost: 127.0.0.1:8080\r\n\r\n")
        << QVariantMap{{u"host"_s, u"127.0.0.1:8080"_s}} << QByteArray("{}");
    QTest::newRow("the request line is never a header") << QByteArray("X-Tessary-Token: abc\r\nA: b\r\n\r\n")
                                                        << QVariantMap{{u"a"_s, u"b"_s}} << QByteArray("{}");
    QTest::newRow("bytes past the content length are cut")
        << QByteArray("POST / HTTP/1.1\r\nContent-Length: 8\r\n\r\n{\"a\":10}garbage")
        << QVariantMap{{u"content-length"_s, u"8"_s}} << QByteArray(R"({"a":10})");
    QTest::newRow("a body that is not JSON")
        << QByteArray("POST / HTTP/1.1\r\nContent-Length: 5\r\n\r\nhello")
        << QVariantMap{{u"content-length"_s, u"5"_s}} << QByteArray("{}");
    QTest::newRow("a JSON array is no body")
        << QByteArray("POST / HTTP/1.1\r\nContent-Length: 7\r\n\r\n[1,2,3]")
        << QVariantMap{{u"content-length"_s, u"7"_s}} << QByteArray("{}");
    QTest::newRow("UTF-8 in header values") << QByteArray("GET / HTTP/1.1\r\nX-Label: caf\xc3\xa9\r\n\r\n")
                                            << QVariantMap{{u"x-label"_s, u"café"_s}} << QByteArray("{}");
}

void HookRequestReaderTest::headersAndBody() {
    QFETCH(QByteArray, bytes);
    QFETCH(QVariantMap, headers);
    QFETCH(QByteArray, json);
    HookRequestReader reader;
    const HookRequest request = completeRequest(reader, {bytes});
    QVERIFY(reader.isFinished());
    QVariantMap seen;
    for (auto it = request.headers.cbegin(); it != request.headers.cend(); ++it) {
        seen.insert(it.key(), it.value());
    }
    QCOMPARE(seen, headers);
    QCOMPARE(request.json, QJsonDocument::fromJson(json).object());
    for (auto it = headers.cbegin(); it != headers.cend(); ++it) {
        QCOMPARE(request.header(it.key().toUpper()), std::optional(it.value().toString()));
    }
}

void HookRequestReaderTest::everyCutGivesTheSameRequest_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("post with body") << post(R"({"session_id":"abc","tool_input":{"command":"ls -la"}})");
    QTest::newRow("post with expect") << post(R"({"x":[1,2,3]})", "Expect: 100-continue\r\n");
    QTest::newRow("get") << QByteArray("GET /event HTTP/1.1\r\nX-Tessary-Token: t\r\n\r\n");
}

void HookRequestReaderTest::everyCutGivesTheSameRequest() {
    QFETCH(QByteArray, bytes);
    HookRequestReader whole;
    const HookRequest expected = completeRequest(whole, {bytes});
    QVERIFY(whole.isFinished());
    for (qsizetype first = 1; first < bytes.size(); ++first) {
        for (qsizetype second = first; second < bytes.size(); second += 7) {
            HookRequestReader reader;
            const HookRequest request = completeRequest(
                reader, {bytes.first(first), bytes.sliced(first, second - first), bytes.sliced(second)});
            QVERIFY2(reader.isFinished(), qPrintable(u"cut at %1 and %2"_s.arg(first).arg(second)));
            QCOMPARE(request, expected);
        }
    }
}

void HookRequestReaderTest::headLimitIsExact() {
    // A head of exactly the limit without its terminator may still grow; one byte more may not.
    HookRequestReader reader;
    const QByteArray start = "POST / HTTP/1.1\r\nX-Padding: ";
    QCOMPARE(describe(reader.append(start)), u"more"_s);
    QCOMPARE(describe(reader.append(QByteArray(HookRequestReader::headLimit - start.size(), 'a'))),
             u"more"_s);
    QCOMPARE(reader.bufferedBytes(), HookRequestReader::headLimit);
    QCOMPARE(describe(reader.append("a")), u"invalid"_s);
    QCOMPARE(reader.bufferedBytes(), 0);

    // The same limit reached in one read.
    HookRequestReader oneRead;
    QCOMPARE(describe(oneRead.append(QByteArray(HookRequestReader::headLimit + 1, 'x'))), u"invalid"_s);

    // A long head that does end is read.
    HookRequestReader longHead;
    const QByteArray head = start + QByteArray(60'000, 'b') + "\r\n\r\n";
    QCOMPARE(describe(longHead.append(head)), u"complete"_s);
}

void HookRequestReaderTest::contentLengthLimitIsExact() {
    HookRequestReader atLimit;
    QCOMPARE(describe(atLimit.append("POST / HTTP/1.1\r\nContent-Length: 16777216\r\n\r\n")), u"more"_s);
    HookRequestReader overLimit;
    QCOMPARE(describe(overLimit.append("POST / HTTP/1.1\r\nContent-Length: 16777217\r\n\r\n")), u"invalid"_s);

    // A body of the largest size completes, in reads of the socket's size.
    const QByteArray body =
        R"({"session_id":"s","pad":")" + QByteArray(HookRequestReader::bodyLimit - 27, 'p') + "\"}";
    QCOMPARE(body.size(), HookRequestReader::bodyLimit);
    QCOMPARE(describe(atLimit.append(body.first(65'536))), u"more"_s);
    QCOMPARE(atLimit.bufferedBytes(), 65'536);
    HookRequest request;
    for (qsizetype offset = 65'536; offset < body.size(); offset += 65'536) {
        auto progress =
            atLimit.append(body.sliced(offset, std::min<qsizetype>(65'536, body.size() - offset)));
        if (auto* complete = std::get_if<HookRequestReader::Complete>(&progress)) {
            request = complete->request;
        }
    }
    QCOMPARE(request.json.value(u"session_id"_s).toString(), u"s"_s);
    QCOMPARE(request.json.value(u"pad"_s).toString().size(), HookRequestReader::bodyLimit - 27);
}

void HookRequestReaderTest::toolResponseIsDroppedAtOnce() {
    const QByteArray huge(qsizetype{3} * 1024 * 1024, 'r');
    const QByteArray body = R"({"session_id":"s","hook_event_name":"PostToolUse","tool_use_id":"t1",)"
                            R"("tool_response":{"stdout":")" +
                            huge + R"(","nested":[1,{"deep":true}]},"tool_input":{"command":"cat big"}})";
    HookRequestReader reader;
    const HookRequest request = completeRequest(reader, {post(body)});
    QVERIFY(!request.json.contains(u"tool_response"_s));
    QCOMPARE(request.json.value(u"tool_use_id"_s).toString(), u"t1"_s);
    QCOMPARE(request.json.value(u"tool_input"_s).toObject().value(u"command"_s).toString(), u"cat big"_s);
    // What stays is small: nothing of the response is carried in the object.
    QVERIFY(QJsonDocument(request.json).toJson(QJsonDocument::Compact).size() < 200);
    QCOMPARE(reader.bufferedBytes(), 0);
}

void HookRequestReaderTest::finishedReaderRefusesMore() {
    HookRequestReader reader;
    QCOMPARE(describe(reader.append(post("{}"))), u"complete"_s);
    QCOMPARE(describe(reader.append("GET / HTTP/1.1\r\n\r\n")), u"invalid"_s);
    QCOMPARE(describe(reader.append({})), u"invalid"_s);
}

void HookRequestReaderTest::peerClosedReaderHoldsNothing() {
    HookRequestReader reader;
    QCOMPARE(describe(reader.append(post(R"({"session_id":"s"})").chopped(3))), u"more"_s);
    QVERIFY(reader.bufferedBytes() > 0);
    reader.finish(HookRequestReader::FinishReason::peerClosed);
    QVERIFY(reader.isFinished());
    QCOMPARE(reader.bufferedBytes(), 0);
    QCOMPARE(describe(reader.append("\"}")), u"invalid"_s);
}

QTEST_GUILESS_MAIN(HookRequestReaderTest)
#include "HookRequestReaderTest.moc"
