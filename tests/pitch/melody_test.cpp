#include "engine/virtual_device.h"
#include "pitch/melody.h"
#include "support/midi_writer.h"
#include "support/offscreen_app.h"
#include "support/song_files.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace velvora::pitch {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::FieldsAre;

std::vector<NoteEvent> notes(std::initializer_list<NoteEvent> list) {
    return list;
}

TEST(Melody, TheFourthChannelUnlessTheMarksFollowAnotherOne) {
    // Channel 3 plays 60, 62; channel 5 plays 72, 74 with starts under the marks; drums on 9 too.
    const auto events = notes({{0.0, 3, 60, 90},
                               {0.5, 5, 72, 90},
                               {0.5, 9, 36, 90},
                               {0.9, 3, 60, 0},
                               {1.0, 3, 62, 90},
                               {1.0, 5, 72, 0},
                               {1.0, 5, 74, 90},
                               {1.5, 3, 62, 0},
                               {1.5, 5, 74, 0}});
    const Melody plain = melodyOf(events, {});
    EXPECT_EQ(plain.channel, 3);
    EXPECT_THAT(plain.notes, ElementsAre(FieldsAre(0.0, 0.9, 60), FieldsAre(1.0, 1.5, 62)));

    const Melody marked = melodyOf(events, {0.5, 1.01});
    EXPECT_EQ(marked.channel, 5) << "its starts answer both marks";
    EXPECT_THAT(marked.notes, ElementsAre(FieldsAre(0.5, 1.0, 72), FieldsAre(1.0, 1.5, 74)));
    EXPECT_EQ(melodyOf(events, {0.0}).channel, 3) << "a tie keeps the melody channel";
    EXPECT_EQ(melodyOf(events, {7.0}).channel, 3) << "marks that no note follows change nothing";

    // No fourth channel and no marks: no melody, whatever else plays.
    const Melody none = melodyOf(notes({{0.0, 0, 60, 90}, {1.0, 0, 60, 0}}), {});
    EXPECT_EQ(none.channel, -1);
    EXPECT_TRUE(none.notes.empty());
    EXPECT_EQ(melodyOf({}, {0.5}).channel, -1);
}

TEST(Melody, ChordsGiveTheirHighestNoteAndARepeatedKeyIsANoteOfItsOwn) {
    const auto events = notes({{0.0, 3, 60, 90},
                               {0.0, 3, 64, 90},
                               {0.0, 3, 67, 90},
                               {1.0, 3, 67, 0}, // the top ends: the next one down sings on
                               {1.5, 3, 64, 0},
                               {1.5, 3, 60, 0},
                               {2.0, 3, 65, 90},
                               {2.5, 3, 65, 90}, // struck again while it sounds
                               {3.0, 3, 65, 0},
                               {3.0, 3, 65, 0},
                               {3.5, 3, 200, 90}}); // no such key
    const Melody m = melodyOf(events, {});
    EXPECT_THAT(m.notes, ElementsAre(FieldsAre(0.0, 1.0, 67), FieldsAre(1.0, 1.5, 64),
                                     FieldsAre(2.0, 2.5, 65), FieldsAre(2.5, 3.0, 65)));
    EXPECT_EQ(keyAt(m, -0.1), -1);
    EXPECT_EQ(keyAt(m, 0.0), 67);
    EXPECT_EQ(keyAt(m, 1.2), 64);
    EXPECT_EQ(keyAt(m, 1.7), -1) << "between notes";
    EXPECT_EQ(keyAt(m, 2.99), 65);
    EXPECT_EQ(keyAt(m, 3.0), -1);
}

TEST(Melody, TheSongClockFollowsEachStretchOfItsTempo) {
    // Ticks 0-96 at 0.5 s a quarter, then twice as slow.
    const SongClock clock{{0, 0.0}, {96, 0.5}, {192, 1.5}};
    EXPECT_DOUBLE_EQ(secondsAtTick(clock, 48), 0.25);
    EXPECT_DOUBLE_EQ(secondsAtTick(clock, 96), 0.5);
    EXPECT_DOUBLE_EQ(secondsAtTick(clock, 144), 1.0);
    EXPECT_DOUBLE_EQ(secondsAtTick(clock, 288), 2.5) << "past the last tick at the last pace";
    EXPECT_DOUBLE_EQ(secondsAtTick({{0, 0.0}}, 50), 0.0) << "one tick tells no pace";
}

// The engine's virtual device, which the melody is read through, and a folder of the test's own.
class MelodyOfFiles : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(device_.opened()); }
    fixtures::VirtualDevice device_;
    velvora::testing::TempFolder tmp;
    fs::path folder = tmp.path();
};

TEST_F(MelodyOfFiles, AKaraokeFileGivesTheNotesUnderItsWordsOnItsOwnClock) {
    // Syllables 96 ticks apart at 96 ticks a quarter and 0.6 s a quarter: a note each 0.6 s,
    // keys 60, 61, ... from the first syllable at 0.6 s.
    const fs::path kar = folder / "song.kar";
    miditest::writeFile(kar, velvora::testing::karaokeMidi({"Twin", "kle", "twin", "kle"}, 96, 600000, 96));
    const Melody m = ReadMelody(kar.string());
    EXPECT_EQ(m.channel, 3);
    ASSERT_EQ(m.notes.size(), 4u);
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(m.notes[i].start, 0.6 * (i + 1), 1e-4);
        EXPECT_NEAR(m.notes[i].end, 0.6 * (i + 2), 1e-4);
        EXPECT_EQ(m.notes[i].key, 60 + i);
    }
    // Its ticks on its own clock: a tick is 0.6 s / 96; past the last event at the same pace.
    for (double tick : {0.0, 48.0, 96.0, 200.0, 480.0, 1000.0})
        EXPECT_NEAR(secondsAtTick(m.clock, tick), tick * 0.6 / 96, 1e-4) << tick;
    miditest::writeFile(folder / "not.kar", "not a MIDI file");
    EXPECT_EQ(ReadMelody((folder / "not.kar").string()).channel, -1);
    EXPECT_EQ(ReadMelody((folder / "missing.kar").string()).channel, -1);
}

TEST_F(MelodyOfFiles, RealKaraokeFilesHaveAMelodyThatFollowsTheirWords) {
    const fs::path real = fs::path(VELVORA_REALDATA) / "kar_mid_lyrics";
    if (!fs::exists(real)) GTEST_SKIP() << "no " << real;
    int withMelody = 0;
    for (const char* name : {"dmidiplayer__twinkle.kar", "jazz-soft__test-karaoke-kar.mid"}) {
        SCOPED_TRACE(name);
        const Melody m = ReadMelody((real / name).string());
        if (m.channel < 0) continue;
        ++withMelody;
        EXPECT_GT(m.notes.size(), 8u);
        for (std::size_t i = 1; i < m.notes.size(); ++i) {
            EXPECT_LE(m.notes[i - 1].end, m.notes[i].start + 1e-9) << "one note at a time, in order";
            EXPECT_LT(m.notes[i].start, m.notes[i].end);
        }
    }
    EXPECT_GE(withMelody, 1);
}

} // namespace
} // namespace velvora::pitch
