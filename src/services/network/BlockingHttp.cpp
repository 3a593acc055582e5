#include "services/network/BlockingHttp.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSslConfiguration>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace tessary {

namespace {

// How often an exchange in flight looks at its cancellation token.
constexpr int cancellationPollMilliseconds = 100;

HttpFailure transportFailure(QNetworkReply::NetworkError error) {
    switch (error) {
    case QNetworkReply::SslHandshakeFailedError:
    case QNetworkReply::InsecureRedirectError:
        return HttpFailure::untrusted;
    case QNetworkReply::TimeoutError:
        return HttpFailure::timedOut;
    default:
        return HttpFailure::unreachable;
    }
}

int timeoutMilliseconds(double seconds) {
    const double finite = std::isfinite(seconds) ? seconds : 60;
    return static_cast<int>(std::clamp(finite, 0.001, 3600.0) * 1000);
}

} // namespace

std::optional<QString> HttpAnswer::header(QByteArrayView name) const {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0) {
            return QString::fromLatin1(value);
        }
    }
    return std::nullopt;
}

QNetworkRequest BlockingHttp::request(const QUrl& url, const HttpOptions& options) {
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    if (!options.extraAuthorities.isEmpty()) {
        QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
        tls.addCaCertificates(options.extraAuthorities);
        request.setSslConfiguration(tls);
    }
    return request;
}

HttpResult BlockingHttp::send(Method method, const QNetworkRequest& request, const QByteArray& body,
                              const HttpOptions& options, const CancellationToken& cancellation) {
    if (cancellation.isCancelled()) {
        return HttpFailure::cancelled;
    }
    // Made on this worker thread for this one exchange: nothing is shared or kept between calls.
    QNetworkAccessManager manager;
    manager.setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
    QEventLoop loop;
    QNetworkReply* reply = nullptr;
    switch (method) {
    case Method::get:
        reply = manager.get(request);
        break;
    case Method::head:
        reply = manager.head(request);
        break;
    case Method::post:
        reply = manager.post(request, body);
        break;
    }
    std::optional<HttpFailure> interruption;
    const auto interrupt = [&](HttpFailure why) {
        if (!interruption) {
            interruption = why;
            reply->abort();
        }
    };

    QTimer deadline;
    deadline.setSingleShot(true);
    deadline.setTimerType(Qt::PreciseTimer);
    deadline.start(timeoutMilliseconds(options.timeoutSeconds));
    QObject::connect(&deadline, &QTimer::timeout, &loop, [&] { interrupt(HttpFailure::timedOut); });
    QTimer watch;
    watch.start(cancellationPollMilliseconds);
    QObject::connect(&watch, &QTimer::timeout, &loop, [&] {
        if (cancellation.isCancelled()) {
            interrupt(HttpFailure::cancelled);
        }
    });
    QObject::connect(reply, &QNetworkReply::downloadProgress, &loop, [&](qint64 received, qint64) {
        if (received > options.maximumBodySize) {
            interrupt(HttpFailure::tooLarge);
        }
    });
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished()) {
        loop.exec();
    }
    deadline.stop();
    watch.stop();

    if (interruption) {
        return *interruption;
    }
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        // No HTTP answer came: the connection, the name or the certificate failed.
        return transportFailure(reply->error());
    }
    HttpAnswer answer;
    answer.statusCode = status.toInt();
    answer.headers = reply->rawHeaderPairs();
    answer.body = reply->read(options.maximumBodySize + 1);
    if (reply->error() != QNetworkReply::NoError && reply->error() < QNetworkReply::ContentAccessDenied) {
        // Errors below ContentAccessDenied are the transport's; the others only restate the status.
        answer.brokenOff = transportFailure(reply->error());
    }
    return answer;
}

} // namespace tessary
