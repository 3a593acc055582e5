#include "SampleSnapshots.h"
#include "platform/panels/linux/X11PanelWindowTraits.h"
#include "surfaces/SurfaceCoordinator.h"
#include "surfaces/SurfacePanel.h"

#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <memory>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

// Asks AT-SPI, from another process as a screen reader would, for this application's tree.
std::optional<QJsonObject> readThroughAtSpi() {
    QProcess reader;
    reader.start(u"/usr/bin/python3"_s,
                 {qEnvironmentVariable("TESSARY_SOURCE_DIR") + u"/tests/surfaces/atspi_read.py"_s,
                  QString::number(QCoreApplication::applicationPid())});
    if (!reader.waitForStarted(5000)) {
        return std::nullopt;
    }
    // The reader's questions are answered on this thread: keep the event loop turning.
    for (int waited = 0; reader.state() != QProcess::NotRunning && waited < 20'000; waited += 10) {
        QTest::qWait(10);
    }
    if (reader.exitStatus() != QProcess::NormalExit || reader.exitCode() != 0) {
        qWarning().noquote() << "atspi reader:" << reader.exitCode() << reader.readAllStandardError();
        return std::nullopt;
    }
    return QJsonDocument::fromJson(reader.readAllStandardOutput()).object();
}

// The first element, depth first, whose name is `name`.
std::optional<QJsonObject> find(const QJsonObject& node, const QString& name) {
    if (node.value(u"name"_s).toString() == name) {
        return node;
    }
    for (const QJsonValue& child : node.value(u"children"_s).toArray()) {
        if (auto found = find(child.toObject(), name)) {
            return found;
        }
    }
    return std::nullopt;
}

} // namespace

class SurfaceAccessibilityTest : public QObject {
    Q_OBJECT
private slots:
    void bubbleReadsThroughAtSpi();
    void fusedSurfaceHasAnElementPerModule();
};

void SurfaceAccessibilityTest::bubbleReadsThroughAtSpi() {
    X11PanelWindowTraits traits;
    SurfaceCoordinator surface(u"claude.usage@screen"_s, {}, SurfaceEnvironment{traits, {}, {}});
    SurfaceViewState state;
    state.modules = {samples::claudeUsage()};
    state.placement = {u"screen"_s, SurfaceKind::floatingChip, QRectF(600, 300, 140, 140), 1, true};
    surface.show(state);

    std::optional<QJsonObject> bubble;
    for (int attempt = 0; attempt < 20 && !bubble; ++attempt) {
        if (const auto tree = readThroughAtSpi()) {
            bubble = find(*tree, u"Claude, 42%"_s);
        }
        if (!bubble) {
            QTest::qWait(250);
        }
    }
    QVERIFY2(bubble, "the bubble never showed up on the accessibility bus");
    QCOMPARE(bubble->value(u"description"_s).toString(),
             u"Claude, 42%: 5-hour limit: 42% (resets in 2 h 10 min); Weekly: 18%; Max plan"_s);
    const QJsonArray children = bubble->value(u"children"_s).toArray();
    QCOMPARE(children.size(), 1);
    QCOMPARE(children.first().toObject().value(u"name"_s).toString(), u"Claude, 42%"_s);
    QCOMPARE(children.first().toObject().value(u"description"_s).toString(),
             u"5-hour limit: 42% (resets in 2 h 10 min); Weekly: 18%; Max plan"_s);
    QCOMPARE(children.first().toObject().value(u"role"_s).toString(), u"label"_s);
}

void SurfaceAccessibilityTest::fusedSurfaceHasAnElementPerModule() {
    X11PanelWindowTraits traits;
    SurfaceCoordinator surface(u"fused@screen"_s, {}, SurfaceEnvironment{traits, {}, {}});
    SurfaceViewState state;
    state.modules = {samples::cpu(), samples::memory()};
    state.placement = {u"screen"_s, SurfaceKind::floatingChip, QRectF(1817, 400, 103, 252), 1, true};
    state.grouping = grouping::Capsule{Edge::right};
    surface.show(state);

    std::optional<QJsonObject> capsule;
    for (int attempt = 0; attempt < 20 && !capsule; ++attempt) {
        if (const auto tree = readThroughAtSpi()) {
            capsule = find(*tree, u"CPU, 23%; Memory, 61%"_s);
        }
        if (!capsule) {
            QTest::qWait(250);
        }
    }
    QVERIFY2(capsule, "the capsule never showed up on the accessibility bus");
    QStringList names;
    for (const QJsonValue& child : capsule->value(u"children"_s).toArray()) {
        names.append(child.toObject().value(u"name"_s).toString());
    }
    QCOMPARE(names, (QStringList{u"CPU, 23%"_s, u"Memory, 61%"_s}));
}

int main(int argc, char** argv) {
    // Qt serves AT-SPI only when an assistive technology asks for it, or when told to always.
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    QApplication app(argc, argv);
    SurfaceAccessibilityTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "SurfaceAccessibilityTest.moc"
