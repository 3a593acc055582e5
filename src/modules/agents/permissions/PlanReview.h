#pragma once

#include <QJsonObject>
#include <QString>

#include <variant>

namespace tessary {

// The user's answer to a plan that an agent asks to carry out.
struct PlanReview {
    struct RequestChanges {
        QString feedback;
        bool operator==(const RequestChanges&) const = default;
    };
    struct Approve {
        bool operator==(const Approve&) const = default;
    };
    struct ApproveAcceptingEdits {
        bool operator==(const ApproveAcceptingEdits&) const = default;
    };

    std::variant<RequestChanges, Approve, ApproveAcceptingEdits> kind;

    // The tool by which an agent asks to leave plan mode.
    static constexpr auto tool = "ExitPlanMode";

    static PlanReview approve() { return {Approve{}}; }
    static PlanReview approveAcceptingEdits() { return {ApproveAcceptingEdits{}}; }
    static PlanReview requestChanges(QString feedback) { return {RequestChanges{std::move(feedback)}}; }
    // The user's note, trimmed; a blank note approves rather than asking for nothing.
    static PlanReview requestingChanges(const QString& text);

    // "approve", "approveAcceptingEdits", "requestChanges": for the log.
    [[nodiscard]] const char* caseName() const;

    // The hook output for this review of the call whose input is `input`.
    [[nodiscard]] QJsonObject payload(const QJsonObject& input) const;

    bool operator==(const PlanReview&) const = default;
};

} // namespace tessary
