#include "app/logviewer/LogViewerWindow.h"

#include "core/diagnostics/DiagnosticLine.h"
#include "support/TestFiles.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

QByteArray logLine(int number, DiagnosticCategory category, DiagnosticLevel level) {
    return DiagnosticLine::line(QDateTime(QDate(2026, 3, 14), QTime(9, 0).addSecs(number), Qt::UTC),
                                QTimeZone::utc(), category, level, u"event number=%1"_s.arg(number))
               .toUtf8() +
           '\n';
}

void choose(QComboBox* combo, int index) {
    combo->setFocus();
    while (combo->currentIndex() < index) {
        QTest::keyClick(combo, Qt::Key_Down);
    }
    while (combo->currentIndex() > index) {
        QTest::keyClick(combo, Qt::Key_Up);
    }
}

} // namespace

class LogViewerWindowTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void showsBothGenerationsAndFollows();
    void filtersByKeyboard();
    void relabelsInAnotherLanguageKeepingTheFilters();
    void saysWhenThereIsNoLogYet();
    void copiesWholeSelectedLines();
    void everyControlIsNamed();
    void escapeClosesAndStopsReading();

private:
    [[nodiscard]] QString current() const { return m_dir->filePath(u"tessary.log"_s); }
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<LogViewerWindow> m_window;
    template <typename T>
    T* find(const QString& name) const {
        return m_window->findChild<T*>(name);
    }
};

void LogViewerWindowTest::init() {
    m_dir = std::make_unique<QTemporaryDir>();
    appendFile(m_dir->filePath(u"tessary.1.log"_s),
               logLine(1, DiagnosticCategory::app, DiagnosticLevel::info));
    appendFile(current(), logLine(2, DiagnosticCategory::hooks, DiagnosticLevel::debug) +
                              logLine(3, DiagnosticCategory::hooks, DiagnosticLevel::error) +
                              "\xff\x01 torn\n" +
                              logLine(4, DiagnosticCategory::settings, DiagnosticLevel::info));
    m_window = std::make_unique<LogViewerWindow>(m_dir->path(), Localization());
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
}

void LogViewerWindowTest::cleanup() {
    m_window.reset();
    m_dir.reset();
}

void LogViewerWindowTest::showsBothGenerationsAndFollows() {
    QCOMPARE(m_window->entries().rowCount(), 5);
    QCOMPARE(m_window->entries().entry(0).message, u"event number=1"_s);
    QCOMPARE(find<QLabel>(u"status"_s)->text(), u"5 lines"_s);
    // Many more lines than fit: the view stays at the end while following.
    QByteArray more;
    for (int i = 5; i < 200; ++i) {
        more += logLine(i, DiagnosticCategory::monitor, DiagnosticLevel::info);
    }
    appendFile(current(), more);
    m_window->follower().poll();
    QCOMPARE(m_window->entries().rowCount(), 200);
    QScrollBar* scroll = m_window->view()->verticalScrollBar();
    QCOMPARE(scroll->value(), scroll->maximum());
    QVERIFY(scroll->maximum() > 0);
    // Not following, the view stays where the user left it.
    find<QCheckBox>(u"followsEnd"_s)->setChecked(false);
    scroll->setValue(0);
    appendFile(current(), logLine(300, DiagnosticCategory::monitor, DiagnosticLevel::info));
    m_window->follower().poll();
    QCOMPARE(scroll->value(), 0);
}

void LogViewerWindowTest::filtersByKeyboard() {
    choose(find<QComboBox>(u"category"_s), find<QComboBox>(u"category"_s)->findData(u"hooks"_s));
    QCOMPARE(m_window->filter().rowCount(), 2);
    QCOMPARE(find<QLabel>(u"status"_s)->text(), u"2 of 5 lines"_s);
    choose(find<QComboBox>(u"level"_s), 2); // errors only
    QCOMPARE(m_window->filter().rowCount(), 1);
    QCOMPARE(m_window->filter().index(0, LogEntryModel::messageColumn).data().toString(),
             u"event number=3"_s);
    choose(find<QComboBox>(u"category"_s), 0);
    choose(find<QComboBox>(u"level"_s), 0);
    find<QLineEdit>(u"search"_s)->setFocus();
    QTest::keyClicks(find<QLineEdit>(u"search"_s), u"torn"_s);
    QCOMPARE(m_window->filter().rowCount(), 1);
    QCOMPARE(m_window->filter().index(0, LogEntryModel::messageColumn).data().toString(),
             u"\uFFFD\\x01 torn"_s);
}

void LogViewerWindowTest::relabelsInAnotherLanguageKeepingTheFilters() {
    choose(find<QComboBox>(u"level"_s), 1);
    m_window->setLocalization(Localization(AppLanguage::spanish));
    QCOMPARE(m_window->windowTitle(), u"Registro de Tessary"_s);
    QCOMPARE(find<QComboBox>(u"level"_s)->currentText(), u"Información y errores"_s);
    QCOMPARE(m_window->filter().minimumLevel(), DiagnosticLevel::info);
    QCOMPARE(m_window->entries().headerData(LogEntryModel::messageColumn, Qt::Horizontal, Qt::DisplayRole),
             QVariant(u"Mensaje"_s));
    QCOMPARE(find<QLabel>(u"status"_s)->text(), u"3 de 5 líneas"_s);
}

void LogViewerWindowTest::saysWhenThereIsNoLogYet() {
    QTemporaryDir empty;
    LogViewerWindow viewer(empty.filePath(u"logs"_s), Localization());
    viewer.show();
    QVERIFY(viewer.findChild<QLabel*>(u"status"_s)->text().startsWith(u"No log file yet in "_s));
    QDir().mkpath(empty.filePath(u"logs"_s));
    appendFile(empty.filePath(u"logs/tessary.log"_s),
               logLine(1, DiagnosticCategory::app, DiagnosticLevel::info));
    viewer.follower().poll();
    QCOMPARE(viewer.findChild<QLabel*>(u"status"_s)->text(), u"1 line"_s);
}

void LogViewerWindowTest::copiesWholeSelectedLines() {
    QTableView* view = m_window->view();
    view->setFocus();
    view->selectRow(1);
    QTest::keyClick(view, Qt::Key_Down, Qt::ShiftModifier);
    QTest::keyClick(view, Qt::Key_Down, Qt::ShiftModifier);
    QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QGuiApplication::clipboard()->text(),
             QString::fromUtf8(logLine(2, DiagnosticCategory::hooks, DiagnosticLevel::debug) +
                               logLine(3, DiagnosticCategory::hooks, DiagnosticLevel::error)) +
                 u"\uFFFD\\x01 torn"_s);
}

void LogViewerWindowTest::everyControlIsNamed() {
    for (QWidget* widget : m_window->findChildren<QWidget*>()) {
        if ((widget->focusPolicy() & Qt::TabFocus) && widget->isVisibleTo(m_window.get()) &&
            widget->parentWidget() == m_window.get()) {
            QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(widget);
            QVERIFY2(accessible && !accessible->text(QAccessible::Name).isEmpty(),
                     qPrintable(widget->objectName()));
        }
    }
}

void LogViewerWindowTest::escapeClosesAndStopsReading() {
    find<QComboBox>(u"level"_s)->setFocus();
    QTest::keyClick(find<QComboBox>(u"level"_s), Qt::Key_Escape);
    QVERIFY(!m_window->isVisible());
    QCOMPARE(m_window->entries().rowCount(), 0);
    // Shown again, it reads the files afresh.
    m_window->show();
    QCOMPARE(m_window->entries().rowCount(), 5);
}

QTEST_MAIN(LogViewerWindowTest)
#include "LogViewerWindowTest.moc"
