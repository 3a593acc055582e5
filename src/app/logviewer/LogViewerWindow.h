#pragma once

#include "app/logviewer/LogEntryModel.h"
#include "app/logviewer/LogFileFollower.h"
#include "core/localization/Localization.h"

#include <QDialog>

#include <memory>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QTableView;

namespace tessary {

class LogPresentationModel;

// A read-only window over the diagnostic log: the lines of both generations, followed as the file grows and
// rotates, filtered by category, lowest level and a text. Damaged lines are shown as they stand, dimmed.
// It reads the files only while it is shown. Escape closes it.
class LogViewerWindow final : public QDialog {
    Q_OBJECT
public:
    LogViewerWindow(const QString& directory, const Localization& localization, QWidget* parent = nullptr);
    ~LogViewerWindow() override;
    LogViewerWindow(const LogViewerWindow&) = delete;
    LogViewerWindow& operator=(const LogViewerWindow&) = delete;
    LogViewerWindow(LogViewerWindow&&) = delete;
    LogViewerWindow& operator=(LogViewerWindow&&) = delete;

    void setLocalization(const Localization& localization);

    [[nodiscard]] LogEntryModel& entries() { return m_entries; }
    [[nodiscard]] LogFilterModel& filter() { return m_filter; }
    [[nodiscard]] LogFileFollower& follower() { return m_follower; }
    [[nodiscard]] QTableView* view() const { return m_view; }

    // The selected lines as they stand in the file, one a line, in the order shown.
    [[nodiscard]] QString selectedText() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void relabel();
    void updateStatus();

    Localization m_localization;
    LogEntryModel m_entries;
    LogFilterModel m_filter;
    std::unique_ptr<LogPresentationModel> m_presentation;
    LogFileFollower m_follower;
    QLabel* m_categoryLabel = nullptr;
    QComboBox* m_category = nullptr;
    QLabel* m_levelLabel = nullptr;
    QComboBox* m_level = nullptr;
    QLabel* m_searchLabel = nullptr;
    QLineEdit* m_search = nullptr;
    QCheckBox* m_followsEnd = nullptr;
    QTableView* m_view = nullptr;
    QLabel* m_status = nullptr;
};

// Opens the log viewer on demand, one window at a time, and closes it when the program ends.
class LogViewerController final : public QObject {
    Q_OBJECT
public:
    explicit LogViewerController(QString directory, QObject* parent = nullptr);
    ~LogViewerController() override;
    LogViewerController(const LogViewerController&) = delete;
    LogViewerController& operator=(const LogViewerController&) = delete;
    LogViewerController(LogViewerController&&) = delete;
    LogViewerController& operator=(LogViewerController&&) = delete;

    // Shows the window in that language, making it on first use, and brings it to the front.
    void show(const Localization& localization);
    void closeAll();
    [[nodiscard]] LogViewerWindow* window() const { return m_window.get(); }

private:
    QString m_directory;
    std::unique_ptr<LogViewerWindow> m_window;
};

} // namespace tessary
