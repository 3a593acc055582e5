#pragma once

// Files as tests make and read them: the checked-in samples under tests/data, and files written
// with their folders made first. A write that fails fails the test.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QStringList>
#include <QTest>

namespace tessary::testing {

// A file under tests/data of the source tree, which the test runner names in TESSARY_SOURCE_DIR.
inline QString testData(const QString& relative) {
    return qEnvironmentVariable("TESSARY_SOURCE_DIR") + QStringLiteral("/tests/data/") + relative;
}

inline void writeFile(const QString& path, const QByteArray& content) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(content), content.size());
}

inline void appendFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Append));
    QCOMPARE(file.write(content), content.size());
}

// The file's bytes, empty when it cannot be read.
inline QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The ids of a list of records, in their order.
template <typename Records>
QStringList idsOf(const Records& records) {
    QStringList ids;
    for (const auto& record : records) {
        ids.append(record.id);
    }
    return ids;
}

} // namespace tessary::testing
