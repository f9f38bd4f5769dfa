// The explorer's library: scanning a folder of 2,000 generated KAR files as the scan's worker
// does (walk, identification fields, length from the engine), against the floor of the same
// work, a walk that only reads every file whole; and the type-to-search on 10,000 songs against
// a plain case-sensitive std::string search over the same texts unfolded. Each figure is the
// median of its rounds.
#include "engine/api.h"
#include "engine/testing.h"
#include "explorer/folder_walk.h"
#include "explorer/song_reader.h"
#include "explorer/song_search.h"
#include "support/midi_writer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kSongs = 2000;
constexpr int kScanRounds = 3;
constexpr int kLibrary = 10000;

double ms(Clock::time_point from) {
    return std::chrono::duration<double, std::milli>(Clock::now() - from).count();
}
double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

const char* const kWords[] = {"amore", "notte", "sole",  "mare",  "cuore",   "luna",   "strada", "vento",
                              "fuoco", "cielo", "tempo", "sogno", "canzone", "stella", "città",  "perché"};

std::string songTitle(int i) {
    return std::string(kWords[i % 16]) + " " + kWords[(i / 16) % 16] + " " + std::to_string(i);
}

// A karaoke file of a verse: title mark, copyright, forty syllables over a melody.
std::string karFile(int i) {
    miditest::Track head;
    head.meta(0, 0x03, "Karaoke")
        .meta(0, 0x02, "(C) 2001 Artist " + std::to_string(i % 97))
        .tempo(0, 500000)
        .end(0);
    miditest::Track words;
    words.meta(0, 0x03, "Words").text(0, "@KMIDI KARAOKE FILE").text(0, "@T" + songTitle(i));
    for (int s = 0; s < 40; ++s) words.text(48, s % 8 == 0 ? "/la" : "la");
    words.end(48);
    miditest::Track melody;
    for (int s = 0; s < 40; ++s) melody.on(s == 0 ? 48 : 0, 3, 60 + s % 12).off(48, 3, 60 + s % 12);
    melody.end(0);
    return miditest::smf(1, 96, {head, words, melody});
}

// The reference: every file found and read whole, nothing understood.
std::size_t readEveryFile(const fs::path& folder) {
    std::size_t bytes = 0;
    for (const auto& e : fs::recursive_directory_iterator(folder)) {
        if (!e.is_regular_file()) continue;
        std::ifstream in(e.path(), std::ios::binary);
        const std::string all((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        bytes += all.size();
    }
    return bytes;
}

} // namespace

int main() {
    engine::testing::useVirtualDevice(true);
    BASS_Init(-1, 44100, 0, nullptr, nullptr);
    const fs::path folder =
        fs::temp_directory_path() / ("velvora-bench-library-" + std::to_string(::getpid()));
    fs::create_directories(folder);
    for (int i = 0; i < kSongs; ++i) miditest::writeFile(folder / (songTitle(i) + ".kar"), karFile(i));

    // Scan: ours as the worker runs it, the reference beside it, alternating rounds.
    std::vector<double> oursMs, refMs;
    std::size_t found = 0, titled = 0, timed = 0, bytes = 0;
    for (int round = 0; round < kScanRounds; ++round) {
        auto t = Clock::now();
        bytes = readEveryFile(folder);
        refMs.push_back(ms(t));

        t = Clock::now();
        const std::atomic<bool> stop{false};
        const velvora::explorer::FolderListing listing = velvora::explorer::listSongs(folder.string(), stop);
        found = titled = timed = 0;
        for (const std::string& path : listing.songs) {
            const velvora::explorer::SongRecord r = velvora::explorer::readSong(path);
            ++found;
            if (r.title.rfind(kWords[0], 0) == 0 || r.title.find(' ') != std::string::npos) ++titled;
            if (r.seconds > 0) ++timed;
        }
        oursMs.push_back(ms(t));
    }
    const double scanMs = median(oursMs), floorMs = median(refMs);
    const double songsPerS = kSongs / (scanMs / 1000.0);
    const double floorPerS = kSongs / (floorMs / 1000.0);
    std::printf("scan of %d KAR files (%zu bytes): ours %.1f ms (%zu songs, %zu titled, %zu with a length), "
                "find+read %.1f ms\n",
                kSongs, bytes, scanMs, found, titled, timed, floorMs);
    fs::remove_all(folder);

    // Search on 10,000 songs: every prefix of a few typed queries, as the box sends them.
    std::vector<velvora::explorer::SongRecord> songs(kLibrary);
    std::vector<std::string> plain(kLibrary);
    for (int i = 0; i < kLibrary; ++i) {
        songs[i].path = "/music/karaoke/" + songTitle(i) + ".kar";
        songs[i].title = songTitle(i);
        songs[i].artist = "Artist " + std::to_string(i % 97);
        songs[i].kind = "KAR";
        plain[i] = songs[i].title + '\n' + songs[i].artist + '\n' + songTitle(i);
    }
    velvora::explorer::SongIndex index;
    auto t = Clock::now();
    index.rebuild(songs);
    const double buildMs = ms(t);
    const std::vector<std::string> typed = {"Luna mare", "PERCHÉ sole", "artist 42", "città 123", "zzz"};
    std::vector<double> searchMs, linearMs;
    std::size_t hits = 0, linearHits = 0;
    for (int round = 0; round < 5; ++round)
        for (const std::string& query : typed)
            for (std::size_t n = 1; n <= query.size(); ++n) {
                const std::string prefix = query.substr(0, n);
                t = Clock::now();
                hits += index.search(prefix).size();
                searchMs.push_back(ms(t));
                t = Clock::now();
                std::size_t count = 0;
                for (const std::string& s : plain)
                    if (s.find(prefix) != std::string::npos) ++count;
                linearMs.push_back(ms(t));
                linearHits += count;
            }
    const double search = median(searchMs), linear = median(linearMs);
    std::printf("search on %d songs: ours %.3f ms (max %.3f, index built in %.1f ms, %zu hits), "
                "plain std::string find %.3f ms (%zu hits)\n",
                kLibrary, search, *std::max_element(searchMs.begin(), searchMs.end()), buildMs, hits, linear,
                linearHits);
    BASS_Free();
    std::printf(
        "RESULT library_scan songs_per_s=%.0f find_read_songs_per_s=%.0f scan_ratio=%.2f search_ms=%.3f "
        "linear_search_ms=%.3f search_ratio=%.2f\n",
        songsPerS, floorPerS, songsPerS / floorPerS, search, linear, search / linear);
    return 0;
}
