#include "app/Diagnostics.h"

#include "core/diagnostics/CrashMarker.h"
#include "core/diagnostics/DiagnosticLog.h"
#include "core/diagnostics/DiagnosticsBundle.h"
#include "core/records/EnumText.h"
#include "services/diagnostics/CrashHistory.h"
#include "services/diagnostics/DiagnosticsArchive.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QMessageBox>
#include <QPushButton>
#include <QStandardPaths>
#include <QSysInfo>
#include <QtConcurrent/QtConcurrentRun>

namespace tessary {

using namespace Qt::StringLiterals;

Diagnostics::Diagnostics(Inputs inputs, QObject* parent)
    : QObject(parent)
    , m_inputs(std::move(inputs)) {}

void Diagnostics::checkPreviousRun() {
    const QDateTime launchedAt = QDateTime::currentDateTimeUtc();
    const CrashHistory history(m_inputs.logsFolder, m_inputs.processes, u"tessary"_s);
    QtConcurrent::run([history] {
        return history.reports();
    }).then(this, [this, launchedAt](const std::vector<CrashReport>& reports) {
        if (m_inputs.defaults == nullptr) {
            return;
        }
        const auto crashed = CrashHistory::checkPreviousRun(*m_inputs.defaults, reports, launchedAt);
        if (!crashed) {
            return;
        }
        const Localization text = m_inputs.localization();
        showMessage(QMessageBox::Warning, text.text(u"Tessary quit unexpectedly"_s),
                    text.text(u"Tessary quit unexpectedly the last time it ran."_s),
                    text.format(u"It was stopped by the signal %1 (%2). Export diagnostics to send the logs "
                                u"with a report; they hold no paths, prompts or commands."_s,
                                QString::fromLatin1(CrashMarker::signalName(crashed->signal)),
                                crashed->signal),
                    true);
        emit previousRunNoted(crashed->signal);
    });
}

void Diagnostics::exportDiagnostics(QWidget* parent) {
    const Localization text = m_inputs.localization();
    QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (folder.isEmpty() || !QFileInfo(folder).isDir()) {
        folder = QStandardPaths::writableLocation(QStandardPaths::HomeLocation);
    }
    const QString proposed = folder + u'/' + DiagnosticsBundle::defaultFileName(QDateTime::currentDateTime());
    const QString chosen = QFileDialog::getSaveFileName(parent, text.text(u"Export Diagnostics"_s), proposed,
                                                        text.text(u"Zip archives (*.zip)"_s));
    if (chosen.isEmpty()) {
        return;
    }
    DiagnosticLog::flush();
    const TessarySettings settings = m_inputs.settings ? m_inputs.settings() : TessarySettings{};
    const QList<QPair<QString, QString>> facts{
        {u"version"_s, QStringLiteral(TESSARY_VERSION)},
        {u"build"_s, QSysInfo::buildAbi()},
        {u"os"_s, QSysInfo::productType() + u' ' + QSysInfo::productVersion()},
        {u"qt"_s, QString::fromLatin1(qVersion())},
        {u"interface language"_s, rawValue(text.language())},
    };
    const QString about = DiagnosticsBundle::aboutText(facts, settings);
    const CrashHistory history(m_inputs.logsFolder, m_inputs.processes, u"tessary"_s);
    const QString logs = m_inputs.logsFolder;
    QtConcurrent::run([history, logs, about, chosen] {
        const auto reports = history.reports();
        const auto error =
            DiagnosticsArchive::write(chosen, DiagnosticsArchive::contents(logs, about, reports));
        return std::make_pair(!error.has_value(), static_cast<qint64>(reports.size()));
    }).then(this, [this, chosen](std::pair<bool, qint64> result) {
        const bool succeeded = result.first;
        const qint64 reports = result.second;
        const auto fields = [reports] {
            return DiagnosticFields{{"reports", DiagnosticValue::count(reports)}};
        };
        if (succeeded) {
            DiagnosticLog::info(DiagnosticCategory::app, "diagnostics.export", fields);
        } else {
            DiagnosticLog::error(DiagnosticCategory::app, "diagnostics.export", fields);
        }
        const Localization said = m_inputs.localization();
        if (succeeded) {
            showMessage(
                QMessageBox::Information, said.text(u"Diagnostics exported"_s),
                said.format(u"Saved %1."_s, QFileInfo(chosen).fileName()),
                said.text(u"The file holds the logs and a short report, with no paths, prompts, commands "
                          u"or tokens."_s),
                false);
        } else {
            showMessage(QMessageBox::Warning, said.text(u"Could not export diagnostics"_s),
                        said.text(u"Could not export diagnostics"_s),
                        said.text(u"Open the logs folder and send the files by hand."_s), false);
        }
        emit exportFinished(succeeded);
    });
}

void Diagnostics::showMessage(int icon, const QString& title, const QString& text, const QString& details,
                              bool offersExport) {
    if (m_message) {
        m_message->close();
    }
    auto* box = new QMessageBox(static_cast<QMessageBox::Icon>(icon), title, text, QMessageBox::Ok);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setInformativeText(details);
    box->setAccessibleName(title);
    box->setAccessibleDescription(text + u' ' + details);
    if (offersExport) {
        const Localization localization = m_inputs.localization();
        QPushButton* exportButton =
            box->addButton(localization.text(u"Export Diagnostics…"_s), QMessageBox::ActionRole);
        exportButton->setAccessibleName(exportButton->text());
        connect(exportButton, &QPushButton::clicked, this, [this] { exportDiagnostics(nullptr); });
    }
    box->setWindowModality(Qt::NonModal);
    m_message = box;
    box->show();
}

} // namespace tessary
