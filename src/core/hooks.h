// The only calls that do not go straight down the order of docs/structure.md: calls from the core
// up to the subsystems above it, and the routines of subsystems that are not built yet. Each is a
// function the window fills in (ui/wiring.cpp); one that stays empty does nothing.
#pragma once

#include <functional>

namespace velvora {

// Calls that go up from the core. The window wires every one of them.
struct Hooks {
    // Start-up steps of the subsystems above the core, in the order Form_Load runs them.
    std::function<void()> confload;         // settings: config.vrk
    std::function<void()> lyricSurfaceInit; // karaoke: the lyric page's size and background
    std::function<void()> painterFontStage; // karaoke: the page's size class and colours
    std::function<void()> spectrumInit;     // metering: the spectrum image and its palette
    // The equaliser band of a slider, applied as its change routine would (effects); the layouts
    // of the song kinds run it after they set every band to 0.
    std::function<void(int band)> SldEq_Change;
    // Closes every window of the program but the main one (ui), at exit.
    std::function<void()> unloadOtherWindows;
    // The explorer window, which the playlist button shows and hides. The program has no such
    // window: both stay empty and do nothing.
    std::function<void()> showExplorer;
    std::function<void()> hideExplorer;
};

// Routines of subsystems that are not built yet, each named as its subsystem will name it. When
// a subsystem lands, its routines become direct calls from the transport, or upward hooks above
// where the core calls them, and leave this struct.
struct PendingHooks {
    // Encoding: its routines are built (encoding/encoding_flows.h) and wait for the window's own
    // encoder and for the package maker that the take's flow opens.
    std::function<void()> createLameEncoder; // called by the core at start-up
    std::function<void()> Mp3Enc;
    // Recording.
    std::function<void()> releaseCaptureBuffer; // called by the core at exit
    std::function<void()> Encode_Wave;
    std::function<void()> Encode_Stop;
    std::function<void()> StopCapture;
    std::function<void()> WriteCapture;
    std::function<void()> Annulla_Rec;
    std::function<void()> AudioMixer;
    // Song package.
    std::function<void()> KillTemp; // called by the core at exit and by every open
    std::function<void()> NVKTagClear;
    std::function<void()> ClearNVK;
    std::function<void()> NVKTag;
    std::function<void()> NVKLEGGO_FILE;
    std::function<void()> Decrypt;
    // Tags and the synchronised lyrics they carry.
    std::function<void()> Load_File_Tags;
    std::function<void()> SyltContr;
    std::function<void()> Mp3Sylt;
    std::function<void()> SyltContrM;
    std::function<void()> Mp3SyltM;
};

inline void call(const std::function<void()>& f) {
    if (f) f();
}

// Visits every hook of both structs with its name: visit(name, hook). A hook added above must be
// added here too; the size checks fail the build until it is.
template <class Visit>
void forEachHook(const Hooks& h, const PendingHooks& p, Visit&& visit) {
    static_assert(sizeof(Hooks) == 8 * sizeof(std::function<void()>), "list every Hooks member below");
    visit("confload", h.confload);
    visit("lyricSurfaceInit", h.lyricSurfaceInit);
    visit("painterFontStage", h.painterFontStage);
    visit("spectrumInit", h.spectrumInit);
    visit("SldEq_Change", h.SldEq_Change);
    visit("unloadOtherWindows", h.unloadOtherWindows);
    visit("showExplorer", h.showExplorer);
    visit("hideExplorer", h.hideExplorer);

    static_assert(sizeof(PendingHooks) == 20 * sizeof(std::function<void()>),
                  "list every PendingHooks member below");
    visit("createLameEncoder", p.createLameEncoder);
    visit("Mp3Enc", p.Mp3Enc);
    visit("releaseCaptureBuffer", p.releaseCaptureBuffer);
    visit("Encode_Wave", p.Encode_Wave);
    visit("Encode_Stop", p.Encode_Stop);
    visit("StopCapture", p.StopCapture);
    visit("WriteCapture", p.WriteCapture);
    visit("Annulla_Rec", p.Annulla_Rec);
    visit("AudioMixer", p.AudioMixer);
    visit("KillTemp", p.KillTemp);
    visit("NVKTagClear", p.NVKTagClear);
    visit("ClearNVK", p.ClearNVK);
    visit("NVKTag", p.NVKTag);
    visit("NVKLEGGO_FILE", p.NVKLEGGO_FILE);
    visit("Decrypt", p.Decrypt);
    visit("Load_File_Tags", p.Load_File_Tags);
    visit("SyltContr", p.SyltContr);
    visit("Mp3Sylt", p.Mp3Sylt);
    visit("SyltContrM", p.SyltContrM);
    visit("Mp3SyltM", p.Mp3SyltM);
}

} // namespace velvora
