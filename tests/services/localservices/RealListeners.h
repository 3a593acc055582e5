#pragma once

// Real servers on loopback for the scan and stop tests: python's http.server, python behind TLS with
// a throw-away certificate made by openssl, nginx with its own prefix, and a Qt server in this process.

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <vector>

namespace tessary::testing {

// A port that was free a moment ago.
inline int freePort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

// Whether something accepts connections on the port.
inline bool accepts(int port) {
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port));
    const bool connected = socket.waitForConnected(200);
    socket.abort();
    return connected;
}

inline bool waitUntilListening(int port, int milliseconds = 10000) {
    return QTest::qWaitFor([port] { return accepts(port); }, milliseconds);
}

// Child processes that serve, ended when the set goes.
class RealListeners {
public:
    RealListeners() {
        m_folder.setAutoRemove(true);
        QDir(m_folder.path()).mkpath(QStringLiteral("project"));
    }
    ~RealListeners() {
        // Asked first: nginx's master ends its workers only when it may end itself.
        for (auto& process : m_processes) {
            if (process->state() != QProcess::NotRunning) {
                process->terminate();
            }
        }
        for (auto& process : m_processes) {
            if (process->state() != QProcess::NotRunning && !process->waitForFinished(5000)) {
                process->kill();
                process->waitForFinished(5000);
            }
        }
    }
    RealListeners(const RealListeners&) = delete;
    RealListeners& operator=(const RealListeners&) = delete;
    RealListeners(RealListeners&&) = delete;
    RealListeners& operator=(RealListeners&&) = delete;

    [[nodiscard]] QString folder() const { return m_folder.path(); }
    [[nodiscard]] QString project() const { return m_folder.filePath(QStringLiteral("project")); }

    // `python3 -m http.server` in the project folder, its output in "server.log" there.
    QProcess* pythonHTTP(int port) {
        return start(QStringLiteral("python3"),
                     {QStringLiteral("-m"), QStringLiteral("http.server"), QString::number(port),
                      QStringLiteral("--bind"), QStringLiteral("127.0.0.1")},
                     project(), QDir(project()).filePath(QStringLiteral("server.log")));
    }

    // A python server that ignores SIGTERM.
    QProcess* stubbornPython(int port) {
        const QString script = QStringLiteral("import signal, http.server\n"
                                              "signal.signal(signal.SIGTERM, signal.SIG_IGN)\n"
                                              "http.server.HTTPServer(('127.0.0.1', %1), "
                                              "http.server.SimpleHTTPRequestHandler).serve_forever()\n")
                                   .arg(port);
        return start(QStringLiteral("python3"), {QStringLiteral("-c"), script}, project(), {});
    }

    // python's http.server behind TLS, with a certificate openssl makes for the occasion.
    QProcess* pythonHTTPS(int port) {
        if (!makeCertificate()) {
            return nullptr;
        }
        const QString script =
            QStringLiteral("import http.server, ssl, sys\n"
                           "server = http.server.HTTPServer(('127.0.0.1', int(sys.argv[1])), "
                           "http.server.SimpleHTTPRequestHandler)\n"
                           "context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)\n"
                           "context.load_cert_chain(sys.argv[2], sys.argv[3])\n"
                           "server.socket = context.wrap_socket(server.socket, server_side=True)\n"
                           "server.serve_forever()\n");
        const QString path = m_folder.filePath(QStringLiteral("tls_server.py"));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly)) {
            return nullptr;
        }
        file.write(script.toUtf8());
        file.close();
        return start(QStringLiteral("python3"), {path, QString::number(port), certificate(), key()},
                     project(), {});
    }

    // nginx in the foreground with its own prefix: plain HTTP on `port`, TLS on `tlsPort`.
    QProcess* nginx(int port, int tlsPort) {
        if (!makeCertificate()) {
            return nullptr;
        }
        const QString prefix = m_folder.filePath(QStringLiteral("nginx"));
        QDir(prefix).mkpath(QStringLiteral("logs"));
        QDir(prefix).mkpath(QStringLiteral("temp"));
        const QString temp = prefix + QStringLiteral("/temp");
        const QString config =
            QStringLiteral(
                "daemon off;\nworker_processes 1;\npid %1/nginx.pid;\nerror_log %1/logs/error.log;\n"
                "events { worker_connections 64; }\n"
                "http {\n access_log off;\n client_body_temp_path %2; proxy_temp_path %2; "
                "fastcgi_temp_path %2; uwsgi_temp_path %2; scgi_temp_path %2;\n"
                " server { listen 127.0.0.1:%3; location / { return 200 \"ok\"; } }\n"
                " server { listen 127.0.0.1:%4 ssl; ssl_certificate %5; ssl_certificate_key %6;\n"
                "   location / { return 200 \"ok\"; } }\n}\n")
                .arg(prefix, temp, QString::number(port), QString::number(tlsPort), certificate(), key());
        QFile file(prefix + QStringLiteral("/nginx.conf"));
        if (!file.open(QIODevice::WriteOnly)) {
            return nullptr;
        }
        file.write(config.toUtf8());
        file.close();
        return start(QStringLiteral("nginx"),
                     {QStringLiteral("-p"), prefix, QStringLiteral("-c"),
                      prefix + QStringLiteral("/nginx.conf"), QStringLiteral("-e"),
                      prefix + QStringLiteral("/logs/error.log")},
                     prefix, {});
    }

private:
    QString certificate() const { return m_folder.filePath(QStringLiteral("cert.pem")); }
    QString key() const { return m_folder.filePath(QStringLiteral("key.pem")); }

    bool makeCertificate() {
        if (QFile::exists(certificate())) {
            return true;
        }
        QProcess openssl;
        openssl.start(QStringLiteral("openssl"),
                      {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"),
                       QStringLiteral("rsa:2048"), QStringLiteral("-nodes"), QStringLiteral("-keyout"), key(),
                       QStringLiteral("-out"), certificate(), QStringLiteral("-days"), QStringLiteral("1"),
                       QStringLiteral("-subj"), QStringLiteral("/CN=localhost")});
        return openssl.waitForFinished(30000) && openssl.exitCode() == 0 && QFile::exists(certificate());
    }

    QProcess* start(const QString& program, const QStringList& arguments, const QString& directory,
                    const QString& outputFile) {
        auto process = std::make_unique<QProcess>();
        process->setWorkingDirectory(directory);
        if (!outputFile.isEmpty()) {
            process->setStandardOutputFile(outputFile);
            process->setStandardErrorFile(outputFile, QIODevice::Append);
        } else {
            process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
            process->setStandardOutputFile(QProcess::nullDevice());
        }
        process->start(program, arguments);
        if (!process->waitForStarted(10000)) {
            return nullptr;
        }
        m_processes.push_back(std::move(process));
        return m_processes.back().get();
    }

    QTemporaryDir m_folder;
    std::vector<std::unique_ptr<QProcess>> m_processes;
};

// A server in this process that answers any request with an HTTP status.
class AnsweringServer : public QTcpServer {
public:
    AnsweringServer() {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [socket] {
                    socket->readAll();
                    socket->write("HTTP/1.0 204 No Content\r\n\r\n");
                    socket->disconnectFromHost();
                });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }
};

} // namespace tessary::testing
