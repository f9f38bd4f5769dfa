#include "recording/take_score.h"

#include "core/files.h"
#include "core/staged_file.h"
#include "recording/capture.h"

#include <cstdio>
#include <fstream>

namespace velvora::recording {

std::string takeScorePath(App& app) {
    return joinPath(takeFolder(app), "score.txt");
}

bool keepTakeScore(App& app, const TakeScore& score) {
    const std::string text = std::to_string(score.score) + "\r\n" + score.song + "\r\n";
    StagedFile file;
    return file.open(takeScorePath(app)) && file.write(text.data(), text.size()) && file.commit();
}

void forgetTakeScore(App& app) {
    std::remove(takeScorePath(app).c_str());
}

std::optional<TakeScore> readTakeScore(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    TakeScore kept;
    if (!(in >> kept.score) || kept.score < 0 || kept.score > 100) return std::nullopt;
    in >> std::ws;
    std::getline(in, kept.song);
    if (!kept.song.empty() && kept.song.back() == '\r') kept.song.pop_back();
    return kept;
}

} // namespace velvora::recording
