#include "core/diagnostics/CrashReportText.h"

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t longestKeptWord = 24;

bool isWordByte(unsigned char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c > 127;
}

// Words after these are parts of paths, addresses, assignments or file names.
bool opensHiddenWord(unsigned char c) noexcept {
    return c == '/' || c == '\\' || c == '~' || c == '@' || c == '=' || c == '.';
}

bool isPlainWord(QByteArrayView word) noexcept {
    if (word.size() > static_cast<qsizetype>(longestKeptWord)) {
        return false;
    }
    for (const char c : word) {
        if (!((c >= 'a' && c <= 'z') || c == '_')) {
            return false;
        }
    }
    return true;
}

} // namespace

std::size_t CrashReportText::redact(QByteArrayView text, char* into, std::size_t from,
                                    std::size_t to) noexcept {
    std::size_t at = from;
    qsizetype index = 0;
    unsigned char before = ' ';
    // Inside a path, an address or an assignment every word is hidden, up to the next blank.
    bool hiding = false;
    while (index < text.size() && at < to) {
        const auto c = static_cast<unsigned char>(text[index]);
        if (!isWordByte(c)) {
            const bool control = c < 0x20 || c == 0x7f;
            into[at++] = control ? ' ' : static_cast<char>(c);
            hiding = (hiding || opensHiddenWord(c)) && !(control || c == ' ');
            before = c;
            ++index;
            continue;
        }
        qsizetype end = index;
        while (end < text.size() && isWordByte(static_cast<unsigned char>(text[end]))) {
            ++end;
        }
        const QByteArrayView word = text.sliced(index, end - index);
        if (isPlainWord(word) && !hiding && !opensHiddenWord(before)) {
            for (qsizetype i = 0; i < word.size() && at < to; ++i) {
                into[at++] = word[i];
            }
        } else {
            into[at++] = '#';
        }
        before = 'a';
        index = end;
    }
    return at;
}

QByteArray CrashReportText::redacted(QByteArrayView text) {
    QByteArray out(text.size(), Qt::Uninitialized);
    out.resize(static_cast<qsizetype>(redact(text, out.data(), 0, static_cast<std::size_t>(out.size()))));
    return out;
}

QString CrashReportText::singleLine(const QString& text, qsizetype limit) {
    QString out;
    out.reserve(std::min(text.size(), limit + 1));
    bool blank = false;
    for (const QChar c : text) {
        const bool isBlank = c.isSpace() || c.category() == QChar::Other_Control;
        if (isBlank) {
            blank = !out.isEmpty();
            continue;
        }
        if (blank) {
            out += u' ';
            blank = false;
        }
        out += c;
        if (out.size() >= limit) {
            out += u'…';
            break;
        }
    }
    return out;
}

QString CrashReportText::exceptionBlock(const QString& header, const std::optional<QString>& reason,
                                        const QStringList& symbols,
                                        const std::optional<QStringList>& recent) {
    QString block = header + u'\n';
    block += u"  reason "_s;
    if (reason) {
        block += QString::fromUtf8(redacted(singleLine(*reason, reasonLimit).toUtf8()));
    } else {
        block += u"(none)"_s;
    }
    block += u"\n  stack:\n"_s;
    for (const QString& symbol : symbols) {
        block += u"    "_s + QString::fromUtf8(redacted(singleLine(symbol, reasonLimit).toUtf8())) + u'\n';
    }
    if (recent) {
        block += u"  recent lines ("_s + QString::number(recent->size()) + u")\n"_s;
        for (const QString& line : *recent) {
            block += u"    "_s + line + u'\n';
        }
    } else {
        block += u"  recent lines: unavailable (lock busy)\n"_s;
    }
    block += u"  end of exception\n"_s;
    return block;
}

} // namespace tessary
