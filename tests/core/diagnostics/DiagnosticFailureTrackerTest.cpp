#include "core/diagnostics/DiagnosticFailureTracker.h"

#include <QTest>

#include <cerrno>
#include <system_error>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace probe {

struct Transfer {
    Q_GADGET
public:
    enum TransferError { HostNotFoundError = 3, OperationCanceledError = 5 };
    Q_ENUM(TransferError)
};

struct PollError {
    int status = 0;
    bool cancelled = false;
    [[nodiscard]] DiagnosticValue diagnosticKind() const {
        return DiagnosticValue::errorKind("PollError", status);
    }
    [[nodiscard]] bool isCancellation() const { return cancelled; }
};

} // namespace probe

class DiagnosticFailureTrackerTest : public QObject {
    Q_OBJECT
private slots:
    void reportsAFailureOncePerKind();
    void cancellationChangesNothing();
    void recognisesCancellations();
};

void DiagnosticFailureTrackerTest::reportsAFailureOncePerKind() {
    DiagnosticFailureTracker tracker;
    QVERIFY(!tracker.succeeded());
    QVERIFY(tracker.failed(DiagnosticValue("timeout")));
    QVERIFY(!tracker.failed(DiagnosticValue("timeout")));
    QVERIFY(tracker.failed(DiagnosticValue("refused")));
    QVERIFY(tracker.failed(DiagnosticValue("timeout")));
    QCOMPARE(tracker.last(), std::optional<QString>(u"timeout"_s));
    QVERIFY(tracker.succeeded());
    QVERIFY(!tracker.last().has_value());
    QVERIFY(!tracker.succeeded());
    QVERIFY(tracker.failed(DiagnosticValue("timeout")));

    // Errors are compared by their kind, not by anything else they carry.
    DiagnosticFailureTracker byError;
    QVERIFY(byError.failed(probe::PollError{503}, false));
    QVERIFY(!byError.failed(probe::PollError{503}, false));
    QVERIFY(byError.failed(probe::PollError{401}, false));
    QVERIFY(byError.failed(Failure{u"first text"_s}, false));
    QVERIFY(!byError.failed(Failure{u"second text"_s}, false));
    QCOMPARE(byError.last(), std::optional<QString>(u"Failure"_s));
}

void DiagnosticFailureTrackerTest::cancellationChangesNothing() {
    DiagnosticFailureTracker tracker;
    QVERIFY(tracker.failed(probe::PollError{503}, false));
    QVERIFY(!tracker.failed(probe::PollError{401}, true));
    QVERIFY(!tracker.failed(probe::PollError{401, true}, false));
    QVERIFY(!tracker.failed(std::make_error_code(std::errc::operation_canceled), false));
    QVERIFY(!tracker.failed(probe::Transfer::OperationCanceledError, false));
    QCOMPARE(tracker.last(), std::optional<QString>(u"PollError#503"_s));
    QVERIFY(!tracker.failed(probe::PollError{503}, false));

    DiagnosticFailureTracker fresh;
    QVERIFY(!fresh.failed(probe::PollError{503}, true));
    QVERIFY(!fresh.last().has_value());
    QVERIFY(!fresh.succeeded());
}

void DiagnosticFailureTrackerTest::recognisesCancellations() {
    QVERIFY(DiagnosticFailureTracker::isCancellation(std::error_code(ECANCELED, std::generic_category())));
    QVERIFY(DiagnosticFailureTracker::isCancellation(std::error_code(ECANCELED, std::system_category())));
    QVERIFY(!DiagnosticFailureTracker::isCancellation(std::error_code(ETIMEDOUT, std::generic_category())));
    QVERIFY(DiagnosticFailureTracker::isCancellation(probe::Transfer::OperationCanceledError));
    QVERIFY(!DiagnosticFailureTracker::isCancellation(probe::Transfer::HostNotFoundError));
    QVERIFY(DiagnosticFailureTracker::isCancellation(probe::PollError{0, true}));
    QVERIFY(!DiagnosticFailureTracker::isCancellation(Failure{u"cancelled"_s}));

    DiagnosticFailureTracker tracker;
    QVERIFY(tracker.failed(probe::Transfer::HostNotFoundError, false));
    QCOMPARE(tracker.last(), std::optional<QString>(u"TransferError.HostNotFoundError"_s));
}

QTEST_GUILESS_MAIN(DiagnosticFailureTrackerTest)
#include "DiagnosticFailureTrackerTest.moc"
