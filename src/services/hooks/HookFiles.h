#pragma once

#include <QString>

#include <optional>

namespace tessary {

// The two files through which hook commands find the listener: `hook-token`, the shared secret,
// and `hook-endpoint`, the URL, present only while the listener runs. Both live in the folder
// ".tessary" of the home folder given, which is kept private to the user.
class HookFiles {
public:
    explicit HookFiles(const QString& homeDirectory);

    [[nodiscard]] QString directory() const { return m_directory; }
    [[nodiscard]] QString tokenPath() const;
    [[nodiscard]] QString endpointPath() const;

    // The token kept in `hook-token` (trimmed), or a new random one written there with mode 0600.
    // The token is kept across runs so that hook commands already running keep working. A failure
    // to write still gives a token, used for this run.
    [[nodiscard]] QString loadOrCreateToken() const;

    // Writes "http://127.0.0.1:<port>/event", without a newline, replacing the file atomically.
    bool publishEndpoint(quint16 port) const;
    void removeEndpoint() const;

    static QString endpointURL(quint16 port);

private:
    bool makePrivateDirectory() const;

    QString m_directory;
};

} // namespace tessary
