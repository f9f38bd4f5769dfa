// Random bytes as an audio file: open them as a decoding stream and decode to the end, bounded.
#include "engine/api.h"
#include "engine/testing.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool ready = [] {
        engine::testing::useVirtualDevice(true);
        return BASS_Init(0, 44100, 0, nullptr, nullptr) != 0;
    }();
    if (!ready) return 0;
    static const std::string path = "/tmp/velvora_fuzz_stream_" + std::to_string(getpid());
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return 0;
    if (size) std::fwrite(data, 1, size, f);
    std::fclose(f);

    for (DWORD flags : {BASS_STREAM_DECODE, BASS_STREAM_DECODE | BASS_SAMPLE_FLOAT}) {
        const HSTREAM h = BASS_StreamCreateFile(false, path.c_str(), 0, 0, flags);
        if (!h) continue;
        std::vector<char> buffer(16384);
        // At most about ten minutes of stereo audio; a bogus header must not make us spin forever.
        for (int i = 0; i < 10000 && BASS_ChannelIsActive(h); ++i)
            if (BASS_ChannelGetData(h, buffer.data(), static_cast<DWORD>(buffer.size())) == 0xFFFFFFFF) break;
        BASS_ChannelGetLength(h, BASS_POS_BYTE);
        BASS_ChannelSetPosition(h, 0, BASS_POS_BYTE);
        BASS_StreamFree(h);
    }
    // The same bytes from memory.
    if (size) {
        const HSTREAM m = BASS_StreamCreateFile(true, data, 0, size, BASS_STREAM_DECODE);
        if (m) {
            std::vector<char> buffer(16384);
            for (int i = 0; i < 10000 && BASS_ChannelIsActive(m); ++i)
                if (BASS_ChannelGetData(m, buffer.data(), static_cast<DWORD>(buffer.size())) == 0xFFFFFFFF)
                    break;
            BASS_StreamFree(m);
        }
    }
    return 0;
}
