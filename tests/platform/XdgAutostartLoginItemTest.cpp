#include "platform/loginitem/linux/XdgAutostartLoginItem.h"

#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class XdgAutostartLoginItemTest : public QObject {
    Q_OBJECT
private slots:
    void registersAndUnregisters();
    void executableWithSpecialCharactersIsQuoted();
    void unwritableFolderIsAFailureNotACrash();
};

void XdgAutostartLoginItemTest::registersAndUnregisters() {
    QTemporaryDir dir;
    XdgAutostartLoginItem item(dir.filePath(u"autostart"_s), u"/opt/tessary/bin/tessary"_s);
    QVERIFY(!item.isRegistered());
    QCOMPARE(item.setRegistered(true), MaybeFailure{});
    QVERIFY(item.isRegistered());
    QSettings entry(item.entryPath(), QSettings::IniFormat);
    entry.beginGroup(u"Desktop Entry"_s);
    QCOMPARE(entry.value(u"Type"_s).toString(), u"Application"_s);
    QCOMPARE(entry.value(u"Name"_s).toString(), u"Tessary"_s);
    QCOMPARE(item.setRegistered(false), MaybeFailure{});
    QVERIFY(!item.isRegistered());
    QCOMPARE(item.setRegistered(false), MaybeFailure{}); // already gone: nothing to do
}

void XdgAutostartLoginItemTest::executableWithSpecialCharactersIsQuoted() {
    const QByteArray entry = XdgAutostartLoginItem::desktopEntry(u"/home/a b/\"x\"/$HOME/tess`ary"_s);
    const QByteArray expected = "Exec=\"/home/a b/\\\"x\\\"/\\$HOME/tess\\`ary\"";
    QVERIFY2(entry.contains(expected), entry.constData());
}

void XdgAutostartLoginItemTest::unwritableFolderIsAFailureNotACrash() {
    QTemporaryDir dir;
    QFile blocker(dir.filePath(u"autostart"_s)); // a file where the folder should be
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    XdgAutostartLoginItem item(dir.filePath(u"autostart"_s), u"/usr/bin/tessary"_s);
    QVERIFY(item.setRegistered(true).has_value());
}

QTEST_GUILESS_MAIN(XdgAutostartLoginItemTest)
#include "XdgAutostartLoginItemTest.moc"
