// A program that brings the engine up on the no-sound device, plays a stream with a sync, and
// returns from main without BASS_Free: the engine's threads must end with the process, cleanly.
#include "engine/api.h"

#include <chrono>
#include <thread>

namespace {
void onEnd(HSYNC, DWORD, DWORD, void*) {}
} // namespace

int main(int argc, char** argv) {
    if (argc < 2 || !BASS_Init(0, 44100, 0, nullptr, nullptr)) return 2;
    const HSTREAM h = BASS_StreamCreateFile(false, argv[1], 0, 0, BASS_SAMPLE_LOOP);
    if (!h || !BASS_ChannelSetSync(h, BASS_SYNC_END, 0, onEnd, nullptr) || !BASS_ChannelPlay(h, false))
        return 3;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    return 0;
}
