#include "encoding/lame_shim.h"

#include <lame/lame.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace velvora::encoding {

static_assert(std::endian::native == std::endian::little, "the records are laid out little-endian");

namespace {

// This layer's own version and release date, reported beside the engine's version.
constexpr std::uint8_t kShimMajor = 1, kShimMinor = 0;
constexpr int kShimYear = 2026, kShimMonth = 11, kShimDay = 23;

// Streams open at once; one more is refused.
constexpr std::size_t kMaxStreams = 64;

constexpr std::array<std::uint32_t, 3> kMpeg1Rates = {32000, 44100, 48000};
constexpr std::array<std::uint32_t, 3> kMpeg2Rates = {16000, 22050, 24000};
constexpr std::array<std::uint32_t, 14> kMpeg1Bitrates = {32,  40,  48,  56,  64,  80,  96,
                                                          112, 128, 160, 192, 224, 256, 320};
constexpr std::array<std::uint32_t, 14> kMpeg2Bitrates = {8,  16, 24, 32,  40,  48,  56,
                                                          64, 80, 96, 112, 128, 144, 160};

void silent(const char*, va_list) {}

struct LameClose {
    void operator()(lame_global_flags* gf) const { lame_close(gf); }
};

struct Stream {
    std::unique_ptr<lame_global_flags, LameClose> lame;
    // Samples (both channels) per chunk, and the output room the caller provides.
    std::uint32_t samples = 0;
    std::uint32_t bufferSize = 0;
};

class StreamTable {
  public:
    std::uint32_t add(std::unique_ptr<Stream> s) {
        std::lock_guard lock(mutex_);
        if (streams_.size() >= kMaxStreams) return 0;
        do {
            ++next_;
        } while (next_ == 0 || streams_.count(next_));
        streams_.emplace(next_, std::move(s));
        return next_;
    }
    Stream* find(std::uint32_t handle) {
        std::lock_guard lock(mutex_);
        const auto it = streams_.find(handle);
        return it == streams_.end() ? nullptr : it->second.get();
    }
    bool remove(std::uint32_t handle) {
        std::unique_ptr<Stream> gone;
        std::lock_guard lock(mutex_);
        const auto it = streams_.find(handle);
        if (it == streams_.end()) return false;
        gone = std::move(it->second);
        streams_.erase(it);
        return true;
    }

  private:
    std::mutex mutex_;
    std::unordered_map<std::uint32_t, std::unique_ptr<Stream>> streams_;
    std::uint32_t next_ = 0;
};

StreamTable& streams() {
    static StreamTable table;
    return table;
}

template <std::size_t N>
bool contains(const std::array<std::uint32_t, N>& values, std::uint32_t v) {
    return std::find(values.begin(), values.end(), v) != values.end();
}

template <std::size_t N>
std::uint32_t nearest(const std::array<std::uint32_t, N>& values, std::uint32_t v) {
    std::uint32_t best = values[0];
    for (std::uint32_t x : values)
        if (std::llabs(std::int64_t(x) - v) < std::llabs(std::int64_t(best) - v)) best = x;
    return best;
}

// The VBR presets that LAME knows by name.
int namedPreset(std::int32_t preset) {
    switch (preset) {
    case kPresetR3mix:
        return R3MIX;
    case kPresetStandard:
        return STANDARD;
    case kPresetFastStandard:
        return STANDARD_FAST;
    case kPresetExtreme:
        return EXTREME;
    case kPresetFastExtreme:
        return EXTREME_FAST;
    case kPresetInsane:
        return INSANE;
    case kPresetMedium:
        return MEDIUM;
    case kPresetFastMedium:
        return MEDIUM_FAST;
    default:
        return 0;
    }
}

// LAME's quality (0 best, 9 fastest) of the presets that set only that.
int presetQuality(std::int32_t preset) {
    switch (preset) {
    case kPresetNormal:
        return 5;
    case kPresetLow:
        return 9;
    case kPresetHigh:
        return 2;
    case kPresetVeryHigh:
        return 0;
    default:
        return -1;
    }
}

vbr_mode vbrModeOf(std::int32_t method) {
    switch (method) {
    case kVbrMethodOld:
        return vbr_rh;
    case kVbrMethodAbr:
        return vbr_abr;
    case kVbrMethodNone:
    case kVbrMethodDefault:
    case kVbrMethodNew:
    case kVbrMethodMtrh:
    default:
        return vbr_mtrh;
    }
}

// Applies the record to a fresh LAME state; a status other than kBeOk when the record asks for
// something the encoder cannot do.
std::uint32_t configure(lame_global_flags* gf, const BeConfig& c) {
    const bool mpeg1 = c.mpegVersion == kMpeg1;
    if (c.mpegVersion != kMpeg1 && c.mpegVersion != kMpeg2) return kBeInvalidFormatParameters;
    if (c.inputRate == 0 || c.mode < kModeStereo || c.mode > kModeMono) return kBeInvalidFormatParameters;
    const std::uint32_t outRate = c.outputRate ? c.outputRate
                                  : mpeg1      ? nearest(kMpeg1Rates, c.inputRate)
                                               : nearest(kMpeg2Rates, c.inputRate);
    if (mpeg1 ? !contains(kMpeg1Rates, outRate) : !contains(kMpeg2Rates, outRate))
        return kBeInvalidFormatParameters;

    lame_set_errorf(gf, silent);
    lame_set_debugf(gf, silent);
    lame_set_msgf(gf, silent);
    lame_set_num_channels(gf, 2);
    lame_set_in_samplerate(gf, static_cast<int>(c.inputRate));
    lame_set_out_samplerate(gf, static_cast<int>(outRate));
    lame_set_mode(gf, static_cast<MPEG_mode>(c.mode));
    lame_set_emphasis(gf, static_cast<int>(c.emphasis));
    lame_set_extension(gf, c.privateBit != 0);
    lame_set_error_protection(gf, c.crc != 0);
    lame_set_copyright(gf, c.copyright != 0);
    lame_set_original(gf, c.original != 0);
    lame_set_bWriteVbrTag(gf, c.writeVbrHeader != 0);
    lame_set_disable_reservoir(gf, c.noReservoir != 0);
    lame_set_strict_ISO(gf, c.strictIso != 0);
    const int q = c.quality & 0xff;
    if ((c.quality >> 8) == (~q & 0xff) && q <= 9) lame_set_quality(gf, q);

    const auto constantRate = [&]() -> std::uint32_t {
        if (mpeg1 ? !contains(kMpeg1Bitrates, c.bitrate) : !contains(kMpeg2Bitrates, c.bitrate))
            return kBeInvalidFormatParameters;
        lame_set_VBR(gf, vbr_off);
        lame_set_brate(gf, static_cast<int>(c.bitrate));
        return kBeOk;
    };
    const auto averageRate = [&] {
        lame_set_VBR(gf, vbr_abr);
        lame_set_VBR_mean_bitrate_kbps(gf, static_cast<int>(c.abrRate ? c.abrRate / 1000 : c.bitrate));
        if (c.bitrate) lame_set_VBR_min_bitrate_kbps(gf, static_cast<int>(c.bitrate));
        if (c.maxBitrate) lame_set_VBR_max_bitrate_kbps(gf, static_cast<int>(c.maxBitrate));
    };

    if (c.preset == kPresetCbr) return constantRate();
    if (c.preset == kPresetAbr) {
        averageRate();
        return kBeOk;
    }
    if (const int named = namedPreset(c.preset)) {
        lame_set_preset(gf, named);
        return kBeOk;
    }
    if (c.preset != kPresetNone) {
        const int quality = presetQuality(c.preset);
        if (quality < 0) return kBeInvalidFormatParameters;
        lame_set_quality(gf, quality);
    }
    if (!c.enableVbr) return constantRate();
    if (c.vbrMethod == kVbrMethodAbr) {
        averageRate();
        return kBeOk;
    }
    lame_set_VBR(gf, vbrModeOf(c.vbrMethod));
    lame_set_VBR_q(gf, std::clamp(c.vbrQuality, 0, 9));
    if (c.bitrate) lame_set_VBR_min_bitrate_kbps(gf, static_cast<int>(c.bitrate));
    if (c.maxBitrate) lame_set_VBR_max_bitrate_kbps(gf, static_cast<int>(c.maxBitrate));
    return kBeOk;
}

} // namespace

std::uint32_t beInitStream(const BeConfig* config, std::uint32_t* samples, std::uint32_t* bufferSize,
                           std::uint32_t* stream) {
    if (!config || !samples || !bufferSize || !stream) return kBeInvalidFormatParameters;
    if (config->configKind != kBeConfigLame) return kBeInvalidFormat;
    auto s = std::make_unique<Stream>();
    s->lame.reset(lame_init());
    if (!s->lame) return kBeOutOfHandles;
    if (const std::uint32_t status = configure(s->lame.get(), *config)) return status;
    if (lame_init_params(s->lame.get()) < 0) return kBeInvalidFormatParameters;
    // Room for one frame of input per channel, at LAME's worst case of 1.25 bytes a sample plus
    // 7200, which also covers the flush.
    const auto frame = static_cast<std::uint32_t>(lame_get_framesize(s->lame.get()));
    s->samples = frame * 2;
    s->bufferSize = frame * 5 / 4 + 7200;
    const std::uint32_t n = s->samples, room = s->bufferSize;
    const std::uint32_t handle = streams().add(std::move(s));
    if (!handle) return kBeOutOfHandles;
    *samples = n;
    *bufferSize = room;
    *stream = handle;
    return kBeOk;
}

std::uint32_t beEncodeChunk(std::uint32_t stream, std::uint32_t count, const std::int16_t* samples,
                            std::uint8_t* output, std::uint32_t* written) {
    Stream* s = streams().find(stream);
    if (!s) return kBeInvalidHandle;
    if (!written || !output || (count && !samples)) return kBeInvalidFormatParameters;
    // More input than a chunk holds could need more room than the caller was told to provide.
    if (count > s->samples) return kBeBufferTooSmall;
    // LAME reads the samples and never writes them.
    const int got =
        lame_encode_buffer_interleaved(s->lame.get(), const_cast<short*>(samples),
                                       static_cast<int>(count / 2), output, static_cast<int>(s->bufferSize));
    if (got < 0) return got == -1 ? kBeBufferTooSmall : kBeInvalidHandle;
    *written = static_cast<std::uint32_t>(got);
    return kBeOk;
}

std::uint32_t beDeinitStream(std::uint32_t stream, std::uint8_t* output, std::uint32_t* written) {
    Stream* s = streams().find(stream);
    if (!s) return kBeInvalidHandle;
    if (!written || !output) return kBeInvalidFormatParameters;
    const int got = lame_encode_flush(s->lame.get(), output, static_cast<int>(s->bufferSize));
    if (got < 0) return kBeBufferTooSmall;
    *written = static_cast<std::uint32_t>(got);
    return kBeOk;
}

std::uint32_t beCloseStream(std::uint32_t stream) {
    return streams().remove(stream) ? kBeOk : kBeInvalidHandle;
}

void beVersion(BeVersion* v) {
    if (!v) return;
    std::memset(v, 0, sizeof *v);
    lame_version_t lame{};
    get_lame_version_numerical(&lame);
    v->dllMajor = kShimMajor;
    v->dllMinor = kShimMinor;
    v->major = static_cast<std::uint8_t>(lame.major);
    v->minor = static_cast<std::uint8_t>(lame.minor);
    v->day = kShimDay;
    v->month = kShimMonth;
    v->yearAndHomePage[0] = kShimYear & 0xff;
    v->yearAndHomePage[1] = kShimYear >> 8;
    const char* url = get_lame_url();
    // The home page fits in 128 characters and its closing zero.
    std::strncpy(reinterpret_cast<char*>(v->yearAndHomePage + 2), url ? url : "", 128);
    v->alphaLevel = static_cast<std::uint8_t>(lame.alpha);
    v->betaLevel = static_cast<std::uint8_t>(lame.beta);
#if defined(__x86_64__) || defined(__i386__)
    v->mmxEnabled = __builtin_cpu_supports("mmx") ? 1 : 0;
#endif
}

} // namespace velvora::encoding
