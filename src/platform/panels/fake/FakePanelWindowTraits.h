#pragma once

#include "platform/panels/PanelWindowTraits.h"

#include <QMap>

#include <optional>

namespace tessary {

// Remembers what was asked of each window.
class FakePanelWindowTraits final : public PanelWindowTraits {
public:
    void prepare(quintptr nativeWindow) override { ++prepared[nativeWindow]; }
    void reassert(quintptr nativeWindow) override { ++reasserted[nativeWindow]; }
    void setInputRegion(quintptr nativeWindow, const std::vector<QRect>& rects) override {
        inputRegions[nativeWindow] = rects;
    }
    void clearInputRegion(quintptr nativeWindow) override { inputRegions.remove(nativeWindow); }
    [[nodiscard]] bool isCompositing() const override { return compositing; }

    // The input region of a window; none while the whole window takes input.
    [[nodiscard]] std::optional<std::vector<QRect>> inputRegion(quintptr nativeWindow) const {
        const auto found = inputRegions.constFind(nativeWindow);
        return found != inputRegions.constEnd() ? std::optional(*found) : std::nullopt;
    }

    QMap<quintptr, int> prepared;
    QMap<quintptr, int> reasserted;
    QMap<quintptr, std::vector<QRect>> inputRegions;
    bool compositing = true;
};

} // namespace tessary
