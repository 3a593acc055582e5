#pragma once

// A stand-in HTTPS server for a test: a throwaway certificate for localhost and 127.0.0.1 made by
// openssl, and a Python script of the test's own that serves on a free loopback port, prints
// "port <n>" and then one JSON line per request it was sent.

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QSslCertificate>
#include <QString>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

namespace tessary::testing {

class StandInHttpsServer {
public:
    StandInHttpsServer() = default;
    StandInHttpsServer(const StandInHttpsServer&) = delete;
    StandInHttpsServer& operator=(const StandInHttpsServer&) = delete;
    StandInHttpsServer(StandInHttpsServer&&) = delete;
    StandInHttpsServer& operator=(StandInHttpsServer&&) = delete;
    ~StandInHttpsServer() {
        m_server.kill();
        m_server.waitForFinished();
    }

    // Starts `script` (relative to the source tree); call through QVERIFY(server.start(...)).
    [[nodiscard]] bool start(const QString& script) {
        const QString cert = m_folder.filePath(QStringLiteral("cert.pem"));
        const QString key = m_folder.filePath(QStringLiteral("key.pem"));
        QProcess openssl;
        openssl.start(QStringLiteral("openssl"),
                      {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"),
                       QStringLiteral("ec"), QStringLiteral("-pkeyopt"),
                       QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes"),
                       QStringLiteral("-days"), QStringLiteral("1"), QStringLiteral("-subj"),
                       QStringLiteral("/CN=localhost"), QStringLiteral("-addext"),
                       QStringLiteral("subjectAltName=DNS:localhost,IP:127.0.0.1"), QStringLiteral("-keyout"),
                       key, QStringLiteral("-out"), cert});
        if (!m_folder.isValid() || !openssl.waitForFinished(30000) || openssl.exitCode() != 0) {
            return false;
        }
        m_authorities = QSslCertificate::fromPath(cert);
        m_server.start(QStringLiteral("python3"),
                       {qEnvironmentVariable("TESSARY_SOURCE_DIR") + u'/' + script, cert, key});
        if (m_authorities.size() != 1 || !m_server.waitForStarted()) {
            return false;
        }
        if (!QTest::qWaitFor([&] { return m_server.canReadLine() || m_server.waitForReadyRead(100); },
                             10000)) {
            return false;
        }
        const QByteArray first = m_server.readLine().trimmed();
        m_port = first.startsWith("port ") ? static_cast<quint16>(first.mid(5).toUInt()) : 0;
        return m_port > 0;
    }

    [[nodiscard]] const QList<QSslCertificate>& authorities() const { return m_authorities; }
    [[nodiscard]] quint16 port() const { return m_port; }

    // https://<host>:<port><path>
    [[nodiscard]] QUrl url(const QString& path, const QString& host = QStringLiteral("localhost")) const {
        QUrl url;
        url.setScheme(QStringLiteral("https"));
        url.setHost(host);
        url.setPort(m_port);
        url.setPath(path);
        return url;
    }

    // The requests the server has written out so far, oldest first.
    [[nodiscard]] QList<QJsonObject> requests() {
        m_output += m_server.readAllStandardOutput();
        QList<QJsonObject> result;
        for (const QByteArray& line : m_output.split('\n')) {
            const QJsonDocument document = QJsonDocument::fromJson(line);
            if (document.isObject()) {
                result.append(document.object());
            }
        }
        return result;
    }

    // The count once the server has written out every request so far.
    [[nodiscard]] qsizetype settledRequestCount() {
        qsizetype count = -1;
        while (count != requests().size()) {
            count = requests().size();
            QTest::qWait(150);
        }
        return count;
    }

    // A request's header, compared without regard to case; empty when it wasn't sent.
    [[nodiscard]] static QString header(const QJsonObject& request, const QString& name) {
        for (const auto entry : request.value(QStringLiteral("headers")).toArray()) {
            const QJsonArray pair = entry.toArray();
            if (pair.at(0).toString().compare(name, Qt::CaseInsensitive) == 0) {
                return pair.at(1).toString();
            }
        }
        return {};
    }

private:
    QTemporaryDir m_folder;
    QProcess m_server;
    quint16 m_port = 0;
    QList<QSslCertificate> m_authorities;
    QByteArray m_output;
};

} // namespace tessary::testing
