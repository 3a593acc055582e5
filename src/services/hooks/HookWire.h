#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QLatin1StringView>

namespace tessary {

// The bytes of the hook wire that the installed commands rely on.
namespace HookWire {

// Headers of a hook request.
inline constexpr QLatin1StringView tokenHeader{"X-Tessary-Token"};
inline constexpr QLatin1StringView statusLineHeader{"X-Tessary-StatusLine"};
inline constexpr QLatin1StringView agentHeader{"X-Tessary-Agent"};
inline constexpr QLatin1StringView sourceHeader{"X-Tessary-Source"};

// The interim reply to "Expect: 100-continue".
inline constexpr QByteArrayView continueReply{"HTTP/1.1 100 Continue\r\n\r\n"};
// The hook has no opinion: the agent goes on as if there were no hook.
inline constexpr QByteArrayView noContentReply{
    "HTTP/1.1 204 No Content\r\nContent-Length: 0\r\nConnection: close\r\n\r\n"};

// A decision: the compact JSON body that the hook prints as its output.
inline QByteArray decisionReply(QByteArrayView jsonBody) {
    QByteArray reply("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: ");
    reply += QByteArray::number(jsonBody.size());
    reply += "\r\nConnection: close\r\n\r\n";
    reply += jsonBody;
    return reply;
}

} // namespace HookWire

} // namespace tessary
