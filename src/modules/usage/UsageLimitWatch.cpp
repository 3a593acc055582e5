#include "modules/usage/UsageLimitWatch.h"

#include <QSet>

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

int rank(const std::optional<UsageLimitChange::Kind>& level) {
    return level ? static_cast<int>(*level) : 0;
}

// Reset times are compared at whole seconds: a source may write the same instant with different
// fractions from one answer to the next.
bool sameResetTime(const std::optional<QDateTime>& a, const std::optional<QDateTime>& b) {
    return UsageLimitWatch::resetTag(a) == UsageLimitWatch::resetTag(b);
}

QString noticePrefix(const QString& key) {
    return u"limit:"_s + key + u':';
}

} // namespace

QString UsageLimitChange::text(const Localization& localization) const {
    if (kind == Kind::reset) {
        if (const auto* scoped = std::get_if<usage_kind::WeeklyScoped>(&limit)) {
            return localization.format(u"Weekly %1 limit reset"_s, scoped->name);
        }
        if (std::holds_alternative<usage_kind::Session>(limit)) {
            return localization.text(u"5h limit reset"_s);
        }
        return localization.text(u"Weekly limit reset"_s);
    }
    const int threshold = kind == Kind::reached50 ? 50 : kind == Kind::reached80 ? 80 : 95;
    const QString number = localization.locale().toString(threshold);
    if (const auto* scoped = std::get_if<usage_kind::WeeklyScoped>(&limit)) {
        return localization.format(u"Weekly %1 limit at %2%"_s, scoped->name, number);
    }
    if (std::holds_alternative<usage_kind::Session>(limit)) {
        return localization.format(u"5h limit at %1%"_s, number);
    }
    return localization.format(u"Weekly limit at %1%"_s, number);
}

ChangeSignal::Fact::Tone UsageLimitChange::tone() const {
    switch (kind) {
    case Kind::reset:
        return ChangeSignal::Fact::Tone::success;
    case Kind::reached50:
        return ChangeSignal::Fact::Tone::info;
    case Kind::reached80:
        return ChangeSignal::Fact::Tone::attention;
    case Kind::reached95:
        return ChangeSignal::Fact::Tone::critical;
    }
    return ChangeSignal::Fact::Tone::info;
}

std::optional<UsageLimitChange::Kind> UsageLimitWatch::level(const UsageReport::Limit& limit,
                                                             const QDateTime& fetchedAt) {
    if (limit.resetsAt && *limit.resetsAt <= fetchedAt) {
        return std::nullopt;
    }
    if (limit.percent < 50) {
        return std::nullopt;
    }
    if (limit.percent < 80) {
        return UsageLimitChange::Kind::reached50;
    }
    if (limit.percent < 95) {
        return UsageLimitChange::Kind::reached80;
    }
    return UsageLimitChange::Kind::reached95;
}

QString UsageLimitWatch::resetTag(const std::optional<QDateTime>& resetsAt) {
    if (!resetsAt || !resetsAt->isValid()) {
        return u"none"_s;
    }
    return QString::number(resetsAt->toSecsSinceEpoch());
}

void UsageLimitWatch::removeNotices(const QString& key, bool thresholdsOnly) {
    const QString prefix = noticePrefix(key);
    std::erase_if(active, [&](const UsageLimitChange& change) {
        return change.id.startsWith(prefix) && UsageLimitKinds::watchKey(change.limit) == key &&
               (!thresholdsOnly || change.isThreshold());
    });
}

void UsageLimitWatch::advance(const UsageReport& report, const std::optional<UsageLimitKind>& primary) {
    const QDateTime& fetchedAt = report.fetchedAt;
    const std::optional<QString> primaryKey =
        primary ? std::optional(UsageLimitKinds::watchKey(*primary)) : std::nullopt;
    QSet<QString> seen;
    for (const UsageReport::Limit& limit : report.limits) {
        const QString key = UsageLimitKinds::watchKey(limit.kind);
        if (seen.contains(key)) {
            continue;
        }
        seen.insert(key);

        if (limit.percent >= 95) {
            armed[key] = Armed{limit.resetsAt};
        }
        const auto armedEntry = armed.find(key);
        if (armedEntry != armed.end() && limit.percent < 50 &&
            (!armedEntry->second.resetsAt || *armedEntry->second.resetsAt <= fetchedAt)) {
            const QString tag = resetTag(armedEntry->second.resetsAt);
            armed.erase(armedEntry);
            // An older reset of the same limit is superseded by this one.
            removeNotices(key, false);
            active.push_back(UsageLimitChange{noticePrefix(key) + u"reset:"_s + tag,
                                              UsageLimitChange::Kind::reset, limit.kind, limit.percent,
                                              fetchedAt});
        }
        advanceLevel(limit, key, fetchedAt, primaryKey == key);
    }

    for (auto it = armed.begin(); it != armed.end();) {
        it = seen.contains(it->first) ? std::next(it) : armed.erase(it);
    }
    for (auto it = reached.begin(); it != reached.end();) {
        it = seen.contains(it->first) ? std::next(it) : reached.erase(it);
    }
    std::erase_if(active, [&](const UsageLimitChange& change) {
        return !seen.contains(UsageLimitKinds::watchKey(change.limit));
    });
}

void UsageLimitWatch::advanceLevel(const UsageReport::Limit& limit, const QString& key,
                                   const QDateTime& fetchedAt, bool isPrimary) {
    const std::optional<UsageLimitChange::Kind> current = level(limit, fetchedAt);
    const auto recorded = reached.find(key);
    if (recorded == reached.end()) {
        // First sight: a baseline, never a notice.
        reached[key] = Reached{current, limit.resetsAt};
        return;
    }
    const Reached previous = recorded->second;
    if (rank(current) < rank(previous.level) || !current ||
        !sameResetTime(limit.resetsAt, previous.resetsAt)) {
        removeNotices(key, true);
        recorded->second = Reached{current, limit.resetsAt};
        return;
    }
    if (rank(current) > rank(previous.level)) {
        removeNotices(key, true);
        recorded->second = Reached{current, limit.resetsAt};
        if (!isPrimary) {
            active.push_back(
                UsageLimitChange{noticePrefix(key) + rawValue(*current) + u':' + resetTag(limit.resetsAt),
                                 *current, limit.kind, limit.percent, fetchedAt});
        }
    }
}

} // namespace tessary
