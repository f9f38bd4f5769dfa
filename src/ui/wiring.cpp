#include "ui/wiring.h"

#include "core/startup.h"
#include "effects/effects.h"
#include "encoding/converter_launch.h"
#include "encoding/encoding_flows.h"
#include "encoding/lame_encoder.h"
#include "encoding/raised_error.h"
#include "explorer/explorer_window.h"
#include "karaoke/channel_strip.h"
#include "karaoke/lrc_creator.h"
#include "karaoke/lyric_painter.h"
#include "karaoke/lyric_printing.h"
#include "karaoke/lyric_timing.h"
#include "karaoke/painter_setup.h"
#include "karaoke/singers_screen.h"
#include "karaoke/song_text.h"
#include "metering/bpm.h"
#include "metering/frequency_bars.h"
#include "metering/live_input_level.h"
#include "metering/palette.h"
#include "package/package_open.h"
#include "recording/capture.h"
#include "recording/digital_recorder.h"
#include "recording/latency_calibration.h"
#include "recording/mixdown.h"
#include "recording/take_recovery.h"
#include "recording/take_session.h"
#include "settings/app_settings.h"
#include "settings/latency_file.h"
#include "settings/song_settings.h"
#include "transport/level_controls.h"
#include "transport/playlist.h"
#include "transport/position_timers.h"
#include "transport/song_open.h"
#include "transport/song_settings.h"
#include "transport/transport.h"

#include "widgets/clicklabel.h"
#include "widgets/lyricpicture.h"
#include "widgets/main_controls.h"
#include "widgets/slider.h"
#include "widgets/words_full_screen.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QMenu>
#include <QPushButton>
#include <QScrollBar>
#include <QShortcut>
#include <QSlider>

namespace velvora::ui {

namespace {

// The take's way to a package on the window's encoder. A raised error stops it where it was raised,
// with the take's WAV files left in TKKK; the window goes on, so its pointer comes back and a box
// tells the error. False then: the package maker did not open.
bool runMp3Enc(App& app, WindowParts& parts) {
    call(app.hooks.createLameEncoder);
    encoding::Mp3EncJob job{app.appFolder,
                            *parts.encoder,
                            app.sys.clock,
                            app.ui.Pbregg,
                            app.s.lrcBatch,
                            [&app] { karaoke::Lrc_batch(app); },
                            [&app] { call(app.hooks.showForm1); }};
    // With a measured round trip the package's voice is the copy that lines up with the backing.
    job.vocalWav = recording::alignedVocalTrack(app);
    try {
        encoding::Mp3Enc(job);
        return true;
    } catch (const encoding::RaisedError& e) {
        QApplication::restoreOverrideCursor();
        const std::string text = e.description().empty()
                                     ? "Error " + std::to_string(e.number()) + " (" + e.source() + ")"
                                     : e.description();
        app.sys.dialogs.msgBox(text, platform::vbCritical, "Velvora");
        return false;
    }
}

// The calls that go up from the core.
void wireHooks(App& app, WindowParts& parts, explorer::ExplorerWindow& explorer) {
    Hooks& h = app.hooks;
    h.confload = [&app] {
        settings::confload(app);
        settings::latencyLoad(app);
    };
    h.lyricSurfaceInit = [&app] { karaoke::SetupLyricSurface(app); };
    h.painterFontStage = [&app] { karaoke::PainterFontStage(app, 1); };
    h.spectrumInit = [&app] { metering::InitSpectrum(app); };
    h.SldEq_Change = [&app](int band) { effects::SldEq_Change(app, band); };
    h.releaseCaptureBuffer = [&app] { recording::releaseCaptureBuffer(app); };
    h.ModMulti = [&app] { transport::ModMulti(app); };
    h.KillTemp = [&app] { package::KillTemp(app); };
    h.NVKTagClear = [&app] { package::NVKTagClear(app); };
    h.ClearNVK = [&app] { package::ClearNVK(app); };
    h.NVKTag = [&app] { package::NVKTag(app); };
    h.NVKLEGGO_FILE = [&app] { package::NVKLEGGO_FILE(app); };
    h.Decrypt = [&app] { package::Decrypt(app); };
    h.showExplorer = [&explorer] { explorer.showExplorer(); };
    h.hideExplorer = [&explorer] { explorer.hideExplorer(); };
    h.unloadOtherWindows = [&app] {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (w != app.ui.window && w->isVisible()) w->close();
    };
    h.createLameEncoder = [&app, &parts] {
        if (!parts.encoder)
            parts.encoder = std::make_unique<encoding::cLameEncoder>(app.sys.process.appName());
    };
    h.Mp3Enc = [&app, &parts] { return runMp3Enc(app, parts); };
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

    on(ui.SldTempo, &widgets::Slider::userChanged, app, &SldTempo_Change);
    on(ui.LblTempo, &widgets::ClickLabel::clicked, app, &LblTempo_Click);
    on(ui.Vscroll1, &widgets::Slider::userChanged, app, &Vscroll1_Change);
    on(ui.LblPitch, &widgets::ClickLabel::clicked, app, &LblPitch_Click);
    on(ui.Sldvol, &widgets::Slider::userChanged, app, &Sldvol_Change);
    on(ui.SldMidi, &widgets::Slider::userChanged, app, &SldMidi_Change);
    on(ui.Lbltmp, &widgets::ClickLabel::clicked, app, &Lbltmp_Click);
    on(ui.LblTone, &widgets::ClickLabel::clicked, app, &LblTone_Click);
    on(ui.HscrollTempo, &widgets::Slider::userChanged, app, &HscrollTempo_Change);
    on(ui.LblToneM, &widgets::ClickLabel::clicked, app, &LblToneM_Click);
    on(ui.Hstempo, &widgets::Slider::userChanged, app, &Hstempo_Change);
    on(ui.LbltKTM, &widgets::ClickLabel::clicked, app, &LbltKTM_Click);
    on(ui.SldVolume, &widgets::Slider::userChanged, app, &SldVolume_Change);
    on(ui.Slider1, &widgets::Slider::userChanged, app, &Slider1_Change);
    onEach(ui.SldMp3, &widgets::Slider::userChanged, app, &SldMp3_Change);
    onEach(ui.Slider2, &widgets::Slider::userChanged, app, &Slider2_Change);

    app.tmr.TimTps->onTick = [&app] { TimTps_Timer(app); };
    app.tmr.tmrMidiTest->onTick = [&app] { tmrMidiTest_Timer(app); };
    app.tmr.tmrPlaybackPosition->onTick = [&app] { tmrPlaybackPosition_Timer(app); };
}

void wireEffects(App& app) {
    using namespace effects;
    auto& ui = app.ui;
    on(ui.ChkRev, &QCheckBox::toggled, app, &ChkRev_Click);
    on(ui.Sldrev, &widgets::Slider::userChanged, app, &Sldrev_Change);
    on(ui.Chkphaser, &QCheckBox::toggled, app, &Chkphaser_Click);
    on(ui.Sldphaser[1], &widgets::Slider::userChanged, [&app] { Sldphaser_Change(app, 1); });
    on(ui.Chkequalizer, &QPushButton::clicked, app, &Chkequalizer_Click);
    onEach(ui.SldEq, &widgets::Slider::userChanged, app, &SldEq_Change);
    onEach(ui.vcompr, &widgets::Slider::userChanged, app, &vcompr_Change);
    on(ui.Slider3[0], &widgets::Slider::userChanged, [&app] { Slider3_Change(app, 0); });
    on(ui.Chklow, &QCheckBox::toggled, app, &Chklow_Click);
    on(ui.Chkcmp, &QCheckBox::toggled, app, &Chkcmp_Click);
    on(ui.Veq1, &QScrollBar::valueChanged, app, &Veq1_Change);
    on(ui.Chkrem, &QCheckBox::toggled, app, &Chkrem_Click);
    on(ui.CmdReset, &QPushButton::clicked, app, &CmdReset_Click);
}

void wireRecording(App& app) {
    using namespace recording;
    auto& ui = app.ui;
    on(ui.CmdRec, &QPushButton::clicked, app, &CmdRec_Click);
    on(ui.BtnMix, &QPushButton::clicked, app, &BtnMix_Click);
    on(ui.mnew, &QAction::triggered, app, &mnew_Click);
    on(ui.Start_Dig, &QPushButton::clicked, app, &Start_Dig_Click);
    on(ui.Stop_dig, &QPushButton::clicked, app, &Stop_dig_Click);
    on(ui.Save_Digit, &QPushButton::clicked, app, &Save_Digit_Click);
    on(ui.cmbInput, &QComboBox::activated, app, &cmbInput_Click);
    app.tmr.TmrStart->onTick = [&app] { TmrStart_Timer(app); };
    app.tmr.Timer3->onTick = [&app] { Timer3_Timer(app); };
    app.tmr.TmrDigit->onTick = [&app] { TmrDigit_Timer(app); };

    on(ui.inputmenu, &QAction::triggered, app, &metering::inputmenu_Click);
    on(ui.Cominput, &QPushButton::clicked, app, &metering::Cominput_Click);
    on(ui.Comout, &QPushButton::clicked, app, &metering::Comout_Click);
}

void wireLyricTimers(App& app) {
    using namespace karaoke;
    app.tmr.Timer1->onTick = [&app] { Timer1_Timer(app); };
    app.tmr.tmrSYLTmp3->onTick = [&app] { tmrSYLTmp3_Timer(app); };
    app.tmr.PlayTimer->onTick = [&app] { PlayTimer_Timer(app); };
    on(app.ui.CmdKara, &QPushButton::clicked, app, &CmdKara_Click);
    // F11, the desktop's full-screen key, presses the Karaoke button from anywhere in the window.
    auto* fullScreenKey = new QShortcut(QKeySequence(Qt::Key_F11), app.ui.window);
    QObject::connect(fullScreenKey, &QShortcut::activated, app.ui.CmdKara, &QPushButton::click);
    on(app.ui.frmWordsFullScreen, &widgets::WordsFullScreen::pageResized, app, &RepaintSingersScreen);
    app.tmr.Timer4->onTick = [&app] { Timer4_Timer(app); };
    on(app.ui.Picture3, &widgets::LyricPicture::pageLost, app, &RepaintLyricPage);
}

// The encoding menu: one entry a choice, the one kept for the song in hand ticked when it opens.
void wireEncodingMenu(App& app) {
    QMenu* menu = app.ui.mnuEncoding;
    if (!menu) return;
    auto* group = new QActionGroup(menu);
    for (const karaoke::EncodingChoice& choice : karaoke::encodingChoices()) {
        QAction* entry = menu->addAction(QString::fromUtf8(choice.caption));
        entry->setCheckable(true);
        entry->setData(QString::fromLatin1(choice.encoding));
        group->addAction(entry);
        const std::string encoding = choice.encoding;
        QObject::connect(entry, &QAction::triggered,
                         [&app, encoding] { karaoke::MnuEncoding_Click(app, encoding); });
    }
    QObject::connect(menu, &QMenu::aboutToShow, [&app, menu] {
        const QString kept = QString::fromStdString(karaoke::forcedEncoding(app, app.s.FileName));
        for (QAction* entry : menu->actions()) entry->setChecked(entry->data().toString() == kept);
    });
}

// The Utility menu's two entries for a take left behind by a crash, shown while one is there.
void wireTakeRecoveryMenu(App& app) {
    QMenu* menu = app.ui.mnutil;
    if (!menu) return;
    menu->addSeparator();
    QAction* recover = menu->addAction(QStringLiteral("Recover the unsaved take..."));
    QAction* discard = menu->addAction(QStringLiteral("Discard the unsaved take..."));
    QObject::connect(recover, &QAction::triggered, [&app] { transport::recoverTake(app); });
    QObject::connect(discard, &QAction::triggered, [&app] {
        if (app.sys.dialogs.msgBox("Discard the take that was not saved? It cannot be recovered afterwards.",
                                   platform::vbYesNo | platform::vbQuestion, "Velvora") == platform::vbYes)
            recording::discardRecovery(app);
    });
    auto update = [&app, recover, discard] {
        const bool left = recording::journalLeft(app);
        recover->setVisible(left);
        discard->setVisible(left);
    };
    update();
    QObject::connect(menu, &QMenu::aboutToShow, update);
}

void wireMenus(App& app) {
    auto& ui = app.ui;
    wireTakeRecoveryMenu(app);
    on(ui.wavp3, &QAction::triggered, app, &encoding::wavp3_Click);
    wireEncodingMenu(app);
    QObject::connect(ui.MnuExit, &QAction::triggered, [&app] { MnuExit_Click(app); });
    QObject::connect(ui.SaveC, &QAction::triggered, [&app] {
        const std::string problem = settings::confsave(app);
        if (!problem.empty()) app.sys.dialogs.msgBox(problem, platform::vbExclamation, "Velvora");
    });
}

} // namespace

WindowParts::WindowParts() = default;
WindowParts::~WindowParts() = default;

void wire(App& app, WindowParts& parts, explorer::ExplorerWindow& explorer) {
    wireHooks(app, parts, explorer);
    wireMenus(app);
    wireTransport(app);
    wireLyricTimers(app);
    app.tmr.tmrSpectrum->onTick = [&app] { metering::UpdateSpectrum(app); };
    onEach(app.ui.Check1, &QCheckBox::toggled, app, &karaoke::Check1_Click);
    on(app.ui.CmdOn, &QPushButton::clicked, app, &karaoke::CmdOn_Click);
    on(app.ui.CmdOff, &QPushButton::clicked, app, &karaoke::CmdOff_Click);
    on(app.ui.Command2, &QPushButton::clicked, app, &karaoke::Lrc_batch);
    on(app.ui.CmdPrint, &QPushButton::clicked, [&app] {
        const std::unique_ptr<platform::Printer> printer = app.sys.printers.open();
        karaoke::CmdPrint(app, *printer);
    });
    wireEffects(app);
    wireRecording(app);
    on(app.ui.CmdMidi, &QPushButton::clicked, app, &settings::CmdMidi_Click);
    on(app.ui.chkBPMCallback, &QCheckBox::toggled, app, &metering::chkBPMCallback_Click);
}

} // namespace velvora::ui
