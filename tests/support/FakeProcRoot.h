#pragma once

// A /proc of files written by the test, for the readers that take their root as a folder. Files
// under it belong to whoever runs the test, which is then the owner of every fake process.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <cstdint>

namespace tessary::testing {

// The fields of /proc/<pid>/stat that the readers use; the others are plausible constants.
struct FakeProcStat {
    std::int32_t pid = 0;
    QByteArray command = "proc";
    char state = 'S';
    std::int32_t parent = 1;
    std::int32_t terminal = 0;     // the encoded device number, 0: none
    std::uint32_t flags = 4194304; // PF_RANDOMIZE, as on an ordinary user process
    std::uint64_t userTicks = 0;   // CPU time
    std::uint64_t startTicks = 0;  // after boot
};

class FakeProcRoot {
public:
    FakeProcRoot() { QVERIFY(m_folder.isValid()); }

    [[nodiscard]] QString root() const { return m_folder.path(); }

    void write(const QString& relative, const QByteArray& content) {
        const QString path = m_folder.filePath(relative);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(content);
    }
    void link(const QString& relative, const QString& target) {
        const QString path = m_folder.filePath(relative);
        QDir().mkpath(QFileInfo(path).path());
        QFile::remove(path);
        QVERIFY(QFile::link(target, path));
    }
    void stat(const FakeProcStat& fields) {
        const auto number = [](auto value) { return QByteArray::number(value); };
        write(QString::number(fields.pid) + QStringLiteral("/stat"),
              number(fields.pid) + " (" + fields.command + ") " + fields.state + ' ' + number(fields.parent) +
                  " 1 1 " + number(fields.terminal) + " -1 " + number(fields.flags) + " 0 0 0 0 " +
                  number(fields.userTicks) + " 0 0 0 20 0 1 0 " + number(fields.startTicks) + " 1000 50 0\n");
    }

private:
    QTemporaryDir m_folder;
};

} // namespace tessary::testing
