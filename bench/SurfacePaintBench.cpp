// A surface repaints on every frame of its hover spring and of a drag, up to 60 times a second:
// drawing one must stay well under a millisecond at 2x, with its icons already cached.

#include "spatial/slots/SurfaceSlotAllocator.h"
#include "surfaces/SampleSnapshots.h"
#include "surfaces/SurfacePainter.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include <benchmark/benchmark.h>

using namespace tessary;

namespace {

const QRectF screen(0, 0, 1920, 1080);

void paintInto(benchmark::State& state, SurfaceScene scene) {
    SurfacePainter painter;
    const qreal ratio = 2;
    QImage image((scene.geometry.panel.size() * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    for (auto _ : state) {
        image.fill(Qt::transparent);
        QPainter p(&image);
        painter.paint(p, scene);
        p.end();
        benchmark::DoNotOptimize(image.constBits());
    }
}

SurfaceScene bubble(double expansion) {
    SurfaceScene scene;
    scene.modules = {samples::claudeUsage()};
    scene.geometry.panel = QRectF(0, 0, 140, 140);
    scene.geometry.moduleCount = 1;
    scene.geometry.expansion = expansion;
    return scene;
}

SurfaceScene capsule(double expansion) {
    SurfaceScene scene;
    scene.modules = {samples::claudeUsage(), samples::codexUsage(), samples::pullRequest()};
    const QRectF frame =
        SurfaceSlotAllocator::capsuleFrame(Edge::right, 3, 140, QRectF(1780, 400, 140, 140), screen);
    scene.geometry.panel = QRectF(QPointF(0, 0), frame.size());
    scene.geometry.grouping = grouping::Capsule{Edge::right};
    scene.geometry.moduleCount = 3;
    scene.geometry.expansion = expansion;
    return scene;
}

void bubbleAtRest(benchmark::State& state) {
    paintInto(state, bubble(0));
}
void bubbleHalfOpen(benchmark::State& state) {
    paintInto(state, bubble(0.5));
}
void bubbleOpen(benchmark::State& state) {
    paintInto(state, bubble(1));
}
void capsuleAtRest(benchmark::State& state) {
    paintInto(state, capsule(0));
}
void capsuleOpen(benchmark::State& state) {
    paintInto(state, capsule(1));
}

} // namespace

BENCHMARK(bubbleAtRest)->Unit(benchmark::kMicrosecond);
BENCHMARK(bubbleHalfOpen)->Unit(benchmark::kMicrosecond);
BENCHMARK(bubbleOpen)->Unit(benchmark::kMicrosecond);
BENCHMARK(capsuleAtRest)->Unit(benchmark::kMicrosecond);
BENCHMARK(capsuleOpen)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen"); // fonts and images only: no display needed
    }
    QGuiApplication application(argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
