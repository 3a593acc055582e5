#include "services/sessions/AntigravitySessionProvider.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

namespace tessary {

using namespace Qt::StringLiterals;

AntigravitySessionProvider::AntigravitySessionProvider(Configuration configuration)
    : m_configuration(std::move(configuration)) {}

QString AntigravitySessionProvider::defaultRoot(const QString& home) {
    return QDir(home).filePath(u".gemini/antigravity-cli"_s);
}

QString AntigravitySessionProvider::defaultResolvePath(const QString& path) {
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return canonical.isEmpty() ? path : canonical;
}

AntigravitySessionProvider::LiveDirectories
AntigravitySessionProvider::liveDirectories(std::shared_ptr<const AgentProcessScanning> processes) {
    return [processes = std::move(processes)] {
        QStringList directories;
        if (!processes) {
            return directories;
        }
        for (const AgentProcess& process :
             processes->live({QLatin1StringView(AntigravitySessions::agentName)})) {
            if (process.directory) {
                directories.append(*process.directory);
            }
        }
        return directories;
    };
}

SessionProviderError AntigravitySessionProvider::error(const AntigravitySummaryDatabase::Failure& failure) {
    using Kind = AntigravitySummaryDatabase::Failure::Kind;
    switch (failure.kind) {
    case Kind::sqlite:
        return {"AntigravitySummaryDatabase.Failure.sqlite",
                u"Antigravity's session list can't be read (SQLite %1)"_s.arg(failure.code)};
    case Kind::missingColumn:
        return {"AntigravitySummaryDatabase.Failure.missingColumn",
                u"Antigravity's session list lacks the column %1"_s.arg(failure.message)};
    case Kind::changedWhileReading:
        return {"AntigravitySummaryDatabase.Failure.changedWhileReading",
                u"Antigravity's session list changed while it was read"_s};
    }
    return {};
}

QHash<QString, QDateTime> AntigravitySessionProvider::lastWrites() const {
    QHash<QString, QDateTime> newest;
    QDirIterator files(QDir(m_configuration.root).filePath(u"conversations"_s),
                       QDir::Files | QDir::NoDotAndDotDot);
    while (files.hasNext()) {
        const QFileInfo file = files.nextFileInfo();
        const QString conversation = file.fileName().section(u'.', 0, 0);
        const QDateTime modified = file.lastModified().toUTC();
        auto found = newest.find(conversation);
        if (found == newest.end()) {
            newest.insert(conversation, modified);
        } else if (modified > *found) {
            *found = modified;
        }
    }
    return newest;
}

SessionFetchResult AntigravitySessionProvider::fetchSessions(int limit) const {
    const QString path = QDir(m_configuration.root).filePath(u"conversation_summaries.db"_s);
    if (limit <= 0 || !QFileInfo(path).isFile()) {
        return QList<AgentSession>{};
    }
    auto rows = AntigravitySummaryDatabase(path).readRows(m_configuration.scanLimit);
    if (const auto* failure = std::get_if<AntigravitySummaryDatabase::Failure>(&rows)) {
        return error(*failure);
    }
    const QStringList live =
        m_configuration.liveAgentDirectories ? m_configuration.liveAgentDirectories() : QStringList();
    return AntigravitySessions::sessions(std::get<AntigravitySummaryDatabase::Rows>(rows), lastWrites(), live,
                                         limit, m_configuration.resolvePath);
}

} // namespace tessary
