#include "streams/mixer_stream.h"

#include <algorithm>

namespace engine {

MixerStream::MixerStream(DWORD f, DWORD c, DWORD fl) {
    freq = f;
    chans = c;
    flags = fl;
    ctype = BASS_CTYPE_STREAM_MIXER;
}

bool MixerStream::addSource(const ChannelPtr& source) {
    auto s = std::make_shared<Source>();
    s->channel = source;
    std::lock_guard lock(sourcesMutex_);
    for (const auto& existing : sources_)
        if (existing->channel == source) return false;
    sources_.push_back(std::move(s));
    clearEnded();
    return true;
}

unsigned MixerStream::pullStep(float* out, unsigned frames, const PullContext& ctx, bool* ended) {
    if (freed()) {
        *ended = true;
        return 0;
    }
    {
        std::lock_guard lock(sourcesMutex_);
        std::erase_if(sources_, [](const std::shared_ptr<Source>& s) { return s->channel->freed(); });
        active_ = sources_;
    }
    // Pulled with no lock of the mixer held: the sources' mix-time syncs may call anything.
    std::fill(out, out + static_cast<std::size_t>(frames) * chans, 0.0f);
    tmp_.resize(static_cast<std::size_t>(frames) * chans);
    unsigned longest = 0;
    bool anyActive = false;
    for (const auto& s : active_) {
        if (s->ended) continue;
        bool srcEnded = false;
        const unsigned got = s->converter.read(*s->channel, tmp_.data(), frames, freq, chans, ctx, &srcEnded);
        const float vol = s->channel->volume();
        for (std::size_t i = 0; i < static_cast<std::size_t>(got) * chans; ++i) out[i] += tmp_[i] * vol;
        longest = std::max(longest, got);
        if (srcEnded)
            s->ended = true;
        else
            anyActive = true;
    }
    active_.clear();
    unsigned n = longest;
    if (!anyActive) {
        if (flags & BASS_MIXER_END) {
            *ended = n == 0;
        } else if (flags & BASS_MIXER_NONSTOP) {
            n = frames; // silence while no source plays
        }
    } else if (n < frames && (flags & BASS_MIXER_NONSTOP)) {
        n = frames;
    }
    {
        std::lock_guard lock(produceMutex());
        runProcessing(out, n); // the mix's DSP and effects, then its encoder tap
    }
    if (!isFloat())
        for (std::size_t i = 0; i < static_cast<std::size_t>(n) * chans; ++i)
            out[i] = std::clamp(out[i], -1.0f, 1.0f);
    std::lock_guard lock(produceMutex());
    const double pos0 = produced_;
    produced_ += n;
    notePulled(ctx, n, pos0, produced_, 1.0 / ctx.scale);
    return n;
}

bool MixerStream::seekFrame(std::uint64_t frame) {
    produced_ = static_cast<double>(frame);
    decodedPos_.store(produced_, std::memory_order_relaxed);
    return true;
}

} // namespace engine
