// What every routine of the program works on: the main window's controls, the session, the
// window's timers, the platform services, and the hooks of core/hooks.h.
#pragma once

#include "core/hooks.h"
#include "core/session.h"
#include "platform/services.h"

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
