#include "modules/localservices/SchemeClassifier.h"

namespace tessary::SchemeClassifier {

std::optional<Scheme> classify(QByteArrayView answer) {
    if (answer.isEmpty()) {
        return std::nullopt;
    }
    if (answer.startsWith("HTTP/")) {
        return Scheme::http;
    }
    const auto first = static_cast<unsigned char>(answer[0]);
    if (first == 21 || first == 22) {
        return Scheme::https;
    }
    return std::nullopt;
}

} // namespace tessary::SchemeClassifier
