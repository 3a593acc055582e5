#pragma once

#include "app/logviewer/LogEntry.h"

#include <QAbstractTableModel>
#include <QList>
#include <QSortFilterProxyModel>

#include <optional>

namespace tessary {

// The lines read so far, oldest first, as a table of time, category, level and message. Holds at most
// `capacity` entries: the oldest go first.
class LogEntryModel final : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { timeColumn, categoryColumn, levelColumn, messageColumn, columnCount_ };
    enum Role {
        KindRole = Qt::UserRole + 1, // LogEntry::Kind as an int
        CategoryRole,                // the category's raw value; empty for notices and damaged lines
        LevelRole,                   // DiagnosticLevel as an int; -1 for notices and damaged lines
    };

    explicit LogEntryModel(qsizetype capacity = 50'000, QObject* parent = nullptr);

    void append(const QList<LogEntry>& entries);
    void clear();
    [[nodiscard]] const LogEntry& entry(int row) const { return m_entries.at(row); }
    [[nodiscard]] qsizetype capacity() const { return m_capacity; }

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    // Header texts are English keys; the window sets them in the chosen language.
    void setHeaders(const QStringList& headers);

private:
    qsizetype m_capacity;
    QList<LogEntry> m_entries;
    QStringList m_headers;
};

// Which lines the viewer shows: one category or all, a lowest level, and a text the line must hold.
// Damaged lines have no category and no level: they show only while neither is chosen. The log's own
// notices (lines dropped) show whatever the category and level.
class LogFilterModel final : public QSortFilterProxyModel {
    Q_OBJECT
public:
    using QSortFilterProxyModel::QSortFilterProxyModel;

    void setCategory(std::optional<DiagnosticCategory> category);
    void setMinimumLevel(DiagnosticLevel level);
    void setText(const QString& text);
    [[nodiscard]] std::optional<DiagnosticCategory> category() const { return m_category; }
    [[nodiscard]] DiagnosticLevel minimumLevel() const { return m_minimumLevel; }

protected:
    [[nodiscard]] bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;

private:
    std::optional<DiagnosticCategory> m_category;
    DiagnosticLevel m_minimumLevel = DiagnosticLevel::debug;
    QString m_text;
};

} // namespace tessary
