// The singer's score kept with the take it was sung in: a small text file beside the take's voice
// in the take folder, holding the score (0 to 100) on its first line and the song's file name on
// the second. A new take forgets the last one's score.
#pragma once

#include "core/app.h"

#include <optional>
#include <string>

namespace velvora::recording {

struct TakeScore {
    int score = 0;
    std::string song;
};

std::string takeScorePath(App& app);
// Writes the take's score; false (and any earlier file left as it was) when it cannot be written.
bool keepTakeScore(App& app, const TakeScore& score);
void forgetTakeScore(App& app);
// The score in the file at `path`; none when there is no such file or it holds no score.
std::optional<TakeScore> readTakeScore(const std::string& path);

} // namespace velvora::recording
