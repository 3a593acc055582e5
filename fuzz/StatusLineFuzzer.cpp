// Both halves of the status line come from outside: Claude Code's JSON payload, posted to the listener,
// and the user's settings, in which the envelope is installed and removed. Any bytes can be there.
#include "modules/agents/installers/HookSettingsDocument.h"
#include "modules/agents/installers/StatusLineEnvelopeInstaller.h"
#include "modules/agents/live/ClaudeStatusLineStore.h"
#include "support/FuzzCheck.h"

#include <QJsonDocument>

#include <cmath>
#include <cstdint>

namespace {

using namespace tessary;
using Envelope = StatusLineEnvelopeInstaller;

bool holdsEnvelope(const QJsonObject& settings) {
    for (const char* key : {Envelope::statusLineKey, Envelope::subagentStatusLineKey}) {
        const QJsonValue command =
            settings.value(QLatin1StringView(key)).toObject().value(QStringLiteral("command"));
        if (command.isString() && Envelope::wrapped(command.toString())) {
            return true;
        }
    }
    return false;
}

// Installing is stable, and removing gives back the settings as they were before any envelope.
void checkSettings(const QJsonObject& settings) {
    const Envelope::Edit installed = Envelope::installing(settings, {});
    check(Envelope::installing(installed.settings, installed.originals).changed == false);
    const Envelope::Edit removed = Envelope::removing(installed.settings, installed.originals);
    if (!holdsEnvelope(settings)) {
        check(removed.settings == settings);
    }
    check(!holdsEnvelope(removed.settings));
    check(Envelope::pruned(removed.originals, removed.settings).isEmpty());
}

void checkPayload(const QJsonObject& payload) {
    ClaudeStatusLineStore store;
    const QDateTime at = QDateTime::fromSecsSinceEpoch(1'795'000'000, Qt::UTC);
    store.record(payload, at);
    check(!store.record(payload, at));
    for (const ClaudeStatusLineReading& reading : store.sessions()) {
        check(!reading.usedPercentage || std::isfinite(*reading.usedPercentage));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QString text = QString::fromUtf8(bytes);
    if (const auto unquoted = Envelope::shellUnquoted(text)) {
        check(Envelope::shellUnquoted(Envelope::shellQuoted(*unquoted)) == unquoted);
    }
    check(Envelope::wrapped(Envelope::wrapping(text)) == (Envelope::Wrapped{text, false}));
    if (const auto object = HookSettingsDocument::parse(bytes)) {
        checkSettings(*object);
        checkPayload(*object);
    }
    return 0;
}
