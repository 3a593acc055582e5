#include "services/diagnostics/DiagnosticsArchive.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

// The exported zip, checked by the real unzip: it is whole, it lists the expected entries, and nothing
// planted in the logs reaches it.
class DiagnosticsArchiveTest : public QObject {
    Q_OBJECT
private:
    static QByteArray unzip(const QStringList& arguments) {
        QProcess process;
        process.start(u"unzip"_s, arguments);
        if (!process.waitForFinished(30000) || process.exitCode() != 0) {
            return "unzip failed: " + process.readAllStandardError();
        }
        return process.readAllStandardOutput();
    }

private slots:
    void exportedZipIsWholeAndCarriesNoSecret() {
        QTemporaryDir folder;
        QVERIFY(folder.isValid());
        const QString logs = folder.filePath(u"logs"_s);
        QVERIFY(QDir().mkpath(logs));
        QFile current(logs + u"/tessary.log"_s);
        QVERIFY(current.open(QIODevice::WriteOnly));
        current.write("2026-03-14T09:26:53.589+01:00 app info launch version=0.1.0\n"
                      "2026-03-14T09:26:54.000+01:00 hooks info auth token=ghp_0123456789abcdefABCDEF\n"
                      "please refactor /home/ana/payroll with my key sk-ant-secret\n"
                      "epoch=1767225600 crash error signal name=SIGSEGV number=11\n");
        current.close();
        QFile previous(logs + u"/tessary.1.log"_s);
        QVERIFY(previous.open(QIODevice::WriteOnly));
        previous.write("2026-03-13T08:00:00.000+01:00 app info launch file=/home/ana/.claude\n");
        previous.close();

        const QString zip = folder.filePath(u"Tessary-diagnostics-2026-03-14-0926.zip"_s);
        // An existing file is replaced.
        QFile stale(zip);
        QVERIFY(stale.open(QIODevice::WriteOnly));
        stale.write("stale");
        stale.close();
        const auto entries =
            DiagnosticsArchive::contents(logs, u"Tessary diagnostics\n"_s,
                                         {CrashReport{QDateTime::fromSecsSinceEpoch(1767225600, Qt::UTC), 11,
                                                      CrashReport::Source::marker}});
        QCOMPARE(DiagnosticsArchive::write(zip, entries), std::nullopt);

        QVERIFY(unzip({u"-t"_s, zip}).contains("No errors detected"));
        const QByteArray listing = unzip({u"-Z1"_s, zip});
        QCOMPARE(listing.split('\n').mid(0, 4),
                 (QList<QByteArray>{"tessary.log", "tessary.1.log", "about.txt", "crashes.txt"}));
        const QByteArray all = unzip({u"-p"_s, zip});
        for (const char* secret : {"ghp_", "/home/ana", "ana", "refactor", "payroll", "sk-ant", ".claude"}) {
            QVERIFY2(!all.contains(secret), secret);
        }
        QVERIFY(all.contains("epoch=1767225600 crash error signal name=SIGSEGV number=11"));
        QVERIFY(all.contains("app info launch version=0.1.0"));
        QVERIFY(all.contains("signal SIGSEGV 11 (log marker)"));
    }

    void unwritablePlaceIsAFailure() {
        QTemporaryDir folder;
        const auto error = DiagnosticsArchive::write(folder.filePath(u"missing/x.zip"_s), {{u"a"_s, "b"}});
        QVERIFY(error.has_value());
        QVERIFY(!QFile::exists(folder.filePath(u"missing/x.zip"_s)));
    }
};

QTEST_GUILESS_MAIN(DiagnosticsArchiveTest)
#include "DiagnosticsArchiveTest.moc"
