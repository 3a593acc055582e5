#pragma once

#include "platform/loginitem/LoginItem.h"

#include <QString>

namespace tessary {

// An XDG autostart entry, ~/.config/autostart/tessary.desktop, written atomically.
class XdgAutostartLoginItem final : public LoginItem {
public:
    // `autostartFolder` defaults to $XDG_CONFIG_HOME/autostart; `executable` to this program.
    explicit XdgAutostartLoginItem(QString autostartFolder = {}, QString executable = {});

    [[nodiscard]] bool isRegistered() const override;
    MaybeFailure setRegistered(bool registered) override;

    [[nodiscard]] QString entryPath() const;
    static QByteArray desktopEntry(const QString& executable);

private:
    QString m_folder;
    QString m_executable;
};

} // namespace tessary
