#include "ui/wiring.h"

#include "core/startup.h"
#include "karaoke/painter_setup.h"
#include "metering/spectrum_palette.h"
#include "settings/app_settings.h"

#include <QAction>
#include <QApplication>

namespace velvora::ui {

namespace {

void wireHooks(App& app) {
    Hooks& h = app.hooks;
    h.confload = [&app] { settings::confload(app); };
    h.visionLoad = [&app] { settings::visionLoad(app); };
    h.lyricSurfaceInit = [&app] { karaoke::SetupLyricSurface(app); };
    h.painterFontStage = [&app] { karaoke::PainterFontStage(app, 1); };
    h.spectrumInit = [&app] { metering::InitSpectrum(app); };
    h.unloadOtherWindows = [&app] {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (w != app.ui.window && w->isVisible()) w->close();
    };
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
}

} // namespace velvora::ui
