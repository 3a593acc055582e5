// Session colours come from the agents' own settings: any text, in any case.
#include "surfaces/SurfacePalette.h"

#include <QTest>

using namespace tessary;

class SurfacePaletteTest : public QObject {
    Q_OBJECT
private slots:
    void namedColorReadsWhatAgentsWrite_data() {
        QTest::addColumn<std::optional<QString>>("name");
        QTest::addColumn<QColor>("expected");
        QTest::newRow("absent") << std::optional<QString>() << SurfacePalette::neutralGrey;
        QTest::newRow("empty") << std::optional<QString>(QString()) << SurfacePalette::neutralGrey;
        QTest::newRow("role name") << std::optional<QString>(QStringLiteral("purple"))
                                   << SurfacePalette::roleColor(RoleColor::purple);
        QTest::newRow("role name in capitals")
            << std::optional<QString>(QStringLiteral("Cyan")) << SurfacePalette::roleColor(RoleColor::cyan);
        QTest::newRow("hex") << std::optional<QString>(QStringLiteral("#7f5af0")) << QColor(0x7f, 0x5a, 0xf0);
        QTest::newRow("unknown word")
            << std::optional<QString>(QStringLiteral("ultraviolet")) << SurfacePalette::neutralGrey;
        QTest::newRow("broken hex") << std::optional<QString>(QStringLiteral("#12345"))
                                    << SurfacePalette::neutralGrey;
    }
    void namedColorReadsWhatAgentsWrite() {
        QFETCH(std::optional<QString>, name);
        QFETCH(QColor, expected);
        QCOMPARE(SurfacePalette::namedColor(name), expected);
    }
};

QTEST_GUILESS_MAIN(SurfacePaletteTest)
#include "SurfacePaletteTest.moc"
