#include "platform/credentials/linux/ClaudeCredentialsFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace tessary {

using namespace Qt::StringLiterals;

QString ClaudeCredentialsFile::defaultPath(const QString& homeDirectory, const QString& configDirectory) {
    const QString folder =
        configDirectory.isEmpty() ? QDir(homeDirectory).filePath(u".claude"_s) : configDirectory;
    return QDir(folder).filePath(u".credentials.json"_s);
}

QString ClaudeCredentialsFile::defaultPath(const QString& homeDirectory) {
    return defaultPath(homeDirectory, qEnvironmentVariable("CLAUDE_CONFIG_DIR"));
}

TokenReading ClaudeCredentialsFile::readToken() const {
    const QFileInfo info(m_path);
    if (!info.exists()) {
        return CredentialsProblem::notFound;
    }
    // A folder, a pipe or a device in its place is not a credentials file, and reading a pipe
    // could block the worker for ever.
    if (!info.isFile()) {
        return CredentialsProblem::unreadable;
    }
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly)) {
        return CredentialsProblem::unreadable;
    }
    const QByteArray record = file.read(ClaudeCredentials::maximumSize + 1);
    if (file.error() != QFileDevice::NoError) {
        return CredentialsProblem::unreadable;
    }
    return ClaudeCredentials::tokenFrom(record);
}

} // namespace tessary
