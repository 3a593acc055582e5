// Claude Code's credentials file is the user's, written by another program, and may be cut short
// or hold anything. Reading it gives a token fit for a header, or a problem; the file itself is
// never changed.
#include "../support/FuzzCheck.h"
#include "platform/credentials/linux/ClaudeCredentialsFile.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstdint>

namespace {

const QString& scratchFile() {
    static const QTemporaryDir folder;
    static const QString path = folder.filePath(QStringLiteral(".credentials.json"));
    return path;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tessary;
    const QByteArray record(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const TokenReading direct = ClaudeCredentials::tokenFrom(record);
    if (const auto* token = std::get_if<AccessToken>(&direct)) {
        const QByteArray header = token->bearerHeaderValue();
        check(header.startsWith("Bearer "));
        check(header.size() > 7);
        for (const char c : header.mid(7)) {
            check(c > 0x20 && c < 0x7f);
        }
    }

    QFile file(scratchFile());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return 0;
    }
    file.write(record);
    file.close();
    const TokenReading fromFile = ClaudeCredentialsFile(scratchFile()).readToken();
    check(fromFile == direct);
    QFile again(scratchFile());
    check(again.open(QIODevice::ReadOnly) && again.readAll() == record);
    return 0;
}
