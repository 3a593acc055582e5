#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <optional>
#include <utility>

namespace tessary {

// What was read from each file of a listing, kept with the stamp (modification date, size, ...)
// the file had when it was read, so that a poll reads only the files that changed. An entry with
// no value records that the file was read and gave nothing, so it isn't read again either.
template <typename Value, typename Stamp>
class ModifiedFileCache {
public:
    struct Entry {
        Stamp stamp;
        std::optional<Value> value;
        bool operator==(const Entry&) const = default;
    };

    // A new cache for `listing` (path to stamp): an entry whose stamp is unchanged is kept unread,
    // every other path is read with `read(path, stamp)`, and paths gone from the listing are dropped.
    template <typename Read>
    [[nodiscard]] ModifiedFileCache refreshed(const QHash<QString, Stamp>& listing, Read&& read) const {
        ModifiedFileCache next;
        next.m_entries.reserve(listing.size());
        for (auto it = listing.constBegin(); it != listing.constEnd(); ++it) {
            const auto old = m_entries.constFind(it.key());
            if (old != m_entries.constEnd() && old->stamp == it.value()) {
                next.m_entries.insert(it.key(), *old);
            } else {
                next.m_entries.insert(it.key(), Entry{it.value(), read(it.key(), it.value())});
            }
        }
        return next;
    }

    // The same for a listing taken in order only as far as needed: paths are visited until
    // `wanted` of them have a value (read or kept), and the rest of the listing is left out, so
    // that a file far down the list is neither read nor kept.
    template <typename Read>
    [[nodiscard]] ModifiedFileCache refreshedUntil(const QList<std::pair<QString, Stamp>>& listing,
                                                   qsizetype wanted, Read&& read) const {
        ModifiedFileCache next;
        qsizetype found = 0;
        for (const auto& [path, stamp] : listing) {
            if (found >= wanted) {
                break;
            }
            const auto old = m_entries.constFind(path);
            const Entry& entry = old != m_entries.constEnd() && old->stamp == stamp
                                     ? *next.m_entries.insert(path, *old)
                                     : *next.m_entries.insert(path, Entry{stamp, read(path, stamp)});
            found += entry.value ? 1 : 0;
        }
        return next;
    }

    // The values, in order of sorted path.
    [[nodiscard]] QList<Value> values() const {
        QStringList paths = m_entries.keys();
        std::sort(paths.begin(), paths.end());
        QList<Value> found;
        for (const QString& path : paths) {
            if (const auto& value = m_entries.value(path).value) {
                found.append(*value);
            }
        }
        return found;
    }

    [[nodiscard]] QHash<QString, Value> valuesByPath() const {
        QHash<QString, Value> found;
        for (auto it = m_entries.constBegin(); it != m_entries.constEnd(); ++it) {
            if (it->value) {
                found.insert(it.key(), *it->value);
            }
        }
        return found;
    }

    [[nodiscard]] const QHash<QString, Entry>& entries() const { return m_entries; }

    bool operator==(const ModifiedFileCache&) const = default;

private:
    QHash<QString, Entry> m_entries;
};

} // namespace tessary
