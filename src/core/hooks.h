// The only calls that do not go straight down the order of docs/structure.md: calls from the core
// up to the subsystems above it. Each is a function the window fills in (ui/wiring.cpp); one that
// stays empty does nothing.
#pragma once

#include <functional>

namespace velvora {

// Calls that go up from the core, or across to a subsystem beside the caller (the recorder's call
// of the encoder's flow). The window wires every one of them.
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
    // The window's one MP3 encoder, made at start-up (encoding, owned by the window).
    std::function<void()> createLameEncoder;
    // The take's way to a package: both tracks of the take encoded, then the package maker
    // (encoding). False when the encoder raised an error, which the window has shown; the maker
    // did not open. Called by the transport's Stop buttons and by the recorder.
    std::function<bool()> Mp3Enc;
    // The explorer window (explorer/), which the playlist button shows and hides. Empty, they do
    // nothing.
    std::function<void()> showExplorer;
    std::function<void()> hideExplorer;
    // Stops a running take's capture and frees its block (recording), at exit.
    std::function<void()> releaseCaptureBuffer;
    // Shows the live input level window without blocking (ui); arming a take opens it.
    std::function<void()> showLiveSpec;
    // Applies the open package's own settings (transport); the mixdown of a package runs it.
    std::function<void()> ModMulti;
    // Song package (package/): the clearing of its work files, called by the core at exit and by
    // every open, and the opening steps the audio path runs. The transport's tests stand their
    // own unpacking in for Decrypt.
    std::function<void()> KillTemp;
    std::function<void()> NVKTagClear;
    std::function<void()> ClearNVK;
    std::function<void()> NVKTag;
    std::function<void()> NVKLEGGO_FILE;
    std::function<void()> Decrypt;
    // The package maker's window (ui), shown modally at the end of the take's flow.
    std::function<void()> showForm1;
};

inline void call(const std::function<void()>& f) {
    if (f) f();
}
// A hook with an answer; an empty one answers `otherwise`.
inline bool ask(const std::function<bool()>& f, bool otherwise) {
    return f ? f() : otherwise;
}

// Visits every hook with its name: visit(name, hook). A hook added above must be added here too;
// the size check fails the build until it is.
template <class Visit>
void forEachHook(const Hooks& h, Visit&& visit) {
    static_assert(sizeof(Hooks) == 20 * sizeof(std::function<void()>), "list every Hooks member below");
    visit("confload", h.confload);
    visit("lyricSurfaceInit", h.lyricSurfaceInit);
    visit("painterFontStage", h.painterFontStage);
    visit("spectrumInit", h.spectrumInit);
    visit("SldEq_Change", h.SldEq_Change);
    visit("unloadOtherWindows", h.unloadOtherWindows);
    visit("createLameEncoder", h.createLameEncoder);
    visit("Mp3Enc", h.Mp3Enc);
    visit("showExplorer", h.showExplorer);
    visit("hideExplorer", h.hideExplorer);
    visit("releaseCaptureBuffer", h.releaseCaptureBuffer);
    visit("showLiveSpec", h.showLiveSpec);
    visit("ModMulti", h.ModMulti);
    visit("KillTemp", h.KillTemp);
    visit("NVKTagClear", h.NVKTagClear);
    visit("ClearNVK", h.ClearNVK);
    visit("NVKTag", h.NVKTag);
    visit("NVKLEGGO_FILE", h.NVKLEGGO_FILE);
    visit("Decrypt", h.Decrypt);
    visit("showForm1", h.showForm1);
}

} // namespace velvora
