// What every routine of the program works on: the main window's controls, the session, the
// window's timers, the platform services, and hooks into routines of subsystems above the core.
#pragma once

#include "core/session.h"
#include "platform/services.h"

#include <functional>
#include <memory>
#include <string>

namespace velvora {

namespace widgets {
struct MainControls;
}

// The main window's timers with their design intervals and states.
struct Timers {
    explicit Timers(platform::Clock& clock);
    std::unique_ptr<platform::Timer> Timer1, tmrMidiTest, TimTps, tmrPlaybackPosition, tmrSpectrum,
        tmrSYLTmp3, PlayTimer, Timer3, TmrStart, Timer4, TmrDigit, Timer5, Timer;
};

// Routines of other subsystems that the core calls. The window wires them; a hook that is not
// wired does nothing.
struct Hooks {
    std::function<void()> confload;
    std::function<void()> visionLoad;
    std::function<void()> lyricSurfaceInit;
    std::function<void()> painterFontStage;
    std::function<void()> spectrumInit;
    std::function<void()> createLameEncoder;
    std::function<void()> KillTemp;
    std::function<void()> unloadOtherWindows;
    std::function<void()> releaseCaptureBuffer;
    std::function<void(int band)> SldEq_Change;

    // Song opening and playback reach these routines of other subsystems.
    std::function<void()> GetKaraoke;
    std::function<void()> NVKTagClear;
    std::function<void()> ClearNVK;
    std::function<void()> NVKTag;
    std::function<void()> NVKLEGGO_FILE;
    std::function<void()> Decrypt;
    std::function<void()> Chargement_Paroles;
    std::function<void()> Show_Lyrics;
    std::function<void()> Load_File_Tags;
    std::function<void()> SyltContr;
    std::function<void()> Mp3Sylt;
    std::function<void()> SyltContrM;
    std::function<void()> Mp3SyltM;
    std::function<void()> ModMulti;
    std::function<void()> ModAudio;
    std::function<void()> DefAudio;
    std::function<void()> modMidi;
    std::function<void()> Encode_Wave;
    std::function<void()> Encode_Stop;
    std::function<void()> StopCapture;
    std::function<void()> WriteCapture;
    std::function<void()> Annulla_Rec;
    std::function<void()> Mp3Enc;
    std::function<void()> AudioMixer;
    std::function<void()> showExplorer;
    std::function<void()> hideExplorer;
    // The beat measure of an audio song at its start.
    std::function<void()> GetBPM;
    // Handlers of controls that other subsystems own, run as if the control had changed.
    std::function<void()> Chkrem_Click;
    std::function<void(int index)> Sldphaser_Change;
    std::function<void(int index)> vcompr_Change;
    std::function<int(int index)> Slider3_Change;
};

inline void call(const std::function<void()>& f) {
    if (f) f();
}

struct App {
    App(widgets::MainControls& controls, platform::Services& services);

    widgets::MainControls& ui;
    platform::Services& sys;
    Session s;
    Timers tmr;
    Hooks hooks;

    // The folder of the program's own files, without a separator at its end.
    std::string appFolder;
    // The General MIDI soundfont used when the program folder has none of its own.
    std::string systemSoundFont = "/usr/share/sounds/sf2/default-GM.sf2";
};

} // namespace velvora
