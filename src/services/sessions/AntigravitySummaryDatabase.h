#pragma once

#include "modules/sessions/AntigravitySessions.h"

#include <QDateTime>
#include <QList>
#include <QSet>
#include <QString>

#include <optional>
#include <variant>

namespace tessary {

// Reads Antigravity's conversation summaries from its SQLite database, which the agent holds open
// and writes while it runs. The database is only ever opened read-only; a database that is busy
// past a short time-out is read once more as an unchanging snapshot, and that reading counts only
// when the file didn't move under it.
class AntigravitySummaryDatabase {
public:
    struct Failure {
        enum class Kind { sqlite, missingColumn, changedWhileReading };
        Kind kind = Kind::sqlite;
        // SQLite's result code of `sqlite`.
        int code = 0;
        // SQLite's message, or the missing column's name.
        QString message;
        bool operator==(const Failure&) const = default;
    };

    // The size and date of a file: a change of either tells a write.
    struct FileStamp {
        qint64 size = 0;
        QDateTime modified;
        bool operator==(const FileStamp&) const = default;
        static std::optional<FileStamp> of(const QString& path);
    };

    using Rows = QList<AntigravitySessions::Row>;
    using Result = std::variant<Rows, Failure>;

    static constexpr int busyTimeoutMilliseconds = 250;

    explicit AntigravitySummaryDatabase(QString path);

    // A `file:` URI of `path` with "mode=ro" and `options` ("immutable=1") as its query.
    static QString uri(const QString& path, const QString& options = {});

    // The newest `limit` rows. Falls back to an immutable reading when the database is locked and
    // has a write-ahead log beside it.
    [[nodiscard]] Result readRows(int limit) const;
    // One reading through the URI with `options`.
    [[nodiscard]] Result readRows(const QString& options, int limit) const;

    [[nodiscard]] const QString& path() const { return m_path; }

private:
    QString m_path;
};

} // namespace tessary
