#pragma once

#include "services/monitoring/CancellationToken.h"

#include <QByteArray>
#include <QList>
#include <QNetworkRequest>
#include <QSslCertificate>
#include <QString>
#include <QUrl>

#include <optional>
#include <utility>
#include <variant>

namespace tessary {

// How one exchange is made.
struct HttpOptions {
    // The whole exchange, from connecting to the last byte; clamped to 1 ms .. 1 hour.
    double timeoutSeconds = 60;
    // A longer body stops the transfer: no answer this program reads is that long.
    qint64 maximumBodySize = qint64{1} << 20;
    // Trusted beside the system's authorities: the throwaway certificate of a test server.
    QList<QSslCertificate> extraAuthorities;
};

// Why an exchange gave no HTTP answer, or stopped before the answer's end.
enum class HttpFailure { timedOut, cancelled, tooLarge, unreachable, untrusted };

// An HTTP answer as it came: a redirect is never followed, so a 3xx is an answer too.
struct HttpAnswer {
    int statusCode = 0;
    QByteArray body;
    // The headers, names as the server sent them.
    QList<std::pair<QByteArray, QByteArray>> headers;
    // The body broke off after the status line: the connection went, or the certificate failed.
    std::optional<HttpFailure> brokenOff;

    // The first header of that name, compared without regard to case.
    [[nodiscard]] std::optional<QString> header(QByteArrayView name) const;
};

using HttpResult = std::variant<HttpAnswer, HttpFailure>;

// Blocking HTTPS on the calling worker thread, driven by an event loop of its own so that the main
// thread never waits for the network: no cache, no redirect followed, a time-out, a size limit, and
// a cancellation token looked at ten times a second.
namespace BlockingHttp {

enum class Method { get, head, post };

// A request to `url` with no cache, no redirect followed and the options' certificates trusted.
[[nodiscard]] QNetworkRequest request(const QUrl& url, const HttpOptions& options);

[[nodiscard]] HttpResult send(Method method, const QNetworkRequest& request, const QByteArray& body,
                              const HttpOptions& options, const CancellationToken& cancellation);

} // namespace BlockingHttp

} // namespace tessary
