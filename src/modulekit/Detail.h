#pragma once

// What a detail panel shows, described as data so that no module holds a view.

#include "core/records/EnumText.h"
#include "core/records/ProcessLink.h"
#include "modulekit/GaugeMetric.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

namespace tessary {

// A command of a module, run through the bus; with input fields it asks for text first.
struct DetailCommand {
    QString id;
    QString moduleID;
    QString title;
    std::optional<QString> confirmation;
    bool isDestructive = false;
    std::optional<QString> inputPlaceholder;
    std::optional<QString> inputText;
    std::optional<QString> inputSuggestion;
    std::optional<QString> inputNote;
    bool operator==(const DetailCommand&) const = default;

    // What follows `prefix` in the id ("stop:" in "stop:42" gives "42"); nothing when the id doesn't
    // start with it or has nothing after it.
    [[nodiscard]] std::optional<QString> argument(const char* prefix) const;
    [[nodiscard]] DetailCommand withInput(const QString& text) const {
        DetailCommand copy = *this;
        copy.inputText = text;
        return copy;
    }
};

struct LogSource {
    QString title;
    std::optional<QUrl> file;
    std::optional<QString> container;
    bool operator==(const LogSource&) const = default;
};

namespace action {
struct Open {
    QUrl url;
    bool operator==(const Open&) const = default;
};
struct FocusProcess {
    std::int32_t pid = 0;
    bool operator==(const FocusProcess&) const = default;
};
struct FocusApp {
    QString bundleID;
    std::optional<QUrl> link;
    bool operator==(const FocusApp&) const = default;
};
struct FocusAppItem {
    QString bundleID;
    QString itemID;
    bool operator==(const FocusAppItem&) const = default;
};
struct Perform {
    DetailCommand command;
    bool operator==(const Perform&) const = default;
};
struct ViewLog {
    LogSource source;
    bool operator==(const ViewLog&) const = default;
};
} // namespace action
using DetailAction = std::variant<action::Open, action::FocusProcess, action::FocusApp, action::FocusAppItem,
                                  action::Perform, action::ViewLog>;

namespace icon {
struct File {
    QString path;
    bool operator==(const File&) const = default;
};
struct App {
    QString bundleID;
    bool operator==(const App&) const = default;
};
struct Symbol {
    QString name;
    bool operator==(const Symbol&) const = default;
};
struct Image {
    QString name;
    bool operator==(const Image&) const = default;
};
} // namespace icon
using DetailIcon = std::variant<icon::File, icon::App, icon::Symbol, icon::Image>;

struct DetailLocation {
    QString label;
    QUrl url;
    bool operator==(const DetailLocation&) const = default;
};

struct DetailTextRun {
    QString text;
    std::optional<GaugeMetric> gauge;
    bool operator==(const DetailTextRun&) const = default;
};

struct DetailStep {
    enum class State { passed, running, failed, pending, skipped, working };
    QString id;
    QString name;
    State state = State::pending;
    std::optional<QString> detail;
    std::optional<QString> note;
    bool operator==(const DetailStep&) const = default;

    // One text line: the name, then the detail and the note where they carry something.
    [[nodiscard]] QString line() const;
};
template <>
struct EnumTable<DetailStep::State> {
    static constexpr std::array<std::pair<DetailStep::State, const char*>, 6> cases{{
        {DetailStep::State::passed, "passed"},
        {DetailStep::State::running, "running"},
        {DetailStep::State::failed, "failed"},
        {DetailStep::State::pending, "pending"},
        {DetailStep::State::skipped, "skipped"},
        {DetailStep::State::working, "working"},
    }};
};

enum class RoleColor { red, blue, green, yellow, purple, orange, pink, cyan };
template <>
struct EnumTable<RoleColor> {
    static constexpr std::array<std::pair<RoleColor, const char*>, 8> cases{{
        {RoleColor::red, "red"},
        {RoleColor::blue, "blue"},
        {RoleColor::green, "green"},
        {RoleColor::yellow, "yellow"},
        {RoleColor::purple, "purple"},
        {RoleColor::orange, "orange"},
        {RoleColor::pink, "pink"},
        {RoleColor::cyan, "cyan"},
    }};
};

struct DetailSection {
    enum class Activity { waiting, working, failed };

    QString id;
    QString title;
    std::optional<QString> subtitle;
    std::vector<DetailTextRun> subtitleRuns;
    std::vector<DetailMetric> metrics;
    std::optional<DetailAction> action;
    std::vector<DetailStep> steps;
    std::optional<QString> badge;
    std::optional<GaugeMetric> badgeGauge;
    std::optional<Activity> activity;
    std::optional<DetailCommand> command;
    std::vector<DetailAction> actions;
    std::vector<DetailSection> children; // opened as a submenu
    std::optional<DetailLocation> location;
    std::optional<QString> footnote;
    bool isHeading = false;
    bool isNote = false;
    std::optional<DetailIcon> icon;
    std::optional<RoleColor> swatch;
    std::optional<DetailCommand> revealCommand;
    bool operator==(const DetailSection&) const = default;

    // The lines of a note: the title first, then the subtitle split at line feeds.
    [[nodiscard]] QStringList noteLines() const;
};
template <>
struct EnumTable<DetailSection::Activity> {
    static constexpr std::array<std::pair<DetailSection::Activity, const char*>, 3> cases{{
        {DetailSection::Activity::waiting, "waiting"},
        {DetailSection::Activity::working, "working"},
        {DetailSection::Activity::failed, "failed"},
    }};
};

struct DetailVariant {
    QString title;
    std::vector<DetailSection> sections;
    std::optional<DetailCommand> revealCommand;
    bool operator==(const DetailVariant&) const = default;

    // The section with `id`, searched depth first through the children too.
    [[nodiscard]] const DetailSection* section(const QString& id) const;
};

// The commands a section offers, in the order a panel shows them: its own button, then the
// commands among its further actions.
[[nodiscard]] std::vector<DetailCommand> commandsOf(const DetailSection& section);

} // namespace tessary
