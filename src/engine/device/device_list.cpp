#include "device/device_list.h"

#include "device/pulse_output.h"

#include <alsa/asoundlib.h>
#include <cstdarg>

namespace engine {

namespace {

// ALSA reports every missing card on the console; a machine without one is normal for us.
void quietAlsa(const char*, int, const char*, int, const char*, ...) {}

std::vector<RtAudio::Api> apisInOrder() {
    static const bool quiet = [] {
        snd_lib_error_set_handler(&quietAlsa);
        return true;
    }();
    (void)quiet;
    std::vector<RtAudio::Api> compiled;
    RtAudio::getCompiledApi(compiled);
    std::vector<RtAudio::Api> out;
    for (RtAudio::Api wanted : {RtAudio::LINUX_ALSA, RtAudio::UNIX_JACK})
        for (RtAudio::Api a : compiled)
            if (a == wanted) out.push_back(a);
    return out;
}

std::vector<SystemDevice> list(bool outputs) {
    std::vector<SystemDevice> result;
    // PulseAudio's outputs are the server's business: we offer its default sink and let the
    // server route it. Its capture sources are listed by name where capture is set up.
    if (outputs && pulseServerReachable()) result.push_back({RtAudio::LINUX_PULSE, 0, "PulseAudio", true});
    for (RtAudio::Api api : apisInOrder()) {
        try {
            RtAudio audio(api);
            audio.showWarnings(false);
            const unsigned count = audio.getDeviceCount();
            for (unsigned i = 0; i < count; ++i) {
                RtAudio::DeviceInfo info = audio.getDeviceInfo(i);
                if (!info.probed) continue;
                const unsigned channels = outputs ? info.outputChannels : info.inputChannels;
                if (channels == 0) continue;
                const bool isDefault = outputs ? info.isDefaultOutput : info.isDefaultInput;
                result.push_back({api, i, info.name, isDefault});
            }
        } catch (const RtAudioError&) {
            // An API that cannot be probed (no server, no card) offers no devices.
        }
    }
    return result;
}

} // namespace

std::vector<SystemDevice> listOutputDevices() {
    return list(true);
}
std::vector<SystemDevice> listInputDevices() {
    return list(false);
}

} // namespace engine
