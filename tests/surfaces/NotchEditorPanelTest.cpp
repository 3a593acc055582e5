#include "surfaces/notch/NotchEditorPanel.h"

#include "platform/panels/fake/FakePanelWindowTraits.h"

#include <QApplication>
#include <QCheckBox>
#include <QPushButton>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

template <typename W>
W* named(QWidget& root, const QString& name) {
    for (W* widget : root.findChildren<W*>()) {
        if (widget->accessibleName() == name && widget->isVisible()) {
            return widget;
        }
    }
    return nullptr;
}

NotchEditor::Content content(bool smart) {
    NotchEditor::Content c;
    c.notch = QRectF(870, 0, 180, 32);
    c.tabs = {{u"agents"_s, ModuleGroup::agents, {u"claude"_s, u"codex"_s}},
              {u"code"_s, ModuleGroup::code, {u"github"_s}}};
    c.titles = {{u"claude"_s, u"Claude"_s}, {u"codex"_s, u"Codex"_s}, {u"github"_s, u"GitHub"_s}};
    c.preferences.smartOrdering = smart;
    return c;
}

} // namespace

class NotchEditorPanelTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void standsUnderTheNotch();
    void handArrangingWaitsForSmartOrderingOff();
    void turningSmartOrderingOffPinsWhatIsShown();
    void movesAndHides();
    void doneEndsEditing();

private:
    FakePanelWindowTraits m_traits;
    std::unique_ptr<NotchEditorPanel> m_editor;
    std::vector<NotchPreferences> m_changes;
    int m_done = 0;
};

void NotchEditorPanelTest::init() {
    m_editor = std::make_unique<NotchEditorPanel>(m_traits, [] { return Localization(); });
    m_changes.clear();
    m_done = 0;
    m_editor->setEditorCallbacks(
        {[this](const NotchPreferences& edited) { m_changes.push_back(edited); }, [this] { ++m_done; }});
}

void NotchEditorPanelTest::standsUnderTheNotch() {
    m_editor->showEditor(content(true));
    QVERIFY(m_editor->isVisible());
    QCOMPARE(QRectF(m_editor->geometry()).center().x(), 960.0);
    QVERIFY(m_editor->geometry().top() >= 32);
    QVERIFY(m_editor->testAttribute(Qt::WA_ShowWithoutActivating));
    m_editor->hideEditor();
    QVERIFY(!m_editor->isVisible());
}

void NotchEditorPanelTest::handArrangingWaitsForSmartOrderingOff() {
    m_editor->showEditor(content(true));
    auto* down = named<QPushButton>(*m_editor, u"Move Claude down"_s);
    QVERIFY(down);
    QVERIFY(!down->isEnabled());
    QVERIFY(!named<QPushButton>(*m_editor, u"Move Code left"_s)->isEnabled());
    // Hiding doesn't depend on the order.
    QVERIFY(named<QPushButton>(*m_editor, u"Hide Codex"_s)->isEnabled());
}

void NotchEditorPanelTest::turningSmartOrderingOffPinsWhatIsShown() {
    m_editor->showEditor(content(true));
    named<QCheckBox>(*m_editor, u"Order by urgency"_s)->click();
    QCOMPARE(m_changes.size(), size_t(1));
    QVERIFY(!m_changes.front().smartOrdering);
    QCOMPARE(m_changes.front().tabOrder, (QStringList{u"agents"_s, u"code"_s}));
    QCOMPARE(m_changes.front().memberOrder.value(u"agents"_s), (QStringList{u"claude"_s, u"codex"_s}));
}

void NotchEditorPanelTest::movesAndHides() {
    m_editor->showEditor(content(false));
    QVERIFY(!named<QPushButton>(*m_editor, u"Move Claude up"_s)->isEnabled()); // already first
    named<QPushButton>(*m_editor, u"Move Claude down"_s)->click();
    QCOMPARE(m_changes.back().memberOrder.value(u"agents"_s), (QStringList{u"codex"_s, u"claude"_s}));
    named<QPushButton>(*m_editor, u"Move Code left"_s)->click();
    QCOMPARE(m_changes.back().tabOrder, (QStringList{u"code"_s, u"agents"_s}));
    named<QPushButton>(*m_editor, u"Hide Codex"_s)->click();
    QCOMPARE(m_changes.back().hiddenInNotch, QSet<QString>{u"codex"_s});
    named<QPushButton>(*m_editor, u"One tabs at rest"_s)->click();
    QCOMPARE(m_changes.back().restingTabs, RestingTabs::one);

    // The loop saves and hands the new content back: a hidden module is offered to be shown.
    NotchEditor::Content edited = content(false);
    edited.preferences.hiddenInNotch = {u"codex"_s};
    m_editor->showEditor(edited);
    QTRY_VERIFY(named<QPushButton>(*m_editor, u"Show Codex"_s));
    QCOMPARE(m_changes.size(), size_t(4));
}

void NotchEditorPanelTest::doneEndsEditing() {
    m_editor->showEditor(content(true));
    named<QPushButton>(*m_editor, u"Done"_s)->click();
    QCOMPARE(m_done, 1);
    QVERIFY(m_changes.empty());
}

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    NotchEditorPanelTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "NotchEditorPanelTest.moc"
