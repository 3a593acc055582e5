#include "modules/agents/hooks/HookRequestReader.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QStringDecoder>

namespace tessary {

namespace {

QStringView trimmedOfSpacesAndTabs(QStringView text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && (text[begin] == u' ' || text[begin] == u'\t')) {
        ++begin;
    }
    while (end > begin && (text[end - 1] == u' ' || text[end - 1] == u'\t')) {
        --end;
    }
    return text.sliced(begin, end - begin);
}

// A non-negative decimal integer within the body limit; leading zeros are allowed, signs are not.
std::optional<qint64> contentLength(QStringView text) {
    if (text.isEmpty()) {
        return std::nullopt;
    }
    qint64 value = 0;
    for (const QChar c : text) {
        if (c < u'0' || c > u'9') {
            return std::nullopt;
        }
        value = value * 10 + (c.unicode() - u'0');
        if (value > HookRequestReader::bodyLimit) {
            return std::nullopt;
        }
    }
    return value;
}

std::optional<QString> strictUtf8(QByteArrayView bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return text;
}

// The body as a JSON object without "tool_response"; anything else gives an empty object. The
// response can be very large and nothing downstream reads it, so no copy of its bytes is kept:
// the object left after removing it is rebuilt from its own (small) text.
QJsonObject decodedObject(QByteArray body) {
    constexpr qsizetype compactingSize = qsizetype{64} * 1024;
    const qsizetype bodySize = body.size();
    QJsonObject json = [&body] {
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(body, &error);
        body = QByteArray();
        return error.error == QJsonParseError::NoError && document.isObject() ? document.object()
                                                                              : QJsonObject();
    }();
    const QLatin1StringView toolResponse("tool_response");
    if (!json.contains(toolResponse)) {
        return json;
    }
    json.remove(toolResponse);
    if (bodySize < compactingSize) {
        return json;
    }
    return QJsonDocument::fromJson(QJsonDocument(json).toJson(QJsonDocument::Compact)).object();
}

QHash<QString, QString> headerFields(QStringView head) {
    QHash<QString, QString> headers;
    bool requestLine = true;
    for (const QStringView line : head.tokenize(u"\r\n")) {
        if (requestLine) {
            requestLine = false;
            continue;
        }
        const qsizetype colon = line.indexOf(u':');
        if (colon < 0) {
            continue;
        }
        const QString name = trimmedOfSpacesAndTabs(line.first(colon)).toString().toLower();
        headers.insert(name, trimmedOfSpacesAndTabs(line.sliced(colon + 1)).toString());
    }
    return headers;
}

} // namespace

HookRequestReader::Progress HookRequestReader::append(QByteArrayView data) {
    if (m_finished) {
        return Invalid{};
    }
    if (!m_headers) {
        return readHeaders(data);
    }
    if (!data.isEmpty()) {
        m_chunks.append(data.toByteArray());
        m_received += data.size();
    }
    if (auto request = completeIfReady()) {
        return Complete{std::move(*request)};
    }
    return NeedsMore{false};
}

void HookRequestReader::finish(FinishReason /*reason*/) {
    m_finished = true;
    m_head = QByteArray();
    m_chunks.clear();
    m_received = 0;
}

HookRequestReader::Progress HookRequestReader::invalidate() {
    m_head = QByteArray();
    m_headers.reset();
    m_expectedLength.reset();
    m_chunks.clear();
    m_received = 0;
    m_finished = true;
    return Invalid{};
}

HookRequestReader::Progress HookRequestReader::readHeaders(QByteArrayView data) {
    // Search only the new bytes, plus three before them for a terminator cut across two reads.
    const qsizetype searchFrom = std::max<qsizetype>(0, m_head.size() - (terminator.size() - 1));
    m_head.append(data);
    const qsizetype end = m_head.indexOf(terminator, searchFrom);
    if (end < 0) {
        if (m_head.size() > headLimit) {
            return invalidate();
        }
        return NeedsMore{false};
    }

    const std::optional<QString> text = strictUtf8(QByteArrayView(m_head).first(end));
    if (!text) {
        return invalidate();
    }
    QHash<QString, QString> headers = headerFields(*text);
    if (const auto length = headers.constFind(QStringLiteral("content-length")); length != headers.cend()) {
        m_expectedLength = contentLength(*length);
        if (!m_expectedLength) {
            return invalidate();
        }
    }

    const QByteArray rest = m_head.sliced(end + terminator.size());
    m_head = QByteArray();
    if (!rest.isEmpty()) {
        m_chunks.append(rest);
        m_received += rest.size();
    }
    const bool expectsContinue =
        headers.value(QStringLiteral("expect")).toLower() == QLatin1StringView("100-continue");
    m_headers = std::move(headers);

    if (auto request = completeIfReady()) {
        return Complete{std::move(*request)};
    }
    return NeedsMore{expectsContinue};
}

std::optional<HookRequest> HookRequestReader::completeIfReady() {
    if (m_expectedLength && m_received < *m_expectedLength) {
        return std::nullopt;
    }
    QByteArray body;
    if (m_chunks.size() == 1) {
        body = std::move(m_chunks.first());
    } else {
        body.reserve(m_received);
        for (const QByteArray& chunk : std::as_const(m_chunks)) {
            body.append(chunk);
        }
    }
    m_chunks.clear();
    m_received = 0;
    m_finished = true;
    if (m_expectedLength && body.size() > *m_expectedLength) {
        body.truncate(*m_expectedLength);
    }

    HookRequest request;
    request.headers = std::move(*m_headers);
    m_headers.reset();
    request.json = decodedObject(std::move(body));
    return request;
}

} // namespace tessary
