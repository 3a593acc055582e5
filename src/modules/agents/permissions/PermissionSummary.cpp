#include "modules/agents/permissions/PermissionSummary.h"

#include "core/json/JsonFields.h"

#include <array>

namespace tessary {

namespace {

std::optional<QString> nonEmptyString(const QJsonObject& input, QLatin1StringView key) {
    auto value = json::string(input, key);
    if (value && value->isEmpty()) {
        return std::nullopt;
    }
    return value;
}

QString hexCode(char32_t code) {
    return QStringLiteral("<0x%1>").arg(QString::number(code, 16).toUpper(), code > 0xFF ? 4 : 2, u'0');
}

} // namespace

std::optional<QString> readableTool(const std::optional<QString>& toolName) {
    if (!toolName || toolName->isEmpty()) {
        return std::nullopt;
    }
    const QStringList parts = toolName->split(QStringLiteral("__"), Qt::SkipEmptyParts);
    if (parts.isEmpty()) {
        return std::nullopt;
    }
    return parts.last();
}

QStringList patchedFiles(const QString& patch) {
    static const std::array<QLatin1StringView, 3> prefixes{
        QLatin1StringView("*** Add File: "),
        QLatin1StringView("*** Update File: "),
        QLatin1StringView("*** Delete File: "),
    };
    QStringList files;
    for (const QStringView line : QStringView(patch).tokenize(u'\n')) {
        for (const QLatin1StringView prefix : prefixes) {
            if (line.startsWith(prefix)) {
                const QString file = line.sliced(prefix.size()).trimmed().toString();
                if (!file.isEmpty()) {
                    files.append(file);
                }
                break;
            }
        }
    }
    return files;
}

std::optional<QString> planTitle(const QString& plan) {
    for (const QStringView line : QStringView(plan).tokenize(u'\n', Qt::SkipEmptyParts)) {
        QStringView text = line.trimmed();
        while (text.startsWith(u'#')) {
            text = text.sliced(1);
        }
        text = text.trimmed();
        if (!text.isEmpty()) {
            return text.toString();
        }
    }
    return std::nullopt;
}

QString visibleKeystrokes(const QString& chars) {
    QString visible;
    visible.reserve(chars.size());
    for (const char32_t code : QStringView(chars).toUcs4()) {
        switch (code) {
        case U'\r':
        case U'\n':
            visible += u'⏎';
            continue;
        case U'\t':
            visible += u'⇥';
            continue;
        case 0x1B:
            visible += u'⎋';
            continue;
        case 0x08:
        case 0x7F:
            visible += u'⌫';
            continue;
        default:
            break;
        }
        if (code >= 0x01 && code <= 0x1A) {
            visible += u'^';
            visible += QChar(static_cast<char16_t>(u'A' + (code - 1)));
            continue;
        }
        const QChar::Category category = QChar::category(code);
        if (code == 0 || category == QChar::Other_Control || category == QChar::Other_Format ||
            category == QChar::Separator_Line || category == QChar::Separator_Paragraph) {
            visible += hexCode(code);
            continue;
        }
        visible += QString::fromUcs4(&code, 1);
    }
    return visible;
}

QStringList permissionFiles(const QString& tool, const QJsonObject& input) {
    if (tool != QLatin1StringView("apply_patch")) {
        return {};
    }
    const auto patch = json::string(input, QLatin1StringView("command"));
    return patch ? patchedFiles(*patch) : QStringList();
}

std::optional<QString> permissionNetworkTarget(const QString& tool, const QJsonObject& input) {
    if (tool != QLatin1StringView("Bash")) {
        return std::nullopt;
    }
    constexpr QLatin1StringView marker("network-access ");
    const auto description = json::string(input, QLatin1StringView("description"));
    if (!description || !description->startsWith(marker)) {
        return std::nullopt;
    }
    QString target = description->sliced(marker.size()).trimmed();
    if (target.isEmpty()) {
        return std::nullopt;
    }
    return target;
}

std::optional<QString> permissionPlan(const QString& tool, const QJsonObject& input) {
    if (tool != QLatin1StringView("ExitPlanMode")) {
        return std::nullopt;
    }
    return json::string(input, QLatin1StringView("plan"));
}

QString summarizePermission(const QString& tool, const QJsonObject& input) {
    if (tool == QLatin1StringView("apply_patch")) {
        if (const auto patch = json::string(input, QLatin1StringView("command"))) {
            const QStringList files = patchedFiles(*patch);
            if (!files.isEmpty()) {
                return files.join(u'\n');
            }
        }
    } else if (tool == QLatin1StringView("request_permissions")) {
        if (auto reason = nonEmptyString(input, QLatin1StringView("reason"))) {
            return *reason;
        }
    } else if (tool == QLatin1StringView("write_stdin")) {
        if (const auto chars = nonEmptyString(input, QLatin1StringView("chars"))) {
            return visibleKeystrokes(*chars);
        }
    } else if (tool == QLatin1StringView("ExitPlanMode")) {
        if (const auto plan = json::string(input, QLatin1StringView("plan"))) {
            if (auto title = planTitle(*plan)) {
                return *title;
            }
        }
    }
    for (const char* key : {"command", "file_path", "path", "url", "pattern", "prompt"}) {
        if (auto text = nonEmptyString(input, QLatin1StringView(key))) {
            return *text;
        }
    }
    return {};
}

} // namespace tessary
