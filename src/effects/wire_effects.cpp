#include "effects/effects.h"
#include "widgets/main_controls.h"

#include <QCheckBox>
#include <QPushButton>
#include <QScrollBar>
#include <QSlider>

#include <memory>

namespace velvora::effects {

namespace {

template <class Widget, class Signal, class F>
void on(Widget* w, Signal signal, F f) {
    if (w) QObject::connect(w, signal, f);
}

} // namespace

void wireEffects(App& app) {
    auto& ui = app.ui;
    // Lives as long as the connections and hooks that hold it.
    auto panel = std::make_shared<PanelState>();

    on(ui.ChkRev, &QCheckBox::toggled, [&app] { ChkRev_Click(app); });
    on(ui.Sldrev, &QSlider::valueChanged, [&app] { Sldrev_Change(app); });
    on(ui.Chkphaser, &QCheckBox::toggled, [&app] { Chkphaser_Click(app); });
    on(ui.Sldphaser[1], &QSlider::valueChanged, [&app] { Sldphaser_Change(app, 1); });
    on(ui.Chkequalizer, &QPushButton::clicked, [&app] { Chkequalizer_Click(app); });
    for (int i = 0; i < static_cast<int>(ui.SldEq.size()); ++i)
        on(ui.SldEq[static_cast<std::size_t>(i)], &QSlider::valueChanged,
           [&app, i] { SldEq_Change(app, i); });
    for (int i = 0; i < static_cast<int>(ui.vcompr.size()); ++i)
        on(ui.vcompr[static_cast<std::size_t>(i)], &QSlider::valueChanged,
           [&app, i] { vcompr_Change(app, i); });
    on(ui.Slider3[0], &QSlider::valueChanged, [&app] { Slider3_Change(app, 0); });
    on(ui.Chklow, &QCheckBox::toggled, [&app] { Chklow_Click(app); });
    on(ui.Chkcmp, &QCheckBox::toggled, [&app] { Chkcmp_Click(app); });
    on(ui.Veq1, &QScrollBar::valueChanged, [&app] { Veq1_Change(app); });
    on(ui.Chkrem, &QCheckBox::toggled, [&app, panel] { Chkrem_Click(app, *panel); });
    on(ui.CmdReset, &QPushButton::clicked, [&app] { CmdReset_Click(app); });

    Hooks& h = app.hooks;
    h.SldEq_Change = [&app](int band) { SldEq_Change(app, band); };
    h.Chkrem_Click = [&app, panel] { Chkrem_Click(app, *panel); };
    h.Sldphaser_Change = [&app](int index) { Sldphaser_Change(app, index); };
    h.vcompr_Change = [&app](int index) { vcompr_Change(app, index); };
    h.Slider3_Change = [&app](int index) { return Slider3_Change(app, index); };
}

} // namespace velvora::effects
