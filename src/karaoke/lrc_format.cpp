#include "karaoke/lrc_format.h"

#include "core/utf8.h"
#include "core/vb_text.h"

namespace velvora::karaoke {

namespace {

// The text without its first character (a whole character, not a byte of it). A line break inside
// a syllable (some songs start their lines with one) becomes a space: the file has one timed line
// a line.
std::string lineText(const std::string& text) {
    std::u32string chars = utf8::toText32(text);
    if (chars.empty()) return {};
    chars.erase(0, 1);
    for (char32_t& c : chars)
        if (c == U'\r' || c == U'\n') c = U' ';
    return utf8::fromText32(chars);
}

} // namespace

void Lrc_format(LrcCreatorState& lrc, std::string& channel5) {
    if (lrc.lineSeconds <= 0) lrc.lineSeconds = 1;
    long long minutes = lrc.lineSeconds / 60;
    long long seconds = lrc.lineSeconds - minutes * 60;
    if (minutes == 0) {
        if (seconds > 2) --seconds;
    } else if (seconds <= 2) {
        seconds += 57;
        --minutes;
    } else {
        --seconds;
    }
    lrc.lrcMinutes = minutes;
    lrc.stampSeconds = seconds;
    if (lrc.lrcLine.empty()) return;
    channel5 += "[" + vb::Format(static_cast<double>(minutes), "00") + ":" +
                vb::Format(static_cast<double>(seconds), "00") + "]" + lineText(lrc.lrcLine) + "\r\n";
}

} // namespace velvora::karaoke
