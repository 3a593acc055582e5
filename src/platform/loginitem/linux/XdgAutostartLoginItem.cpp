#include "platform/loginitem/linux/XdgAutostartLoginItem.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>

namespace tessary {

using namespace Qt::StringLiterals;

XdgAutostartLoginItem::XdgAutostartLoginItem(QString autostartFolder, QString executable)
    : m_folder(autostartFolder.isEmpty()
                   ? QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/autostart"_s
                   : std::move(autostartFolder))
    , m_executable(executable.isEmpty() ? QCoreApplication::applicationFilePath() : std::move(executable)) {}

QString XdgAutostartLoginItem::entryPath() const {
    return m_folder + u"/tessary.desktop"_s;
}

bool XdgAutostartLoginItem::isRegistered() const {
    return QFile::exists(entryPath());
}

QByteArray XdgAutostartLoginItem::desktopEntry(const QString& executable) {
    // Exec quoting of desktop entries: double quotes, with " ` $ \ escaped.
    QString quoted = executable;
    for (const QChar special : {u'\\', u'"', u'`', u'$'}) {
        quoted.replace(special, QString(u'\\') + special);
    }
    const QString entry = u"[Desktop Entry]\n"
                          u"Type=Application\n"
                          u"Name=Tessary\n"
                          u"Comment=Desktop companion for coding agents\n"
                          u"Exec=\""_s +
                          quoted +
                          u"\"\n"
                          u"Icon=tessary\n"
                          u"Terminal=false\n"
                          u"X-GNOME-Autostart-enabled=true\n"_s;
    return entry.toUtf8();
}

MaybeFailure XdgAutostartLoginItem::setRegistered(bool registered) {
    if (!registered) {
        if (QFile::exists(entryPath()) && !QFile::remove(entryPath())) {
            return Failure{u"The autostart entry could not be removed."_s};
        }
        return std::nullopt;
    }
    if (!QDir().mkpath(m_folder)) {
        return Failure{u"The autostart folder could not be created."_s};
    }
    QSaveFile file(entryPath());
    if (!file.open(QIODevice::WriteOnly)) {
        return Failure{u"The autostart entry could not be written."_s};
    }
    file.write(desktopEntry(m_executable));
    if (!file.commit()) {
        return Failure{u"The autostart entry could not be written."_s};
    }
    return std::nullopt;
}

} // namespace tessary
