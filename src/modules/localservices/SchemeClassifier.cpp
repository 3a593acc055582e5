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

bool needsHandshakeProbe(QByteArrayView answer) {
    if (answer.isEmpty()) {
        return true;
    }
    // "HTTP/1.1 400 ..."
    if (!answer.startsWith("HTTP/")) {
        return false;
    }
    const qsizetype blank = answer.indexOf(' ');
    return blank > 0 && answer.sliced(blank + 1).startsWith("400");
}

QByteArray clientHello() {
    const auto u16 = [](QByteArray& out, int value) {
        out.append(static_cast<char>((value >> 8) & 0xff));
        out.append(static_cast<char>(value & 0xff));
    };
    const auto extension = [&](QByteArray& out, int type, const QByteArray& body) {
        u16(out, type);
        u16(out, static_cast<int>(body.size()));
        out.append(body);
    };
    const QByteArray host("localhost");
    QByteArray serverName;
    u16(serverName, static_cast<int>(host.size()) + 3);
    serverName.append('\0');
    u16(serverName, static_cast<int>(host.size()));
    serverName.append(host);

    QByteArray extensions;
    extension(extensions, 0x0000, serverName);
    extension(extensions, 0x002b, QByteArray::fromHex("0403040303"));       // TLS 1.3, 1.2
    extension(extensions, 0x000a, QByteArray::fromHex("0004001d0017"));     // x25519, P-256
    extension(extensions, 0x000d, QByteArray::fromHex("0006040308040401")); // ECDSA, PSS, PKCS#1

    const QByteArray ciphers = QByteArray::fromHex("130113021303c02bc02fc02cc030009c009d");
    QByteArray hello = QByteArray::fromHex("0303");
    hello.append(QByteArray(32, '\0')); // random
    hello.append('\0');                 // no session id
    u16(hello, static_cast<int>(ciphers.size()));
    hello.append(ciphers);
    hello.append(QByteArray::fromHex("0100")); // no compression
    u16(hello, static_cast<int>(extensions.size()));
    hello.append(extensions);

    QByteArray handshake;
    handshake.append('\x01'); // ClientHello
    handshake.append(static_cast<char>((hello.size() >> 16) & 0xff));
    u16(handshake, static_cast<int>(hello.size() & 0xffff));
    handshake.append(hello);

    QByteArray record = QByteArray::fromHex("160301");
    u16(record, static_cast<int>(handshake.size()));
    record.append(handshake);
    return record;
}

} // namespace tessary::SchemeClassifier
