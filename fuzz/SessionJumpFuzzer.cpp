// What a jump reads from outside: tmux's pane list (any bytes a pane's terminal name can hold) and
// environment values of other processes (Warp's focus link, kitty's and WezTerm's ids).
#include "modules/agents/jump/SessionJumpRoutes.h"
#include "support/FuzzCheck.h"

#include <QRegularExpression>

#include <cstdint>

using namespace tessary;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));

    for (const TmuxPane& pane : TmuxPanes::parse(text)) {
        check(pane.tty.startsWith(u"/dev/") && !pane.tty.contains(u'\t') && !pane.tty.contains(u'\n'));
        check(pane.session.startsWith(u'$') && pane.window.startsWith(u'@') && pane.pane.startsWith(u'%'));
        check(TmuxPanes::onTTY({pane}, pane.tty) == pane);
    }

    // A link that passes is exactly the one form, and passes again unchanged.
    if (const auto link = WarpSession::focusURL(text)) {
        static const QRegularExpression exact(QStringLiteral("^warp://session/[0-9a-fA-F]{32}$"));
        check(exact.match(*link).hasMatch());
        check(WarpSession::focusURL(*link) == link);
    }

    // Another process's environment never puts anything but digits into a terminal's command line.
    const JumpFacts facts{text, text, text, text, text, text, text};
    if (const auto command = SessionJumpRoutes::terminalCommand(facts, 1)) {
        const QString last = command->arguments.last();
        check(last.startsWith(u"id:") || last.toLongLong() >= 0);
    }
    return 0;
}
