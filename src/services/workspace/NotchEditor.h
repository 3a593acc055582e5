#pragma once

#include "core/settings/TessarySettings.h"
#include "spatial/notch/NotchArrangement.h"

#include <QRectF>
#include <QString>

#include <functional>
#include <vector>

namespace tessary {

// The editor of the docked notch's order, shown under the notch of one display while the user
// edits. It edits preferences; the loop saves them and redraws the notch behind it.
class NotchEditor {
public:
    struct Content {
        QRectF notch; // the notch (or its stand-in) in the global space
        std::vector<NotchEditingTab> tabs;
        QMap<QString, QString> titles; // module id to the name the editor shows
        NotchPreferences preferences;
        bool operator==(const Content&) const = default;
    };
    struct Callbacks {
        std::function<void(const NotchPreferences& edited)> onChange;
        std::function<void()> onDone;
    };

    NotchEditor() = default;
    NotchEditor(const NotchEditor&) = delete;
    NotchEditor& operator=(const NotchEditor&) = delete;
    NotchEditor(NotchEditor&&) = delete;
    NotchEditor& operator=(NotchEditor&&) = delete;
    virtual ~NotchEditor() = default;

    virtual void setEditorCallbacks(Callbacks callbacks) = 0;
    virtual void showEditor(const Content& content) = 0;
    virtual void hideEditor() = 0;
};

} // namespace tessary
