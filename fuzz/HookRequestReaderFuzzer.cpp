// Hook requests arrive from any process on the machine that can reach the loopback port, cut into
// reads however the network stack likes. The first byte of the input chooses how the rest is cut.
// Each complete body is then read as the listener reads it, into a hook event.
#include "modules/agents/hooks/HookEvent.h"
#include "modules/agents/hooks/HookRequestReader.h"
#include "support/FuzzCheck.h"

#include <cstdint>
#include <optional>

namespace {

using tessary::HookRequest;
using tessary::HookRequestReader;

struct Outcome {
    std::optional<HookRequest> request;
    bool invalid = false;
};

void checkRequest(const HookRequest& request) {
    check(!request.json.contains(QLatin1StringView("tool_response")));
    if (const auto event = tessary::HookEvent::read(request.json)) {
        check(event->sessionID == request.json.value(QLatin1StringView("session_id")).toString());
    }
    for (auto it = request.headers.cbegin(); it != request.headers.cend(); ++it) {
        check(it.key() == it.key().toLower());
        const QString& value = it.value();
        check(value.isEmpty() || (value.front() != u' ' && value.front() != u'\t' && value.back() != u' ' &&
                                  value.back() != u'\t'));
    }
}

// Feeds `bytes` in pieces whose sizes cycle through `sizes`.
Outcome feed(QByteArrayView bytes, QByteArrayView sizes) {
    HookRequestReader reader;
    Outcome outcome;
    qsizetype offset = 0;
    qsizetype turn = 0;
    while (offset < bytes.size()) {
        const qsizetype size = sizes.isEmpty()
                                   ? bytes.size()
                                   : 1 + static_cast<unsigned char>(sizes[turn++ % sizes.size()]) * 97;
        const QByteArrayView piece = bytes.sliced(offset, std::min(size, bytes.size() - offset));
        offset += piece.size();
        auto progress = reader.append(piece);
        if (auto* complete = std::get_if<HookRequestReader::Complete>(&progress)) {
            checkRequest(complete->request);
            check(reader.isFinished());
            check(std::holds_alternative<HookRequestReader::Invalid>(reader.append("more")));
            outcome.request = std::move(complete->request);
            return outcome;
        }
        if (std::holds_alternative<HookRequestReader::Invalid>(progress)) {
            check(reader.bufferedBytes() == 0);
            outcome.invalid = true;
            return outcome;
        }
        // While the head is incomplete, no more than the limit and one read is kept.
        check(reader.hasHead() || reader.bufferedBytes() <= HookRequestReader::headLimit);
    }
    reader.finish(HookRequestReader::FinishReason::peerClosed);
    check(reader.bufferedBytes() == 0);
    return outcome;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const QByteArrayView input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto sizeCount = static_cast<qsizetype>(static_cast<unsigned char>(input[0]) % 8);
    if (input.size() < 1 + sizeCount) {
        return 0;
    }
    const QByteArrayView sizes = input.sliced(1, sizeCount);
    const QByteArrayView bytes = input.sliced(1 + sizeCount);

    const Outcome whole = feed(bytes, {});
    const Outcome cut = feed(bytes, sizes);
    // With a Content-Length the body is defined by the bytes alone, however they were cut.
    if (whole.request && cut.request && whole.request->headers.contains(QStringLiteral("content-length"))) {
        check(whole.request->headers == cut.request->headers);
        check(whole.request->json == cut.request->json);
    }
    return 0;
}
