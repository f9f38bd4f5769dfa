#include "midi/midi_stream.h"

#include "midi/soundfont.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace engine {

namespace {

// Flags a MIDI stream keeps; the wide-path flag and unknown bits are dropped.
constexpr DWORD kKeptFlags = BASS_SAMPLE_FLOAT | BASS_SAMPLE_LOOP | BASS_STREAM_DECODE | BASS_STREAM_AUTOFREE;

} // namespace

std::shared_ptr<MidiStream> MidiStream::open(const std::string& path, const std::vector<std::uint8_t>& bytes,
                                             DWORD flags, DWORD freq, std::vector<midi::FontUse> fonts,
                                             int& error) {
    std::shared_ptr<const midi::SmfFile> file;
    if (bytes.empty()) {
        std::error_code ec;
        if (path.empty() || !std::filesystem::is_regular_file(path, ec)) {
            error = BASS_ERROR_FILEOPEN;
            return nullptr;
        }
        file = midi::SmfFile::load(path, error);
    } else {
        file = midi::SmfFile::parse(bytes.data(), bytes.size(), error);
    }
    if (!file) return nullptr;
    auto stream = std::make_shared<MidiStream>(std::move(file), flags, freq);
    stream->setFonts(std::move(fonts));
    return stream;
}

MidiStream::MidiStream(std::shared_ptr<const midi::SmfFile> file, DWORD flags, DWORD freq)
    : file_(std::move(file)), renderer_(file_, freq ? freq : 44100) {
    this->freq = freq ? freq : 44100;
    this->chans = 2;
    this->flags = flags & kKeptFlags;
    this->ctype = BASS_CTYPE_STREAM_MIDI;
    tempo_.store(renderer_.tempo(), std::memory_order_relaxed);
}

bool MidiStream::setFonts(std::vector<midi::FontUse> uses) {
    // A live synthesizer swaps its fonts at once: load the samples first, outside the stream's
    // lock, so that rendering is held up only for the swap itself. Without a synthesizer nothing
    // is loaded now (a stream that is never rendered costs no font load).
    if (hasSynth())
        for (const midi::FontUse& u : uses) u.font->samples();
    std::lock_guard lock(produceMutex());
    renderer_.setFonts(std::move(uses));
    return true;
}

bool MidiStream::hasSynth() {
    std::lock_guard lock(produceMutex());
    return renderer_.hasSynth();
}

bool MidiStream::play(bool restart) {
    if (!hasSynth()) {
        std::lock_guard lock(produceMutex());
        renderer_.prepare();
    }
    return Channel::play(restart);
}

void MidiStream::applyPending() {
    std::lock_guard lock(eventMutex_);
    for (const Pending& p : pending_) renderer_.sendEvent(p.chan, p.event, p.param);
    pending_.clear();
    hasPending_.store(false, std::memory_order_release);
}

bool MidiStream::sendEvent(DWORD chan, DWORD event, DWORD param) {
    if (chan > 15) return false;
    switch (event) {
    case MIDI_EVENT_VOLUME:
        if (param > 127) return false;
        break;
    case MIDI_EVENT_TEMPO:
        if (param == 0 || param > 0xffffff) return false;
        break;
    case MIDI_EVENT_TRANSPOSE:
        if (param > 100 + 127) return false;
        break;
    default:
        return false;
    }
    {
        std::lock_guard lock(eventMutex_);
        pending_.push_back({static_cast<int>(chan), static_cast<int>(event), static_cast<int>(param)});
        hasPending_.store(true, std::memory_order_release);
    }
    // Nothing rendering now: apply at once. Otherwise the block being rendered picks it up next.
    std::unique_lock lock(produceMutex(), std::try_to_lock);
    if (lock.owns_lock()) applyPending();
    return true;
}

DWORD MidiStream::tempo() const {
    // The file's tempo in force, whatever was sent from outside: callers scale it and send it
    // back, and must not scale their own value again.
    return tempo_.load(std::memory_order_acquire);
}

unsigned MidiStream::produce(float* out, unsigned frames, bool* ended) {
    if (hasPending_.load(std::memory_order_acquire)) applyPending();
    const midi::MidiRenderer::Result r = renderer_.render(out, frames);
    if (r.cue) {
        switch (r.cue->kind) {
        case midi::RenderCue::Kind::Lyric:
            raise(BASS_SYNC_MIDI_LYRIC, r.cue->index);
            break;
        case midi::RenderCue::Kind::Text:
            raise(BASS_SYNC_MIDI_TEXT, r.cue->index);
            break;
        case midi::RenderCue::Kind::Tempo: {
            std::lock_guard lock(eventMutex_);
            tempo_.store(renderer_.tempo(), std::memory_order_release);
        }
            raise(BASS_SYNC_MIDI_EVENT, r.cue->value, MIDI_EVENT_TEMPO);
            break;
        }
    }
    // The end comes as a call of its own, after the last frames.
    if (r.ended && r.frames == 0) *ended = true;
    return r.frames;
}

double MidiStream::positionFrame() const {
    return static_cast<double>(renderer_.positionFrame());
}

std::int64_t MidiStream::lengthFrames() const {
    return static_cast<std::int64_t>(renderer_.lengthFrames());
}

bool MidiStream::seekFrame(std::uint64_t frame) {
    // Events sent before the seek take effect before it (a tempo from outside is then dropped by
    // the seek, volumes and transposition stay).
    if (hasPending_.load(std::memory_order_acquire)) applyPending();
    renderer_.seekFrame(frame);
    std::lock_guard lock(eventMutex_);
    tempo_.store(renderer_.tempo(), std::memory_order_release);
    return true;
}

bool MidiStream::toFrame(QWORD pos, DWORD mode, std::uint64_t& frame) const {
    if (mode != BASS_POS_MIDI_TICK) return Channel::toFrame(pos, mode, frame);
    if (pos > renderer_.lengthTicks())
        frame = renderer_.lengthFrames() + 1; // past the end
    else
        frame = renderer_.tempoMap().frameOfTick(pos);
    return true;
}

bool MidiStream::fromFrame(double frame, DWORD mode, QWORD& pos) const {
    if (mode != BASS_POS_MIDI_TICK) return Channel::fromFrame(frame, mode, pos);
    const auto f = static_cast<std::uint64_t>(std::max(0.0, std::floor(frame + 1e-6)));
    // The renderer's time line changes while it renders: read it under the stream's lock.
    std::lock_guard lock(const_cast<MidiStream*>(this)->produceMutex());
    pos = std::min<std::uint64_t>(renderer_.tickAtFrame(f), renderer_.lengthTicks());
    return true;
}

bool MidiStream::lengthIn(DWORD mode, QWORD& out) const {
    if (mode != BASS_POS_MIDI_TICK) return Channel::lengthIn(mode, out);
    out = renderer_.lengthTicks();
    return true;
}

const std::vector<midi::SmfMark>* MidiStream::marks(DWORD type) const {
    if (type == BASS_MIDI_MARK_LYRIC) return &file_->marks(midi::MarkType::Lyric);
    if (type == BASS_MIDI_MARK_TEXT) return &file_->marks(midi::MarkType::Text);
    return nullptr;
}

QWORD MidiStream::bytesOfTick(std::uint64_t tick) const {
    return renderer_.tempoMap().frameOfTick(tick) * bytesPerFrame();
}

} // namespace engine
