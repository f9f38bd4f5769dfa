// The archive object: round trips through the roles the package code uses, and hostile archives
// that must land nothing outside the extraction folder.
#include "package/raw_zip.h"
#include "package/zip_archive.h"

#include <gtest/gtest.h>
#include <zip.h>

#include <cstdlib>

namespace fs = std::filesystem;
using velvora::package::ZipArchive;
using namespace velvora::packagetest;

namespace {

struct Sandbox {
    fs::path root;
    Sandbox() {
        std::string templ = (fs::temp_directory_path() / "velvora-zip-XXXXXX").string();
        root = ::mkdtemp(templ.data());
        fs::create_directories(root / "work" / "TMPK");
    }
    ~Sandbox() { fs::remove_all(root); }
    fs::path tmpk() const { return root / "work" / "TMPK"; }
    // Every file under the sandbox, as paths relative to it.
    std::vector<std::string> files() const {
        std::vector<std::string> out;
        for (auto& e : fs::recursive_directory_iterator(root))
            if (!e.is_directory()) out.push_back(fs::relative(e.path(), root).generic_string());
        std::sort(out.begin(), out.end());
        return out;
    }
};

TEST(ZipArchive, WritesFlatPackageAndReadsItBack) {
    Sandbox box;
    fs::path src = box.root / "stage";
    fs::create_directories(src / "sub");
    writeBytes(src / "BackingTrack.MP3", std::string(5000, 'b'));
    writeBytes(src / "song.txt", "Title\r\nArtist\r\n");
    writeBytes(src / "sub" / "deeper.txt", "not taken when flat");

    ZipArchive zip;
    std::vector<std::string> fileEvents;
    std::vector<int> overall;
    zip.onFileProgress = [&](const std::string& n, int) { fileEvents.push_back(n); };
    zip.onOverallProgress = [&](const std::string&, int p) { overall.push_back(p); };
    fs::path nvk = box.root / "song.NVK";
    ASSERT_TRUE(zip.createArchive(nvk)) << zip.lastError();
    ASSERT_TRUE(zip.addFiles(src)) << zip.lastError();
    ASSERT_TRUE(zip.closeArchive()) << zip.lastError();
    EXPECT_EQ(fileEvents, (std::vector<std::string>{"BackingTrack.MP3", "song.txt"}));
    ASSERT_FALSE(overall.empty());
    EXPECT_EQ(overall.back(), 100);

    ASSERT_TRUE(zip.openArchive(nvk));
    EXPECT_EQ(zip.entryCount(), 2);
    EXPECT_TRUE(zip.checkEntry(0));
    EXPECT_TRUE(zip.checkEntry(1));
    EXPECT_FALSE(zip.checkEntry(2));
    overall.clear();
    zip.setBaseFolder(box.tmpk());
    EXPECT_TRUE(zip.extractFiles("*.TXT")); // any case
    EXPECT_EQ(zip.extractedCount(), 1);
    EXPECT_EQ(overall, (std::vector<int>{100}));
    EXPECT_TRUE(zip.extractFiles("*.*"));
    EXPECT_EQ(zip.extractedCount(), 2);
    EXPECT_TRUE(zip.closeArchive());
    EXPECT_EQ(readBytes(box.tmpk() / "BackingTrack.MP3"), std::string(5000, 'b'));
    EXPECT_EQ(readBytes(box.tmpk() / "song.txt"), "Title\r\nArtist\r\n");

    // Removing a member, and replacing one by adding a file of the same name.
    ASSERT_TRUE(zip.openArchive(nvk));
    EXPECT_TRUE(zip.removeFile("song.txt"));
    EXPECT_FALSE(zip.removeFile("absent.txt"));
    writeBytes(src / "BackingTrack.MP3", "new");
    EXPECT_TRUE(zip.addFiles(src / "BackingTrack.MP3"));
    ASSERT_TRUE(zip.closeArchive());
    ASSERT_TRUE(zip.openArchive(nvk));
    EXPECT_EQ(zip.entryCount(), 1);
    fs::remove(box.tmpk() / "BackingTrack.MP3");
    EXPECT_TRUE(zip.extractFiles("backingtrack.mp3"));
    EXPECT_EQ(readBytes(box.tmpk() / "BackingTrack.MP3"), "new");
}

TEST(ZipArchive, PreservedPathsKeepFoldersInsideTheBase) {
    Sandbox box;
    fs::path src = box.root / "stage";
    fs::create_directories(src / "sub");
    writeBytes(src / "sub" / "deeper.txt", "deep");
    ZipArchive zip;
    zip.setPreservePath(true);
    fs::path z = box.root / "tree.zip";
    ASSERT_TRUE(zip.createArchive(z));
    ASSERT_TRUE(zip.addFiles(src));
    ASSERT_TRUE(zip.closeArchive());
    ASSERT_TRUE(zip.openArchive(z));
    zip.setBaseFolder(box.tmpk());
    EXPECT_TRUE(zip.extractFiles("*"));
    EXPECT_EQ(readBytes(box.tmpk() / "sub" / "deeper.txt"), "deep");
    // The same member stored flat.
    zip.setPreservePath(false);
    EXPECT_TRUE(zip.extractFiles("deeper.txt"));
    EXPECT_EQ(readBytes(box.tmpk() / "deeper.txt"), "deep");
}

TEST(ZipArchive, MasksAndMemberNames) {
    using velvora::package::maskMatches;
    using velvora::package::safeMemberPath;
    EXPECT_TRUE(maskMatches("*.*", "README"));
    EXPECT_TRUE(maskMatches("*.mp3", "vocaltrack.MP3"));
    EXPECT_TRUE(maskMatches("ZZZZ.???", "zzzz.mid"));
    EXPECT_FALSE(maskMatches("ZZZZ.???", "zzzz.midi"));
    EXPECT_TRUE(maskMatches("*a*b", "xxaxxab"));
    EXPECT_FALSE(maskMatches("*a*b", "xxaxxa"));
    EXPECT_EQ(safeMemberPath("../x", false), fs::path("x"));
    EXPECT_EQ(safeMemberPath("C:\\win\\evil.dll", false), fs::path("evil.dll"));
    EXPECT_EQ(safeMemberPath("/etc/passwd", false), fs::path("passwd"));
    EXPECT_EQ(safeMemberPath("dir/..", false), fs::path());
    EXPECT_EQ(safeMemberPath("a/../../x", true), fs::path());
    EXPECT_EQ(safeMemberPath("/abs", true), fs::path());
    EXPECT_EQ(safeMemberPath("C:/x", true), fs::path());
    EXPECT_EQ(safeMemberPath("a\\b", true), fs::path("a") / "b");
}

TEST(ZipArchive, HostileNamesAndLinksLandNothingOutside) {
    Sandbox box;
    fs::path z = box.root / "hostile.NVK";
    RawZip raw(z);
    raw.add("../escaped.txt", "slip");
    raw.add("/tmp/velvora-abs-escape.txt", "abs");
    raw.add("..\\..\\back.txt", "back");
    raw.add("C:\\drive.txt", "drive");
    raw.link("link", "/etc");
    raw.add("dir/../../up.txt", "up");
    raw.close();
    // A link already lying in the target folder is replaced, not followed.
    fs::create_symlink(box.root / "outside.txt", box.tmpk() / "escaped.txt");

    for (bool preserve : {false, true}) {
        ZipArchive zip;
        zip.setPreservePath(preserve);
        ASSERT_TRUE(zip.openArchive(z));
        zip.setBaseFolder(box.tmpk());
        EXPECT_FALSE(zip.extractFiles("*.*")); // some members are refused
        EXPECT_GE(zip.refusedCount(), 1);
        EXPECT_TRUE(zip.closeArchive());
        for (const std::string& f : box.files())
            EXPECT_TRUE(f.rfind("work/TMPK/", 0) == 0 || f == "hostile.NVK") << f;
        EXPECT_FALSE(fs::exists("/tmp/velvora-abs-escape.txt"));
        EXPECT_FALSE(fs::exists(box.root / "outside.txt"));
        EXPECT_FALSE(fs::is_symlink(box.tmpk() / "link"));
    }
    // Flat, the names keep only their last part.
    EXPECT_EQ(readBytes(box.tmpk() / "escaped.txt"), "slip");
    EXPECT_EQ(readBytes(box.tmpk() / "drive.txt"), "drive");
}

TEST(ZipArchive, BombsAndFloodsAreRefusedBeforeWriting) {
    Sandbox box;
    fs::path bomb = box.root / "bomb.NVK";
    RawZip raw(bomb);
    raw.add("a.txt", "small");
    raw.add("zeros.MP3", std::string(8u << 20, '\0')); // deflates far beyond 200:1
    raw.close();
    ZipArchive zip;
    ASSERT_TRUE(zip.openArchive(bomb));
    zip.setBaseFolder(box.tmpk());
    EXPECT_FALSE(zip.extractFiles("*.*"));
    EXPECT_NE(zip.lastError().find("limit"), std::string::npos);
    EXPECT_TRUE(fs::is_empty(box.tmpk()));

    // A total over the limit, each member stored plainly.
    fs::path big = box.root / "big.NVK";
    RawZip raw2(big);
    raw2.add("one", std::string(3000, 'x'), true);
    raw2.add("two", std::string(3000, 'y'), true);
    raw2.close();
    velvora::package::ExtractLimits limits;
    limits.totalBytes = 5000;
    zip.setLimits(limits);
    ASSERT_TRUE(zip.openArchive(big));
    EXPECT_FALSE(zip.extractFiles("*.*"));
    EXPECT_TRUE(fs::is_empty(box.tmpk()));

    // Thousands of members stop at the count limit.
    fs::path many = box.root / "many.NVK";
    RawZip raw3(many);
    for (int i = 0; i < 5000; ++i) raw3.add("m" + std::to_string(i), "");
    raw3.close();
    zip.setLimits({});
    ASSERT_TRUE(zip.openArchive(many));
    EXPECT_EQ(zip.entryCount(), 5000);
    EXPECT_FALSE(zip.extractFiles("*.*"));
    EXPECT_TRUE(fs::is_empty(box.tmpk()));
}

TEST(ZipArchive, DamagedEncryptedAndUnsupportedArchivesFailCleanly) {
    Sandbox box;
    fs::path good = box.root / "good.NVK";
    RawZip raw(good);
    raw.add("vocaltrack.MP3", std::string(20000, 'v'), true);
    raw.close();
    std::string bytes = readBytes(good);

    // Truncated: the directory at the end is gone.
    writeBytes(box.root / "cut.NVK", bytes.substr(0, bytes.size() / 2));
    ZipArchive zip;
    EXPECT_FALSE(zip.openArchive(box.root / "cut.NVK"));
    EXPECT_FALSE(zip.lastError().empty());
    EXPECT_EQ(zip.entryCount(), 0);
    zip.setBaseFolder(box.tmpk());
    EXPECT_FALSE(zip.extractFiles("*.*"));

    // Not an archive at all.
    writeBytes(box.root / "text.NVK", "just some text");
    EXPECT_FALSE(zip.openArchive(box.root / "text.NVK"));

    // A damaged member body: the checksum catches it and no file is left behind.
    std::string damaged = bytes;
    damaged[100] ^= 0x55;
    writeBytes(box.root / "damaged.NVK", damaged);
    ASSERT_TRUE(zip.openArchive(box.root / "damaged.NVK"));
    EXPECT_FALSE(zip.checkEntry(0));
    EXPECT_FALSE(zip.extractFiles("*.*"));
    EXPECT_TRUE(fs::is_empty(box.tmpk()));
    zip.closeArchive();

    // An unsupported method (Deflate64, 9) patched into both headers.
    std::string deflate64 = bytes;
    ASSERT_EQ(memberHeaders(deflate64).size(), 1u);
    setMethod(deflate64, memberHeaders(deflate64)[0], 9);
    writeBytes(box.root / "d64.NVK", deflate64);
    ASSERT_TRUE(zip.openArchive(box.root / "d64.NVK"));
    EXPECT_FALSE(zip.extractFiles("*.*"));
    EXPECT_EQ(zip.refusedCount(), 1);
    EXPECT_TRUE(fs::is_empty(box.tmpk()));
    zip.closeArchive();

    // A password-protected archive does not unpack without the password, and does with it.
    fs::path stage = box.root / "stage";
    fs::create_directories(stage);
    writeBytes(stage / "secret.txt", "hidden");
    ZipArchive maker;
    maker.setPassword("Marbello_47");
    ASSERT_TRUE(maker.createArchive(box.root / "locked.NVK"));
    ASSERT_TRUE(maker.addFiles(stage));
    ASSERT_TRUE(maker.closeArchive()) << maker.lastError();
    ASSERT_TRUE(zip.openArchive(box.root / "locked.NVK"));
    EXPECT_FALSE(zip.checkEntry(0));
    EXPECT_FALSE(zip.extractFiles("*.*"));
    EXPECT_TRUE(fs::is_empty(box.tmpk()));
    zip.closeArchive();
    zip.setPassword("Marbello_47");
    ASSERT_TRUE(zip.openArchive(box.root / "locked.NVK"));
    EXPECT_TRUE(zip.checkEntry(0));
    EXPECT_TRUE(zip.extractFiles("*.*"));
    EXPECT_EQ(readBytes(box.tmpk() / "secret.txt"), "hidden");
}

} // namespace
