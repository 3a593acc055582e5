#pragma once

#include "modules/localservices/LocalService.h"

#include <optional>

namespace tessary {

// Asks a port on loopback which scheme it speaks. Blocking; safe from any thread.
class SchemeProber {
public:
    SchemeProber() = default;
    SchemeProber(const SchemeProber&) = delete;
    SchemeProber& operator=(const SchemeProber&) = delete;
    SchemeProber(SchemeProber&&) = delete;
    SchemeProber& operator=(SchemeProber&&) = delete;
    virtual ~SchemeProber() = default;

    // Nothing when the port doesn't say within the limit.
    [[nodiscard]] virtual std::optional<Scheme> scheme(int port) const = 0;
};

// Connects to 127.0.0.1 and sends "HEAD / HTTP/1.0"; where the answer leaves TLS open (no data, or an
// HTTP 400) it sends a TLS ClientHello on a new connection. The whole probe, both steps, takes at
// most `limitSeconds`; past it the connection is dropped and the answer is nothing.
class TLSProbe final : public SchemeProber {
public:
    static constexpr double defaultLimitSeconds = 0.5;

    explicit TLSProbe(double limitSeconds = defaultLimitSeconds)
        : m_limitMilliseconds(static_cast<int>(limitSeconds * 1000)) {}

    [[nodiscard]] std::optional<Scheme> scheme(int port) const override;

private:
    int m_limitMilliseconds;
};

} // namespace tessary
