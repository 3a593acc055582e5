#pragma once

#include "modules/agents/hooks/HookRequest.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>
#include <QList>
#include <QString>

#include <optional>
#include <variant>

namespace tessary {

// Frames one HTTP/1.1 request from the bytes of a connection, however they are cut. The request
// line is skipped: any method on any path is read alike. The head is searched incrementally and
// the body kept as the pieces that came until it is complete. One reader per connection.
class HookRequestReader {
public:
    // The end of the head: CR LF CR LF.
    static constexpr QByteArrayView terminator{"\r\n\r\n"};
    // A head that grows past this without its terminator is refused.
    static constexpr qsizetype headLimit = 65'536;
    // The largest Content-Length accepted.
    static constexpr qint64 bodyLimit = 16'777'216;

    // More bytes are needed; with `continueNow` the client waits for "100 Continue" first.
    struct NeedsMore {
        bool continueNow = false;
        bool operator==(const NeedsMore&) const = default;
    };
    struct Complete {
        HookRequest request;
        bool operator==(const Complete&) const = default;
    };
    // The bytes can never make a request; the connection is to be dropped without a reply.
    struct Invalid {
        bool operator==(const Invalid&) const = default;
    };
    using Progress = std::variant<NeedsMore, Complete, Invalid>;

    // Why reading stopped short of a request.
    enum class FinishReason { peerClosed };

    Progress append(QByteArrayView data);

    // The peer went away (or the connection is given up): nothing more will be read.
    void finish(FinishReason reason);

    [[nodiscard]] bool isFinished() const { return m_finished; }
    [[nodiscard]] bool hasHead() const { return m_headers.has_value(); }
    // Bytes held now: the head so far, or the body pieces.
    [[nodiscard]] qint64 bufferedBytes() const { return m_head.size() + m_received; }

private:
    Progress readHeaders(QByteArrayView data);
    std::optional<HookRequest> completeIfReady();
    Progress invalidate();

    QByteArray m_head;
    std::optional<QHash<QString, QString>> m_headers;
    std::optional<qint64> m_expectedLength;
    QList<QByteArray> m_chunks;
    qint64 m_received = 0;
    bool m_finished = false;
};

} // namespace tessary
