#include "spatial/notch/NotchArrangement.h"

#include <QHash>

#include <algorithm>
#include <limits>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

std::vector<ModuleGroup> groupsOf(const std::vector<ModuleSnapshot>& snapshots) {
    std::vector<ModuleGroup> groups;
    groups.reserve(snapshots.size());
    for (const ModuleSnapshot& snapshot : snapshots) {
        groups.push_back(snapshot.group);
    }
    return groups;
}

QStringList idsOf(const std::vector<ModuleSnapshot>& snapshots) {
    QStringList ids;
    ids.reserve(static_cast<qsizetype>(snapshots.size()));
    for (const ModuleSnapshot& snapshot : snapshots) {
        ids.append(snapshot.id);
    }
    return ids;
}

std::vector<int> weightsOf(const std::vector<ModuleSnapshot>& snapshots) {
    std::vector<int> weights;
    weights.reserve(snapshots.size());
    for (const ModuleSnapshot& snapshot : snapshots) {
        weights.push_back(NotchArrangement::weight(snapshot.state));
    }
    return weights;
}

// `order` with each id of `visible` in the places the visible ids held, so that the ids not shown
// keep their relative place; visible ids new to `order` come last.
QStringList merged(const QStringList& order, const QStringList& visible) {
    QStringList result;
    qsizetype next = 0;
    for (const QString& id : order) {
        if (!visible.contains(id)) {
            result.append(id);
        } else if (next < visible.size()) {
            result.append(visible[next++]);
        }
    }
    for (; next < visible.size(); ++next) {
        result.append(visible[next]);
    }
    result.removeDuplicates();
    return result;
}

struct Tab {
    QString key;
    std::vector<int> members;
};

// Tabs by key in order of first appearance, members in the saved order then the new ones, by
// weight when smart ordering is on. `include` says which modules take part.
template <typename Include>
std::vector<Tab> gatherTabs(const std::vector<ModuleGroup>& groups, const QStringList& ids,
                            const std::vector<int>& weights, const NotchPreferences& preferences,
                            Include include) {
    std::vector<Tab> tabs;
    const std::size_t count = std::min({groups.size(), static_cast<std::size_t>(ids.size()), weights.size()});
    for (std::size_t index = 0; index < count; ++index) {
        if (groups[index] == ModuleGroup::system || !include(index)) {
            continue;
        }
        const QString key = NotchArrangement::tabKey(groups[index], ids[static_cast<qsizetype>(index)]);
        auto found = std::find_if(tabs.begin(), tabs.end(), [&](const Tab& tab) { return tab.key == key; });
        if (found == tabs.end()) {
            tabs.push_back({key, {}});
            found = std::prev(tabs.end());
        }
        found->members.push_back(static_cast<int>(index));
    }
    for (Tab& tab : tabs) {
        std::vector<int> ordered;
        std::vector<int> rest = tab.members;
        for (const QString& savedID : preferences.memberOrder.value(tab.key)) {
            const auto found =
                std::find_if(rest.begin(), rest.end(), [&](int index) { return ids[index] == savedID; });
            if (found != rest.end()) {
                ordered.push_back(*found);
                rest.erase(found);
            }
        }
        ordered.insert(ordered.end(), rest.begin(), rest.end());
        if (preferences.smartOrdering) {
            std::stable_sort(ordered.begin(), ordered.end(), [&](int a, int b) {
                return weights[static_cast<std::size_t>(a)] > weights[static_cast<std::size_t>(b)];
            });
        }
        tab.members = std::move(ordered);
    }
    // Tabs with a saved place first, in that order; the others after them, the most urgent first
    // when smart ordering is on.
    auto savedPlace = [&](const Tab& tab) {
        const qsizetype place = preferences.tabOrder.indexOf(tab.key);
        return place < 0 ? std::numeric_limits<qsizetype>::max() : place;
    };
    auto urgency = [&](const Tab& tab) {
        int highest = 0;
        for (const int index : tab.members) {
            highest = std::max(highest, weights[static_cast<std::size_t>(index)]);
        }
        return highest;
    };
    std::stable_sort(tabs.begin(), tabs.end(), [&](const Tab& a, const Tab& b) {
        const qsizetype placeA = savedPlace(a);
        const qsizetype placeB = savedPlace(b);
        if (placeA != placeB) {
            return placeA < placeB;
        }
        return preferences.smartOrdering && placeA == std::numeric_limits<qsizetype>::max() &&
               urgency(a) > urgency(b);
    });
    return tabs;
}

} // namespace

NotchTabs NotchTabs::gather(const std::vector<ModuleSnapshot>& modules) {
    NotchPreferences plain;
    plain.smartOrdering = false;
    std::vector<int> weights(modules.size(), 0);
    return NotchArrangement::arrange(groupsOf(modules), idsOf(modules), weights, plain);
}

std::vector<ModuleGroup> NotchTabs::groups(const std::vector<ModuleGroup>& moduleGroups) const {
    std::vector<ModuleGroup> result;
    for (const auto& tab : members) {
        const auto first = tab.empty() ? -1 : tab.front();
        result.push_back(first >= 0 && static_cast<std::size_t>(first) < moduleGroups.size()
                             ? moduleGroups[static_cast<std::size_t>(first)]
                             : ModuleGroup::none);
    }
    return result;
}

std::vector<int> NotchTabs::restingMembers(int tab) const {
    if (tab >= 0 && static_cast<std::size_t>(tab) < members.size()) {
        return members[static_cast<std::size_t>(tab)];
    }
    return tab == 0 && members.empty() ? strip : std::vector<int>{};
}

int NotchTabs::restingTabCount(RestingTabs restingTabs) const {
    if (restingTabs == RestingTabs::one) {
        return 1;
    }
    return std::clamp(static_cast<int>(members.size()), 1, 2);
}

std::vector<int> NotchTabs::signalMembers(int restingTab, int restingTabCount,
                                          const std::vector<bool>& hasSignal) const {
    std::vector<int> result;
    if (restingTab < 0 || restingTab >= restingTabCount) {
        return result;
    }
    auto take = [&](const std::vector<int>& tab) {
        for (const int index : tab) {
            if (index >= 0 && static_cast<std::size_t>(index) < hasSignal.size() &&
                hasSignal[static_cast<std::size_t>(index)]) {
                result.push_back(index);
            }
        }
    };
    take(restingMembers(restingTab));
    if (restingTab == restingTabCount - 1) {
        for (std::size_t tab = static_cast<std::size_t>(restingTabCount); tab < members.size(); ++tab) {
            take(members[tab]);
        }
    }
    return result;
}

std::vector<int> NotchTabs::restingSignalMembers(int restingTabCount,
                                                 const std::vector<bool>& hasSignal) const {
    std::vector<int> result;
    for (int tab = 0; tab < restingTabCount; ++tab) {
        const std::vector<int> marked = signalMembers(tab, restingTabCount, hasSignal);
        result.insert(result.end(), marked.begin(), marked.end());
    }
    return result;
}

namespace NotchArrangement {

int weight(ModuleState state) {
    switch (state) {
    case ModuleState::critical:
        return 5;
    case ModuleState::attention:
        return 4;
    case ModuleState::active:
        return 3;
    case ModuleState::success:
        return 2;
    case ModuleState::quiet:
        return 1;
    case ModuleState::unavailable:
        break;
    }
    return 0;
}

QString tabKey(ModuleGroup group, const QString& id) {
    return group == ModuleGroup::none ? id : rawValue(group);
}

NotchTabs arrange(const std::vector<ModuleGroup>& groups, const QStringList& ids,
                  const std::vector<int>& weights, const NotchPreferences& preferences) {
    NotchTabs result;
    const std::size_t count = std::min({groups.size(), static_cast<std::size_t>(ids.size()), weights.size()});
    if (preferences.showsSystemStrip) {
        for (std::size_t index = 0; index < count; ++index) {
            if (groups[index] == ModuleGroup::system &&
                !preferences.hiddenInNotch.contains(ids[static_cast<qsizetype>(index)])) {
                result.strip.push_back(static_cast<int>(index));
            }
        }
    }
    const auto tabs = gatherTabs(groups, ids, weights, preferences, [&](std::size_t index) {
        return !preferences.hiddenInNotch.contains(ids[static_cast<qsizetype>(index)]);
    });
    for (const Tab& tab : tabs) {
        result.members.push_back(tab.members);
    }
    return result;
}

NotchTabs arrange(const std::vector<ModuleSnapshot>& snapshots, const NotchPreferences& preferences) {
    return arrange(groupsOf(snapshots), idsOf(snapshots), weightsOf(snapshots), preferences);
}

std::vector<ModuleSnapshot> arranged(const std::vector<ModuleSnapshot>& snapshots,
                                     const NotchPreferences& preferences) {
    const NotchTabs tabs = arrange(snapshots, preferences);
    std::vector<ModuleSnapshot> result;
    for (const auto& tab : tabs.members) {
        for (const int index : tab) {
            result.push_back(snapshots[static_cast<std::size_t>(index)]);
        }
    }
    for (const int index : tabs.strip) {
        result.push_back(snapshots[static_cast<std::size_t>(index)]);
    }
    return result;
}

std::vector<NotchEditingTab> editingTabs(const std::vector<ModuleGroup>& groups, const QStringList& ids,
                                         const NotchPreferences& preferences, bool hiddenLast) {
    // Weights don't matter to the editor: it shows the saved order, which it edits.
    NotchPreferences shown = preferences;
    shown.smartOrdering = false;
    const std::vector<int> weights(groups.size(), 0);
    const auto tabs = gatherTabs(groups, ids, weights, shown, [](std::size_t) { return true; });
    std::vector<NotchEditingTab> result;
    for (const Tab& tab : tabs) {
        NotchEditingTab editing;
        editing.key = tab.key;
        editing.group = groups[static_cast<std::size_t>(tab.members.front())];
        std::vector<int> members = tab.members;
        if (hiddenLast) {
            std::stable_partition(members.begin(), members.end(),
                                  [&](int index) { return !preferences.hiddenInNotch.contains(ids[index]); });
        }
        for (const int index : members) {
            editing.ids.append(ids[index]);
        }
        result.push_back(std::move(editing));
    }
    return result;
}

std::vector<NotchEditingTab> editingTabs(const std::vector<ModuleSnapshot>& snapshots,
                                         const NotchPreferences& preferences, bool hiddenLast) {
    return editingTabs(groupsOf(snapshots), idsOf(snapshots), preferences, hiddenLast);
}

QStringList arrivalOrder(const QStringList& of, const QStringList& following) {
    QHash<QString, int> remaining;
    for (const QString& id : of) {
        ++remaining[id];
    }
    QStringList result;
    QHash<QString, int> matched;
    for (const QString& id : following) {
        if (remaining.value(id) > 0) {
            --remaining[id];
            ++matched[id];
            result.append(id);
        }
    }
    QHash<QString, int> seen;
    for (const QString& id : of) {
        if (seen[id]++ >= matched.value(id)) {
            result.append(id);
        }
    }
    return result;
}

NotchPreferences reordered(const NotchPreferences& preferences, const QString& tab,
                           const QStringList& visibleOrder) {
    NotchPreferences result = preferences;
    result.memberOrder.insert(tab, merged(preferences.memberOrder.value(tab), visibleOrder));
    return result;
}

NotchPreferences featuring(const NotchPreferences& preferences, const QString& id, const QString& tab,
                           const QStringList& visibleOrder) {
    QStringList order = visibleOrder;
    order.removeAll(id);
    order.prepend(id);
    return reordered(preferences, tab, order);
}

NotchPreferences movingTab(const NotchPreferences& preferences, const QString& key, int by,
                           const QStringList& visibleOrder) {
    const qsizetype from = visibleOrder.indexOf(key);
    const qsizetype to = from + by;
    if (from < 0 || by == 0 || to < 0 || to >= visibleOrder.size()) {
        return preferences;
    }
    QStringList order = visibleOrder;
    order.swapItemsAt(from, to);
    NotchPreferences result = preferences;
    result.tabOrder = merged(preferences.tabOrder, order);
    return result;
}

NotchPreferences pinningOrder(const NotchPreferences& preferences, const std::vector<NotchEditingTab>& tabs) {
    NotchPreferences result = preferences;
    QStringList keys;
    for (const NotchEditingTab& tab : tabs) {
        keys.append(tab.key);
        result.memberOrder.insert(tab.key, merged(preferences.memberOrder.value(tab.key), tab.ids));
    }
    result.tabOrder = merged(preferences.tabOrder, keys);
    return result;
}

NotchPreferences settingSmartOrdering(const NotchPreferences& preferences, bool on,
                                      const std::vector<NotchEditingTab>& shownTabs) {
    NotchPreferences result = on ? preferences : pinningOrder(preferences, shownTabs);
    result.smartOrdering = on;
    return result;
}

NotchPreferences togglingHidden(const NotchPreferences& preferences, const QString& id) {
    NotchPreferences result = preferences;
    if (!result.hiddenInNotch.remove(id)) {
        result.hiddenInNotch.insert(id);
    }
    return result;
}

NotchRestingForm restingForm(RestingStyle style, const DisplaySnapshot& display) {
    if (style == RestingStyle::strip) {
        return NotchRestingForm::strip;
    }
    return display.effectiveNotchFrame().top() <= display.visibleFrame.top()
               ? NotchRestingForm::strip
               : NotchRestingForm::hiddenUntilSignal;
}

} // namespace NotchArrangement

} // namespace tessary
