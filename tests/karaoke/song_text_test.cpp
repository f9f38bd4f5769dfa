// The words' own script: songs written in Shift-JIS, EUC-KR, GBK, Windows-1251 or -1253 show their
// own letters; UTF-8, ASCII and Latin-1 songs are unchanged; the user can force a song's encoding.
#include "core/utf8.h"
#include "core/vb_text.h"
#include "karaoke/song_text.h"
#include "karaoke/word_extraction.h"
#include "support/app_fixture.h"
#include "support/midi_writer.h"
#include "support/song_files.h"
#include "transport/song_open.h"
#include "transport/transport.h"
#include "widgets/main_controls.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <iconv.h>

namespace velvora::karaoke {
namespace {

namespace fs = std::filesystem;

// UTF-8 text in another encoding, by the C library's converter (the test's own oracle).
std::string encodeAs(const std::string& utf8Text, const char* encoding) {
    iconv_t cd = iconv_open(encoding, "UTF-8");
    EXPECT_NE(cd, reinterpret_cast<iconv_t>(-1)) << encoding;
    std::string out(utf8Text.size() * 4 + 8, '\0');
    char* in = const_cast<char*>(utf8Text.data());
    std::size_t inLeft = utf8Text.size(), outLeft = out.size();
    char* to = out.data();
    EXPECT_NE(iconv(cd, &in, &inLeft, &to, &outLeft), static_cast<std::size_t>(-1)) << encoding;
    iconv_close(cd);
    out.resize(out.size() - outLeft);
    return out;
}

// A song of two verses of the words, one word a mark, four words a line, as karaoke files carry
// them; enough text marks for the scan to take them.
std::vector<std::string> syllablesOf(const std::vector<std::string>& words, const char* encoding) {
    std::vector<std::string> out;
    for (int verse = 0; verse < 2; ++verse)
        for (std::size_t i = 0; i < words.size(); ++i)
            out.push_back((out.size() % 4 == 0 ? "/" : "") + encodeAs(words[i], encoding) + " ");
    return out;
}

// The lines the scan makes of syllablesOf(words): line 0 empty, line 1 that of the file's "@"
// marks, then four upper-cased words a line.
std::vector<std::string> linesOf(const std::vector<std::string>& words) {
    std::vector<std::string> lines{"", ""};
    for (int verse = 0, n = 0; verse < 2; ++verse)
        for (const std::string& w : words) {
            if (n++ % 4 == 0) lines.emplace_back();
            lines.back() += utf8::toQString(w + " ").toUpper().toStdString();
        }
    return lines;
}

struct Script {
    const char* name;
    const char* encoding;
    std::vector<std::string> words;
};

const std::vector<Script>& scripts() {
    static const std::vector<Script> all{
        {"Japanese",
         "SHIFT_JIS",
         {"さくら", "さくら", "やよいの", "空は", "見わたす", "限り", "かすみか", "雲か", "匂いぞ", "出ずる",
          "いざや", "いざや", "見に", "ゆかん"}},
        {"Korean",
         "EUC-KR",
         {"동해물과", "백두산이", "마르고", "닳도록", "하느님이", "보우하사", "우리나라", "만세", "무궁화",
          "삼천리", "화려", "강산", "대한", "사람"}},
        {"Chinese",
         "GBK",
         {"床前", "明月光", "疑是", "地上霜", "举头", "望明月", "低头", "思故乡", "春眠", "不觉晓", "处处",
          "闻啼鸟", "夜来", "风雨声"}},
        {"Russian",
         "WINDOWS-1251",
         {"Калинка", "калинка", "калинка", "моя", "в", "саду", "ягода", "малинка", "малинка", "моя", "ах",
          "под", "сосною", "зеленою"}},
        {"Greek",
         "WINDOWS-1253",
         {"Σε", "γνωρίζω", "από", "την", "κόψη", "του", "σπαθιού", "την", "τρομερή", "σε", "γνωρίζω", "από",
          "την", "όψη"}},
    };
    return all;
}

// Detection over the text of a whole song reads each script back as it was written.
TEST(SongTextEncoding, EachScriptIsToldAndReadBack) {
    for (const Script& s : scripts()) {
        std::string all, expected;
        for (const std::string& w : s.words) {
            all += encodeAs(w, s.encoding) + "\n";
            expected += w + "\n";
        }
        const std::string found = utf8::detectEncoding(all);
        EXPECT_EQ(utf8::decode(all, found), expected) << s.name << " told as " << found;
    }
}

TEST(SongTextEncoding, AsciiUtf8AndLatinStayAsTheyAre) {
    EXPECT_EQ(utf8::detectEncoding("Twinkle twinkle little star"), "UTF-8");
    const std::string korean = "동해물과 백두산이";
    EXPECT_EQ(utf8::detectEncoding(korean), "UTF-8");
    EXPECT_EQ(utf8::decode(korean, "UTF-8"), korean);
    const std::string latin = "Perché la luna è già sul mare, e tu non sei più qui: déjà vu, café crème";
    const std::string bytes = encodeAs(latin, "WINDOWS-1252");
    EXPECT_EQ(utf8::detectEncoding(bytes), utf8::kFallbackEncoding);
    EXPECT_EQ(utf8::decode(bytes, utf8::detectEncoding(bytes)), latin);
    // Bytes the named encoding cannot read are still shown, as Windows-1252.
    EXPECT_EQ(utf8::decode("caf\xE9 au lait", "SHIFT_JIS"), "caf\xC3\xA9 au lait");
    EXPECT_EQ(utf8::decode("caf\xE9", "NO-SUCH-ENCODING"), "caf\xC3\xA9");
    // A character cut by a field's end is dropped, the rest read.
    const std::string sakura = encodeAs("さくら", "SHIFT_JIS");
    EXPECT_EQ(utf8::decode(sakura.substr(0, sakura.size() - 1), "SHIFT_JIS"), "さく");
}

TEST(SongTextEncoding, AllTextEventsWalksEveryTrackEventByEvent) {
    miditest::Track a;
    a.meta(0, 0x03, "Name").tempo(0, 500000).text(0, "one");
    // Running status, a sysex and a program change between the texts; an FF inside a sysex is
    // not an event.
    a.raw(0, {0x90, 60, 100}).raw(10, {62, 100}).sysex(0, 0xF0, std::string("\x7E\xFF\x05\x01z\xF7", 6));
    a.program(0, 1, 5).lyric(5, "two").meta(0, 0x7F, "not text").end(0);
    miditest::Track b;
    b.meta(0, 0x02, "(c) three").end(0);
    EXPECT_EQ(AllTextEvents(miditest::smf(1, 96, {a, b})), "Name\none\ntwo\n(c) three\n");
    EXPECT_EQ(AllTextEvents("MThd"), "");
    EXPECT_EQ(AllTextEvents(std::string("MTrk\x00\x00\x00\x09\x00\xFF\x01\x7F", 12)), "")
        << "a length past the track's end";
}

class SongTextInTheProgram : public testing::AppFixture {
  protected:
    fs::path write(const std::string& name, const std::string& bytes) {
        const fs::path path = folder.path() / name;
        miditest::writeFile(path, bytes);
        return path;
    }
    void openAndPlay(const fs::path& path) {
        dialogs.answerFile(path.string());
        transport::CmdCarica_Click(*app);
        transport::Cmd_play_Click(*app);
        // The first step paints the page of the first lines.
        clock.advance(20);
    }
    std::string allLines() const {
        std::string out;
        for (const std::string& l : app->s.words.lyricLines) out += l + "|";
        return out;
    }
};

// A song written in each script shows its own letters in the word model and on the page; upper
// case leaves letters with no case alone.
TEST_F(SongTextInTheProgram, EachScriptComesOutOnThePage) {
    start();
    for (const Script& s : scripts()) {
        const fs::path path =
            write(std::string(s.name) + ".kar", testing::karaokeMidi(syllablesOf(s.words, s.encoding), 24));
        openAndPlay(path);
        const std::vector<std::string> lines = linesOf(s.words);
        EXPECT_EQ(app->s.words.lyricLines, lines) << s.name << " read as " << app->s.textEncoding;
        // The page's first lyric line, as the painter drew it.
        EXPECT_EQ(app->s.painter.pageSlots[2], lines[2]) << s.name;
        transport::Cmd_Stop_Click(*app);
    }
}

// The Korean song of the real files in EUC-KR reads as its UTF-8 twin does.
TEST_F(SongTextInTheProgram, TheRealEucKrSongReadsAsItsUtf8Twin) {
    const fs::path dir = fs::path(VELVORA_REALDATA) / "kar_mid_lyrics";
    if (!fs::exists(dir / "music21__test21_lyrics_ko_euckr.mid")) GTEST_SKIP() << "no real data";
    start();
    openAndPlay(dir / "music21__test20_lyrics_ko_utf8.mid");
    const std::string utf8Lines = allLines();
    transport::Cmd_Stop_Click(*app);
    openAndPlay(dir / "music21__test21_lyrics_ko_euckr.mid");
    // EUC-KR, or the Windows code page that extends it.
    EXPECT_TRUE(app->s.textEncoding == "EUC-KR" || app->s.textEncoding == "UHC") << app->s.textEncoding;
    EXPECT_EQ(allLines(), utf8Lines);
    EXPECT_NE(allLines().find("빛"), std::string::npos);
    transport::Cmd_Stop_Click(*app);
}

// A Latin-1 song keeps its accents, upper-cased.
TEST_F(SongTextInTheProgram, ALatinSongIsUnchanged) {
    start();
    const std::vector<std::string> words{"Perché", "già", "così", "là", "più",   "città",
                                         "caffè",  "né",  "Déjà", "vu", "crème", "brûlée"};
    openAndPlay(write("latin.kar", testing::karaokeMidi(syllablesOf(words, "WINDOWS-1252"), 24)));
    EXPECT_NE(allLines().find("PERCHÉ GIÀ COSÌ LÀ |"), std::string::npos) << allLines();
    EXPECT_NE(allLines().find("CRÈME BRÛLÉE"), std::string::npos) << allLines();
    transport::Cmd_Stop_Click(*app);
}

// The user's choice for a song is kept beside its settings and holds at every later open, until
// the automatic entry gives the song back to detection.
TEST_F(SongTextInTheProgram, AForcedEncodingIsKeptForThatSong) {
    start();
    const Script& russian = scripts()[3];
    const fs::path path =
        write("Kalinka.kar", testing::karaokeMidi(syllablesOf(russian.words, "KOI8-R"), 24));
    openAndPlay(path);
    transport::Cmd_Stop_Click(*app);
    MnuEncoding_Click(*app, "KOI8-R");
    // Beside the song's settings file, in the program's own settings folder.
    const fs::path kept = forcedEncodingFile(*app, path.string());
    ASSERT_TRUE(fs::exists(kept));
    EXPECT_EQ(kept.filename(), "Kalinka.kar.encoding");
    EXPECT_TRUE(fs::equivalent(kept.parent_path().parent_path(), folder.path()));
    EXPECT_EQ(vb::UCase(kept.parent_path().filename().string()), "SONGCUSTOM");
    EXPECT_EQ(forcedEncoding(*app, path.string()), "KOI8-R");
    EXPECT_EQ(std::distance(fs::directory_iterator(kept.parent_path()), fs::directory_iterator()), 1)
        << "nothing else is written there";
    transport::Cmd_play_Click(*app);
    clock.advance(20);
    EXPECT_NE(allLines().find("КАЛИНКА КАЛИНКА КАЛИНКА МОЯ"), std::string::npos) << allLines();
    transport::Cmd_Stop_Click(*app);

    openAndPlay(path);
    EXPECT_EQ(app->s.textEncoding, "KOI8-R");
    EXPECT_NE(allLines().find("ПОД СОСНОЮ ЗЕЛЕНОЮ"), std::string::npos) << allLines();
    transport::Cmd_Stop_Click(*app);

    MnuEncoding_Click(*app, "");
    EXPECT_FALSE(fs::exists(kept));
    EXPECT_EQ(forcedEncoding(*app, path.string()), "");
}

} // namespace
} // namespace velvora::karaoke
