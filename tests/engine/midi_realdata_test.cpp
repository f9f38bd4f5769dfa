// The MIDI reader over real third-party files: valid ones read with the counts their sources
// document, damaged ones fail cleanly or keep what is valid.
#include "engine/api.h"
#include "engine/midi/midi_renderer.h"
#include "engine/midi/smf_reader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

namespace {

namespace fs = std::filesystem;
using namespace engine::midi;

const fs::path kRoot = VELVORA_REALDATA;

struct Expected {
    int format;
    std::size_t lyrics, texts, tempos;
};

// Counts as the files' sources describe them.
const std::map<std::string, Expected> kKnown = {
    {"dmidiplayer__haendel_hallelujah.mid", {1, 297, 0, 3}},
    {"dmidiplayer__lindaamiga.mid", {1, 139, 0, 42}},
    {"dmidiplayer__mozart_diesirae.mid", {1, 156, 0, 1}},
    {"dmidiplayer__mozart_konigdernacht.mid", {1, 163, 0, 1}},
    {"dmidiplayer__schubert_avemaria.mid", {1, 219, 0, 1}},
    {"dmidiplayer__twinkle.kar", {1, 0, 90, 1}},
    {"hymns__HeavenOpen.mid", {1, 186, 2, 1}},
    {"hymns__Bovigny.mid", {1, 112, 2, 1}},
    {"hymns__Gracious.mid", {1, 28, 2, 1}},
    {"hymns__StCatherine.mid", {1, 48, 2, 1}},
    {"music21__test18_lyrics_zh_utf8.mid", {1, 34, 0, 1}},
    {"music21__test20_lyrics_ko_utf8.mid", {1, 34, 0, 1}},
    {"music21__test21_lyrics_ko_euckr.mid", {1, 34, 0, 1}},
    {"nfroidure__MIDIOkFormat1-lyrics.mid", {1, 6, 1, 1}},
    {"nfroidure__MIDIOkFormat2.mid", {2, 0, 9, 1}},
    {"music21__test09_copyright_crlf.mid", {1, 0, 5, 5}},
    {"music21__test10_4tempos_fmt0.mid", {0, 0, 0, 4}},
    {"music21__test11_4tempos_fmt1.mid", {1, 0, 0, 4}},
    {"jazz-soft__test-2-tracks-type-2.mid", {2, 0, 4, 1}},
};

bool brokenName(const std::string& name) {
    for (const char* word : {"corrupt", "Bad", "not-a-midi", "empty-file"})
        if (name.find(word) != std::string::npos) return true;
    return false;
}

TEST(MidiRealData, EveryFileReadsOrFailsCleanly) {
    if (!fs::exists(kRoot)) GTEST_SKIP() << "no real data at " << kRoot;
    int files = 0, withMarks = 0, known = 0;
    for (const char* folder : {"midi_misc", "kar_mid_lyrics"}) {
        for (const auto& entry : fs::directory_iterator(kRoot / folder)) {
            const std::string name = entry.path().filename().string();
            SCOPED_TRACE(name);
            ++files;
            int error = -1;
            auto f = SmfFile::load(entry.path().string(), error);
            if (!f) {
                EXPECT_TRUE(brokenName(name)) << "a valid file was refused";
                EXPECT_EQ(error, BASS_ERROR_FILEFORM);
                continue;
            }
            EXPECT_EQ(error, 0);
            if (!brokenName(name)) {
                EXPECT_FALSE(f->damaged());
            }
            EXPECT_GE(f->trackCount(), 1u);
            EXPECT_FALSE(f->events().empty());
            TempoMap map(*f, 44100);
            std::uint64_t lastTick = 0;
            for (const SmfEvent& e : f->events()) {
                ASSERT_GE(e.tick, lastTick);
                lastTick = e.tick;
                ASSERT_LE(e.track, f->trackCount());
            }
            EXPECT_LE(lastTick, f->lengthTicks());
            for (MarkType type : {MarkType::Lyric, MarkType::Text})
                for (const SmfMark& m : f->marks(type)) {
                    const SmfEvent& e = f->events().at(m.event);
                    ASSERT_EQ(e.tick, m.tick);
                    ASSERT_EQ(m.text.size(), e.length);
                    // The scan's round trip: the byte position of the mark gives back its tick.
                    ASSERT_EQ(map.tickOfFrame(map.frameOfTick(m.tick)), m.tick);
                }
            if (folder == std::string("kar_mid_lyrics")) {
                EXPECT_GT(f->marks(MarkType::Lyric).size() + f->marks(MarkType::Text).size(), 0u);
                ++withMarks;
            }
            if (auto it = kKnown.find(name); it != kKnown.end()) {
                ++known;
                EXPECT_EQ(f->format(), it->second.format);
                EXPECT_EQ(f->marks(MarkType::Lyric).size(), it->second.lyrics);
                EXPECT_EQ(f->marks(MarkType::Text).size(), it->second.texts);
                EXPECT_EQ(f->tempos().size(), it->second.tempos);
            }
        }
    }
    EXPECT_GE(files, 40);
    EXPECT_EQ(withMarks, 15);
    EXPECT_EQ(known, static_cast<int>(kKnown.size()));
}

TEST(MidiRealData, DamagedFilesKeepWhatIsValid) {
    if (!fs::exists(kRoot)) GTEST_SKIP() << "no real data at " << kRoot;
    int error = 0;
    for (const char* name : {"jazz-soft__test-empty-file.mid", "jazz-soft__test-not-a-midi-file.mid",
                             "nfroidure__MIDIBadHeaderChunk.mid", "nfroidure__MIDIBadHeaderFormat.mid",
                             "nfroidure__MIDIBadTrackHdr.mid"}) {
        EXPECT_FALSE(SmfFile::load((kRoot / "midi_misc" / name).string(), error)) << name;
        EXPECT_EQ(error, BASS_ERROR_FILEFORM);
    }
    // The header promises two tracks; the one present is read.
    auto f = SmfFile::load((kRoot / "midi_misc/nfroidure__MIDIBadHeaderTracksNum.mid").string(), error);
    ASSERT_TRUE(f);
    EXPECT_EQ(f->declaredTracks(), 2u);
    EXPECT_EQ(f->trackCount(), 1u);
    // A missing last byte loses only the end-of-track event.
    auto cut =
        SmfFile::load((kRoot / "midi_misc/jazz-soft__test-corrupt-file-missing-byte.mid").string(), error);
    auto extra =
        SmfFile::load((kRoot / "midi_misc/jazz-soft__test-corrupt-file-extra-byte.mid").string(), error);
    ASSERT_TRUE(cut);
    ASSERT_TRUE(extra);
    EXPECT_TRUE(cut->damaged());
    EXPECT_EQ(cut->events().size() + 1, extra->events().size());
    EXPECT_EQ(cut->marks(MarkType::Text).size(), extra->marks(MarkType::Text).size());
}

TEST(MidiRealData, TempoChangesOfAKnownFile) {
    if (!fs::exists(kRoot)) GTEST_SKIP() << "no real data at " << kRoot;
    int error = 0;
    auto f = SmfFile::load((kRoot / "midi_misc/music21__test10_4tempos_fmt0.mid").string(), error);
    ASSERT_TRUE(f);
    const auto& t = f->tempos();
    ASSERT_EQ(t.size(), 4u);
    const double bpm[] = {120, 110, 90, 60};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(t[i].tick, 1920u * i);
        EXPECT_NEAR(60e6 / t[i].usPerQuarter, bpm[i], 0.01);
    }
}

TEST(MidiRealData, RenderingASongMeetsEveryLyricAndTempo) {
    if (!fs::exists(kRoot)) GTEST_SKIP() << "no real data at " << kRoot;
    int error = 0;
    auto f = SmfFile::load((kRoot / "kar_mid_lyrics/dmidiplayer__lindaamiga.mid").string(), error);
    ASSERT_TRUE(f);
    MidiRenderer r(f, 22050);
    std::vector<float> out(2 * 65536);
    std::size_t lyrics = 0, tempos = 0;
    std::uint64_t total = 0, lastFrame = 0;
    while (!r.ended()) {
        total += r.renderAll(out.data(), 65536, [&](const RenderCue& c) {
            EXPECT_GE(c.frame, lastFrame);
            lastFrame = c.frame;
            EXPECT_EQ(c.frame, r.tempoMap().frameOfTick(c.tick));
            if (c.kind == RenderCue::Kind::Lyric) {
                EXPECT_EQ(c.index, lyrics++);
            }
            if (c.kind == RenderCue::Kind::Tempo) ++tempos;
        });
    }
    EXPECT_EQ(lyrics, 139u);
    EXPECT_GE(tempos, 42u);
    EXPECT_EQ(total, r.lengthFrames());
}

} // namespace
