// The LRC creator on songs of our own, whose lines fall on chosen seconds, and on the real karaoke
// files of others, whose stamps are worked out here from the files' own events; then the songs and
// folders that go wrong.
#include "karaoke/lrc_creator.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"

#include <QString>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace velvora::karaoke {
namespace {

namespace fs = std::filesystem;
using testing::AppFixture;

std::string readAll(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<std::string> folderListing(const fs::path& dir) {
    std::vector<std::string> names;
    for (const auto& e : fs::recursive_directory_iterator(dir)) names.push_back(e.path().string());
    std::sort(names.begin(), names.end());
    return names;
}

// One text-carrying event of a Standard MIDI File, found by walking its events.
struct SongEvent {
    std::uint32_t tick;
    int track;
    int type; // 1 text, 5 lyric
    std::string text;
};

struct WalkedSong {
    int division = 0;
    std::uint32_t firstTempo = 0; // 0: none
    std::vector<SongEvent> events;
};

// Walks every track event by event (running status, system exclusive and meta events), the plain
// reading of the format; text and lyric events are kept in time order, ties in track order.
WalkedSong walk(const std::string& b) {
    WalkedSong song;
    auto at = [&](std::size_t p) { return p < b.size() ? static_cast<unsigned char>(b[p]) : 0u; };
    auto varLen = [&](std::size_t& p) {
        std::uint32_t v = 0;
        for (int n = 0; n < 4; ++n) {
            const unsigned c = at(p++);
            v = (v << 7) | (c & 0x7f);
            if (!(c & 0x80)) break;
        }
        return v;
    };
    const int tracks = static_cast<int>(at(10) << 8 | at(11));
    song.division = static_cast<int>(at(12) << 8 | at(13));
    std::size_t pos = 14;
    for (int t = 0; t < tracks && b.compare(pos, 4, "MTrk") == 0; ++t) {
        const std::size_t length = at(pos + 4) << 24 | at(pos + 5) << 16 | at(pos + 6) << 8 | at(pos + 7);
        std::size_t p = pos + 8;
        const std::size_t end = std::min(b.size(), p + length);
        std::uint32_t tick = 0;
        unsigned status = 0;
        while (p < end) {
            tick += varLen(p);
            const unsigned first = at(p);
            if (first == 0xff) {
                const unsigned type = at(p + 1);
                p += 2;
                const std::uint32_t n = varLen(p);
                const std::string data = b.substr(std::min(p, b.size()), n);
                if (type == 0x51 && n == 3 && !song.firstTempo)
                    song.firstTempo = static_cast<std::uint32_t>(at(p) << 16 | at(p + 1) << 8 | at(p + 2));
                if (type == 1 || type == 5) song.events.push_back({tick, t, static_cast<int>(type), data});
                p += n;
            } else if (first == 0xf0 || first == 0xf7) {
                ++p;
                p += varLen(p);
            } else {
                if (first & 0x80) status = at(p++);
                const unsigned kind = status & 0xf0;
                p += (kind == 0xc0 || kind == 0xd0) ? 1 : 2;
            }
        }
        pos += 8 + length;
    }
    std::stable_sort(song.events.begin(), song.events.end(),
                     [](const SongEvent& a, const SongEvent& c) { return a.tick < c.tick; });
    return song;
}

// Line breaks inside a line's text become spaces.
std::string oneLine(std::string s) {
    std::replace(s.begin(), s.end(), '\r', ' ');
    std::replace(s.begin(), s.end(), '\n', ' ');
    return s;
}

bool isAscii(const std::string& s) {
    return std::all_of(s.begin(), s.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// The stamp of a line sung at `seconds`: a second early, three at the turn of a minute, and never
// before the first second.
std::string stampAt(long long seconds) {
    seconds = std::max(1LL, seconds);
    long long m = seconds / 60, s = seconds % 60;
    if (m == 0 && s > 2) s -= 1;
    if (m > 0) {
        if (s < 3) {
            s += 57;
            m -= 1;
        } else {
            s -= 1;
        }
    }
    char out[32];
    std::snprintf(out, sizeof out, "[%02lld:%02lld]", m, s);
    return out;
}

struct ExpectedLine {
    std::string stamp;
    std::string text; // in capitals, without its first character; compared for plain ASCII only
};

// The lines of a song from its walked events: the marks that carry the words (lyrics when there
// are 6, else texts when there are 21); a line starts at each mark beginning with "/", "\" or "<"
// and is timed by its second mark, or by the line before when it has only one; before the first
// such mark the words make one line, stamped at the first second. Past the last mark of a short
// song (fewer than 25) the probed mark comes back until the file's length or the 851st round.
std::vector<ExpectedLine> expectedLines(const WalkedSong& song, std::size_t fileBytes) {
    std::vector<SongEvent> lyrics, texts;
    for (const SongEvent& e : song.events) (e.type == 5 ? lyrics : texts).push_back(e);
    const bool useLyrics = lyrics.size() >= 6;
    const std::vector<SongEvent>& marks = useLyrics ? lyrics : texts;
    if (!useLyrics && texts.size() < 21) return {};
    std::vector<SongEvent> sung(marks.begin(), marks.begin() + std::min<std::size_t>(marks.size(), 851));
    if (marks.size() < 25)
        for (std::size_t i = marks.size(); i <= std::min<std::size_t>(fileBytes, 850); ++i)
            sung.push_back(marks[useLyrics ? 5 : 20]);

    auto upper = [](const std::string& s) { return QString::fromUtf8(s).toUpper().toStdString(); };
    auto opensLine = [](const std::string& s) {
        return !s.empty() && (s[0] == '/' || s[0] == '\\' || s[0] == '<');
    };
    auto words = [&](const std::string& s) { return !s.empty() && s[0] == '@' ? std::string() : upper(s); };
    // Ticks to whole seconds under the first tempo: tick x tempo / (division x 1000000).
    auto secondsAt = [&](std::uint32_t tick) {
        const long long den = static_cast<long long>(song.division) * 1000000;
        return den ? static_cast<long long>(tick) * song.firstTempo / den : 0;
    };

    std::vector<ExpectedLine> out;
    std::size_t i = 0;
    std::string before;
    for (; i < sung.size() && !opensLine(sung[i].text); ++i) before += words(sung[i].text);
    if (!before.empty()) out.push_back({stampAt(1), oneLine(before.substr(1))});
    long long seconds = 1;
    while (i < sung.size()) {
        std::string line = words(sung[i].text).substr(1);
        std::size_t j = i + 1;
        for (; j < sung.size() && !opensLine(sung[j].text); ++j) line += words(sung[j].text);
        if (j - i >= 2) seconds = secondsAt(sung[i + 1].tick);
        out.push_back({stampAt(seconds), oneLine(line)});
        i = j;
    }
    return out;
}

class LrcCreator : public AppFixture {
  protected:
    void SetUp() override {
        AppFixture::SetUp();
        start();
    }
    fs::path lrcFile() const { return folder.path() / "syncro.lrc"; }
    // Runs the creator on the song at `path` and gives back what it wrote.
    std::string create(const fs::path& path) {
        app->s.FileName = path.string();
        dialogs.answer(platform::vbOK);
        Lrc_batch(*app);
        return readAll(lrcFile());
    }
    fs::path writeSong(const std::string& name, const std::string& bytes) {
        const fs::path path = folder.path() / "songs" / name;
        fs::create_directories(path.parent_path());
        miditest::writeFile(path, bytes);
        return path;
    }
    const platform::ShownBox& lastBox() const { return dialogs.shown().back(); }
};

// Lyric marks at chosen seconds: 96 ticks a beat at 120 beats a minute make 192 ticks a second.
struct Sung {
    double seconds;
    std::string text;
};
std::string songOf(const std::vector<Sung>& marks, bool asLyrics = true) {
    miditest::Track conductor, words, tune;
    conductor.tempo(0, 500000).end(0);
    std::uint32_t last = 0;
    for (const Sung& m : marks) {
        const auto tick = static_cast<std::uint32_t>(m.seconds * 192 + 0.5);
        if (asLyrics)
            words.lyric(tick - last, m.text);
        else
            words.text(tick - last, m.text);
        last = tick;
    }
    words.end(0);
    tune.on(0, 0, 60).off(96, 0, 60).end(0);
    return miditest::smf(1, 96, {conductor, words, tune});
}

TEST_F(LrcCreator, EachLineIsStampedASecondBeforeItsSecondMarkAndThreeAtTheTurnOfAMinute) {
    std::vector<Sung> marks = {
        {0.0, "@TSaints"},  {0.1, "Intro "}, // before the first break: one line, its first letter lost
        {0.3, "\\Oh "},     {0.5, "when "},  // second mark under a second: never before [00:01]
        {10.0, "/the "},    {10.9, "saints "}, {30.0, "/go"}, // one mark: the time of the line before
        {59.0, "/mar"},     {60.0, "ching"},                  // 1:00 -> [00:57]
        {64.0, "<in "},     {65.5, "in "},                    // 1:05 -> [01:04]
        {119.0, "/oh "},    {121.0, "Lord "},                 // 2:01 -> [01:58]
        {180.0, "/I "},     {182.9, "want|"},                 // a "|" at the end breaks no LRC line
        {599.0, "/to be "}, {600.0, "in @x"},  {600.2, "@L"}, // 10:00 -> [09:57]; "@" words are empty
    };
    for (int i = 0; i < 8; ++i) marks.push_back({601.0 + i, "la "}); // enough marks to end at the end
    const std::string lrc = create(writeSong("Saints.kar", songOf(marks)));
    EXPECT_EQ(lrc, "[00:01]NTRO \r\n"
                   "[00:01]OH WHEN \r\n"
                   "[00:09]THE SAINTS \r\n"
                   "[00:09]GO\r\n"
                   "[00:57]MARCHING\r\n"
                   "[01:04]IN IN \r\n"
                   "[01:58]OH LORD \r\n"
                   "[02:59]I WANT|\r\n"
                   "[09:57]TO BE IN @XLA LA LA LA LA LA LA LA \r\n");
    EXPECT_EQ(lastBox().text, "Done! LRC Creator");
    EXPECT_EQ(lastBox().caption, "Velvora");
    EXPECT_EQ(app->s.lrc.soloTitolo, "Saints.kar");
    EXPECT_DOUBLE_EQ(app->s.words.msPerTick, 500000.0 / 96 / 1000) << "the first tempo is the song's";
}

// The marks are read at a steady pace, 30 ms each, on the program's clock; text marks serve when
// there are too few lyric marks, as for the word model.
TEST_F(LrcCreator, TextMarksServeAndEachMarkTakesThirtyMilliseconds) {
    std::vector<Sung> marks;
    for (int i = 0; i < 30; ++i)
        marks.push_back({2.0 + i, (i % 10 == 0 ? "/w" : "w") + std::to_string(i) + " "});
    const long long before = clock.nowMs();
    const std::string lrc = create(writeSong("Texts.kar", songOf(marks, false)));
    EXPECT_EQ(lrc, "[00:02]W0 W1 W2 W3 W4 W5 W6 W7 W8 W9 \r\n"
                   "[00:12]W10 W11 W12 W13 W14 W15 W16 W17 W18 W19 \r\n"
                   "[00:22]W20 W21 W22 W23 W24 W25 W26 W27 W28 W29 \r\n");
    EXPECT_EQ(clock.nowMs() - before, 31 * 30) << "thirty marks and the round that finds the end";
}

// Every run starts afresh: a second song's file holds nothing of the first.
TEST_F(LrcCreator, ASecondSongsFileHoldsOnlyItsOwnLines) {
    std::vector<Sung> first, second;
    for (int i = 0; i < 26; ++i) first.push_back({1.0 + i, i % 5 == 0 ? "/uno " : "due "});
    for (int i = 0; i < 26; ++i) second.push_back({5.0 + i, i == 0 ? "/tre " : "quattro "});
    create(writeSong("First.kar", songOf(first)));
    const std::string lrc = create(writeSong("Second.kar", songOf(second)));
    std::string line = "TRE ";
    for (int i = 1; i < 26; ++i) line += "QUATTRO ";
    EXPECT_EQ(lrc, "[00:05]" + line + "\r\n");
    EXPECT_EQ(app->s.lrc.soloTitolo, "Second.kar");
}

TEST_F(LrcCreator, RealKaraokeFilesAreStampedByTheirOwnEvents) {
    const fs::path dir = fs::path(VELVORA_REALDATA) / "kar_mid_lyrics";
    if (!fs::exists(dir)) GTEST_SKIP() << "no real data";
    int songs = 0, linesChecked = 0;
    for (const auto& entry : fs::directory_iterator(dir)) {
        const std::string name = entry.path().filename().string();
        SCOPED_TRACE(name);
        const std::string bytes = readAll(entry.path());
        const WalkedSong song = walk(bytes);
        const std::vector<ExpectedLine> expected = expectedLines(song, bytes.size());
        app->s.words.msPerTick = 0; // as an opening leaves it for a song with no tempo
        const std::string lrc = create(entry.path());

        std::vector<std::string> lines;
        for (std::size_t from = 0; from < lrc.size();) {
            const std::size_t end = lrc.find("\r\n", from);
            ASSERT_NE(end, std::string::npos) << "every line ends in CR LF";
            lines.push_back(lrc.substr(from, end - from));
            from = end + 2;
        }
        ASSERT_EQ(lines.size(), expected.size());
        for (std::size_t i = 0; i < lines.size(); ++i) {
            ASSERT_GE(lines[i].size(), 7u);
            EXPECT_EQ(lines[i].substr(0, 7), expected[i].stamp) << "line " << i;
            EXPECT_GE(lines[i].substr(0, 7), "[00:01]") << "line " << i;
            if (isAscii(expected[i].text)) {
                EXPECT_EQ(lines[i].substr(7), expected[i].text) << "line " << i;
            }
            ++linesChecked;
        }
        if (!expected.empty()) ++songs;
    }
    EXPECT_GE(songs, 12) << "most of the files carry lyrics";
    EXPECT_GT(linesChecked, 150);
}

// A song with no words, a file that is no song or is missing: the file is written empty and the
// box comes as ever; nothing else is written.
TEST_F(LrcCreator, ASongWithoutWordsOrAFileThatIsNoSongLeavesAnEmptyFile) {
    miditest::Track conductor, tune;
    conductor.tempo(0, 500000).end(0);
    for (int i = 0; i < 40; ++i) tune.on(0, 0, 60 + i % 12).off(96, 0, 60 + i % 12);
    tune.end(0);
    const fs::path silent = writeSong("Silent.kar", miditest::smf(1, 96, {conductor, tune}));
    const fs::path garbage = writeSong("Garbage.kar", std::string(4000, '\xff'));
    const fs::path folderSong = folder.path() / "songs" / "Folder.kar";
    fs::create_directories(folderSong);
    const fs::path missing = folder.path() / "songs" / "Missing.kar";

    for (const fs::path& song : {silent, garbage, folderSong, missing}) {
        SCOPED_TRACE(song.filename().string());
        std::ofstream(lrcFile(), std::ios::binary) << "[00:05]AN EARLIER SONG\r\n";
        const std::vector<std::string> listing = folderListing(folder.path());
        EXPECT_EQ(create(song), "");
        EXPECT_EQ(lastBox().text, "Done! LRC Creator");
        EXPECT_EQ(folderListing(folder.path()), listing) << "no file but syncro.lrc itself";
    }
}

// The file cannot be written: a box says so, nothing is left half-written, and no other place
// receives it.
TEST_F(LrcCreator, AFolderThatCannotBeWrittenIsToldAndNothingIsWritten) {
    std::vector<Sung> marks;
    for (int i = 0; i < 26; ++i) marks.push_back({1.0 + i, "/la "});
    const fs::path song = writeSong("Song.kar", songOf(marks));
    const std::vector<std::string> listing = folderListing(folder.path());

    app->appFolder = (folder.path() / "gone").string();
    app->s.FileName = song.string();
    dialogs.answer(platform::vbOK);
    Lrc_batch(*app);
    EXPECT_EQ(lastBox().text, "Can't write " + (folder.path() / "gone" / "syncro.lrc").string());
    EXPECT_EQ(lastBox().style, platform::vbCritical);
    EXPECT_EQ(folderListing(folder.path()), listing);

    // A folder in the file's place: the marks are read, the file is refused at the end.
    app->appFolder = folder.str();
    fs::create_directory(lrcFile());
    const std::vector<std::string> withFolder = folderListing(folder.path());
    dialogs.answer(platform::vbOK);
    Lrc_batch(*app);
    EXPECT_EQ(lastBox().text, "Can't write " + lrcFile().string());
    EXPECT_TRUE(fs::is_directory(lrcFile()));
    EXPECT_EQ(folderListing(folder.path()), withFolder) << "no temporary file stays behind";
    EXPECT_EQ(dialogs.shown().size(), 2u) << "no Done! box after a failure";
}

} // namespace
} // namespace velvora::karaoke
