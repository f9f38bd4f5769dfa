// Hostile packages opened through the program the way a user opens a song: names that climb out of
// TMPK, links, bombs, floods, equal names, unsupported methods and damaged bytes. Nothing may land
// outside TMPK, nothing may crash, and a good package opens and plays afterwards.
#include "core/controls.h"
#include "core/song_state.h"
#include "engine/api.h"
#include "package/raw_zip.h"
#include "support/app_fixture.h"
#include "support/song_files.h"
#include "transport/song_open.h"
#include "transport/transport.h"
#include "widgets/main_controls.h"

#include <algorithm>
#include <filesystem>
#include <random>
#include <set>
#include <unistd.h>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using namespace packagetest;
using testing::AppFixture;

class HostilePackageTest : public AppFixture {
  protected:
    void SetUp() override {
        AppFixture::SetUp();
        start();
        const fs::path stage = folder.path() / "stage";
        fs::create_directories(stage);
        testing::writeToneWav(stage / "tone.wav", 1.0, 440.0);
        tone = readBytes(stage / "tone.wav");
        RawZip good(folder.path() / "good.NVK");
        good.add("BackingTrack.MP3", tone);
        good.add("vocaltrack.MP3", tone);
        good.add("ZZZZ.MP3", tone);
        good.add("good.txt", "Good\r\nSinger\r\nAuthors\r\nLabel\r\nRe\r\n\r\n\r\n\r\n");
        good.close();
        before = outsideTmpk();
    }
    void TearDown() override {
        for (const fs::path& p : escapes()) fs::remove(p);
        AppFixture::TearDown();
    }
    fs::path tmpk() const { return folder.path() / "TMPK"; }
    // Names a climbing member would reach if it were followed: beside the program folder and in
    // the system's temporary folder, unique to this run.
    std::string unique(const std::string& what) const {
        return "velvora-escape-" + std::to_string(::getpid()) + "-" + what + ".MP3";
    }
    std::vector<fs::path> escapes() const {
        std::vector<fs::path> out;
        for (const char* what : {"slip", "abs", "back", "drive", "link"}) {
            out.push_back(folder.path().parent_path() / unique(what));
            out.push_back(fs::temp_directory_path() / unique(what));
            out.push_back(fs::path("/") / unique(what));
        }
        return out;
    }
    // Every entry of the program folder outside TMPK (the package files the test writes there are
    // left out), with the target of any link.
    std::set<std::string> outsideTmpk() const {
        std::set<std::string> out;
        for (auto it = fs::recursive_directory_iterator(folder.path());
             it != fs::recursive_directory_iterator(); ++it) {
            const fs::path rel = fs::relative(it->path(), folder.path());
            if (*rel.begin() == "TMPK") continue;
            if (rel.extension() == ".NVK") continue;
            std::string entry = rel.generic_string();
            if (it->is_symlink()) entry += " -> " + fs::read_symlink(it->path()).string();
            out.insert(entry);
        }
        return out;
    }
    std::vector<std::string> tmpkFiles() const {
        std::vector<std::string> out;
        for (const auto& e : fs::directory_iterator(tmpk())) out.push_back(e.path().filename().string());
        std::sort(out.begin(), out.end());
        return out;
    }
    // Opens a package by the menu (the load button stays disabled after a package that plays
    // nothing) and checks that nothing was written outside TMPK and no link lies in it.
    void openPackage(const fs::path& path) {
        SCOPED_TRACE(path.filename().string());
        dialogs.answerFile(path.string());
        transport::MnuOpenSong_Click(*app);
        EXPECT_EQ(outsideTmpk(), before);
        for (const fs::path& p : escapes()) EXPECT_FALSE(fs::exists(fs::symlink_status(p))) << p;
        for (const auto& e : fs::recursive_directory_iterator(tmpk())) {
            EXPECT_FALSE(e.is_symlink()) << e.path();
            EXPECT_NE(e.path().extension(), ".part") << "a half-written member is left: " << e.path();
        }
    }
    // The opening reports nothing and arms Play as for any package; Play unpacks it again and
    // plays nothing.
    void expectNoTracks() {
        EXPECT_EQ(app->s.stemCount, 0);
        ASSERT_TRUE(app->ui.CmdPlw->isEnabled());
        app->ui.CmdPlw->click();
        EXPECT_EQ(app->s.stemCount, 0);
        clock.advance(100);
        app->ui.CmdStw->click();
    }
    // The program is still usable: a good package opens, plays and shows its title block.
    void expectUsable() {
        SCOPED_TRACE("the good package afterwards");
        openPackage(folder.path() / "good.NVK");
        ASSERT_EQ(app->s.stemCount, 3);
        EXPECT_EQ(tmpkFiles(),
                  (std::vector<std::string>{"BackingTrack.MP3", "ZZZZ.MP3", "good.txt", "vocaltrack.MP3"}));
        ASSERT_TRUE(app->ui.CmdPlw->isEnabled());
        app->ui.CmdPlw->click();
        EXPECT_TRUE(shows(*app, SongState::PackagePlaying));
        EXPECT_EQ(caption(app->ui.NVKTitle), "Good" + std::string(9, ' '));
        clock.advance(300);
        EXPECT_GT(BASS_ChannelGetPosition(app->s.chan, BASS_POS_BYTE), 0u) << "the mixer runs";
        app->ui.CmdStw->click();
    }
    // Random bytes that deflate hardly at all.
    static std::string noise(std::size_t n, unsigned seed) {
        std::mt19937 gen(seed);
        std::string out(n, '\0');
        for (char& c : out) c = static_cast<char>(gen() & 0xff);
        return out;
    }

    std::string tone;
    std::set<std::string> before;
};

TEST_F(HostilePackageTest, ClimbingAbsoluteAndBackslashedNamesAreStoredFlatInsideTmpk) {
    const fs::path nvk = folder.path() / "climb.NVK";
    RawZip raw(nvk);
    raw.add("../../" + unique("slip"), tone);
    raw.add((fs::temp_directory_path() / unique("abs")).string(), tone);
    raw.add("..\\..\\..\\" + unique("back"), tone);
    raw.close();
    openPackage(nvk);
    EXPECT_EQ(tmpkFiles(), (std::vector<std::string>{unique("abs"), unique("back"), unique("slip")}));
    EXPECT_EQ(app->s.stemCount, 3) << "each lands flat in TMPK and plays as a track";
    for (const std::string& name : tmpkFiles()) EXPECT_EQ(readBytes(tmpk() / name), tone);
    expectUsable();
}

TEST_F(HostilePackageTest, DriveNamesLinksAndEmptyNamesAreRefused) {
    // A link into the system, and a file of the same name behind it that would write through it.
    const fs::path linked = folder.path() / "linked.NVK";
    RawZip raw(linked);
    raw.add("BackingTrack.MP3", tone);
    raw.link(unique("link"), (folder.path().parent_path() / unique("link")).string());
    raw.link("up", "..");
    raw.close();
    openPackage(linked);
    expectNoTracks();
    EXPECT_FALSE(fs::exists(fs::symlink_status(tmpk() / unique("link"))));
    EXPECT_FALSE(fs::exists(fs::symlink_status(tmpk() / "up")));

    // A drive-relative name, a name that is all folder parts, and one that names the folder above.
    for (const std::string& name : {"C:" + unique("drive"), std::string("sub/.."), std::string("..")}) {
        const fs::path nvk = folder.path() / "named.NVK";
        RawZip named(nvk);
        named.add(name, tone);
        named.add("vocaltrack.MP3", tone);
        named.close();
        openPackage(nvk);
        expectNoTracks();
    }
    EXPECT_FALSE(fs::exists(tmpk() / "C"));
    expectUsable();
}

TEST_F(HostilePackageTest, BombsAndFloodsAreRefusedBeforeAnythingIsWritten) {
    // One member far above 200:1.
    const fs::path ratio = folder.path() / "ratio.NVK";
    RawZip r(ratio);
    r.add("BackingTrack.MP3", std::string(16u << 20, '\0'));
    r.add("vocaltrack.MP3", "x");
    r.close();
    ASSERT_LT(fs::file_size(ratio), (16u << 20) / 200) << "the member compresses beyond the ratio";
    openPackage(ratio);
    expectNoTracks();
    EXPECT_TRUE(fs::is_empty(tmpk()));

    // Each member within the ratio, all of them together past 2 GB: three members of 4 MB of
    // noise that say they hold 750 MB each.
    const fs::path total = folder.path() / "total.NVK";
    RawZip t(total);
    for (unsigned i = 0; i < 3; ++i) t.add("part" + std::to_string(i) + ".MP3", noise(4u << 20, i));
    t.close();
    std::string bytes = readBytes(total);
    ASSERT_EQ(memberHeaders(bytes).size(), 3u);
    for (const MemberHeaders& m : memberHeaders(bytes)) setDeclaredSize(bytes, m, 750u << 20);
    writeBytes(total, bytes);
    openPackage(total);
    expectNoTracks();
    EXPECT_TRUE(fs::is_empty(tmpk()));

    // A member that says it holds 1000 bytes and inflates to 16 MB: its writing stops at what it
    // declared and nothing of it stays.
    const fs::path liar = folder.path() / "liar.NVK";
    RawZip l(liar);
    l.add("BackingTrack.MP3", std::string(16u << 20, '\0'));
    l.close();
    bytes = readBytes(liar);
    setDeclaredSize(bytes, memberHeaders(bytes).at(0), 1000);
    writeBytes(liar, bytes);
    openPackage(liar);
    expectNoTracks();
    EXPECT_TRUE(fs::is_empty(tmpk()));

    // Thousands of members.
    const fs::path flood = folder.path() / "flood.NVK";
    RawZip f(flood);
    for (int i = 0; i < 6000; ++i) f.add("m" + std::to_string(i) + ".MP3", "x", true);
    f.close();
    openPackage(flood);
    expectNoTracks();
    EXPECT_TRUE(fs::is_empty(tmpk()));
    expectUsable();
}

TEST_F(HostilePackageTest, EqualNamesLeaveOneWholeFileEach) {
    // Two members called BackingTrack.MP3 (the second renamed in its headers), and two members in
    // different folders that are one name once stored flat.
    const std::string other = [] {
        testing::writeToneWav(fs::temp_directory_path() / "velvora-other-tone.wav", 0.5, 880.0);
        std::string b = readBytes(fs::temp_directory_path() / "velvora-other-tone.wav");
        fs::remove(fs::temp_directory_path() / "velvora-other-tone.wav");
        return b;
    }();
    const fs::path nvk = folder.path() / "equal.NVK";
    RawZip raw(nvk);
    raw.add("BackingTrack.MP3", tone);
    raw.add("BackingTrack.MP4", other);
    raw.add("a/x.MP3", tone);
    raw.add("b/x.MP3", other);
    raw.close();
    std::string bytes = readBytes(nvk);
    renameInPlace(bytes, memberHeaders(bytes).at(1), "BackingTrack.MP3");
    writeBytes(nvk, bytes);
    openPackage(nvk);
    EXPECT_EQ(tmpkFiles(), (std::vector<std::string>{"BackingTrack.MP3", "x.MP3"}));
    EXPECT_EQ(app->s.stemCount, 2);
    for (const char* name : {"BackingTrack.MP3", "x.MP3"}) {
        const std::string got = readBytes(tmpk() / name);
        EXPECT_TRUE(got == tone || got == other) << name << " is one member whole, not a mixture";
    }
    expectUsable();
}

TEST_F(HostilePackageTest, UnsupportedMethodsAndDamagedBytesPlayNothing) {
    const fs::path plain = folder.path() / "plain.NVK";
    RawZip raw(plain);
    raw.add("BackingTrack.MP3", tone);
    raw.add("vocaltrack.MP3", tone);
    raw.add("plain.txt", "Plain\r\n");
    raw.close();
    const std::string good = readBytes(plain);
    const std::vector<MemberHeaders> members = memberHeaders(good);
    ASSERT_EQ(members.size(), 3u);

    std::vector<std::pair<std::string, std::string>> cases;
    // Deflate64, PPMd and a number no method has, on the first member.
    for (std::uint16_t method : {9, 98, 200}) {
        std::string b = good;
        setMethod(b, members[0], method);
        cases.emplace_back("method " + std::to_string(method), b);
    }
    // Cut at a quarter, a half, three quarters and just before the end.
    for (std::size_t cut : {good.size() / 4, good.size() / 2, good.size() * 3 / 4, good.size() - 10})
        cases.emplace_back("cut at " + std::to_string(cut), good.substr(0, cut));
    // A flipped byte in the second member's body: its checksum fails.
    {
        std::string b = good;
        b[members[1].local + 30 + 14 + 2000] ^= 0x5a;
        cases.emplace_back("damaged body", b);
    }
    // The central directory overwritten with noise.
    {
        std::string b = good;
        const std::string n = noise(b.size() - members[0].central - 22, 7);
        b.replace(members[0].central, n.size(), n);
        cases.emplace_back("noise directory", b);
    }
    cases.emplace_back("empty file", "");
    for (const auto& [what, bytes] : cases) {
        SCOPED_TRACE(what);
        const fs::path nvk = folder.path() / "bad.NVK";
        writeBytes(nvk, bytes);
        openPackage(nvk);
        expectNoTracks();
    }
    expectUsable();
}

} // namespace
} // namespace velvora
