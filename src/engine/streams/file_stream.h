// A stream decoded from a file (WAV, MP3, FLAC, Ogg) through libsndfile.
#pragma once

#include "pipeline/channel.h"

#include <sndfile.h>

#include <string>
#include <vector>

namespace engine {

class FileStream final : public Channel {
  public:
    ~FileStream() override;
    // Opens `path`, or `bytes` when not empty. Returns null with a BASS error code in `error`.
    static std::shared_ptr<FileStream> open(const std::string& path, std::vector<char> bytes, DWORD flags,
                                            int& error);

    unsigned produce(float* out, unsigned frames, bool* ended) override;
    double positionFrame() const override { return static_cast<double>(pos_); }
    std::int64_t lengthFrames() const override { return length_; }
    bool seekFrame(std::uint64_t frame) override;

    std::string path;
    unsigned bitsPerSample = 16;

  private:
    SNDFILE* file_ = nullptr;
    std::vector<char> bytes_;
    sf_count_t memPos_ = 0;
    std::int64_t length_ = 0;
    std::int64_t pos_ = 0;

    friend struct MemoryIo;
};

} // namespace engine
