// A song named on the command line opens as if it had been chosen in the Load dialog: the title
// and the Play button of a good song, the dialog's own outcome for anything else.
#include "core/controls.h"
#include "core/startup.h"
#include "engine/api.h"
#include "engine/testing.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/song_files.h"
#include "transport/song_argument.h"
#include "transport/song_open.h"
#include "transport/transport.h"

#include <filesystem>
#include <fstream>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace transport;
using testing::AppFixture;

fs::path writeKar(const fs::path& folder) {
    const fs::path path = folder / "songs" / "Twinkle.kar";
    fs::create_directories(path.parent_path());
    miditest::writeFile(path, testing::karaokeMidi(testing::twinkleSyllables(), 48));
    return path;
}

class SongArgumentTest : public AppFixture {};

TEST_F(SongArgumentTest, WithoutASongTheProgramStaysEmptyAndSaysNothing) {
    start();
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{}, {""}}) {
        openSongArgument(*app, arguments);
        clock.advance(1000);
        EXPECT_TRUE(app->s.FileName.empty());
        EXPECT_TRUE(app->ui.CmdCarica->isEnabled());
        EXPECT_FALSE(app->ui.Cmd_play->isEnabled());
        EXPECT_EQ(caption(app->ui.LabelSongLength), "");
        EXPECT_TRUE(dialogs.shown().empty());
    }
}

TEST_F(SongArgumentTest, AKarSongOpensOnceTheWindowRunsWithItsTitleAndWithoutTheDialog) {
    start();
    const fs::path song = writeKar(folder.path());
    openSongArgument(*app, {song.string()});
    EXPECT_TRUE(app->s.FileName.empty()) << "nothing opens before the event loop runs";
    clock.advance(0);

    EXPECT_EQ(caption(app->ui.LabelSongLength), "Twinkle");
    EXPECT_EQ(app->s.FileName, song.string());
    EXPECT_TRUE(app->ui.Cmd_play->isEnabled());
    EXPECT_FALSE(app->ui.CmdCarica->isEnabled());
    EXPECT_NE(app->s.chan.load(), 0u);
    EXPECT_TRUE(dialogs.shown().empty()) << "no dialog and no message";
    // The Load dialog, when it next comes, starts in the song's folder.
    EXPECT_EQ(app->s.dialogFolder, song.parent_path().string());

    // The song plays as one opened with Load does.
    Cmd_play_Click(*app);
    EXPECT_TRUE(app->s.midiActive);
    clock.advance(2000);
    EXPECT_GT(BASS_ChannelGetPosition(app->s.chan, BASS_POS_MIDI_TICK), 0u);
    Cmd_Stop_Click(*app);
}

TEST_F(SongArgumentTest, AKarWrittenByOthersShowsItsTitle) {
    const fs::path song = fs::path(VELVORA_REALDATA) / "kar_mid_lyrics" / "dmidiplayer__twinkle.kar";
    ASSERT_TRUE(fs::exists(song)) << song;
    start();
    openSongArgument(*app, {song.string()});
    clock.advance(0);
    EXPECT_EQ(caption(app->ui.LabelSongLength), "dmidiplayer__twinkle");
    EXPECT_TRUE(app->ui.Cmd_play->isEnabled());
    EXPECT_TRUE(dialogs.shown().empty());
}

TEST_F(SongArgumentTest, OnlyTheFirstOfSeveralSongsOpensAndTheOthersAreNamed) {
    start();
    const fs::path first = writeKar(folder.path());
    const fs::path second = folder.path() / "songs" / "Other.kar";
    fs::copy_file(first, second);
    ::testing::internal::CaptureStderr();
    openSongArgument(*app, {first.string(), second.string()});
    const std::string said = ::testing::internal::GetCapturedStderr();
    clock.advance(0);
    EXPECT_EQ(app->s.FileName, first.string());
    EXPECT_EQ(caption(app->ui.LabelSongLength), "Twinkle");
    EXPECT_NE(said.find(second.string()), std::string::npos) << said;
    EXPECT_TRUE(dialogs.shown().empty());
}

TEST(SongArguments, RelativeNamesAreTakenFromTheFolderTheProgramStartedIn) {
    const char* argv[] = {"velvora", "a.kar", "../other/b.kar", "/abs/c.kar", "", nullptr};
    EXPECT_EQ(songArguments(5, argv, "/home/ann/songs"),
              (std::vector<std::string>{"/home/ann/songs/a.kar", "/home/ann/other/b.kar", "/abs/c.kar", ""}));
    EXPECT_TRUE(songArguments(1, argv, "/home/ann").empty());
}

// What the user is left with after an open: the song in hand, the title, the buttons, and every
// box that came up (the Load dialog itself aside).
struct Outcome {
    std::string fileName, title;
    bool play, plw, load, stream;
    std::vector<std::string> boxes;
    bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Outcome& o) {
    os << "file=" << o.fileName << " title=" << o.title << " play=" << o.play << " plw=" << o.plw
       << " load=" << o.load << " stream=" << o.stream << " boxes:";
    for (const std::string& b : o.boxes) os << " [" << b << "]";
    return os;
}

enum class Road { LoadDialog, Argument };

// A whole program from start-up: the song chosen in the Load dialog, or named as its argument.
Outcome outcomeOf(const fs::path& song, Road road) {
    engine::testing::useVirtualDevice(true);
    Outcome o;
    {
        testing::OffscreenApp program;
        App& app = program.app();
        EXPECT_TRUE(Form_Initialize(app));
        Form_Load(app);
        if (road == Road::LoadDialog) {
            program.dialogs.answerFile(song.string());
            CmdCarica_Click(app);
        } else {
            openSongArgument(app, {song.string()});
            program.clock.advance(0);
        }
        program.clock.advance(500);
        const auto& ui = app.ui;
        o = {app.s.FileName,
             caption(ui.LabelSongLength),
             ui.Cmd_play->isEnabled(),
             ui.CmdPlw->isEnabled(),
             ui.CmdCarica->isEnabled(),
             app.s.chan != 0u,
             {}};
        for (const platform::ShownBox& box : program.dialogs.shown())
            if (box.kind != platform::ShownBox::Open)
                o.boxes.push_back(box.caption + "|" + box.text + "|" + std::to_string(box.style));
        program.window.hide();
        BASS_Free();
        BASS_RecordFree();
    }
    engine::testing::useVirtualDevice(false);
    return o;
}

TEST(SongArgumentOutcome, EveryFileEndsAsItWouldHaveFromTheLoadDialog) {
    testing::TempFolder songs;
    auto write = [&](const std::string& name, const std::string& bytes) {
        const fs::path path = songs.path() / name;
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    };
    const fs::path good = writeKar(songs.path());
    const fs::path unreadable = songs.path() / "Locked.kar";
    fs::copy_file(good, unreadable);
    fs::permissions(unreadable, fs::perms::none);
    fs::create_directories(songs.path() / "a folder.kar");
    const std::vector<fs::path> cases = {
        good,
        songs.path() / "Missing.kar",
        songs.path() / "a folder.kar",
        unreadable,
        write("Notes.kar", "not a song at all\n"),
        write("Half.mid", std::string("MThd\0\0\0\6\0\1\0\2", 12)),
        write("Noise.mp3", std::string(4000, '\x5a')),
        write("Empty.wav", ""),
        write("Broken.nvk", "PK\3\4 and nothing that a package holds"),
        write("Readme.txt", "a text that is no song"),
        fs::path(VELVORA_REALDATA) / "midi_misc" / "jazz-soft__test-corrupt-file-missing-byte.mid",
        fs::path(VELVORA_REALDATA) / "midi_misc" / "nfroidure__MIDIBadHeaderChunk.mid",
    };
    for (const fs::path& song : cases) {
        SCOPED_TRACE(song.string());
        const Outcome fromDialog = outcomeOf(song, Road::LoadDialog);
        const Outcome fromArgument = outcomeOf(song, Road::Argument);
        EXPECT_EQ(fromArgument, fromDialog);
        EXPECT_EQ(fromArgument.fileName, song.string());
    }
    // The good song really opened, and a MIDI file that cannot be read says so.
    EXPECT_EQ(outcomeOf(good, Road::Argument).title, "Twinkle");
    const Outcome missing = outcomeOf(songs.path() / "Missing.kar", Road::Argument);
    ASSERT_EQ(missing.boxes.size(), 1u);
    EXPECT_NE(missing.boxes[0].find("Can't play the file"), std::string::npos) << missing;
    EXPECT_FALSE(missing.play);
    fs::permissions(unreadable, fs::perms::owner_all);
}

} // namespace
} // namespace velvora
