#include "modules/agents/jump/SessionJumpRoutes.h"

#include <QRegularExpression>
#include <QUrl>

namespace tessary {

namespace WarpSession {

std::optional<QString> focusURL(const QString& text) {
    const QString trimmed = text.trimmed();
    const QUrl url(trimmed, QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != u"warp" || url.host() != u"session") {
        return std::nullopt;
    }
    if (!url.userName().isEmpty() || !url.password().isEmpty() || url.port() != -1 || url.hasQuery() ||
        url.hasFragment() || trimmed.contains(u'?') || trimmed.contains(u'#') || trimmed.contains(u'@')) {
        return std::nullopt;
    }
    static const QRegularExpression sessionPath(QStringLiteral("^/[0-9a-fA-F]{32}$"));
    const QString path = url.path(QUrl::FullyEncoded);
    if (!sessionPath.match(path).hasMatch()) {
        return std::nullopt;
    }
    return QStringLiteral("warp://session") + path;
}

bool isHosted(const std::optional<QString>& url, const std::optional<QString>& terminal) {
    return (url && focusURL(*url)) || (terminal && *terminal == QLatin1StringView(terminalName));
}

} // namespace WarpSession

namespace TmuxPanes {

QList<TmuxPane> parse(const QString& output) {
    static const QRegularExpression id(QStringLiteral("^[$@%][0-9]{1,9}$"));
    QList<TmuxPane> panes;
    for (const QString& line : output.split(u'\n', Qt::SkipEmptyParts)) {
        const QStringList fields = line.trimmed().split(u'\t');
        if (fields.size() != 4 || !fields[0].startsWith(u"/dev/") || !id.match(fields[1]).hasMatch() ||
            !id.match(fields[2]).hasMatch() || !id.match(fields[3]).hasMatch() || fields[1][0] != u'$' ||
            fields[2][0] != u'@' || fields[3][0] != u'%') {
            continue;
        }
        panes.append({fields[0], fields[1], fields[2], fields[3]});
    }
    return panes;
}

std::optional<TmuxPane> onTTY(const QList<TmuxPane>& panes, const QString& tty) {
    for (const TmuxPane& pane : panes) {
        if (pane.tty == tty) {
            return pane;
        }
    }
    return std::nullopt;
}

std::optional<QString> socketOf(const QString& tmuxVariable) {
    const QString socket = tmuxVariable.section(u',', 0, 0);
    if (!socket.startsWith(u'/')) {
        return std::nullopt;
    }
    return socket;
}

} // namespace TmuxPanes

namespace SessionJumpRoutes {

namespace {
bool isNumber(const std::optional<QString>& text) {
    static const QRegularExpression digits(QStringLiteral("^[0-9]{1,9}$"));
    return text && digits.match(*text).hasMatch();
}

QStringList socketArguments(const std::optional<QString>& socket) {
    return socket ? QStringList{QStringLiteral("-S"), *socket} : QStringList{};
}
} // namespace

JumpRoute choose(const JumpFacts& facts) {
    if (facts.tmux && facts.tty) {
        return JumpRoute::tmux;
    }
    if (isNumber(facts.kittyWindowID)) {
        return JumpRoute::kitty;
    }
    if (isNumber(facts.weztermPane)) {
        return JumpRoute::wezterm;
    }
    if (facts.warpFocusURL && WarpSession::focusURL(*facts.warpFocusURL)) {
        return JumpRoute::warpLink;
    }
    return JumpRoute::window;
}

const char* routeName(JumpRoute route) {
    switch (route) {
    case JumpRoute::tmux:
        return "tmux";
    case JumpRoute::kitty:
        return "kitty";
    case JumpRoute::wezterm:
        return "wezterm";
    case JumpRoute::warpLink:
        return "warp-link";
    case JumpRoute::window:
        return "window";
    }
    return "window";
}

std::optional<JumpCommand> terminalCommand(const JumpFacts& facts, qint32 pid) {
    switch (choose(facts)) {
    case JumpRoute::kitty: {
        QStringList arguments{QStringLiteral("@")};
        // Only a socket path or an abstract socket: never a host to connect to.
        if (facts.kittyListenOn &&
            (facts.kittyListenOn->startsWith(u"unix:/") || facts.kittyListenOn->startsWith(u"unix:@"))) {
            arguments << QStringLiteral("--to") << *facts.kittyListenOn;
        }
        arguments << QStringLiteral("focus-window") << QStringLiteral("--match")
                  << QStringLiteral("id:") + *facts.kittyWindowID;
        Q_UNUSED(pid);
        return JumpCommand{QStringLiteral("kitty"), arguments};
    }
    case JumpRoute::wezterm:
        return JumpCommand{QStringLiteral("wezterm"),
                           {QStringLiteral("cli"), QStringLiteral("activate-pane"),
                            QStringLiteral("--pane-id"), *facts.weztermPane}};
    default:
        return std::nullopt;
    }
}

QList<JumpCommand> tmuxSelect(const TmuxPane& pane, const std::optional<QString>& socket) {
    const QString tmux = QStringLiteral("tmux");
    const QStringList base = socketArguments(socket);
    return {
        // Moves an attached client to the session; with none attached this fails and changes nothing.
        {tmux, base + QStringList{QStringLiteral("switch-client"), QStringLiteral("-t"), pane.session}},
        {tmux, base + QStringList{QStringLiteral("select-window"), QStringLiteral("-t"), pane.window}},
        {tmux, base + QStringList{QStringLiteral("select-pane"), QStringLiteral("-t"), pane.pane}},
    };
}

JumpCommand tmuxListPanes(const std::optional<QString>& socket) {
    return {QStringLiteral("tmux"),
            socketArguments(socket) + QStringList{QStringLiteral("list-panes"), QStringLiteral("-a"),
                                                  QStringLiteral("-F"),
                                                  QString::fromLatin1(TmuxPanes::format)}};
}

JumpCommand tmuxListClients(const TmuxPane& pane, const std::optional<QString>& socket) {
    return {QStringLiteral("tmux"),
            socketArguments(socket) + QStringList{QStringLiteral("list-clients"), QStringLiteral("-t"),
                                                  pane.session, QStringLiteral("-F"),
                                                  QStringLiteral("#{client_pid}")}};
}

} // namespace SessionJumpRoutes

} // namespace tessary
