#pragma once

#include <QString>
#include <QStringView>

#include <optional>
#include <vector>

namespace tessary {

// Tells a server's log file from the other files it holds open.
namespace LogSourcePicker {

struct OpenFile {
    int descriptor = -1;
    QString path;
    bool isRegularFile = false;
    bool isWritable = false;
    bool operator==(const OpenFile&) const = default;
};

// A regular file open for writing, outside the system's pseudo file systems, and not a database,
// lock or pid file. Standard output or error sent to a file wins (`npm run dev > dev.log`); then the
// first file named "*.log", "*.out" or "*.err", or kept in a folder named "log" or "logs".
std::optional<QString> pick(const std::vector<OpenFile>& files);

// The open files in `lsof -F fatn` output for one process: "f" the descriptor, "a" the access mode
// ("w" or "u" is writing), "t" the type ("REG" for a file), "n" the path.
std::vector<OpenFile> parse(QStringView listing);

} // namespace LogSourcePicker

} // namespace tessary
