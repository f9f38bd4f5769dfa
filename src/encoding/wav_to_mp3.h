// One WAV file to one MP3 file with the package's encoder values at the WAV's own rate, for the
// converter program. The MP3 is made under a temporary name beside the target and takes the
// target's name only when it is whole, so a failed or cancelled job leaves any earlier file of
// that name as it was.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace velvora::encoding {

struct ConvertOutcome {
    enum Status { Done, Cancelled, Failed } status = Failed;
    // For Failed: the raised error.
    int number = 0;
    std::string source;
    std::string description;
};

// Progress in samples done of all; setting `cancel` stops the job.
using ConvertProgress = std::function<void(std::int64_t done, std::int64_t total, bool& cancel)>;

ConvertOutcome convertWavToMp3(const std::string& wavPath, const std::string& mp3Path,
                               const std::string& appName, const ConvertProgress& progress = {});

// The MP3 name the converter offers for a WAV: the same name with ".mp3" in place of its extension.
std::string mp3NameFor(const std::string& wavPath);

} // namespace velvora::encoding
