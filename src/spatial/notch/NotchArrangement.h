#pragma once

// What goes where in the docked notch: which modules form a tab, in which order, which stay out,
// and the user's edits of that order. Pure computation over identifiers and weights; the notch
// surface draws what comes out of it.

#include "core/records/WorkspaceSnapshot.h"
#include "core/settings/TessarySettings.h"
#include "modulekit/ModuleSnapshot.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace tessary {

// The tabs of a docked notch: the members of each tab (indices into the modules arranged) and the
// system strip.
struct NotchTabs {
    std::vector<std::vector<int>> members;
    std::vector<int> strip;
    bool operator==(const NotchTabs&) const = default;

    // Tabs of a list that is already in its order: modules share a tab by their group (an
    // ungrouped module has one of its own), tabs in the order their first member appears,
    // members in the order given, system modules in the strip.
    [[nodiscard]] static NotchTabs gather(const std::vector<ModuleSnapshot>& modules);

    // The group of each tab, read from its first member; `moduleGroups` is indexed like the modules.
    [[nodiscard]] std::vector<ModuleGroup> groups(const std::vector<ModuleGroup>& moduleGroups) const;
    // The members that rest in wing `tab` beside the notch: that tab's, or the strip's for the first
    // wing when there is no tab at all.
    [[nodiscard]] std::vector<int> restingMembers(int tab) const;
    // How many wings carry members at rest: at least one, at most two, and one when asked for one.
    [[nodiscard]] int restingTabCount(RestingTabs restingTabs) const;
    // The members a resting wing marks because they carry a change signal: its own tab's, and for
    // the last resting wing also those of every tab that doesn't rest. `hasSignal` is indexed like
    // the modules.
    [[nodiscard]] std::vector<int> signalMembers(int restingTab, int restingTabCount,
                                                 const std::vector<bool>& hasSignal) const;
    // All members with a signal that the resting wings mark, wing by wing.
    [[nodiscard]] std::vector<int> restingSignalMembers(int restingTabCount,
                                                        const std::vector<bool>& hasSignal) const;
};

// One tab as the notch editor shows it.
struct NotchEditingTab {
    QString key;
    ModuleGroup group = ModuleGroup::none;
    QStringList ids;
    bool operator==(const NotchEditingTab&) const = default;
};

namespace NotchArrangement {

// Urgency of a module in the notch, by its state: critical 5 down to unavailable 0.
[[nodiscard]] int weight(ModuleState state);
// The tab a module belongs to: its group's name, or its own id when it has no group.
[[nodiscard]] QString tabKey(ModuleGroup group, const QString& id);

// `groups`, `ids` and `weights` describe one module each, at the same index.
[[nodiscard]] NotchTabs arrange(const std::vector<ModuleGroup>& groups, const QStringList& ids,
                                const std::vector<int>& weights, const NotchPreferences& preferences);
[[nodiscard]] NotchTabs arrange(const std::vector<ModuleSnapshot>& snapshots,
                                const NotchPreferences& preferences);
// The snapshots in arranged order, tab after tab and the strip last; hidden modules (and the
// system modules when the strip is off) are left out. NotchTabs::gather of the result gives the
// arranged tabs back.
[[nodiscard]] std::vector<ModuleSnapshot> arranged(const std::vector<ModuleSnapshot>& snapshots,
                                                   const NotchPreferences& preferences);

// The tabs the editor lists: hidden modules too (last in their tab with `hiddenLast`), never the
// system modules.
[[nodiscard]] std::vector<NotchEditingTab> editingTabs(const std::vector<ModuleGroup>& groups,
                                                       const QStringList& ids,
                                                       const NotchPreferences& preferences, bool hiddenLast);
[[nodiscard]] std::vector<NotchEditingTab> editingTabs(const std::vector<ModuleSnapshot>& snapshots,
                                                       const NotchPreferences& preferences, bool hiddenLast);

// The ids of `of`, those that `following` has in its order first, the new ones after them in theirs.
// An id that occurs several times counts once per occurrence.
[[nodiscard]] QStringList arrivalOrder(const QStringList& of, const QStringList& following);

// Edits. Each returns new preferences.
// Saves the visible order of a tab, merged with saved ids that aren't visible now (they keep their
// relative place).
[[nodiscard]] NotchPreferences reordered(const NotchPreferences& preferences, const QString& tab,
                                         const QStringList& visibleOrder);
// Moves `id` to the front of the tab's visible order, then saves that order.
[[nodiscard]] NotchPreferences featuring(const NotchPreferences& preferences, const QString& id,
                                         const QString& tab, const QStringList& visibleOrder);
// Swaps tab `key` with its neighbour `by` places away in the visible tab order, if there is one.
[[nodiscard]] NotchPreferences movingTab(const NotchPreferences& preferences, const QString& key, int by,
                                         const QStringList& visibleOrder);
// Saves what the user sees now as the order of tabs and members.
[[nodiscard]] NotchPreferences pinningOrder(const NotchPreferences& preferences,
                                            const std::vector<NotchEditingTab>& tabs);
// Turning smart ordering off keeps the order on the screen: it is pinned first.
[[nodiscard]] NotchPreferences settingSmartOrdering(const NotchPreferences& preferences, bool on,
                                                    const std::vector<NotchEditingTab>& shownTabs);
[[nodiscard]] NotchPreferences togglingHidden(const NotchPreferences& preferences, const QString& id);

// How docked widgets rest on a display: a notch (real or stand-in) that starts at the very top
// rests as a strip; one below the top hides until something signals. `strip` always gives a strip.
[[nodiscard]] NotchRestingForm restingForm(RestingStyle style, const DisplaySnapshot& display);

} // namespace NotchArrangement

} // namespace tessary
