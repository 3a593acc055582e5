#include "services/sessions/AntigravitySummaryDatabase.h"

#include <QFileInfo>
#include <QUrl>

#include <limits>
#include <memory>
#include <sqlite3.h>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

using Failure = AntigravitySummaryDatabase::Failure;

struct CloseDatabase {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

Failure sqliteFailure(sqlite3* database, int code) {
    const char* message = database != nullptr ? sqlite3_errmsg(database) : sqlite3_errstr(code);
    return Failure{Failure::Kind::sqlite, code, QString::fromUtf8(message)};
}

// Busy, locked, or not to be opened read-only while the writer holds its log.
bool isHeld(const Failure& failure) {
    const int primary = failure.code & 0xff;
    return failure.kind == Failure::Kind::sqlite &&
           (primary == SQLITE_BUSY || primary == SQLITE_LOCKED || primary == SQLITE_CANTOPEN);
}

QString columnText(sqlite3_stmt* statement, int column) {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return bytes != nullptr ? QString::fromUtf8(bytes, sqlite3_column_bytes(statement, column)) : QString();
}

std::variant<Statement, Failure> prepare(sqlite3* database, const QString& sql) {
    sqlite3_stmt* statement = nullptr;
    const QByteArray utf8 = sql.toUtf8();
    const int code =
        sqlite3_prepare_v2(database, utf8.constData(), static_cast<int>(utf8.size()), &statement, nullptr);
    Statement owned(statement);
    if (code != SQLITE_OK) {
        return sqliteFailure(database, code);
    }
    return owned;
}

std::variant<QSet<QString>, Failure> tableColumns(sqlite3* database) {
    auto prepared = prepare(database, u"PRAGMA table_info(conversation_summaries)"_s);
    if (auto* failure = std::get_if<Failure>(&prepared)) {
        return *failure;
    }
    sqlite3_stmt* statement = std::get<Statement>(prepared).get();
    QSet<QString> names;
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(statement)) == SQLITE_ROW) {
        names.insert(columnText(statement, 1));
    }
    if (code != SQLITE_DONE) {
        return sqliteFailure(database, code);
    }
    return names;
}

AntigravitySessions::Row row(sqlite3_stmt* statement) {
    AntigravitySessions::Row made;
    made.conversationID = columnText(statement, 0);
    made.title = columnText(statement, 1);
    made.preview = columnText(statement, 2);
    made.stepCount = sqlite3_column_int64(statement, 3);
    made.lastModified = columnText(statement, 4);
    made.workspaceURIs = columnText(statement, 5);
    made.status = columnText(statement, 6);
    made.parentConversationID = columnText(statement, 7);
    made.notFullyIdle = sqlite3_column_int64(statement, 8) != 0;
    made.killed = sqlite3_column_int64(statement, 9) != 0;
    return made;
}

} // namespace

std::optional<AntigravitySummaryDatabase::FileStamp>
AntigravitySummaryDatabase::FileStamp::of(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists()) {
        return std::nullopt;
    }
    return FileStamp{info.size(), info.lastModified().toUTC()};
}

AntigravitySummaryDatabase::AntigravitySummaryDatabase(QString path)
    : m_path(std::move(path)) {}

QString AntigravitySummaryDatabase::uri(const QString& path, const QString& options) {
    // Percent-encoded, so that "?" or "#" in a folder's name can't end the path.
    const QString encoded = QString::fromUtf8(QUrl::toPercentEncoding(path, "/"));
    QString made = u"file:"_s + encoded + u"?mode=ro"_s;
    if (!options.isEmpty()) {
        made += u'&' + options;
    }
    return made;
}

AntigravitySummaryDatabase::Result AntigravitySummaryDatabase::readRows(int limit) const {
    Result first = readRows(QString(), limit);
    const auto* failure = std::get_if<Failure>(&first);
    if (failure == nullptr || !isHeld(*failure) || !QFileInfo::exists(m_path + u"-wal"_s)) {
        return first;
    }
    // The agent holds the database: read the file as it stands, and trust that reading only if
    // neither the database nor its log moved meanwhile.
    const auto before = FileStamp::of(m_path);
    const auto walBefore = FileStamp::of(m_path + u"-wal"_s);
    Result snapshot = readRows(u"immutable=1"_s, limit);
    if (std::holds_alternative<Failure>(snapshot)) {
        return snapshot;
    }
    if (FileStamp::of(m_path) != before || FileStamp::of(m_path + u"-wal"_s) != walBefore) {
        Result again = readRows(QString(), limit);
        if (std::holds_alternative<Failure>(again)) {
            return Failure{Failure::Kind::changedWhileReading, 0, QString()};
        }
        return again;
    }
    return snapshot;
}

AntigravitySummaryDatabase::Result AntigravitySummaryDatabase::readRows(const QString& options,
                                                                        int limit) const {
    sqlite3* opened = nullptr;
    const QByteArray address = uri(m_path, options).toUtf8();
    const int openCode =
        sqlite3_open_v2(address.constData(), &opened, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    const Database database(opened);
    if (openCode != SQLITE_OK) {
        return sqliteFailure(database.get(), openCode);
    }
    sqlite3_busy_timeout(database.get(), busyTimeoutMilliseconds);
    sqlite3_extended_result_codes(database.get(), 1);

    auto columns = tableColumns(database.get());
    if (auto* failure = std::get_if<Failure>(&columns)) {
        return *failure;
    }
    const QSet<QString>& available = std::get<QSet<QString>>(columns);
    if (!available.contains(QLatin1StringView(AntigravitySessions::requiredColumn))) {
        return Failure{Failure::Kind::missingColumn, 0,
                       QLatin1StringView(AntigravitySessions::requiredColumn)};
    }
    auto prepared = prepare(database.get(), AntigravitySessions::query(available));
    if (auto* failure = std::get_if<Failure>(&prepared)) {
        return *failure;
    }
    sqlite3_stmt* statement = std::get<Statement>(prepared).get();
    sqlite3_bind_int(statement, 1, std::clamp(limit, 0, std::numeric_limits<int>::max()));
    Rows rows;
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(statement)) == SQLITE_ROW) {
        rows.append(row(statement));
    }
    if (code != SQLITE_DONE) {
        return sqliteFailure(database.get(), code);
    }
    return rows;
}

} // namespace tessary
