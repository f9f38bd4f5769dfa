#include "encoding/encoding_checks.h"
#include "encoding/mp3_writer.h"
#include "encoding/raised_error.h"
#include "encoding/wav_bytes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

namespace {

using velvora::encoding::cMp3Writer;
using namespace enctest;

void expectWriterError(int code, const std::string& routine, const std::string& text,
                       const std::function<void()>& f) {
    expectRaised(29870 + code, "velvora." + routine, text, f);
}

void fill(cMp3Writer& w, std::size_t n, std::uint8_t seed) {
    for (std::size_t i = 0; i < n; ++i) w.BufferPointer()[i] = static_cast<std::uint8_t>(seed + i * 7);
}

TEST(Mp3Writer, WritesExactlyTheBytesItIsGiven) {
    Folder dir;
    const auto path = dir / "out.mp3";
    writeFile(path, Bytes(5000, 0xEE)); // an existing file is emptied
    cMp3Writer w("velvora");
    EXPECT_EQ(w.BufferSize(), 8192);
    w.Filename(path.string());
    EXPECT_EQ(w.Filename(), path.string());
    EXPECT_EQ(readFile(path).size(), 0u);

    Bytes expected;
    const std::pair<int, int> writes[] = {{100, 1}, {0, 2}, {8192, 3}, {1, 4}, {4097, 5}};
    for (auto [n, seed] : writes) {
        fill(w, static_cast<std::size_t>(n), static_cast<std::uint8_t>(seed));
        EXPECT_TRUE(w.WriteBufferToFile(n));
        expected.insert(expected.end(), w.BufferPointer(), w.BufferPointer() + n);
    }
    w.CloseFile();
    EXPECT_EQ(readFile(path), expected);
}

TEST(Mp3Writer, ABlockSetAfterTheNameReplacesTheOldOneWhileTheFileStaysOpen) {
    Folder dir;
    const auto path = dir / "out.mp3";
    cMp3Writer w("velvora");
    w.Filename(path.string());
    fill(w, 10, 9);
    w.WriteBufferToFile(10);
    w.BufferSize(20000);
    EXPECT_EQ(w.BufferSize(), 20000);
    // The new block starts zero-filled.
    for (int i = 0; i < 20000; ++i) ASSERT_EQ(w.BufferPointer()[i], 0);
    fill(w, 20000, 1);
    EXPECT_TRUE(w.WriteBufferToFile(20000));
    w.CloseFile();
    EXPECT_EQ(readFile(path).size(), 20010u);
}

TEST(Mp3Writer, RefusalsHaveTheirNumbersRoutinesAndWords) {
    Folder dir;
    cMp3Writer w("velvora");
    expectWriterError(4, "WriteBufferToFile", "File not open for writing", [&] { w.WriteBufferToFile(1); });
    expectWriterError(3, "WriteBufferToFile", "Cannot write more data than is available in the buffer",
                      [&] { w.WriteBufferToFile(8193); });
    expectWriterError(3, "WriteBufferToFile", "Cannot write more data than is available in the buffer",
                      [&] { w.WriteBufferToFile(-1); });

    // A path that cannot be made: the name is kept, no handle is.
    const std::string nowhere = (dir / "no-such-folder" / "x.mp3").string();
    expectWriterError(2, "OpenFile", "Unable to open file for writing", [&] { w.Filename(nowhere); });
    EXPECT_EQ(w.Filename(), nowhere);
    EXPECT_FALSE(w.isOpen());
    expectWriterError(2, "OpenFile", "Unable to open file for writing",
                      [&] { w.Filename(dir.path().string()); });
    expectWriterError(2, "OpenFile", "Unable to open file for writing", [&] { w.Filename(""); });
    expectWriterError(4, "WriteBufferToFile", "File not open for writing", [&] { w.WriteBufferToFile(0); });

    expectWriterError(1, "AllocateBuffer", "Unable to allocate output buffer for writing",
                      [&] { w.BufferSize(-5); });
    EXPECT_EQ(w.BufferSize(), 8192);
    EXPECT_EQ(w.BufferPointer(), nullptr);

    // Still usable: a new block, a file that can be made.
    w.BufferSize(16);
    w.Filename((dir / "fine.mp3").string());
    EXPECT_TRUE(w.WriteBufferToFile(16));
}

TEST(Mp3Writer, AFailedWriteIsRaised) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    cMp3Writer w("velvora");
    w.Filename("/dev/full");
    EXPECT_TRUE(w.WriteBufferToFile(0));
    expectWriterError(5, "WriteBufferToFile", "Failed to write buffer to file",
                      [&] { w.WriteBufferToFile(100); });
}

} // namespace
