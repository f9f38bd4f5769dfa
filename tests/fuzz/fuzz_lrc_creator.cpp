// Random bytes as a karaoke song for the LRC creator: the marks the engine finds in them become
// stamped lines. Every line written has its stamp, in order of the text, and ends in CR LF; the
// file is read back through the LRC reader.
#include "core/app.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "karaoke/lrc_creator.h"
#include "karaoke/lrc_reader.h"
#include "support/offscreen_app.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

void check(bool ok) {
    if (!ok) __builtin_trap();
}

bool digits(const std::string& s, std::size_t at, std::size_t count) {
    for (std::size_t i = at; i < at + count; ++i)
        if (i >= s.size() || s[i] < '0' || s[i] > '9') return false;
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velvora;
    static testing::OffscreenApp program;
    static const bool ready = [] {
        engine::testing::useVirtualDevice(true);
        return BASS_Init(0, 44100, 0, nullptr, nullptr) != 0;
    }();
    if (!ready) return 0;
    App& app = program.app();
    app.appFolder = program.folder.str();
    const std::filesystem::path song = program.folder.path() / "song.kar";
    {
        std::ofstream out(song, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    app.s.FileName = song.string();
    program.dialogs.clear();
    program.dialogs.answer(1);
    karaoke::Lrc_batch(app);

    std::ifstream in(karaoke::LrcBatchFile(app), std::ios::binary);
    std::string lrc((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    for (std::size_t from = 0; from < lrc.size();) {
        const std::size_t end = lrc.find("\r\n", from);
        check(end != std::string::npos);
        const std::string line = lrc.substr(from, end - from);
        // "[", at least two digits of minutes, ":", two of seconds, "]"; no line break in the text.
        const std::size_t colon = line.find(':');
        check(!line.empty() && line[0] == '[' && colon != std::string::npos && colon >= 3 &&
              digits(line, 1, colon - 1) && digits(line, colon + 1, 2) && line.size() > colon + 3 &&
              line[colon + 3] == ']' && line.find('\r') == std::string::npos &&
              line.find('\n') == std::string::npos);
        from = end + 2;
    }
    app.s.words = WordModel{};
    karaoke::Show_Lyrics(app, lrc);
    return 0;
}
