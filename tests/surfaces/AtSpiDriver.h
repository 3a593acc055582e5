#pragma once

// This application as a screen reader sees it, over AT-SPI from another process: its tree of
// names, descriptions and roles, and pressing an element by its name.

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <optional>

namespace tessary::testing {

class AtSpiDriver {
public:
    // The tree, or nothing while the application hasn't joined the accessibility bus.
    static std::optional<QJsonObject> read() {
        const auto output = run(QStringLiteral("atspi_read.py"), {});
        if (!output) {
            return std::nullopt;
        }
        return QJsonDocument::fromJson(*output).object();
    }

    // Presses the first showing, enabled element with the name (and role and description, when
    // given); tries for a few seconds while the element appears.
    static bool press(const QString& name, const QString& role = {}, const QString& description = {}) {
        for (int attempt = 0; attempt < 20; ++attempt) {
            if (run(QStringLiteral("atspi_press.py"), {name, role, description})) {
                return true;
            }
            QTest::qWait(200);
        }
        return false;
    }

    // The first element, depth first, named `name` (and of `role`, when given), waiting for it.
    static std::optional<QJsonObject> waitFor(const QString& name, const QString& role = {}) {
        for (int attempt = 0; attempt < 20; ++attempt) {
            if (const auto tree = read()) {
                if (auto found = find(*tree, name, role)) {
                    return found;
                }
            }
            QTest::qWait(250);
        }
        return std::nullopt;
    }

    static std::optional<QJsonObject> find(const QJsonObject& node, const QString& name,
                                           const QString& role = {}) {
        if (node.value(QStringLiteral("name")).toString() == name &&
            (role.isEmpty() || node.value(QStringLiteral("role")).toString() == role)) {
            return node;
        }
        for (const QJsonValue& child : node.value(QStringLiteral("children")).toArray()) {
            if (auto found = find(child.toObject(), name, role)) {
                return found;
            }
        }
        return std::nullopt;
    }

private:
    static std::optional<QByteArray> run(const QString& script, const QStringList& arguments) {
        QProcess reader;
        reader.start(QStringLiteral("/usr/bin/python3"),
                     QStringList{qEnvironmentVariable("TESSARY_SOURCE_DIR") +
                                     QStringLiteral("/tests/surfaces/") + script,
                                 QString::number(QCoreApplication::applicationPid())} +
                         arguments);
        if (!reader.waitForStarted(5000)) {
            return std::nullopt;
        }
        // The reader's questions are answered on this thread: keep the event loop turning.
        for (int waited = 0; reader.state() != QProcess::NotRunning && waited < 20'000; waited += 10) {
            QTest::qWait(10);
        }
        if (reader.exitStatus() != QProcess::NormalExit || reader.exitCode() != 0) {
            return std::nullopt;
        }
        return reader.readAllStandardOutput();
    }
};

} // namespace tessary::testing
