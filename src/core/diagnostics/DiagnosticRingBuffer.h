#pragma once

#include <QList>

#include <algorithm>

namespace tessary {

// The last `capacity` elements appended, oldest first; the oldest is overwritten once it is full.
template <typename Element>
class DiagnosticRingBuffer {
public:
    explicit DiagnosticRingBuffer(qsizetype capacity)
        : m_capacity(std::max<qsizetype>(capacity, 1)) {
        m_storage.reserve(m_capacity);
    }

    [[nodiscard]] qsizetype capacity() const { return m_capacity; }

    void append(Element element) {
        if (m_storage.size() < m_capacity) {
            m_storage.append(std::move(element));
            return;
        }
        m_storage[m_next] = std::move(element);
        m_next = (m_next + 1) % m_capacity;
    }

    [[nodiscard]] QList<Element> elements() const {
        QList<Element> result;
        result.reserve(m_storage.size());
        result.append(m_storage.mid(m_next));
        result.append(m_storage.first(m_next));
        return result;
    }

private:
    qsizetype m_capacity;
    QList<Element> m_storage;
    qsizetype m_next = 0;
};

} // namespace tessary
