#include "core/files.h"
#include "core/vb_text.h"
#include "effects/effects.h"
#include "widgets/main_controls.h"

#include <QSlider>

#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>

namespace velvora::effects {

namespace {

std::string presetPath(const App& app) {
    return joinPath(app.appFolder, "Equalizer.txt");
}

} // namespace

void ApplyEqBand(App& app, int index) {
    if (index < 0 || index >= static_cast<int>(app.ui.SldEq.size())) return;
    const QSlider* slider = app.ui.SldEq[static_cast<std::size_t>(index)];
    BASS_BFX_PEAKEQ band{};
    band.lBand = index;
    BASS_FXGetParameters(app.s.effects.fxEq, &band);
    band.fGain = static_cast<float>(slider ? slider->value() : 0);
    BASS_FXSetParameters(app.s.effects.fxEq, &band);
}

bool SaveEq(const App& app) {
    std::ofstream out(presetPath(app), std::ios::binary | std::ios::trunc);
    if (!out) return false;
    for (const QSlider* slider : app.ui.SldEq) out << vb::PrintNumber(slider ? slider->value() : 0) << "\r\n";
    return static_cast<bool>(out.flush());
}

void CmdReset_Click(App& app) {
    for (int i = 0; i < static_cast<int>(app.ui.SldEq.size()); ++i) {
        if (QSlider* s = app.ui.SldEq[static_cast<std::size_t>(i)]) s->setValue(0);
        ApplyEqBand(app, i);
    }
    SaveEq(app);
}

void LoadEq(App& app) {
    EffectsState& fx = app.s.effects;
    if (fx.eqLocked) return;
    std::ifstream in(presetPath(app), std::ios::binary);
    if (!in) return;
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    const std::vector<std::string> items = vb::InputItems(text);
    std::array<std::int16_t*, 9> targets{};
    for (std::size_t i = 0; i < 7; ++i) targets[i] = &fx.eqSaved[i];
    targets[7] = &fx.eqPreset1;
    targets[8] = &fx.eqPreset2;
    // Values that are missing or do not fit a 16-bit integer leave their target as it was.
    for (std::size_t i = 0; i < targets.size() && i < items.size(); ++i) {
        const double v = std::round(vb::Val(items[i]));
        if (v >= std::numeric_limits<std::int16_t>::min() && v <= std::numeric_limits<std::int16_t>::max())
            *targets[i] = static_cast<std::int16_t>(v);
    }
}

} // namespace velvora::effects
