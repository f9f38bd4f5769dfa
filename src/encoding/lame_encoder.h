// cLameEncoder: turns one stereo 16-bit WAV file into one MP3 file. For the length of a job it owns
// a cWavReader and a cMp3Writer, feeds whole sample blocks to the encoder's entry points and
// reports progress through its event. Failures are raised as RaisedError: the encoder's own on
// 29770, the reader's and the writer's with their numbers; once a job runs, every failure comes
// out with the source "<appName>.lameConvert" and leaves no output file behind.
//
// Encode blocks the calling thread for the whole job. The same object runs any number of jobs.
#pragma once

#include "encoding/lame_encoder_version.h"
#include "encoding/lame_shim.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace velvora::encoding {

class cWavReader;
class cMp3Writer;

class cLameEncoder {
  public:
    explicit cLameEncoder(std::string appName);
    ~cLameEncoder();
    cLameEncoder(const cLameEncoder&) = delete;
    cLameEncoder& operator=(const cLameEncoder&) = delete;

    // Made on the first request and kept.
    const cLameEncoderVersion& Version();
    const std::string& WavFile() const { return m_sWavFile; }
    // Kept only when the file exists; otherwise the old name stays.
    void WavFile(const std::string& path);
    const std::string& Mp3File() const { return m_sMp3File; }
    // Kept only when no file of that name exists; otherwise the old name stays.
    void Mp3File(const std::string& path);
    std::int32_t EncodingPreset() const { return m_tBeConfig.preset; }
    void EncodingPreset(std::int32_t preset) { m_tBeConfig.preset = preset; }
    std::int32_t BitRate() const { return static_cast<std::int32_t>(m_tBeConfig.bitrate); }
    void BitRate(std::int32_t kbps) { m_tBeConfig.bitrate = static_cast<std::uint32_t>(kbps); }
    std::int32_t SampleRate() const { return static_cast<std::int32_t>(m_tBeConfig.inputRate); }
    void SampleRate(std::int32_t hz) { m_tBeConfig.inputRate = static_cast<std::uint32_t>(hz); }
    std::int32_t OutputMode() const { return m_tBeConfig.mode; }
    void OutputMode(std::int32_t mode) { m_tBeConfig.mode = mode; }

    // Runs one whole job from WavFile to Mp3File.
    void Encode();

    // The event: samples done, samples in all, and a flag the handler sets to cancel the job.
    // Raised after each block and once more with done equal to all at the end. A cancelled job
    // leaves no output file. A handler may throw; the job then fails as with any other error.
    std::function<void(std::int64_t done, std::int64_t total, bool& cancel)> EncodeProgress;

    // The record the next job starts the encoder with.
    const BeConfig& config() const { return m_tBeConfig; }

  private:
    static bool FileExists(const std::string& path);
    static void KillFile(const std::string& path);
    void InitStream();
    void CloseStream();
    std::unique_ptr<cMp3Writer> OpenWriter();
    std::unique_ptr<cWavReader> OpenReader();
    void RaiseLameError(const std::string& routine, std::uint32_t code, bool isLame) const;
    // The blocks of one job, from an open stream.
    void convert(cWavReader& reader, cMp3Writer& writer);

    std::string m_appName;
    BeConfig m_tBeConfig{};
    std::uint32_t m_hStream = 0;
    std::uint32_t m_lSamples = 0;
    std::uint32_t m_lBufferSize = 0;
    std::string m_sWavFile;
    std::string m_sMp3File;
    std::unique_ptr<cLameEncoderVersion> m_cVersion;
};

} // namespace velvora::encoding
