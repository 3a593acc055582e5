#pragma once

#include "modules/localservices/LocalService.h"

#include <QByteArrayView>

#include <optional>

namespace tessary {

// What the first bytes a server sends back to "HEAD / HTTP/1.0" say about it.
namespace SchemeClassifier {

// The probe's request.
inline constexpr char request[] = "HEAD / HTTP/1.0\r\n\r\n";
// The most the probe reads.
inline constexpr int answerLimit = 64;

// Nothing for no data; "HTTP/" gives http; a TLS alert (21) or handshake (22) record gives https;
// anything else nothing.
std::optional<Scheme> classify(QByteArrayView answer);

} // namespace SchemeClassifier

} // namespace tessary
