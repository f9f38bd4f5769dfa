// The settings files' readers on arbitrary bytes: config.vrk and recording.vrk, and a song's own
// settings file read by each of the three per-song readers into a whole program's controls.
#include "core/app.h"
#include "settings/app_settings.h"
#include "support/offscreen_app.h"
#include "transport/song_settings.h"
#include "widgets/main_controls.h"

#include <QLineEdit>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

void appSettings(const std::string& text) {
    if (const auto config = velvora::settings::parseConfig(text)) {
        // Whatever was read writes back as a line that reads the same.
        const auto again = velvora::settings::parseConfig(velvora::settings::configLine(*config));
        if (!again || again->configByte != config->configByte || again->configWord != config->configWord ||
            again->configFlag != config->configFlag)
            __builtin_trap();
    }
    velvora::settings::parseRecordingValue(text);
}

// Every value the readers put beside a control stays within what the control can hold.
void checkLabels(velvora::App& app) {
    auto number = [](const QString& text) { return std::atof(text.toStdString().c_str()); };
    const auto& ui = app.ui;
    if (std::abs(number(ui.Lbltmp->text())) > 30 || std::abs(number(ui.LbltKTM->text())) > 30 ||
        std::abs(number(ui.LblTone->text())) > 8 || std::abs(number(ui.LblToneM->text())) > 8 ||
        std::abs(number(ui.LblPitch->text())) > 10)
        __builtin_trap();
    const double textR = number(ui.TextR->text());
    if (textR < 0 || textR > 10) __builtin_trap();
    if (app.s.midiChannelVolume != 0 && app.s.midiChannelVolume != 127) __builtin_trap();
}

void songSettings(const std::string& text) {
    static velvora::testing::OffscreenApp program;
    velvora::App& app = program.app();
    static const bool ready = [&] {
        app.appFolder = program.folder.str();
        std::filesystem::create_directories(program.folder.path() / "SongCustom");
        app.s.stemCount = 3;
        return true;
    }();
    (void)ready;
    std::ofstream(program.folder.path() / "SongCustom" / "Song.wav.txt", std::ios::binary | std::ios::trunc)
        << text;
    app.s.FileName = app.s.packageFile = "/songs/Song.wav";
    velvora::transport::ModAudio(app);
    velvora::transport::ModMulti(app);
    velvora::transport::modMidi(app);
    checkLabels(app);
    program.dialogs.clear();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    appSettings(text);
    songSettings(text);
    return 0;
}
