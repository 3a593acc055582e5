#pragma once

#include "modulekit/Detail.h"

#include <QSet>
#include <QString>

#include <functional>

namespace tessary {

// What the workspace loop knows of the one detail panel that all surfaces share: the panel hands
// it the user's commands and tells it which module's detail the user opened; the loop tells the
// panel which commands are still running.
class DetailPanelLink {
public:
    struct Callbacks {
        std::function<void(const DetailCommand& command)> onCommand;
        std::function<void(const QString& moduleID)> onOpened;
    };

    DetailPanelLink() = default;
    DetailPanelLink(const DetailPanelLink&) = delete;
    DetailPanelLink& operator=(const DetailPanelLink&) = delete;
    DetailPanelLink(DetailPanelLink&&) = delete;
    DetailPanelLink& operator=(DetailPanelLink&&) = delete;
    virtual ~DetailPanelLink() = default;

    virtual void setLinkCallbacks(Callbacks callbacks) = 0;
    // The ids of the commands that were sent and haven't finished: their buttons wait.
    virtual void setRunningCommands(const QSet<QString>& commandIDs) = 0;
};

} // namespace tessary
