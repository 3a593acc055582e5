#include "modules/localservices/LogSourcePicker.h"

#include <QStringList>

#include <algorithm>
#include <array>

namespace tessary::LogSourcePicker {

using namespace Qt::StringLiterals;

namespace {

bool isCandidate(const OpenFile& file) {
    if (!file.isRegularFile || !file.isWritable || !file.path.startsWith(u'/')) {
        return false;
    }
    static constexpr std::array<QLatin1StringView, 5> pseudo{"/dev/"_L1, "/proc/"_L1, "/sys/"_L1, "/run/"_L1,
                                                             "/memfd:"_L1};
    for (const QLatin1StringView prefix : pseudo) {
        if (file.path.startsWith(prefix)) {
            return false;
        }
    }
    static constexpr std::array<QLatin1StringView, 10> notLogs{
        " (deleted)"_L1, ".db"_L1,   ".sqlite"_L1, ".sqlite3"_L1, "-wal"_L1,
        "-shm"_L1,       ".lock"_L1, ".pid"_L1,    ".sock"_L1,    "-journal"_L1,
    };
    return std::none_of(notLogs.begin(), notLogs.end(),
                        [&](QLatin1StringView suffix) { return file.path.endsWith(suffix); });
}

bool looksLikeLog(const QString& path) {
    const QString name = path.mid(path.lastIndexOf(u'/') + 1).toLower();
    if (name.endsWith(".log"_L1) || name.endsWith(".out"_L1) || name.endsWith(".err"_L1)) {
        return true;
    }
    const QStringList folders = path.split(u'/', Qt::SkipEmptyParts);
    if (folders.size() < 2) {
        return false;
    }
    return std::any_of(folders.begin(), folders.end() - 1, [](const QString& folder) {
        return folder.compare("log"_L1, Qt::CaseInsensitive) == 0 ||
               folder.compare("logs"_L1, Qt::CaseInsensitive) == 0;
    });
}

} // namespace

std::optional<QString> pick(const std::vector<OpenFile>& files) {
    for (const int standard : {1, 2}) {
        for (const OpenFile& file : files) {
            if (file.descriptor == standard && isCandidate(file)) {
                return file.path;
            }
        }
    }
    std::vector<const OpenFile*> sorted;
    for (const OpenFile& file : files) {
        if (isCandidate(file) && looksLikeLog(file.path)) {
            sorted.push_back(&file);
        }
    }
    if (sorted.empty()) {
        return std::nullopt;
    }
    const auto first =
        std::min_element(sorted.begin(), sorted.end(), [](const OpenFile* a, const OpenFile* b) {
            return static_cast<unsigned>(a->descriptor) < static_cast<unsigned>(b->descriptor);
        });
    return (*first)->path;
}

std::vector<OpenFile> parse(QStringView listing) {
    std::vector<OpenFile> files;
    // The file being read: fields before its first "f" belong to no file.
    OpenFile current;
    bool inFile = false;
    const auto flush = [&] {
        if (inFile && !current.path.isEmpty()) {
            files.push_back(current);
        }
        current = OpenFile{};
        inFile = false;
    };
    for (const QStringView line : listing.split(u'\n')) {
        if (line.isEmpty()) {
            continue;
        }
        const QStringView value = line.sliced(1);
        switch (line[0].unicode()) {
        case u'p':
            flush();
            break;
        case u'f': {
            flush();
            inFile = true;
            bool ok = false;
            const int descriptor = value.toInt(&ok);
            current.descriptor = ok && descriptor >= 0 ? descriptor : -1;
            break;
        }
        case u'a':
            current.isWritable = inFile && (value.contains(u'w') || value.contains(u'u'));
            break;
        case u't':
            current.isRegularFile = inFile && value == u"REG";
            break;
        case u'n':
            if (inFile) {
                current.path = value.toString();
            }
            break;
        default:
            break;
        }
    }
    flush();
    return files;
}

} // namespace tessary::LogSourcePicker
