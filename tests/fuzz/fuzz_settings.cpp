// The settings files' readers on arbitrary bytes: config.vrk and recording.vrk.
#include "settings/app_settings.h"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (const auto config = velvora::settings::parseConfig(text)) {
        // Whatever was read writes back as a line that reads the same.
        const auto again = velvora::settings::parseConfig(velvora::settings::configLine(*config));
        if (!again || again->configByte != config->configByte || again->configWord != config->configWord ||
            again->configFlag != config->configFlag)
            __builtin_trap();
    }
    velvora::settings::parseRecordingValue(text);
    return 0;
}
