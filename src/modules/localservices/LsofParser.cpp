#include "modules/localservices/LsofParser.h"

#include <QStringList>

#include <map>
#include <utility>

namespace tessary::LsofParser {

using namespace Qt::StringLiterals;

namespace {

std::optional<std::int64_t> number(QStringView text) {
    if (text.isEmpty() || text.size() > 18) {
        return std::nullopt;
    }
    std::int64_t value = 0;
    for (const QChar c : text) {
        if (c < u'0' || c > u'9') {
            return std::nullopt;
        }
        value = value * 10 + (c.unicode() - u'0');
    }
    return value;
}

} // namespace

std::optional<Endpoint> endpoint(QStringView text) {
    const qsizetype colon = text.lastIndexOf(u':');
    if (colon <= 0) {
        return std::nullopt;
    }
    const auto port = number(text.mid(colon + 1));
    if (!port || *port < 1 || *port > 65535) {
        return std::nullopt;
    }
    return Endpoint{text.first(colon).toString(), static_cast<int>(*port)};
}

int addressRank(QStringView address) {
    if (address == u"*") {
        return 3;
    }
    if (address == u"127.0.0.1") {
        return 2;
    }
    if (address == u"localhost") {
        return 1;
    }
    return 0;
}

std::vector<Listener> parse(QStringView output) {
    std::map<std::pair<std::int32_t, int>, Listener> listeners;
    std::optional<std::int32_t> pid;
    QString command;
    std::optional<std::uint32_t> uid;

    qsizetype start = 0;
    while (start < output.size()) {
        qsizetype end = start;
        while (end < output.size() && output[end] != u'\n' && output[end] != u'\0') {
            ++end;
        }
        const QStringView field = output.sliced(start, end - start);
        start = end + 1;
        if (field.isEmpty()) {
            continue;
        }
        const QStringView value = field.sliced(1);
        switch (field[0].unicode()) {
        case u'p': {
            // A new process: what was known of the previous one no longer applies.
            command.clear();
            uid.reset();
            const auto parsed = number(value);
            pid = parsed && *parsed > 0 && *parsed <= INT32_MAX
                      ? std::optional<std::int32_t>(static_cast<std::int32_t>(*parsed))
                      : std::nullopt;
            break;
        }
        case u'c':
            command = value.toString();
            break;
        case u'u': {
            const auto parsed = number(value);
            uid = parsed && *parsed <= UINT32_MAX
                      ? std::optional<std::uint32_t>(static_cast<std::uint32_t>(*parsed))
                      : std::nullopt;
            break;
        }
        case u'n': {
            // A connected socket names both ends; only listeners are wanted.
            if (!pid || value.contains(u"->")) {
                break;
            }
            const auto parsed = endpoint(value);
            if (!parsed) {
                break;
            }
            Listener listener{*pid, uid, command, parsed->address, parsed->port};
            const auto key = std::make_pair(*pid, parsed->port);
            const auto existing = listeners.find(key);
            if (existing == listeners.end()) {
                listeners.emplace(key, std::move(listener));
            } else if (addressRank(listener.address) > addressRank(existing->second.address)) {
                existing->second = std::move(listener);
            }
            break;
        }
        default:
            break;
        }
    }
    std::vector<Listener> result;
    result.reserve(listeners.size());
    for (auto& [key, listener] : listeners) {
        result.push_back(std::move(listener));
    }
    return result;
}

std::optional<QString> scanFailure(int status, QStringView errorOutput, std::size_t listenerCount) {
    if (status == 0 || listenerCount > 0) {
        return std::nullopt;
    }
    QStringList remaining;
    bool inWarning = false;
    for (const QStringView line : errorOutput.split(u'\n')) {
        QStringView trimmed = line.trimmed();
        if (trimmed.isEmpty()) {
            continue;
        }
        // lsof writes "lsof: WARNING: ..." and goes on in indented lines ("Output information may be
        // incomplete."), which belong to the warning.
        if (inWarning && line.front().isSpace()) {
            continue;
        }
        if (trimmed.startsWith(u"lsof: ")) {
            trimmed = trimmed.sliced(6);
        }
        inWarning = trimmed.startsWith(u"WARNING");
        if (!inWarning) {
            remaining.append(line.trimmed().toString());
        }
    }
    if (status == 1 && remaining.isEmpty()) {
        return std::nullopt;
    }
    QString text = u"lsof exited "_s + QString::number(status);
    if (!remaining.isEmpty()) {
        text += u": "_s + remaining.join(u' ');
    }
    return text;
}

} // namespace tessary::LsofParser
