#include "modules/agents/hooks/TextClipping.h"

#include <QTextBoundaryFinder>

namespace tessary::TextClipping {

namespace {

bool isLineEnd(QChar c) {
    const char16_t u = c.unicode();
    return (u >= 0x0A && u <= 0x0D) || u == 0x85 || u == 0x2028 || u == 0x2029;
}

// The offset after the first `count` characters (or the text's end).
qsizetype offsetAfter(const QString& text, qsizetype count) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype position = 0;
    for (qsizetype i = 0; i < count; ++i) {
        position = finder.toNextBoundary();
        if (position < 0) {
            return text.size();
        }
    }
    return position;
}

// The offset before the last `count` characters (or 0).
qsizetype offsetBeforeLast(const QString& text, qsizetype count) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    finder.toEnd();
    qsizetype position = text.size();
    for (qsizetype i = 0; i < count; ++i) {
        position = finder.toPreviousBoundary();
        if (position < 0) {
            return 0;
        }
    }
    return position;
}

std::optional<QString> trimmedText(const std::optional<QString>& text) {
    if (!text) {
        return std::nullopt;
    }
    QString trimmed = text->trimmed();
    if (trimmed.isEmpty()) {
        return std::nullopt;
    }
    return trimmed;
}

} // namespace

qsizetype characterCount(const QString& text, qsizetype stopAfter) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (count <= stopAfter && finder.toNextBoundary() >= 0) {
        ++count;
    }
    return count;
}

std::optional<QString> clipped(const std::optional<QString>& text) {
    std::optional<QString> trimmed = trimmedText(text);
    if (!trimmed || characterCount(*trimmed, displayLimit) <= displayLimit) {
        return trimmed;
    }
    return trimmed->first(offsetAfter(*trimmed, displayLimit - 1)).trimmed() + u'…';
}

std::optional<QString> modelCut(const std::optional<QString>& text, Edge keeping) {
    std::optional<QString> trimmed = trimmedText(text);
    if (!trimmed || characterCount(*trimmed, modelLimit) <= modelLimit) {
        return trimmed;
    }
    return trimmedText(fitting(*trimmed, modelLimit, keeping));
}

QString fitting(const QString& text, qsizetype maximumCharacters, Edge keeping) {
    if (maximumCharacters < 1) {
        return {};
    }
    if (characterCount(text, maximumCharacters) <= maximumCharacters) {
        return text;
    }
    if (keeping == Edge::start) {
        QString head = text.first(offsetAfter(text, maximumCharacters));
        for (qsizetype i = head.size() - 1; i >= 0; --i) {
            if (isLineEnd(head[i])) {
                return head.first(i);
            }
        }
        return head;
    }
    QString tail = text.sliced(offsetBeforeLast(text, maximumCharacters));
    for (qsizetype i = 0; i < tail.size(); ++i) {
        if (isLineEnd(tail[i])) {
            return tail.sliced(i + 1);
        }
    }
    return tail;
}

} // namespace tessary::TextClipping
