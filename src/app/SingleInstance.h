#pragma once

#include <QLocalServer>
#include <QObject>
#include <QString>

namespace tessary {

// One running Tessary per user. A second launch finds the first through a local socket in the
// user's runtime folder, asks it to come forward, and exits.
class SingleInstance final : public QObject {
    Q_OBJECT
public:
    enum class Role { primary, handedOver, failed };

    explicit SingleInstance(QString socketPath = defaultSocketPath(), QObject* parent = nullptr);

    // Becomes the primary instance, or hands over to the one that runs.
    Role claim();
    [[nodiscard]] QString socketPath() const { return m_socketPath; }

    static QString defaultSocketPath();

signals:
    // Another launch asked this instance to show itself.
    void activationRequested();

private:
    void acceptConnections();

    QString m_socketPath;
    QLocalServer m_server;
};

} // namespace tessary
