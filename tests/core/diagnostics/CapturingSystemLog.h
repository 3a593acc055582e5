#pragma once

#include "core/diagnostics/DiagnosticSystemLog.h"

#include <QList>

#include <mutex>

namespace tessary {

// Keeps what would go to syslog, in the form SyslogDiagnosticSystemLog hands it over.
class CapturingSystemLog final : public DiagnosticSystemLog {
public:
    struct Entry {
        DiagnosticLevel level;
        QString category;
        QString text;
        bool operator==(const Entry&) const = default;
    };

    void write(DiagnosticLevel level, QLatin1StringView category, const QString& text) override {
        const std::lock_guard lock(m_mutex);
        m_entries.append({level, QString(category), text});
    }

    QList<Entry> entries() const {
        const std::lock_guard lock(m_mutex);
        return m_entries;
    }

    // Everything as syslog would have received it, one message a line.
    QByteArray syslogText() const {
        QByteArray all;
        for (const Entry& entry : entries()) {
            all += SyslogDiagnosticSystemLog::formatted(QLatin1StringView(entry.category.toLatin1()),
                                                        entry.text);
            all += '\n';
        }
        return all;
    }

private:
    mutable std::mutex m_mutex;
    QList<Entry> m_entries;
};

} // namespace tessary
