// The settings blob is read from a preferences file that the user or another program may have damaged.
#include "core/settings/SurfacePositionStore.h"
#include "core/settings/TessarySettings.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const tessary::TessarySettings settings = tessary::SettingsCodec::decode(bytes);
    // Whatever was read must survive a round trip unchanged.
    if (tessary::SettingsCodec::decode(tessary::SettingsCodec::encode(settings)) != settings) {
        __builtin_trap();
    }
    tessary::SurfacePositionStore::decode(bytes);
    return 0;
}
