#pragma once

#include "modules/localservices/LocalService.h"

#include <QByteArray>
#include <QByteArrayView>

#include <optional>

namespace tessary {

// What the first bytes a server sends back say about it. A probe sends "HEAD / HTTP/1.0" first. A
// TLS server often answers that with nothing (it closes or resets) or, behind nginx or Go, with an
// HTTP 400 "plain request sent to an HTTPS port"; for those the probe then sends a TLS ClientHello,
// which a TLS server answers with a handshake or an alert record and an HTTP server with an HTTP error.
namespace SchemeClassifier {

// The probe's request.
inline constexpr char request[] = "HEAD / HTTP/1.0\r\n\r\n";
// The most the probe reads.
inline constexpr int answerLimit = 64;

// Nothing for no data; "HTTP/" gives http; a TLS alert (21) or handshake (22) record gives https;
// anything else nothing.
std::optional<Scheme> classify(QByteArrayView answer);

// Whether the answer to HEAD leaves TLS open: no data, or an HTTP status of 400.
bool needsHandshakeProbe(QByteArrayView answer);

// A TLS 1.2/1.3 ClientHello for "localhost", enough for any TLS server to answer.
QByteArray clientHello();

} // namespace SchemeClassifier

} // namespace tessary
