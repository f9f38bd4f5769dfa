// The lyric timing engine's and painter's own values.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velvora {

// The lyric page's font request: the fields of a logical font. Heights and widths are in pixels;
// the width is the average character width (0: the face's own proportions).
struct FontSpec {
    std::int32_t Height = 0;
    std::int32_t Width = 0;
    std::int32_t Escapement = 0;
    std::int32_t Orientation = 0;
    std::int32_t Weight = 0;
    std::int32_t Italic = 0;
    std::int32_t Underline = 0;
    std::int32_t StrikeOut = 0;
    std::int32_t CharSet = 0;
    std::int32_t OutPrecision = 0;
    std::int32_t ClipPrecision = 0;
    std::int32_t Quality = 0;
    std::int32_t PitchAndFamily = 0;
    std::string FaceName;
};

struct LyricTimingState {
    // 0 until the first word step of the session, then -1; never reset.
    std::int16_t wordsRunning = 0;
    // Seconds position of the audio, sampled by tmrSYLTmp3.
    double lyricClock = 0;

    // The LRC being loaded: its path, its kept lines, and its text (lines with CR LF behind).
    std::string lyricFilePath;
    std::string lyricFileText;
    std::vector<std::string> lyricFileLines;
    bool lyricFileFound = false;

    // The lyric page's font as the last preset left it.
    FontSpec fontSpec;
};

} // namespace velvora
