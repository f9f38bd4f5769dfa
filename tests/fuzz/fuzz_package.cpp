// Arbitrary bytes as a song package, opened through the program by the menu's road: the package is
// unpacked into TMPK and its tracks go under one mixer. Nothing may be written outside TMPK, no
// link may lie in it, every track is a plain file inside it, and the program opens the next input.
#include "core/startup.h"
#include "engine/testing.h"
#include "support/offscreen_app.h"
#include "transport/song_open.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;

std::set<std::string> outsideTmpk(const fs::path& root) {
    std::set<std::string> out;
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator(root, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        const fs::path rel = fs::relative(it->path(), root);
        if (*rel.begin() != "TMPK" && rel != "fuzz.NVK") out.insert(rel.generic_string());
    }
    return out;
}

struct Program {
    velvora::testing::OffscreenApp* offscreen;
    std::set<std::string> files;
};

Program& program() {
    static Program p = [] {
        engine::testing::useVirtualDevice(true);
        auto* offscreen = new velvora::testing::OffscreenApp;
        if (!velvora::Form_Initialize(offscreen->app())) __builtin_trap();
        velvora::Form_Load(offscreen->app());
        return Program{offscreen, outsideTmpk(offscreen->folder.path())};
    }();
    return p;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Opening a song moves the process into the program's folder; libFuzzer's corpus and seed
    // paths are relative to where it started.
    const fs::path startedIn = fs::current_path();
    Program& p = program();
    velvora::App& app = p.offscreen->app();
    const fs::path root = p.offscreen->folder.path();
    const fs::path nvk = root / "fuzz.NVK";
    std::ofstream(nvk, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    p.offscreen->dialogs.answerFile(nvk.string());
    velvora::transport::MnuOpenSong_Click(app);

    if (outsideTmpk(root) != p.files) __builtin_trap();
    const fs::path tmpk = root / "TMPK";
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator(tmpk, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec))
        if (it->is_symlink()) __builtin_trap();
    if (app.s.stemCount < 0 || app.s.stemCount > 3) __builtin_trap();
    for (int i = 0; i < app.s.stemCount; ++i)
        if (!fs::is_regular_file(fs::symlink_status(tmpk / app.s.trackFile[static_cast<std::size_t>(i)])))
            __builtin_trap();
    p.offscreen->dialogs.clear();
    fs::current_path(startedIn);
    return 0;
}
