#include "surfaces/form/SurfaceDescription.h"

#include <QStringList>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

QString joinedNonEmpty(const QStringList& parts, const QString& separator) {
    QStringList kept;
    for (const QString& part : parts) {
        if (!part.trimmed().isEmpty()) {
            kept.append(part.trimmed());
        }
    }
    return kept.join(separator);
}

QString gaugeText(const GaugeMetric& gauge, const Localization& localization) {
    const QString label = gauge.label.isEmpty() ? gauge.compactLabel.value_or(QString()) : gauge.label;
    QString text = joinedNonEmpty({label, gauge.readout(localization)}, u": "_s);
    if (gauge.caption && !gauge.caption->trimmed().isEmpty()) {
        text += u" ("_s + gauge.caption->trimmed() + u')';
    }
    return text;
}

} // namespace

namespace SurfaceDescription {

ModuleDescription module(const ModuleSnapshot& snapshot, const Localization& localization) {
    const CompactVariant& compact = snapshot.variants.compact;
    ModuleDescription result;
    result.name = joinedNonEmpty({compact.title, compact.value}, u", "_s);
    if (result.name.isEmpty()) {
        result.name = snapshot.id;
    }
    QStringList lines;
    for (const GaugeMetric& gauge : snapshot.variants.gauges) {
        lines.append(gaugeText(gauge, localization));
    }
    if (const auto& card = snapshot.variants.card) {
        lines.append(card->subtitle.value_or(QString()));
        lines.append(card->detail.value_or(QString()));
    }
    if (const auto& signal = snapshot.variants.signal) {
        for (const ChangeSignal::Fact& fact : signal->facts()) {
            lines.append(fact.text);
        }
    }
    result.description = joinedNonEmpty(lines, u"; "_s);
    return result;
}

ModuleDescription surface(const std::vector<ModuleSnapshot>& modules, const Localization& localization) {
    QStringList names;
    QStringList descriptions;
    for (const ModuleSnapshot& snapshot : modules) {
        const ModuleDescription one = module(snapshot, localization);
        names.append(one.name);
        descriptions.append(joinedNonEmpty({one.name, one.description}, u": "_s));
    }
    return {joinedNonEmpty(names, u"; "_s), joinedNonEmpty(descriptions, u"\n"_s)};
}

} // namespace SurfaceDescription

} // namespace tessary
