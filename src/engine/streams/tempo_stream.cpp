#include "streams/tempo_stream.h"

#include "pipeline/host.h"

#include <algorithm>
#include <cmath>

namespace engine {

namespace {
constexpr unsigned kFeedFrames = 2048;
}

TempoStream::TempoStream(ChannelPtr source, DWORD flags) : source_(std::move(source)) {
    freeSource_ = (flags & BASS_FX_FREESOURCE) != 0;
    freq = source_->freq;
    chans = source_->chans;
    // The sample format is the source's; BASS_FX_FREESOURCE is no channel flag.
    this->flags = (flags & ~(BASS_FX_FREESOURCE | BASS_SAMPLE_FLOAT)) | (source_->flags & BASS_SAMPLE_FLOAT);
    ctype = BASS_CTYPE_STREAM_TEMPO;
    st_.setSampleRate(freq);
    st_.setChannels(chans);
    outPos_ = source_->positionFrame();
    applySettings();
}

void TempoStream::applySettings() {
    st_.setTempoChange(tempo_);
    st_.setPitchSemiTones(pitch_);
    ratio_.store(1.0f + tempo_ / 100.0f, std::memory_order_relaxed);
    if (tempo_ != 0 || pitch_ != 0) bypass_ = false;
}

unsigned TempoStream::produce(float* out, unsigned frames, bool* ended) {
    const PullContext none;
    if (bypass_) {
        const unsigned n = source_->pull(out, frames, none);
        outPos_ = source_->positionFrame();
        if (n == 0 && source_->endReached()) *ended = true;
        return n;
    }
    const double ratio = ratio_.load(std::memory_order_relaxed);
    unsigned done = 0;
    in_.resize(static_cast<std::size_t>(kFeedFrames) * chans);
    while (done < frames) {
        const unsigned got = st_.receiveSamples(out + static_cast<std::size_t>(done) * chans, frames - done);
        done += got;
        if (done == frames) break;
        if (sourceEnded_) {
            if (flushed_) break;
            st_.flush();
            flushed_ = true;
            continue;
        }
        const unsigned n = source_->pull(in_.data(), kFeedFrames, none);
        if (n) st_.putSamples(in_.data(), n);
        if (n < kFeedFrames) {
            if (!source_->endReached()) break;
            sourceEnded_ = true;
        }
    }
    outPos_ = std::min(outPos_ + done * ratio, source_->positionFrame());
    if (done == 0 && sourceEnded_ && flushed_) {
        outPos_ = source_->positionFrame();
        *ended = true;
    }
    return done;
}

bool TempoStream::seekFrame(std::uint64_t frame) {
    if (!source_->setPosition(frame)) return false;
    st_.clear();
    outPos_ = source_->positionFrame();
    sourceEnded_ = false;
    flushed_ = false;
    bypass_ = tempo_ == 0 && pitch_ == 0;
    return true;
}

bool TempoStream::toFrame(QWORD pos, DWORD mode, std::uint64_t& frame) const {
    return source_->toFrame(pos, mode, frame);
}
bool TempoStream::fromFrame(double frame, DWORD mode, QWORD& pos) const {
    return source_->fromFrame(frame, mode, pos);
}
bool TempoStream::lengthIn(DWORD mode, QWORD& out) const {
    return source_->lengthIn(mode, out);
}

bool TempoStream::setAttribute(DWORD attrib, float value) {
    if (attrib == BASS_ATTRIB_TEMPO || attrib == BASS_ATTRIB_TEMPO_PITCH) {
        if (!std::isfinite(value)) return false;
        std::lock_guard lock(produceMutex());
        if (attrib == BASS_ATTRIB_TEMPO)
            tempo_ = std::clamp(value, -95.0f, 5000.0f);
        else
            pitch_ = std::clamp(value, -60.0f, 60.0f);
        applySettings();
        return true;
    }
    return Channel::setAttribute(attrib, value);
}

bool TempoStream::getAttribute(DWORD attrib, float& value) const {
    if (attrib == BASS_ATTRIB_TEMPO) {
        value = (ratio_.load() - 1.0f) * 100.0f;
        return true;
    }
    if (attrib == BASS_ATTRIB_TEMPO_PITCH) {
        std::lock_guard lock(const_cast<TempoStream*>(this)->produceMutex());
        value = pitch_;
        return true;
    }
    return Channel::getAttribute(attrib, value);
}

void TempoStream::onFree() {
    Channel::onFree();
    if (freeSource_) host().freeChannel(source_->handle);
}

} // namespace engine
