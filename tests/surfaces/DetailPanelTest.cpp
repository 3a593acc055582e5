#include "surfaces/detail/DetailPanel.h"

#include "SampleSnapshots.h"
#include "platform/panels/fake/FakePanelWindowTraits.h"

#include <QApplication>
#include <QPushButton>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

QList<QPushButton*> buttons(QWidget& root, const QString& name) {
    QList<QPushButton*> found;
    for (QPushButton* button : root.findChildren<QPushButton*>()) {
        if (button->accessibleName() == name && !button->isHidden()) {
            found.append(button);
        }
    }
    return found;
}

DetailPanel::Opening opening(const void* owner, ModuleSnapshot module) {
    DetailPanel::Opening o;
    o.owner = owner;
    o.module = std::move(module);
    o.anchor = QRectF(100, 300, 120, 120);
    o.visibleFrame = QRectF(0, 0, 1920, 1080);
    return o;
}

ModuleSnapshot withReveal() {
    ModuleSnapshot snapshot = samples::localPortsWithDetail();
    snapshot.variants.detail->revealCommand =
        DetailCommand{u"name-servers"_s, snapshot.id, u"Name servers"_s};
    snapshot.variants.detail->sections[1].revealCommand =
        DetailCommand{u"peek:8080"_s, snapshot.id, u"Peek"_s};
    return snapshot;
}

ModuleSnapshot withSection(DetailSection section) {
    ModuleSnapshot snapshot = samples::localPortsWithDetail();
    snapshot.variants.detail->sections = {std::move(section)};
    return snapshot;
}

} // namespace

class DetailPanelTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void oneOwnerAtATime();
    void revealCommandsRunOncePerOpening();
    void runningCommandWaits();
    void onlyLinksAndFilesOpen_data();
    void onlyLinksAndFilesOpen();
    void focusActionsNeedAHandler();
    void aLongFolderGivesWayInItsMiddle();
    void harmlessCommandRunsAtOnce();

private:
    FakePanelWindowTraits m_traits;
    std::unique_ptr<DetailPanel> m_panel;
    QStringList m_opened;
    QStringList m_commands;
    int m_a = 0;
    int m_b = 0;
};

void DetailPanelTest::init() {
    m_panel = std::make_unique<DetailPanel>(m_traits);
    m_opened.clear();
    m_commands.clear();
    m_panel->setLinkCallbacks({[this](const DetailCommand& command) { m_commands.append(command.id); },
                               [this](const QString& moduleID) { m_opened.append(moduleID); }});
}

void DetailPanelTest::oneOwnerAtATime() {
    m_panel->open(opening(&m_a, samples::localPortsWithDetail()));
    QVERIFY(m_panel->isVisible());
    QVERIFY(m_panel->isOwnedBy(&m_a));
    m_panel->open(opening(&m_b, samples::cpuWithDetail()));
    QVERIFY(m_panel->isOwnedBy(&m_b));
    QCOMPARE(m_panel->moduleID(), std::optional(u"system.cpu"_s));
    // The one that lost it can neither change nor close it.
    m_panel->refresh(&m_a, samples::localPortsWithDetail(), QRectF());
    m_panel->release(&m_a);
    QVERIFY(m_panel->isVisible());
    QCOMPARE(m_panel->moduleID(), std::optional(u"system.cpu"_s));
    // Opening the same module again is no new look.
    m_panel->open(opening(&m_b, samples::cpuWithDetail()));
    QCOMPARE(m_opened, (QStringList{u"local.services"_s, u"system.cpu"_s}));
    m_panel->release(&m_b);
    QVERIFY(!m_panel->isVisible());
    QVERIFY(!m_panel->moduleID());
}

void DetailPanelTest::revealCommandsRunOncePerOpening() {
    m_panel->open(opening(&m_a, withReveal()));
    QCOMPARE(m_commands, (QStringList{u"name-servers"_s, u"peek:8080"_s}));
    m_panel->open(opening(&m_a, withReveal()));
    m_panel->refresh(&m_a, withReveal(), QRectF(100, 300, 120, 120));
    QCOMPARE(m_commands.size(), 2);
    m_panel->release(&m_a);
    m_panel->open(opening(&m_a, withReveal()));
    QCOMPARE(m_commands.size(), 4);
}

void DetailPanelTest::runningCommandWaits() {
    m_panel->open(opening(&m_a, samples::localPortsWithDetail()));
    QCOMPARE(buttons(*m_panel, u"Stop"_s).size(), 3);
    m_panel->setRunningCommands({u"stop:tcp:5432"_s});
    QTRY_COMPARE(buttons(*m_panel, u"Stop"_s).size(), 3);
    int waiting = 0;
    for (QPushButton* stop : buttons(*m_panel, u"Stop"_s)) {
        if (!stop->isEnabled()) {
            ++waiting;
            QCOMPARE(stop->accessibleDescription(), u"running"_s);
        }
    }
    QCOMPARE(waiting, 1);
    m_panel->setRunningCommands({});
    for (QPushButton* stop : buttons(*m_panel, u"Stop"_s)) {
        QVERIFY(stop->isEnabled());
    }
}

void DetailPanelTest::onlyLinksAndFilesOpen_data() {
    QTest::addColumn<QString>("url");
    QTest::addColumn<bool>("offered");
    QTest::newRow("http") << u"http://localhost:3000"_s << true;
    QTest::newRow("https") << u"https://github.com/o/r/pull/4"_s << true;
    QTest::newRow("a file") << u"file:///home/me/server.log"_s << true;
    QTest::newRow("script") << u"javascript:alert(1)"_s << false;
    QTest::newRow("another scheme") << u"ssh://host"_s << false;
    QTest::newRow("garbage") << u"::::"_s << false;
}

void DetailPanelTest::onlyLinksAndFilesOpen() {
    QFETCH(QString, url);
    QFETCH(bool, offered);
    DetailSection row;
    row.id = u"r"_s;
    row.title = u"Server"_s;
    row.location = DetailLocation{u"where"_s, QUrl(url)};
    row.actions = {action::Open{QUrl(url)}};
    m_panel->open(opening(&m_a, withSection(row)));
    QCOMPARE(buttons(*m_panel, u"where"_s).size(), offered ? 1 : 0);
    QCOMPARE(buttons(*m_panel, u"Open"_s).size(), offered ? 1 : 0);
}

void DetailPanelTest::focusActionsNeedAHandler() {
    DetailSection row;
    row.id = u"r"_s;
    row.title = u"claude"_s;
    row.actions = {action::FocusProcess{4242}};
    m_panel->open(opening(&m_a, withSection(row)));
    QVERIFY(buttons(*m_panel, u"Show"_s).isEmpty());
    m_panel->release(&m_a);

    QList<DetailAction> handled;
    m_panel->setActionHandler([&](const DetailAction& action) {
        handled.append(action);
        return true;
    });
    m_panel->open(opening(&m_a, withSection(row)));
    const QList<QPushButton*> show = buttons(*m_panel, u"Show"_s);
    QCOMPARE(show.size(), 1);
    show.front()->click();
    QCOMPARE(handled, (QList<DetailAction>{action::FocusProcess{4242}}));
}

void DetailPanelTest::aLongFolderGivesWayInItsMiddle() {
    const QString folder = u"/tmp/tessary-test.W7BREQ/home/work/projects/a-rather-long-project-name/beta"_s;
    DetailSection row;
    row.id = u"r"_s;
    row.title = u"Answer"_s;
    row.location = DetailLocation{folder, QUrl::fromLocalFile(folder)};
    row.actions = {action::Open{QUrl::fromLocalFile(folder)}};
    m_panel->open(opening(&m_a, withSection(row)));
    QTRY_VERIFY(m_panel->isVisible());
    const QList<QPushButton*> link = buttons(*m_panel, folder);
    const QList<QPushButton*> open = buttons(*m_panel, u"Open"_s);
    QCOMPARE(link.size(), 1);
    QCOMPARE(open.size(), 1);
    // The row's button stays whole inside the panel, and the folder keeps its start and its end.
    const QRect button(open.front()->mapTo(m_panel.get(), QPoint(0, 0)), open.front()->size());
    QVERIFY2(button.right() < DetailPanel::panelWidth, qPrintable(QString::number(button.right())));
    QCOMPARE(link.front()->accessibleName(), folder);
    QVERIFY(link.front()->text().contains(u'…'));
    QVERIFY(link.front()->text().startsWith(u"/tmp/"_s) && link.front()->text().endsWith(u"beta"_s));
}

void DetailPanelTest::harmlessCommandRunsAtOnce() {
    DetailSection row;
    row.id = u"r"_s;
    row.title = u"Checks"_s;
    row.command = DetailCommand{u"rerun"_s, u"github"_s, u"Re-run"_s};
    m_panel->open(opening(&m_a, withSection(row)));
    buttons(*m_panel, u"Re-run"_s).front()->click();
    QCOMPARE(m_commands, QStringList{u"rerun"_s});
    QVERIFY(!m_panel->isEngaged());
}

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    DetailPanelTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "DetailPanelTest.moc"
