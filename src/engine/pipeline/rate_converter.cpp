#include "pipeline/rate_converter.h"

#include <algorithm>
#include <cstring>

namespace engine {

void mapChannels(const float* in, unsigned inChans, float* out, unsigned outChans, unsigned frames) {
    if (inChans == outChans) {
        std::memcpy(out, in, sizeof(float) * frames * outChans);
        return;
    }
    for (unsigned f = 0; f < frames; ++f) {
        const float* i = in + static_cast<std::size_t>(f) * inChans;
        float* o = out + static_cast<std::size_t>(f) * outChans;
        if (inChans == 1) {
            for (unsigned c = 0; c < outChans; ++c) o[c] = i[0];
        } else if (outChans == 1) {
            float sum = 0;
            for (unsigned c = 0; c < inChans; ++c) sum += i[c];
            o[0] = sum / static_cast<float>(inChans);
        } else {
            for (unsigned c = 0; c < outChans; ++c) o[c] = c < inChans ? i[c] : 0.0f;
        }
    }
}

void RateConverter::reset() {
    inFrames_ = 0;
    pos_ = 1.0;
    primed_ = false;
    srcEnded_ = false;
}

unsigned RateConverter::read(Channel& src, float* out, unsigned frames, unsigned outRate, unsigned outChans,
                             const PullContext& ctx, bool* ended) {
    *ended = false;
    const unsigned sc = src.chans;
    if (src.freq == outRate) {
        // Pass-through: pull in blocks and map the channels.
        unsigned done = 0;
        while (done < frames) {
            const unsigned want = std::min(frames - done, 2048u);
            tmp_.resize(static_cast<std::size_t>(want) * sc);
            PullContext c = ctx;
            c.ringBase = ctx.ringBase + done * ctx.scale;
            const unsigned got = src.pull(tmp_.data(), want, c);
            mapChannels(tmp_.data(), sc, out + static_cast<std::size_t>(done) * outChans, outChans, got);
            done += got;
            if (got < want) {
                *ended = src.endReached();
                break;
            }
        }
        return done;
    }

    const double step = static_cast<double>(src.freq) / outRate; // source frames per output frame
    if (!primed_) {
        // One frame of silence before the first so the interpolator has a left neighbour.
        in_.assign(sc, 0.0f);
        inFrames_ = 1;
        pos_ = 1.0;
        primed_ = true;
    }
    unsigned done = 0;
    while (done < frames) {
        const auto base = static_cast<unsigned>(pos_);
        if (base + 2 >= inFrames_) {
            if (srcEnded_) {
                if (base >= inFrames_ - 1 || inFrames_ < 2) {
                    *ended = true;
                    break;
                }
            } else {
                // Keep the frame left of the read position, then pull more.
                const unsigned keep = base > 0 ? base - 1 : 0;
                in_.erase(in_.begin(), in_.begin() + static_cast<std::ptrdiff_t>(keep) * sc);
                inFrames_ -= keep;
                pos_ -= keep;
                const unsigned want = 1024;
                in_.resize(static_cast<std::size_t>(inFrames_ + want) * sc);
                PullContext c = ctx;
                c.scale = ctx.scale / step;
                c.ringBase = ctx.ringBase + (done + (inFrames_ - pos_) / step) * ctx.scale;
                const unsigned got = src.pull(in_.data() + static_cast<std::size_t>(inFrames_) * sc, want, c);
                inFrames_ += got;
                in_.resize(static_cast<std::size_t>(inFrames_) * sc);
                if (got < want) {
                    if (!src.endReached()) break; // a stalled source: come back later
                    srcEnded_ = true;
                    // Two frames of silence after the last so the tail interpolates.
                    in_.resize(static_cast<std::size_t>(inFrames_ + 2) * sc, 0.0f);
                    inFrames_ += 2;
                }
                continue;
            }
        }
        const unsigned i = static_cast<unsigned>(pos_);
        const float t = static_cast<float>(pos_ - i);
        const float* p0 = &in_[static_cast<std::size_t>(i - (i > 0 ? 1 : 0)) * sc];
        const float* p1 = &in_[static_cast<std::size_t>(i) * sc];
        const float* p2 = &in_[static_cast<std::size_t>(std::min(i + 1, inFrames_ - 1)) * sc];
        const float* p3 = &in_[static_cast<std::size_t>(std::min(i + 2, inFrames_ - 1)) * sc];
        float frame[8] = {};
        const unsigned n = std::min(sc, 8u);
        for (unsigned c = 0; c < n; ++c) {
            const float a = -0.5f * p0[c] + 1.5f * p1[c] - 1.5f * p2[c] + 0.5f * p3[c];
            const float b = p0[c] - 2.5f * p1[c] + 2.0f * p2[c] - 0.5f * p3[c];
            const float d = -0.5f * p0[c] + 0.5f * p2[c];
            frame[c] = ((a * t + b) * t + d) * t + p1[c];
        }
        mapChannels(frame, n, out + static_cast<std::size_t>(done) * outChans, outChans, 1);
        ++done;
        pos_ += step;
    }
    return done;
}

} // namespace engine
