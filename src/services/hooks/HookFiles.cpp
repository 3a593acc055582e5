#include "services/hooks/HookFiles.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QUuid>

namespace tessary {

namespace {

constexpr QFileDevice::Permissions ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
constexpr QFileDevice::Permissions ownerOnlyFolder = ownerOnly | QFileDevice::ExeOwner;

// A random UUID in its canonical upper-case form; its 122 random bits come from the system's generator.
QString newToken() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

HookFiles::HookFiles(const QString& homeDirectory)
    : m_directory(QDir(homeDirectory).filePath(QStringLiteral(".tessary"))) {}

QString HookFiles::tokenPath() const {
    return QDir(m_directory).filePath(QStringLiteral("hook-token"));
}

QString HookFiles::endpointPath() const {
    return QDir(m_directory).filePath(QStringLiteral("hook-endpoint"));
}

QString HookFiles::endpointURL(quint16 port) {
    return QStringLiteral("http://127.0.0.1:%1/event").arg(port);
}

bool HookFiles::makePrivateDirectory() const {
    if (!QDir().mkpath(m_directory)) {
        return false;
    }
    return QFile::setPermissions(m_directory, ownerOnlyFolder);
}

QString HookFiles::loadOrCreateToken() const {
    makePrivateDirectory();
    QFile existing(tokenPath());
    if (existing.open(QIODevice::ReadOnly)) {
        // A token is short; anything longer is not one of ours.
        constexpr qint64 readLimit = 4096;
        QString token = QString::fromUtf8(existing.read(readLimit)).trimmed();
        existing.close();
        if (!token.isEmpty()) {
            QFile::setPermissions(tokenPath(), ownerOnly);
            return token;
        }
    }
    QString token = newToken();
    QSaveFile file(tokenPath());
    if (file.open(QIODevice::WriteOnly)) {
        // Narrowed before the secret is written, so that it is never readable by others.
        file.setPermissions(ownerOnly);
        file.write(token.toUtf8());
        file.commit();
    }
    QFile::setPermissions(tokenPath(), ownerOnly);
    return token;
}

bool HookFiles::publishEndpoint(quint16 port) const {
    makePrivateDirectory();
    QSaveFile file(endpointPath());
    if (!file.open(QIODevice::WriteOnly)) {
        return false;
    }
    file.write(endpointURL(port).toUtf8());
    return file.commit();
}

void HookFiles::removeEndpoint() const {
    QFile::remove(endpointPath());
}

} // namespace tessary
