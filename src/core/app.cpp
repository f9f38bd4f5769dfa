#include "core/app.h"

namespace velvora {

Timers::Timers(platform::Clock& clock)
    : Timer1(clock.makeTimer(1, false)), tmrMidiTest(clock.makeTimer(500, true)),
      TimTps(clock.makeTimer(1000, false)), tmrPlaybackPosition(clock.makeTimer(50, true)),
      tmrSpectrum(clock.makeTimer(25, false)), tmrSYLTmp3(clock.makeTimer(10, false)),
      PlayTimer(clock.makeTimer(100, false)), Timer3(clock.makeTimer(400, true)),
      TmrStart(clock.makeTimer(500, false)), Timer4(clock.makeTimer(32000, true)),
      TmrDigit(clock.makeTimer(1000, false)), Timer5(clock.makeTimer(1000, false)),
      Timer(clock.makeTimer(10, true)) {}

App::App(widgets::MainControls& controls, platform::Services& services)
    : ui(controls), sys(services), tmr(services.clock), appFolder(services.process.appFolder()) {}

} // namespace velvora
