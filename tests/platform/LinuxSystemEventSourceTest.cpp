// Under a real X server with openbox: switching desktops and activating windows reach the source.
#include "platform/systemevents/linux/LinuxSystemEventSource.h"

#include <QGuiApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>
#include <QWindow>

using namespace tessary;
using namespace Qt::StringLiterals;

class LinuxSystemEventSourceTest : public QObject {
    Q_OBJECT
private slots:
    void desktopSwitchIsASpaceChange();
    void activatingAWindowIsAnActivation();
    void stoppedSourceIsSilent();

private:
    static QList<SystemEventKind> kinds(const QSignalSpy& spy);
};

QList<SystemEventKind> LinuxSystemEventSourceTest::kinds(const QSignalSpy& spy) {
    QList<SystemEventKind> result;
    for (const auto& arguments : spy) {
        result.append(arguments.at(0).value<SystemEventKind>());
    }
    return result;
}

void LinuxSystemEventSourceTest::desktopSwitchIsASpaceChange() {
    LinuxSystemEventSource source;
    QSignalSpy spy(&source, &SystemEventSource::occurred);
    source.start();
    QVERIFY(source.watchesX11());
    QCOMPARE(QProcess::execute(u"xdotool"_s, {u"set_desktop"_s, u"1"_s}), 0);
    QTRY_VERIFY_WITH_TIMEOUT(kinds(spy).contains(SystemEventKind::activeSpaceChanged), 3000);
    QProcess::execute(u"xdotool"_s, {u"set_desktop"_s, u"0"_s});
}

void LinuxSystemEventSourceTest::activatingAWindowIsAnActivation() {
    LinuxSystemEventSource source;
    QSignalSpy spy(&source, &SystemEventSource::occurred);
    source.start();
    QWindow first;
    first.setGeometry(100, 100, 300, 200);
    first.show();
    QVERIFY(QTest::qWaitForWindowExposed(&first));
    QWindow second;
    second.setGeometry(500, 100, 300, 200);
    second.show();
    QVERIFY(QTest::qWaitForWindowExposed(&second));
    spy.clear();
    first.requestActivate();
    QTRY_VERIFY_WITH_TIMEOUT(kinds(spy).contains(SystemEventKind::applicationActivated), 3000);
}

void LinuxSystemEventSourceTest::stoppedSourceIsSilent() {
    LinuxSystemEventSource source;
    QSignalSpy spy(&source, &SystemEventSource::occurred);
    source.start();
    source.stop();
    QVERIFY(!source.watchesX11());
    QProcess::execute(u"xdotool"_s, {u"set_desktop"_s, u"2"_s});
    QTest::qWait(300);
    QCOMPARE(spy.size(), 0);
    QProcess::execute(u"xdotool"_s, {u"set_desktop"_s, u"0"_s});
}

QTEST_MAIN(LinuxSystemEventSourceTest)
#include "LinuxSystemEventSourceTest.moc"
