#include "services/diagnostics/DiagnosticsArchive.h"

#include "core/diagnostics/DiagnosticsBundle.h"

#include <QDir>
#include <QFile>

#include <zip.h>

namespace tessary {

using namespace Qt::StringLiterals;

std::vector<DiagnosticsArchive::Entry> DiagnosticsArchive::contents(const QString& logsDirectory,
                                                                    const QString& about,
                                                                    const std::vector<CrashReport>& reports) {
    std::vector<Entry> entries;
    const QDir folder(logsDirectory);
    for (const QString& name : {u"tessary.log"_s, u"tessary.1.log"_s}) {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::ReadOnly)) {
            continue;
        }
        if (file.size() > logReadLimit) {
            file.seek(file.size() - logReadLimit);
            file.readLine(); // a cut first line
        }
        entries.push_back({name, DiagnosticsBundle::cleanedLog(file.read(logReadLimit))});
    }
    entries.push_back({u"about.txt"_s, about.toUtf8()});
    entries.push_back({u"crashes.txt"_s, DiagnosticsBundle::crashesText(reports).toUtf8()});
    return entries;
}

std::optional<QString> DiagnosticsArchive::write(const QString& path, const std::vector<Entry>& entries) {
    int error = 0;
    zip_t* archive = zip_open(QFile::encodeName(path).constData(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    if (archive == nullptr) {
        zip_error_t detail;
        zip_error_init_with_code(&detail, error);
        QString text = QString::fromUtf8(zip_error_strerror(&detail));
        zip_error_fini(&detail);
        return text;
    }
    for (const Entry& entry : entries) {
        // The bytes stay alive in `entries` until zip_close has read them.
        zip_source_t* source = zip_source_buffer(archive, entry.bytes.constData(),
                                                 static_cast<zip_uint64_t>(entry.bytes.size()), 0);
        if (source == nullptr || zip_file_add(archive, entry.name.toUtf8().constData(), source,
                                              ZIP_FL_ENC_UTF_8 | ZIP_FL_OVERWRITE) < 0) {
            QString text = QString::fromUtf8(zip_strerror(archive));
            zip_source_free(source);
            zip_discard(archive);
            return text;
        }
    }
    if (zip_close(archive) < 0) {
        QString text = QString::fromUtf8(zip_strerror(archive));
        zip_discard(archive);
        return text;
    }
    return std::nullopt;
}

} // namespace tessary
