#include "modules/agents/permissions/ToolCallFingerprint.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QLocale>
#include <QVariant>

#include <algorithm>
#include <cmath>

namespace tessary {

namespace {

void appendString(QByteArray& out, const QString& text) {
    out += '"';
    // Runs of plain characters are converted together, so that surrogate pairs stay pairs.
    qsizetype plainStart = 0;
    const auto flushPlain = [&](qsizetype end) {
        if (end > plainStart) {
            out += QStringView(text).sliced(plainStart, end - plainStart).toUtf8();
        }
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t unit = text.at(i).unicode();
        const char* escape = nullptr;
        switch (unit) {
        case u'"':
            escape = "\\\"";
            break;
        case u'\\':
            escape = "\\\\";
            break;
        case u'\n':
            escape = "\\n";
            break;
        case u'\r':
            escape = "\\r";
            break;
        case u'\t':
            escape = "\\t";
            break;
        case u'\b':
            escape = "\\b";
            break;
        case u'\f':
            escape = "\\f";
            break;
        default:
            break;
        }
        if (escape == nullptr && unit >= 0x20) {
            continue;
        }
        flushPlain(i);
        plainStart = i + 1;
        if (escape != nullptr) {
            out += escape;
        } else {
            out += "\\u00";
            out += QByteArray::number(unit, 16).rightJustified(2, '0');
        }
    }
    flushPlain(text.size());
    out += '"';
}

void appendNumber(QByteArray& out, double number) {
    // Integers up to 2^53 are exact in a double and are written without a fraction.
    constexpr double exactLimit = 9007199254740992.0;
    if (std::isfinite(number) && std::trunc(number) == number && std::fabs(number) <= exactLimit) {
        out += QByteArray::number(static_cast<qint64>(number));
        return;
    }
    if (!std::isfinite(number)) {
        out += "null";
        return;
    }
    out += QByteArray::number(number, 'g', QLocale::FloatingPointShortest);
}

void appendValue(QByteArray& out, const QJsonValue& value) {
    switch (value.type()) {
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        out += "null";
        return;
    case QJsonValue::Bool:
        out += value.toBool() ? "true" : "false";
        return;
    case QJsonValue::Double: {
        // Integers read from JSON keep all their digits, beyond what a double holds.
        const QVariant number = value.toVariant();
        if (number.typeId() == QMetaType::LongLong) {
            out += QByteArray::number(number.toLongLong());
        } else {
            appendNumber(out, value.toDouble());
        }
        return;
    }
    case QJsonValue::String:
        appendString(out, value.toString());
        return;
    case QJsonValue::Array: {
        out += '[';
        bool first = true;
        for (const QJsonValue element : value.toArray()) {
            if (!first) {
                out += ',';
            }
            first = false;
            appendValue(out, element);
        }
        out += ']';
        return;
    }
    case QJsonValue::Object: {
        const QJsonObject object = value.toObject();
        QStringList keys = object.keys();
        std::sort(keys.begin(), keys.end());
        out += '{';
        bool first = true;
        for (const QString& key : std::as_const(keys)) {
            if (!first) {
                out += ',';
            }
            first = false;
            appendString(out, key);
            out += ':';
            appendValue(out, object.value(key));
        }
        out += '}';
        return;
    }
    }
}

} // namespace

QByteArray ToolCallFingerprint::canonicalJson(const QJsonValue& value) {
    QByteArray out;
    appendValue(out, value);
    return out;
}

ToolCallFingerprint ToolCallFingerprint::of(const QString& tool, const QJsonObject& input) {
    QJsonObject stable = input;
    stable.remove(QLatin1StringView("answers"));
    if (tool == QLatin1StringView("Bash")) {
        stable.remove(QLatin1StringView("description"));
    }
    return {tool, QCryptographicHash::hash(canonicalJson(stable), QCryptographicHash::Sha256)};
}

} // namespace tessary
