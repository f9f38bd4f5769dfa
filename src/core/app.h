// What every routine of the program works on: the main window's controls, the session, the
// window's timers, the platform services, and hooks into routines of subsystems above the core.
#pragma once

#include "core/session.h"
#include "platform/services.h"
#include "ui/controls/main_controls.h"

#include <functional>
#include <memory>
#include <string>

namespace velvora {

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
};

inline void call(const std::function<void()>& f) {
    if (f) f();
}

struct App {
    App(ui::MainControls& controls, platform::Services& services);

    ui::MainControls& ui;
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
