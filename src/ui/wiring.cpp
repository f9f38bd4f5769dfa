#include "ui/wiring.h"

#include "core/startup.h"
#include "effects/effects.h"
#include "karaoke/channel_strip.h"
#include "karaoke/lyric_timing.h"
#include "karaoke/painter_setup.h"
#include "metering/bpm.h"
#include "metering/frequency_bars.h"
#include "metering/palette.h"
#include "settings/app_settings.h"
#include "settings/song_settings.h"
#include "transport/level_controls.h"
#include "transport/playlist.h"
#include "transport/position_timers.h"
#include "transport/song_open.h"
#include "transport/transport.h"

#include "widgets/clicklabel.h"
#include "widgets/main_controls.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QPushButton>
#include <QScrollBar>
#include <QSlider>

namespace velvora::ui {

namespace {

// The calls that go up from the core. The explorer hooks stay empty: the program has no explorer
// window; the pending hooks wait for their subsystems.
void wireHooks(App& app) {
    Hooks& h = app.hooks;
    h.confload = [&app] { settings::confload(app); };
    h.lyricSurfaceInit = [&app] { karaoke::SetupLyricSurface(app); };
    h.painterFontStage = [&app] { karaoke::PainterFontStage(app, 1); };
    h.spectrumInit = [&app] { metering::InitSpectrum(app); };
    h.SldEq_Change = [&app](int band) { effects::SldEq_Change(app, band); };
    h.unloadOtherWindows = [&app] {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (w != app.ui.window && w->isVisible()) w->close();
    };
}

template <class Widget, class Signal, class Handler>
void on(Widget* w, Signal signal, Handler handler) {
    if (w) QObject::connect(w, signal, handler);
}

template <class Widget, class Signal>
void on(Widget* w, Signal signal, App& app, void (*routine)(App&)) {
    on(w, signal, [&app, routine] { routine(app); });
}

// An indexed control: each element runs the routine with its own index.
template <class Widget, std::size_t N, class Signal>
void onEach(const std::array<Widget*, N>& widgets, Signal signal, App& app, void (*routine)(App&, int)) {
    for (std::size_t i = 0; i < N; ++i)
        on(widgets[i], signal, [&app, routine, i] { routine(app, static_cast<int>(i)); });
}

void wireTransport(App& app) {
    using namespace transport;
    auto& ui = app.ui;
    on(ui.CmdCarica, &QPushButton::clicked, app, &CmdCarica_Click);
    on(ui.MnuOpenSong, &QAction::triggered, app, &MnuOpenSong_Click);
    on(ui.Plmenu, &QAction::triggered, app, &Plmenu_Click);
    on(ui.Cmd_play, &QPushButton::clicked, app, &Cmd_play_Click);
    on(ui.CmdPlw, &QPushButton::clicked, app, &CmdPlw_Click);
    on(ui.CmdPause, &QPushButton::clicked, app, &CmdPause_Click);
    on(ui.Cmd_Stop, &QPushButton::clicked, app, &Cmd_Stop_Click);
    on(ui.CmdStw, &QPushButton::clicked, app, &CmdStw_Click);
    on(ui.cmdstop, &QPushButton::clicked, app, &cmdstop_Click);
    on(ui.CmdEx, &QPushButton::clicked, app, &CmdEx_Click);
    on(ui.menuwave, &QAction::triggered, app, &menuwave_Click);
    on(ui.Sldposition, &QSlider::sliderPressed, app, &Sldposition_Press);
    on(ui.Sldposition, &QSlider::sliderReleased, app, &Sldposition_Release);

    on(ui.SldTempo, &QSlider::valueChanged, app, &SldTempo_Change);
    on(ui.LblTempo, &widgets::ClickLabel::clicked, app, &LblTempo_Click);
    on(ui.Vscroll1, &QSlider::valueChanged, app, &Vscroll1_Change);
    on(ui.LblPitch, &widgets::ClickLabel::clicked, app, &LblPitch_Click);
    on(ui.Sldvol, &QSlider::valueChanged, app, &Sldvol_Change);
    on(ui.SldMidi, &QSlider::valueChanged, app, &SldMidi_Change);
    on(ui.Lbltmp, &widgets::ClickLabel::clicked, app, &Lbltmp_Click);
    on(ui.LblTone, &widgets::ClickLabel::clicked, app, &LblTone_Click);
    on(ui.HscrollTempo, &QSlider::valueChanged, app, &HscrollTempo_Change);
    on(ui.LblToneM, &widgets::ClickLabel::clicked, app, &LblToneM_Click);
    on(ui.Hstempo, &QSlider::valueChanged, app, &Hstempo_Change);
    on(ui.LbltKTM, &widgets::ClickLabel::clicked, app, &LbltKTM_Click);
    on(ui.SldVolume, &QSlider::valueChanged, app, &SldVolume_Change);
    on(ui.Slider1, &QSlider::valueChanged, app, &Slider1_Change);
    onEach(ui.SldMp3, &QSlider::valueChanged, app, &SldMp3_Change);
    onEach(ui.Slider2, &QSlider::valueChanged, app, &Slider2_Change);

    app.tmr.TimTps->onTick = [&app] { TimTps_Timer(app); };
    app.tmr.tmrMidiTest->onTick = [&app] { tmrMidiTest_Timer(app); };
    app.tmr.tmrPlaybackPosition->onTick = [&app] { tmrPlaybackPosition_Timer(app); };
}

void wireEffects(App& app) {
    using namespace effects;
    auto& ui = app.ui;
    on(ui.ChkRev, &QCheckBox::toggled, app, &ChkRev_Click);
    on(ui.Sldrev, &QSlider::valueChanged, app, &Sldrev_Change);
    on(ui.Chkphaser, &QCheckBox::toggled, app, &Chkphaser_Click);
    on(ui.Sldphaser[1], &QSlider::valueChanged, [&app] { Sldphaser_Change(app, 1); });
    on(ui.Chkequalizer, &QPushButton::clicked, app, &Chkequalizer_Click);
    onEach(ui.SldEq, &QSlider::valueChanged, app, &SldEq_Change);
    onEach(ui.vcompr, &QSlider::valueChanged, app, &vcompr_Change);
    on(ui.Slider3[0], &QSlider::valueChanged, [&app] { Slider3_Change(app, 0); });
    on(ui.Chklow, &QCheckBox::toggled, app, &Chklow_Click);
    on(ui.Chkcmp, &QCheckBox::toggled, app, &Chkcmp_Click);
    on(ui.Veq1, &QScrollBar::valueChanged, app, &Veq1_Change);
    on(ui.Chkrem, &QCheckBox::toggled, app, &Chkrem_Click);
    on(ui.CmdReset, &QPushButton::clicked, app, &CmdReset_Click);
}

void wireLyricTimers(App& app) {
    using namespace karaoke;
    app.tmr.Timer1->onTick = [&app] { Timer1_Timer(app); };
    app.tmr.tmrSYLTmp3->onTick = [&app] { tmrSYLTmp3_Timer(app); };
    app.tmr.PlayTimer->onTick = [&app] { PlayTimer_Timer(app); };
}

void wireMenus(App& app) {
    auto& ui = app.ui;
    QObject::connect(ui.MnuExit, &QAction::triggered, [&app] { MnuExit_Click(app); });
    QObject::connect(ui.SaveC, &QAction::triggered, [&app] {
        const std::string problem = settings::confsave(app);
        if (!problem.empty()) app.sys.dialogs.msgBox(problem, platform::vbExclamation, "Velvora");
    });
}

} // namespace

void wire(App& app) {
    wireHooks(app);
    wireMenus(app);
    wireTransport(app);
    wireLyricTimers(app);
    app.tmr.tmrSpectrum->onTick = [&app] { metering::UpdateSpectrum(app); };
    onEach(app.ui.Check1, &QCheckBox::toggled, app, &karaoke::Check1_Click);
    on(app.ui.CmdOn, &QPushButton::clicked, app, &karaoke::CmdOn_Click);
    on(app.ui.CmdOff, &QPushButton::clicked, app, &karaoke::CmdOff_Click);
    wireEffects(app);
    on(app.ui.CmdMidi, &QPushButton::clicked, app, &settings::CmdMidi_Click);
    on(app.ui.chkBPMCallback, &QCheckBox::toggled, app, &metering::chkBPMCallback_Click);
}

} // namespace velvora::ui
