// The lyric timing engine's and painter's own values.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velvora {

struct LyricTimingState {
    std::int16_t wordsRunning = 0;
    double lyricClock = 0;
    std::string lyricFilePath;
    std::string lyricFileText;
    std::vector<std::string> lyricFileLines;
    bool lyricFileFound = false;
};

} // namespace velvora
