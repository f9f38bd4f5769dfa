// The live input level window: its own capture of the input that is on, a bar that rises with
// the left channel's peak on each 25 ms tick, and the input's level slider. Also the main
// window's controls that reach the system's own sound set-up.
#pragma once

#include "core/app.h"

#include <memory>

namespace velvora::widgets {
struct LiveSpecControls;
}

namespace velvora::metering {

// The window's routines and what they keep while it is loaded.
struct LiveSpec {
    LiveSpec(App& app, widgets::LiveSpecControls& controls);
    ~LiveSpec();

    App& app;
    widgets::LiveSpecControls& ui;
    std::unique_ptr<platform::Timer> tmrLiveSpec; // 25 ms
    HRECORD liveChan = 0;
};

// Starts the window's capture and its timer; false when the process must end (an engine of the
// wrong version, or no capture to be had).
bool Form_Load(LiveSpec& live);
void Form_Unload(LiveSpec& live);
// Draws the bar from the capture's level; full scale is a peak of 30000.
void UpdateSpectrumMic(LiveSpec& live);
// The slider is inverted: 100 is silence, 0 full level.
void sldEQR_Change(LiveSpec& live);

// The main window's entries.
void inputmenu_Click(App& app);
// The desktop's own mixer on its recording tab, and on its playback tab.
void Cominput_Click(App& app);
void Comout_Click(App& app);

} // namespace velvora::metering
