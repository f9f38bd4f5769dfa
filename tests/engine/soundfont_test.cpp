#include "engine/api.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// A minimal SF2 file: RIFF sfbk with an INFO list naming it and a sample chunk of `samples` bytes.
std::string writeFont(const fs::path& path, const std::string& name, std::uint32_t samples) {
    auto le = [](std::string& s, std::uint32_t v) {
        for (int i = 0; i < 4; ++i) s += static_cast<char>((v >> (8 * i)) & 0xff);
    };
    std::string inam = name + '\0';
    if (inam.size() & 1) inam += '\0';
    std::string info = "INFO";
    info += "INAM";
    le(info, static_cast<std::uint32_t>(inam.size()));
    info += inam;
    std::string sdta = "sdta";
    sdta += "smpl";
    le(sdta, samples);
    sdta += std::string(samples, '\0');
    std::string body = "sfbk";
    body += "LIST";
    le(body, static_cast<std::uint32_t>(info.size()));
    body += info;
    body += "LIST";
    le(body, static_cast<std::uint32_t>(sdta.size()));
    body += sdta;
    std::string file = "RIFF";
    le(file, static_cast<std::uint32_t>(body.size()));
    file += body;
    std::ofstream(path, std::ios::binary) << file;
    return path.string();
}

class SoundFontTest : public ::testing::Test {
  protected:
    fs::path dir = fs::temp_directory_path() /
                   ("velvora-sf-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()));
    void SetUp() override { fs::create_directories(dir); }
    void TearDown() override { fs::remove_all(dir); }
};

TEST_F(SoundFontTest, LoadsNameAndSampleSizeAndKeepsItsVolume) {
    const std::string path = writeFont(dir / "tiny.sf2", "Tiny Font", 64);
    const HSOUNDFONT f = BASS_MIDI_FontInit(path.c_str(), 0);
    ASSERT_NE(f, 0u);
    BASS_MIDI_FONTINFO info{};
    ASSERT_TRUE(BASS_MIDI_FontGetInfo(f, &info));
    EXPECT_STREQ(info.name, "Tiny Font");
    EXPECT_EQ(info.samsize, 64u);
    EXPECT_TRUE(BASS_MIDI_FontSetVolume(f, 0.5f));
    EXPECT_FLOAT_EQ(BASS_MIDI_FontGetVolume(f), 0.5f);
    EXPECT_TRUE(BASS_MIDI_FontFree(f));
    EXPECT_FALSE(BASS_MIDI_FontFree(f));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
    EXPECT_FALSE(BASS_MIDI_FontGetInfo(f, &info));
}

TEST_F(SoundFontTest, WidePathsAreAccepted) {
    const std::string path = writeFont(dir / "wide.sf2", "Wide", 2);
    const std::wstring wide(path.begin(), path.end());
    const HSOUNDFONT f = BASS_MIDI_FontInit(wide.c_str(), BASS_UNICODE);
    EXPECT_NE(f, 0u);
    BASS_MIDI_FontFree(f);
}

TEST_F(SoundFontTest, MissingAndForeignFilesFailWithTheirCodes) {
    EXPECT_EQ(BASS_MIDI_FontInit((dir / "none.sf2").c_str(), 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEOPEN);
    std::ofstream(dir / "text.sf2") << "this is not a soundfont";
    EXPECT_EQ(BASS_MIDI_FontInit((dir / "text.sf2").c_str(), 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEFORM);
    // A RIFF with the right form type but no sample data is no usable font either.
    std::ofstream(dir / "empty.sf2", std::ios::binary) << std::string("RIFF\4\0\0\0sfbk", 12);
    EXPECT_EQ(BASS_MIDI_FontInit((dir / "empty.sf2").c_str(), 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_FILEFORM);
}

TEST_F(SoundFontTest, DefaultFontsAcceptOnlyLiveFonts) {
    const HSOUNDFONT f = BASS_MIDI_FontInit(writeFont(dir / "d.sf2", "D", 2).c_str(), 0);
    BASS_MIDI_FONT entry{f, -1, 0};
    EXPECT_TRUE(BASS_MIDI_StreamSetFonts(0, &entry, 1));
    BASS_MIDI_FontFree(f);
    EXPECT_FALSE(BASS_MIDI_StreamSetFonts(0, &entry, 1));
    EXPECT_EQ(BASS_ErrorGetCode(), BASS_ERROR_HANDLE);
}

TEST_F(SoundFontTest, TheSystemGeneralMidiFontLoads) {
    const char* system = "/usr/share/sounds/sf2/default-GM.sf2";
    if (!fs::exists(system)) GTEST_SKIP() << "no system soundfont";
    const HSOUNDFONT f = BASS_MIDI_FontInit(system, 0);
    ASSERT_NE(f, 0u);
    BASS_MIDI_FONTINFO info{};
    ASSERT_TRUE(BASS_MIDI_FontGetInfo(f, &info));
    EXPECT_GT(info.samsize, 1000000u);
    BASS_MIDI_FontFree(f);
}

} // namespace
