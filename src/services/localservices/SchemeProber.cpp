#include "services/localservices/SchemeProber.h"

#include "modules/localservices/SchemeClassifier.h"

#include <QDeadlineTimer>
#include <QHostAddress>
#include <QTcpSocket>

namespace tessary {

namespace {

int remaining(const QDeadlineTimer& deadline) {
    return static_cast<int>(std::max<qint64>(deadline.remainingTime(), 0));
}

// Sends `request` and reads the first bytes of the answer: until the peer closes, the limit of the
// classifier is reached, enough has come to see an HTTP status, or the deadline passes.
QByteArray exchange(int port, const QByteArray& request, const QDeadlineTimer& deadline) {
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), static_cast<quint16>(port));
    if (!socket.waitForConnected(remaining(deadline))) {
        return {};
    }
    socket.write(request);
    QByteArray answer;
    constexpr qsizetype statusLength = 12; // "HTTP/1.1 400"
    while (answer.size() < statusLength && !deadline.hasExpired()) {
        if (socket.bytesAvailable() == 0 && !socket.waitForReadyRead(remaining(deadline))) {
            break;
        }
        answer += socket.read(SchemeClassifier::answerLimit - answer.size());
        if (!answer.isEmpty() &&
            !answer.startsWith(QByteArrayView("HTTP/").first(std::min<qsizetype>(5, answer.size())))) {
            break; // not HTTP: the first byte is all the classifier needs
        }
    }
    socket.abort();
    return answer;
}

} // namespace

std::optional<Scheme> TLSProbe::scheme(int port) const {
    if (port < 1 || port > 65535) {
        return std::nullopt;
    }
    const QDeadlineTimer deadline(m_limitMilliseconds);
    const QByteArray answer = exchange(port, QByteArray(SchemeClassifier::request), deadline);
    if (!SchemeClassifier::needsHandshakeProbe(answer) || deadline.hasExpired()) {
        return SchemeClassifier::classify(answer);
    }
    const QByteArray handshake = exchange(port, SchemeClassifier::clientHello(), deadline);
    if (const auto scheme = SchemeClassifier::classify(handshake)) {
        return scheme;
    }
    return SchemeClassifier::classify(answer);
}

} // namespace tessary
