#pragma once

#include "platform/credentials/ClaudeTokenSource.h"

#include <QString>

namespace tessary {

// Claude Code on Linux keeps its credentials in `.credentials.json` of its folder: `~/.claude`, or
// the folder named by CLAUDE_CONFIG_DIR. The file is only read, never written or locked.
class ClaudeCredentialsFile final : public ClaudeTokenSource {
public:
    explicit ClaudeCredentialsFile(QString path)
        : m_path(std::move(path)) {}

    // The file Claude Code uses for this home folder and environment.
    static QString defaultPath(const QString& homeDirectory, const QString& configDirectory);
    static QString defaultPath(const QString& homeDirectory);

    [[nodiscard]] TokenReading readToken() const override;
    [[nodiscard]] const QString& path() const { return m_path; }

private:
    QString m_path;
};

} // namespace tessary
