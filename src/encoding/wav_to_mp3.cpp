#include "encoding/wav_to_mp3.h"

#include "encoding/encoding_flows.h"
#include "encoding/lame_encoder.h"
#include "encoding/raised_error.h"
#include "encoding/wav_reader.h"

#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace velvora::encoding {

namespace fs = std::filesystem;

namespace {

ConvertOutcome failed(const RaisedError& e) {
    return {ConvertOutcome::Failed, e.number(), e.source(), e.description()};
}

// A name beside `target` that no file has yet.
std::string partName(const std::string& target) {
    std::error_code ec;
    for (int i = 0;; ++i) {
        const std::string name =
            target + "." + std::to_string(::getpid()) + "-" + std::to_string(i) + ".part";
        if (!fs::exists(name, ec)) return name;
    }
}

} // namespace

std::string mp3NameFor(const std::string& wavPath) {
    return fs::path(wavPath).replace_extension(".mp3").string();
}

ConvertOutcome convertWavToMp3(const std::string& wavPath, const std::string& mp3Path,
                               const std::string& appName, const ConvertProgress& progress) {
    std::uint32_t rate = 0;
    try {
        cWavReader probe(appName);
        probe.Filename(wavPath);
        rate = probe.Format().samplesPerSec;
    } catch (const RaisedError& e) {
        return failed(e);
    }
    std::error_code ec;
    if (fs::equivalent(wavPath, mp3Path, ec) || mp3Path.empty())
        return failed(mp3WriterError(appName, "OpenFile", 2));

    cLameEncoder encoder(appName);
    usePackageSettings(encoder);
    encoder.SampleRate(static_cast<std::int32_t>(rate));
    const std::string part = partName(mp3Path);
    encoder.WavFile(wavPath);
    encoder.Mp3File(part);
    bool cancelled = false;
    encoder.EncodeProgress = [&](std::int64_t done, std::int64_t total, bool& cancel) {
        if (progress) progress(done, total, cancel);
        cancelled = cancel;
    };
    try {
        encoder.Encode();
    } catch (const RaisedError& e) {
        return failed(e);
    }
    if (cancelled) return {ConvertOutcome::Cancelled, 0, {}, {}};
    fs::rename(part, mp3Path, ec);
    if (ec) {
        fs::remove(part, ec);
        return failed(mp3WriterError(appName, "OpenFile", 2));
    }
    return {ConvertOutcome::Done, 0, {}, {}};
}

} // namespace velvora::encoding
