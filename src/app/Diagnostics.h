#pragma once

#include "core/localization/Localization.h"
#include "core/settings/TessarySettings.h"

#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QSettings>

#include <functional>
class QWidget;

namespace tessary {

class ProcessRunner;

// The application's side of crash capture and the diagnostics bundle: it notes the previous run's crash
// once at start (in the log and in a small window), and exports the zip a user can send.
class Diagnostics final : public QObject {
    Q_OBJECT
public:
    struct Inputs {
        QSettings* defaults = nullptr;
        const ProcessRunner* processes = nullptr; // for coredumpctl; may be null
        QString logsFolder;
        std::function<Localization()> localization;
        std::function<TessarySettings()> settings;
    };
    explicit Diagnostics(Inputs inputs, QObject* parent = nullptr);

    // Reads the crash history off the main thread; a crash newer than the last one noted is logged and
    // shown once.
    void checkPreviousRun();
    // Asks where to save, then writes the zip off the main thread and tells how it went.
    void exportDiagnostics(QWidget* parent);

    // The note and the export's result, while one is open; for tests and screenshots.
    [[nodiscard]] QMessageBox* shownMessage() const { return m_message; }

signals:
    void previousRunNoted(int signal);
    void exportFinished(bool succeeded);

private:
    void showMessage(int icon, const QString& title, const QString& text, const QString& details,
                     bool offersExport);

    Inputs m_inputs;
    QPointer<QMessageBox> m_message;
};

} // namespace tessary
