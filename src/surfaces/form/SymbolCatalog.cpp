#include "surfaces/form/SymbolCatalog.h"

#include <QHash>

#include <utility>

namespace tessary::SymbolCatalog {

using namespace Qt::StringLiterals;

namespace {

// Symbol name (without ".fill" style variants where the base says enough) to icon file name.
const QHash<QString, QString>& catalog() {
    static const QHash<QString, QString> table{
        {u"cpu"_s, u"cpu"_s},
        {u"memorychip"_s, u"memory-stick"_s},
        {u"network"_s, u"network"_s},
        {u"sparkles"_s, u"sparkles"_s},
        {u"checkmark.circle"_s, u"circle-check"_s},
        {u"checkmark.seal"_s, u"circle-check"_s},
        {u"checkmark"_s, u"check"_s},
        {u"xmark.circle"_s, u"circle-x"_s},
        {u"xmark.octagon"_s, u"octagon-alert"_s},
        {u"xmark"_s, u"x"_s},
        {u"exclamationmark.triangle"_s, u"triangle-alert"_s},
        {u"exclamationmark.circle"_s, u"circle-alert"_s},
        {u"exclamationmark.octagon"_s, u"octagon-alert"_s},
        {u"exclamationmark"_s, u"circle-alert"_s},
        {u"questionmark.circle"_s, u"circle-help"_s},
        {u"questionmark"_s, u"circle-help"_s},
        {u"arrow.triangle.branch"_s, u"git-branch"_s},
        {u"arrow.triangle.pull"_s, u"git-pull-request"_s},
        {u"arrow.triangle.merge"_s, u"git-merge"_s},
        {u"arrow.triangle.2.circlepath"_s, u"loader"_s},
        {u"arrow.clockwise"_s, u"loader"_s},
        {u"server.rack"_s, u"server"_s},
        {u"terminal"_s, u"terminal"_s},
        {u"apple.terminal"_s, u"terminal"_s},
        {u"chevron.left.forwardslash.chevron.right"_s, u"code"_s},
        {u"gauge"_s, u"gauge"_s},
        {u"gauge.medium"_s, u"gauge"_s},
        {u"speedometer"_s, u"gauge"_s},
        {u"clock"_s, u"clock"_s},
        {u"timer"_s, u"timer"_s},
        {u"hourglass"_s, u"hourglass"_s},
        {u"calendar"_s, u"calendar"_s},
        {u"bolt"_s, u"zap"_s},
        {u"globe"_s, u"globe"_s},
        {u"hammer"_s, u"hammer"_s},
        {u"wrench"_s, u"hammer"_s},
        {u"gearshape"_s, u"cog"_s},
        {u"chart.bar"_s, u"chart-column"_s},
        {u"chart.line.uptrend.xyaxis"_s, u"activity"_s},
        {u"waveform.path.ecg"_s, u"activity"_s},
        {u"person"_s, u"user"_s},
        {u"bubble.left"_s, u"message-circle"_s},
        {u"bubble.right"_s, u"message-circle"_s},
        {u"message"_s, u"message-circle"_s},
        {u"brain"_s, u"brain"_s},
        {u"brain.head.profile"_s, u"brain"_s},
        {u"flame"_s, u"flame"_s},
        {u"wifi"_s, u"wifi"_s},
        {u"antenna.radiowaves.left.and.right"_s, u"radio"_s},
        {u"shield"_s, u"shield"_s},
        {u"lock.shield"_s, u"shield"_s},
        {u"lock"_s, u"lock"_s},
        {u"bell"_s, u"bell"_s},
        {u"doc.text"_s, u"file-text"_s},
        {u"doc"_s, u"file-text"_s},
        {u"folder"_s, u"folder"_s},
        {u"play"_s, u"play"_s},
        {u"pause"_s, u"pause"_s},
        {u"stop"_s, u"square"_s},
        {u"cloud"_s, u"cloud"_s},
        {u"cylinder"_s, u"database"_s},
        {u"externaldrive"_s, u"hard-drive"_s},
        {u"internaldrive"_s, u"hard-drive"_s},
        {u"thermometer"_s, u"thermometer"_s},
        {u"battery"_s, u"battery"_s},
        {u"desktopcomputer"_s, u"monitor"_s},
        {u"display"_s, u"monitor"_s},
        {u"powerplug"_s, u"plug"_s},
        {u"checklist"_s, u"list-checks"_s},
        {u"list.bullet"_s, u"list-todo"_s},
        {u"shippingbox"_s, u"container"_s},
        {u"cube"_s, u"box"_s},
        {u"square.stack.3d.up"_s, u"layers"_s},
        {u"ellipsis"_s, u"ellipsis"_s},
        {u"circle.dashed"_s, u"circle-dashed"_s},
        {u"robot"_s, u"bot"_s},
        {u"person.and.background.dotted"_s, u"bot"_s},
    };
    return table;
}

} // namespace

QString fallbackIconName() {
    return u"circle-dot"_s;
}

QString iconName(const QString& symbolName) {
    QString name = symbolName.trimmed().toLower();
    while (!name.isEmpty()) {
        if (const auto found = catalog().constFind(name); found != catalog().constEnd()) {
            return *found;
        }
        const qsizetype dot = name.lastIndexOf(u'.');
        if (dot < 0) {
            break;
        }
        name.truncate(dot);
    }
    return fallbackIconName();
}

QStringList bundledIconNames() {
    QStringList names{fallbackIconName()};
    for (const QString& icon : std::as_const(catalog())) {
        if (!names.contains(icon)) {
            names.append(icon);
        }
    }
    names.sort();
    return names;
}

QString resourcePath(const QString& iconName) {
    return u":/surfaces/icons/"_s + iconName + u".svg"_s;
}

} // namespace tessary::SymbolCatalog
