#include "app/SingleInstance.h"

#include "support/TestFiles.h"

#include <QLocalSocket>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class SingleInstanceTest : public QObject {
    Q_OBJECT
private slots:
    void secondClaimHandsOverAndAsksForActivation();
    void staleSocketFileIsReplaced();
    void strangerOnTheSocketIsIgnored();
};

void SingleInstanceTest::secondClaimHandsOverAndAsksForActivation() {
    QTemporaryDir dir;
    const QString path = dir.filePath(u"instance"_s);
    SingleInstance first(path);
    QCOMPARE(first.claim(), SingleInstance::Role::primary);
    QSignalSpy activation(&first, &SingleInstance::activationRequested);

    // The second launch blocks while it talks, so it runs on its own thread as a real process would.
    std::atomic<int> secondRole{-1};
    std::thread second([&] {
        SingleInstance other(path);
        secondRole = static_cast<int>(other.claim());
    });
    QVERIFY(activation.wait(3000));
    second.join();
    QCOMPARE(secondRole.load(), static_cast<int>(SingleInstance::Role::handedOver));
}

void SingleInstanceTest::staleSocketFileIsReplaced() {
    QTemporaryDir dir;
    const QString path = dir.filePath(u"instance"_s);
    testing::writeFile(path, {});
    SingleInstance instance(path);
    QCOMPARE(instance.claim(), SingleInstance::Role::primary);
}

void SingleInstanceTest::strangerOnTheSocketIsIgnored() {
    QTemporaryDir dir;
    const QString path = dir.filePath(u"instance"_s);
    SingleInstance instance(path);
    QCOMPARE(instance.claim(), SingleInstance::Role::primary);
    QSignalSpy activation(&instance, &SingleInstance::activationRequested);
    QLocalSocket stranger;
    stranger.connectToServer(path);
    QVERIFY(stranger.waitForConnected(1000));
    stranger.write(QByteArray(200, 'x'));
    QTRY_COMPARE_WITH_TIMEOUT(stranger.state(), QLocalSocket::UnconnectedState, 3000);
    QCOMPARE(activation.size(), 0);
}

QTEST_GUILESS_MAIN(SingleInstanceTest)
#include "SingleInstanceTest.moc"
