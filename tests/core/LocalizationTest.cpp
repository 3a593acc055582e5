#include "core/localization/Localization.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class LocalizationTest : public QObject {
    Q_OBJECT
private slots:
    void translates_data();
    void translates();
    void percentFollowsTheLanguage_data();
    void percentFollowsTheLanguage();
    void chosenLanguageWinsOverTheSystem();
    void formatWritesWholeNumbersOut();
};

void LocalizationTest::translates_data() {
    QTest::addColumn<int>("language");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("expected");
    QTest::newRow("english is the key")
        << int(AppLanguage::english) << u"Quit Tessary"_s << u"Quit Tessary"_s;
    QTest::newRow("spanish") << int(AppLanguage::spanish) << u"Quit Tessary"_s << u"Salir de Tessary"_s;
    QTest::newRow("portuguese") << int(AppLanguage::portuguese) << u"Quit Tessary"_s << u"Sair do Tessary"_s;
    QTest::newRow("missing key falls back to english")
        << int(AppLanguage::spanish) << u"No such text"_s << u"No such text"_s;
}

void LocalizationTest::translates() {
    QFETCH(int, language);
    QFETCH(QString, key);
    QFETCH(QString, expected);
    QCOMPARE(Localization(static_cast<AppLanguage>(language)).text(key), expected);
}

void LocalizationTest::percentFollowsTheLanguage_data() {
    QTest::addColumn<int>("language");
    QTest::addColumn<double>("fraction");
    QTest::addColumn<QString>("expected");
    QTest::newRow("english") << int(AppLanguage::english) << 0.424 << u"42%"_s;
    QTest::newRow("rounds half up") << int(AppLanguage::english) << 0.995 << u"100%"_s;
    QTest::newRow("over full") << int(AppLanguage::english) << 1.5 << u"150%"_s;
    QTest::newRow("not a number") << int(AppLanguage::english) << qQNaN() << u"0%"_s;
    QTest::newRow("thousands in spanish") << int(AppLanguage::spanish) << 12.34 << u"1234%"_s;
}

void LocalizationTest::percentFollowsTheLanguage() {
    QFETCH(int, language);
    QFETCH(double, fraction);
    QFETCH(QString, expected);
    QString text = Localization(static_cast<AppLanguage>(language)).percent(fraction);
    text.remove(QChar(0x00A0)).remove(u'.').remove(u',');
    QCOMPARE(text, expected);
}

void LocalizationTest::chosenLanguageWinsOverTheSystem() {
    QCOMPARE(Localization::forSetting(AppLanguage::spanish, QLocale(u"pt_BR"_s)).language(),
             AppLanguage::spanish);
    QCOMPARE(Localization::forSetting(std::nullopt, QLocale(u"pt_BR"_s)).language(), AppLanguage::portuguese);
    QCOMPARE(Localization::forSetting(std::nullopt, QLocale(u"ja_JP"_s)).language(), AppLanguage::english);
}

void LocalizationTest::formatWritesWholeNumbersOut() {
    // A second number is a value, not the first one's field width.
    QCOMPARE(Localization(AppLanguage::spanish).format(u"%1 of %2 checks"_s, 3, 5),
             u"3 de 5 comprobaciones"_s);
    QCOMPARE(Localization().format(u"%1 of %2"_s, qint64{7}, u"x"_s), u"7 of x"_s);
}

QTEST_GUILESS_MAIN(LocalizationTest)
#include "LocalizationTest.moc"
