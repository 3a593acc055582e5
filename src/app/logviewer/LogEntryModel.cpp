#include "app/logviewer/LogEntryModel.h"

#include "core/records/EnumText.h"

namespace tessary {

using namespace Qt::StringLiterals;

LogEntryModel::LogEntryModel(qsizetype capacity, QObject* parent)
    : QAbstractTableModel(parent)
    , m_capacity(std::max<qsizetype>(capacity, 1))
    , m_headers{u"Time"_s, u"Category"_s, u"Level"_s, u"Message"_s} {}

void LogEntryModel::append(const QList<LogEntry>& entries) {
    if (entries.isEmpty()) {
        return;
    }
    // Only the newest `capacity` of what comes in can stay.
    const qsizetype incoming = std::min(entries.size(), m_capacity);
    const qsizetype overflow = m_entries.size() + incoming - m_capacity;
    if (overflow > 0) {
        beginRemoveRows({}, 0, static_cast<int>(overflow - 1));
        m_entries.remove(0, overflow);
        endRemoveRows();
    }
    const auto first = static_cast<int>(m_entries.size());
    beginInsertRows({}, first, static_cast<int>(first + incoming - 1));
    m_entries.append(entries.sliced(entries.size() - incoming));
    endInsertRows();
}

void LogEntryModel::clear() {
    beginResetModel();
    m_entries.clear();
    endResetModel();
}

int LogEntryModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_entries.size());
}

int LogEntryModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : columnCount_;
}

QVariant LogEntryModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_entries.size()) {
        return {};
    }
    const LogEntry& entry = m_entries.at(index.row());
    const bool isLine = entry.kind == LogEntry::Kind::line;
    switch (role) {
    case Qt::DisplayRole:
        switch (index.column()) {
        case timeColumn:
            // The writer's local time as written, without the zone: "2026-03-14 09:26:53.589".
            return isLine ? entry.timestamp.left(23).replace(u'T', u' ') : QString();
        case categoryColumn:
            return isLine ? rawValue(entry.category) : QString();
        case levelColumn:
            return isLine ? rawValue(entry.level) : QString();
        case messageColumn:
            return entry.message;
        default:
            return {};
        }
    case Qt::ToolTipRole:
        return isLine ? entry.timestamp + u' ' + rawValue(entry.category) + u' ' + rawValue(entry.level) +
                            u' ' + entry.message
                      : entry.message;
    case KindRole:
        return static_cast<int>(entry.kind);
    case CategoryRole:
        return isLine ? rawValue(entry.category) : QString();
    case LevelRole:
        return isLine ? static_cast<int>(entry.level) : -1;
    default:
        return {};
    }
}

QVariant LogEntryModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section >= 0 &&
        section < m_headers.size()) {
        return m_headers.at(section);
    }
    return QAbstractTableModel::headerData(section, orientation, role);
}

void LogEntryModel::setHeaders(const QStringList& headers) {
    m_headers = headers;
    emit headerDataChanged(Qt::Horizontal, 0, columnCount_ - 1);
}

void LogFilterModel::setCategory(std::optional<DiagnosticCategory> category) {
    if (category != m_category) {
        m_category = category;
        invalidateFilter();
    }
}

void LogFilterModel::setMinimumLevel(DiagnosticLevel level) {
    if (level != m_minimumLevel) {
        m_minimumLevel = level;
        invalidateFilter();
    }
}

void LogFilterModel::setText(const QString& text) {
    if (text != m_text) {
        m_text = text;
        invalidateFilter();
    }
}

bool LogFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const {
    const auto* model = qobject_cast<const LogEntryModel*>(sourceModel());
    if (!model || sourceParent.isValid() || sourceRow < 0 || sourceRow >= model->rowCount()) {
        return false;
    }
    const LogEntry& entry = model->entry(sourceRow);
    switch (entry.kind) {
    case LogEntry::Kind::line:
        if ((m_category && entry.category != *m_category) || entry.level < m_minimumLevel) {
            return false;
        }
        break;
    case LogEntry::Kind::damaged:
        if (m_category || m_minimumLevel != DiagnosticLevel::debug) {
            return false;
        }
        break;
    case LogEntry::Kind::notice:
        break;
    }
    const QString needle = m_text.trimmed();
    if (needle.isEmpty()) {
        return true;
    }
    return entry.message.contains(needle, Qt::CaseInsensitive) ||
           (entry.kind == LogEntry::Kind::line &&
            (rawValue(entry.category).contains(needle, Qt::CaseInsensitive) ||
             entry.timestamp.contains(needle, Qt::CaseInsensitive)));
}

} // namespace tessary
