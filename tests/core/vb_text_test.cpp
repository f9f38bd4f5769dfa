#include "core/files.h"
#include "core/utf8.h"
#include "core/vb_text.h"
#include "support/app_fixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace velvora {
namespace {

using namespace vb;

TEST(VbText, PositionsAreOneBasedAndForgiving) {
    EXPECT_EQ(InStr("abcabc", "c"), 3);
    EXPECT_EQ(InStr(4, "abcabc", "c"), 6);
    EXPECT_EQ(InStr(7, "abcabc", "c"), 0);
    EXPECT_EQ(InStr(99, "abc", "a"), 0);
    EXPECT_EQ(InStr(-5, "abc", "a"), 1);
    EXPECT_EQ(InStrRev("a]b]c", "]"), 4);
    EXPECT_EQ(Mid("Velvora", 3, 3), "lvo");
    EXPECT_EQ(Mid("Velvora", 5), "ora");
    EXPECT_EQ(Mid("abc", 10, 2), "");
    EXPECT_EQ(Mid("abc", 0, 2), "ab");
    EXPECT_EQ(Left("abc", 10), "abc");
    EXPECT_EQ(Right("song.kar", 3), "kar");
    EXPECT_EQ(Right("ar", 3), "ar");
    EXPECT_EQ(Trim("  a b  "), "a b");
}

TEST(VbText, ByteSearchesAndCharacterSearchesShareTheirRules) {
    const std::string buf = Bytes({0x4D, 0xFF, 0x51, 0x03, 0x07}) + "x";
    EXPECT_EQ(InStr(buf, Bytes({0xFF, 0x51})), 2);
    EXPECT_EQ(MidView(buf, 4, 2), Bytes({0x03, 0x07}));
    EXPECT_EQ(MidView(buf, 5).size(), 2u);
    EXPECT_TRUE(MidView(buf, 7, 3).empty());
    EXPECT_EQ(MidView(buf, 1LL << 40, 3).data(), nullptr) << "a start past any int is out of range";
    // Over characters: "è" and "😀" are one position each.
    const std::u32string line = U"Canto è 😀 ancora";
    EXPECT_EQ(InStr(1, line, U"è"), 7);
    EXPECT_EQ(InStr(8, line, U"ancora"), 11);
    EXPECT_EQ(InStr(12, line, U"ancora"), 0);
    EXPECT_EQ(InStr(static_cast<long long>(line.size()) + 1, line, U""),
              static_cast<long long>(line.size()) + 1);
    EXPECT_EQ(InStr(static_cast<long long>(line.size()) + 2, line, U""), 0);
}

TEST(Utf8, CharactersAreCountedAndCarriedWhole) {
    const std::string text = "Perch\xC3\xA9 \xF0\x9F\x98\x80"; // "Perché 😀"
    EXPECT_EQ(utf8::charCount(text), 8);
    EXPECT_EQ(utf8::toText32(text).size(), 8u);
    EXPECT_EQ(utf8::fromText32(utf8::toText32(text)), text);
    EXPECT_EQ(utf8::toQString(text).toStdString(), text);
    EXPECT_EQ(utf8::toQString(std::string_view("a\0b", 3)).size(), 3);
}

TEST(VbText, ValReadsTheLeadingNumberOnly) {
    EXPECT_DOUBLE_EQ(Val(" 42 "), 42);
    EXPECT_DOUBLE_EQ(Val("-3.5abc"), -3.5);
    EXPECT_DOUBLE_EQ(Val("1 2 3"), 123);
    EXPECT_DOUBLE_EQ(Val("&H7A120"), 500000);
    EXPECT_DOUBLE_EQ(Val("abc"), 0);
    EXPECT_DOUBLE_EQ(Val(""), 0);
    EXPECT_DOUBLE_EQ(Val("2e3x"), 2000);
    EXPECT_DOUBLE_EQ(Val("05.50]"), 5.5);
}

TEST(VbText, FormatsAndPrintFormsAsTheFilesExpect) {
    EXPECT_EQ(Format(5, "00"), "05");
    EXPECT_EQ(Format(123, "00"), "123");
    EXPECT_EQ(Format(-3, "00"), "-03");
    EXPECT_EQ(Format(119.9734, "0.00"), "119.97");
    EXPECT_EQ(Format(60.0, ".0"), "60.0");
    EXPECT_EQ(Format(0.25, ".0"), ".3");
    EXPECT_EQ(PrintNumber(5), " 5 ");
    EXPECT_EQ(PrintNumber(-3), "-3 ");
    EXPECT_EQ(PrintNumber(0), " 0 ");
    EXPECT_EQ(PrintNumber(0.1234567891), " 0.1234568 ");
    EXPECT_EQ(CStr(22.05 * 2), "44.1");
    EXPECT_EQ(CStr(48), "48");
    EXPECT_EQ(CStr(0.04), "0.04");
    EXPECT_EQ(CStr(-2.5), "-2.5");
    EXPECT_EQ(CStr(0.1234567891), "0.1234567891");
}

TEST(VbText, WriteAndInputFormsSplitOnCommasOutsideQuotes) {
    const auto items = SplitWriteLine("\"OK\",0,,,,,,,#FALSE#,,,0");
    ASSERT_EQ(items.size(), 12u);
    EXPECT_EQ(items[0], "OK");
    EXPECT_EQ(items[8], "#FALSE#");
    EXPECT_EQ(SplitWriteLine("\"a, b\",c").size(), 2u);
    const auto input = InputItems("Titolo, con virgola\r\nInterprete\r\n\r\n");
    ASSERT_GE(input.size(), 3u);
    EXPECT_EQ(input[0], "Titolo");
    EXPECT_EQ(input[1], "con virgola");
    EXPECT_EQ(input[2], "Interprete");
}

TEST(VbText, TextFromFilesIsUtf8OrWindows1252AndUpperCasesAccents) {
    EXPECT_EQ(decodeText("caf\xc3\xa9"), "caf\xc3\xa9");
    EXPECT_EQ(decodeText("caf\xe9"), "caf\xc3\xa9");        // é in Windows-1252
    EXPECT_EQ(decodeText("\x80"), "\xe2\x82\xac");          // the euro sign
    EXPECT_EQ(UpperText("perch\xc3\xa9"), "PERCH\xc3\x89"); // é -> É
    EXPECT_EQ(UCase("mid"), "MID");
}

TEST(Files, PathHelpers) {
    EXPECT_EQ(RPP("/a/b"), "/a/b/");
    EXPECT_EQ(RPP("/a/b/"), "/a/b/");
    EXPECT_EQ(GetFileName("/x/y/Love.mp3"), "Love.mp3");
    EXPECT_EQ(GetFileName("C:\\songs\\a.kar"), "a.kar");
    EXPECT_EQ(GetFileName("plain"), "plain");
    EXPECT_EQ(joinPath("/app", "\\TKKK\\vocaltrack.wav"), "/app/TKKK/vocaltrack.wav");
}

TEST(Files, ExistenceAndCaseInsensitiveLookup) {
    testing::TempFolder dir;
    std::filesystem::create_directories(dir.path() / "SONGCUSTOM");
    std::ofstream(dir.path() / "SONGCUSTOM" / "Love.mp3.txt") << "x";
    EXPECT_TRUE(FileExists(dir.str()));
    EXPECT_FALSE(EsisteFile(dir.str()));
    const std::string found = resolveCaseInsensitive(dir.str(), "\\SongCustom\\love.MP3.txt");
    EXPECT_TRUE(EsisteFile(found)) << found;
    EXPECT_FALSE(FileExists(resolveCaseInsensitive(dir.str(), "SongCustom/other.txt")));
    EXPECT_FALSE(FileExists(""));
    std::ofstream(dir.path() / "TMPK.a") << "x";
    std::filesystem::create_directories(dir.path() / "TMPK");
    std::ofstream(dir.path() / "TMPK" / "one.mp3") << "x";
    std::ofstream(dir.path() / "TMPK" / "noext") << "x";
    deleteFiles((dir.path() / "TMPK").string(), "*.*");
    EXPECT_TRUE(std::filesystem::is_empty(dir.path() / "TMPK"));
    EXPECT_TRUE(std::filesystem::exists(dir.path() / "TMPK.a"));
    deleteFiles((dir.path() / "missing").string(), "*.*");
}

} // namespace
} // namespace velvora
