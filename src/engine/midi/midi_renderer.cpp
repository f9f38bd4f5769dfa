#include "midi/midi_renderer.h"

#include "midi/fluid_font.h"
#include "midi/soundfont.h"

#include <algorithm>
#include <cstring>

namespace engine::midi {

namespace {

// The synthesizer's gain at a font volume of 1: loud enough for one instrument, with headroom for
// a full arrangement.
constexpr float kBaseGain = 0.4f;
constexpr std::size_t kHistory = 256;

bool stateController(int cc) {
    // Bank select and the parameter-number controllers are restored by the replay in order; the
    // channel mode messages (120..127) are commands, not state.
    return cc != 0 && cc != 32 && cc != 6 && cc != 38 && !(cc >= 96 && cc <= 101) && cc < 120;
}

} // namespace

MidiRenderer::MidiRenderer(std::shared_ptr<const SmfFile> file, std::uint32_t rate)
    : file_(std::move(file)), map_(*file_, rate ? rate : 44100) {
    for (auto& ch : sounding_) ch.fill(-1);
    seekTo(0, 0);
}

MidiRenderer::~MidiRenderer() {
    if (synth_ || settings_) {
        std::lock_guard lock(fluidLock());
        if (synth_) delete_fluid_synth(synth_);
        if (settings_) delete_fluid_settings(settings_);
    }
    // The shared fonts go after the synthesizer that played from them.
}

std::uint64_t MidiRenderer::frameOfLive(std::uint64_t tick) const {
    if (tick <= anchor_.tick) return anchor_.frame;
    const std::uint64_t frames =
        ticksToFrames(tick - anchor_.tick, anchor_.usPerQuarter, map_.division(), rate());
    return frames > ~std::uint64_t(0) - anchor_.frame ? ~std::uint64_t(0) : anchor_.frame + frames;
}

std::uint64_t MidiRenderer::tickAtLive(std::uint64_t frame) const {
    if (frame <= anchor_.frame) return anchor_.tick;
    return anchor_.tick + framesToTicks(frame - anchor_.frame, anchor_.usPerQuarter, map_.division(), rate());
}

std::uint64_t MidiRenderer::tickAtFrame(std::uint64_t frame) const {
    if (frame >= anchor_.frame) return tickAtLive(frame);
    auto it = std::upper_bound(history_.begin(), history_.end(), frame,
                               [](std::uint64_t f, const Anchor& a) { return f < a.frame; });
    if (it == history_.begin()) return history_.empty() ? anchor_.tick : history_.front().tick;
    const Anchor& a = *(it - 1);
    std::uint64_t tick = a.tick + framesToTicks(frame - a.frame, a.usPerQuarter, map_.division(), rate());
    if (it != history_.end()) tick = std::min(tick, it->tick);
    return tick;
}

void MidiRenderer::setAnchor(const Anchor& a) {
    anchor_ = a;
    tempo_ = a.usPerQuarter;
    history_.push_back(a);
    if (history_.size() > kHistory) history_.pop_front();
}

void MidiRenderer::seekTick(std::uint64_t tick) {
    tick = std::min(tick, file_->lengthTicks());
    seekTo(map_.frameOfTick(tick), tick);
}

void MidiRenderer::seekFrame(std::uint64_t frame) {
    frame = std::min(frame, lengthFrames());
    seekTo(frame, map_.tickOfFrame(frame));
}

void MidiRenderer::seekTo(std::uint64_t frame, std::uint64_t tick) {
    frame_ = frame;
    const TempoMap::Segment& s = map_.segmentAtTick(tick);
    history_.clear();
    setAnchor({s.frame, s.tick, s.usPerQuarter});
    // The first event not yet heard: the first whose frame is at or after the new position.
    std::uint64_t firstTick = tick;
    if (map_.frameOfTick(firstTick) < frame) ++firstTick;
    const auto& events = file_->events();
    next_ = static_cast<std::size_t>(
        std::lower_bound(events.begin(), events.end(), firstTick,
                         [](const SmfEvent& e, std::uint64_t t) { return e.tick < t; }) -
        events.begin());
    if (synth_) {
        std::lock_guard lock(fluidLock());
        chase();
    }
}

void MidiRenderer::setFonts(std::vector<FontUse> fonts) {
    fonts_ = std::move(fonts);
    if (!synth_) return;
    std::vector<std::shared_ptr<SharedFluidFont>> retired = std::move(loaded_);
    loaded_.clear();
    for (const FontUse& f : fonts_)
        if (f.font)
            if (auto s = f.font->samples()) loaded_.push_back(std::move(s));
    std::lock_guard lock(fluidLock());
    fluid_synth_all_sounds_off(synth_, -1);
    // Let the synthesizer retire the stopped voices before the old samples may go.
    float scratch[2 * 64];
    fluid_synth_write_float(synth_, 64, scratch, 0, 2, scratch, 1, 2);
    for (int id : fontIds_)
        if (fluid_sfont_t* view = fluid_synth_get_sfont_by_id(synth_, id)) {
            fluid_synth_remove_sfont(synth_, view);
            delete_fluid_sfont(view);
        }
    fontIds_.clear();
    loadFonts();
    chase();
    gain_ = -1.0f;
}

void MidiRenderer::loadFonts() {
    // FluidSynth searches the font added last first.
    for (auto it = loaded_.rbegin(); it != loaded_.rend(); ++it) {
        fluid_sfont_t* view = (*it)->makeView();
        if (!view) continue;
        const int id = fluid_synth_add_sfont(synth_, view);
        if (id == FLUID_FAILED)
            delete_fluid_sfont(view);
        else
            fontIds_.push_back(id);
    }
    fluid_synth_program_reset(synth_);
}

bool MidiRenderer::createSynth() {
    quietFluidLog();
    for (const FontUse& f : fonts_)
        if (f.font)
            if (auto s = f.font->samples()) loaded_.push_back(std::move(s));
    std::lock_guard lock(fluidLock());
    settings_ = new_fluid_settings();
    if (!settings_) return false;
    fluid_settings_setnum(settings_, "synth.sample-rate", static_cast<double>(rate()));
    fluid_settings_setint(settings_, "synth.reverb.active", 1);
    fluid_settings_setint(settings_, "synth.chorus.active", 1);
    fluid_settings_setnum(settings_, "synth.gain", kBaseGain);
    synth_ = new_fluid_synth(settings_);
    if (!synth_) {
        delete_fluid_settings(settings_);
        settings_ = nullptr;
        return false;
    }
    for (int ch = 0; ch < 16; ++ch)
        for (int cc = 0; cc < 128; ++cc) {
            int value = 0;
            fluid_synth_get_cc(synth_, ch, cc, &value);
            ccDefaults_[ch][cc] = static_cast<std::uint8_t>(value);
        }
    loadFonts();
    chase();
    for (const External& x : pending_) applyExternal(x);
    pending_.clear();
    return true;
}

void MidiRenderer::chase() {
    for (int ch = 0; ch < 16; ++ch) {
        fluid_synth_cc(synth_, ch, 64, 0);
        fluid_synth_cc(synth_, ch, 66, 0);
    }
    fluid_synth_all_notes_off(synth_, -1);
    for (int ch = 0; ch < 16; ++ch) {
        for (int cc = 0; cc < 128; ++cc)
            if (stateController(cc)) fluid_synth_cc(synth_, ch, cc, ccDefaults_[ch][cc]);
        fluid_synth_pitch_bend(synth_, ch, 8192);
        fluid_synth_channel_pressure(synth_, ch, 0);
        fluid_synth_pitch_wheel_sens(synth_, ch, 2);
        fluid_synth_bank_select(synth_, ch, 0);
        fluid_synth_program_change(synth_, ch, 0);
        sounding_[ch].fill(-1);
    }
    const auto& events = file_->events();
    for (std::size_t i = 0; i < next_ && i < events.size(); ++i) applyEvent(events[i], true);
}

void MidiRenderer::applyEvent(const SmfEvent& e, bool chasing) {
    if (e.isChannel()) {
        const int ch = e.channel();
        switch (e.command()) {
        case 0x90:
            if (e.data2 != 0) {
                if (chasing) break;
                const int key = e.data1 + transpose_[ch];
                std::int16_t& playing = sounding_[ch][e.data1];
                if (playing >= 0 && playing != key) fluid_synth_noteoff(synth_, ch, playing);
                if (key < 0 || key > 127) {
                    playing = -1;
                    break;
                }
                playing = static_cast<std::int16_t>(key);
                fluid_synth_noteon(synth_, ch, key, e.data2);
                break;
            }
            [[fallthrough]];
        case 0x80:
            if (!chasing) {
                std::int16_t& playing = sounding_[ch][e.data1];
                if (playing >= 0) fluid_synth_noteoff(synth_, ch, playing);
                playing = -1;
            }
            break;
        case 0xa0:
            if (!chasing) {
                const int key = sounding_[ch][e.data1];
                if (key >= 0) fluid_synth_key_pressure(synth_, ch, key, e.data2);
            }
            break;
        case 0xb0:
            if (chasing && e.data1 >= 120 && e.data1 != 121) break;
            fluid_synth_cc(synth_, ch, e.data1, e.data2);
            break;
        case 0xc0:
            fluid_synth_program_change(synth_, ch, e.data1);
            break;
        case 0xd0:
            fluid_synth_channel_pressure(synth_, ch, e.data1);
            break;
        case 0xe0:
            fluid_synth_pitch_bend(synth_, ch, e.data2 << 7 | e.data1);
            break;
        default:
            break;
        }
    } else if (e.status == 0xf0 && e.length > 0) {
        int len = static_cast<int>(e.length);
        const char* data = reinterpret_cast<const char*>(file_->payload(e));
        if (static_cast<std::uint8_t>(data[len - 1]) == 0xf7) --len;
        if (len > 0) fluid_synth_sysex(synth_, data, len, nullptr, nullptr, nullptr, 0);
    }
}

bool MidiRenderer::sendEvent(int channel, int event, int param) {
    if (channel < 0 || channel > 15) return false;
    switch (event) {
    case kEventVolume:
        if (param < 0 || param > 127) return false;
        break;
    case kEventTempo: {
        if (param <= 0 || param > 0xffffff) return false;
        const std::uint64_t tick = tickAtLive(frame_);
        setAnchor({frameOfLive(tick), tick, static_cast<std::uint32_t>(param)});
        return true;
    }
    case kEventTranspose:
        if (param < 100 - 127 || param > 100 + 127) return false;
        transpose_[channel] = param - 100;
        return true;
    default:
        return false;
    }
    const External x{channel, event, param};
    if (!synth_) {
        pending_.push_back(x);
        return true;
    }
    std::lock_guard lock(fluidLock());
    applyExternal(x);
    return true;
}

void MidiRenderer::applyExternal(const External& x) {
    if (x.event == kEventVolume) fluid_synth_cc(synth_, x.channel, 7, x.param);
}

void MidiRenderer::updateGain() {
    float volume = 1.0f;
    if (!fonts_.empty() && fonts_.front().font) volume = fonts_.front().font->volume.load();
    if (volume != gain_) {
        gain_ = volume;
        fluid_synth_set_gain(synth_, kBaseGain * volume);
    }
}

void MidiRenderer::prepare() {
    // Without a synthesizer (out of memory) the song still runs, silently.
    if (!synthTried_) {
        synthTried_ = true;
        createSynth();
    }
}

MidiRenderer::Result MidiRenderer::render(float* out, std::uint32_t frames) {
    Result r;
    prepare();
    const auto& events = file_->events();
    std::unique_lock lock(fluidLock());
    if (synth_) updateGain();
    while (r.frames < frames) {
        std::uint64_t until;
        if (next_ < events.size()) {
            const SmfEvent& e = events[next_];
            const std::uint64_t at = std::max(frameOfLive(e.tick), frame_);
            if (at == frame_) {
                ++next_;
                if (synth_) applyEvent(e, false);
                if (e.status != 0xff) continue;
                if (e.type == 0x51 && e.length >= 3 && !file_->smpte()) {
                    const std::uint8_t* p = file_->payload(e);
                    const std::uint32_t us = std::uint32_t(p[0]) << 16 | std::uint32_t(p[1]) << 8 | p[2];
                    if (us == 0) continue;
                    setAnchor({frame_, e.tick, us});
                    r.cue = RenderCue{RenderCue::Kind::Tempo, 0, us, e.tick, frame_};
                    break;
                }
                if (e.type == 0x05 || e.type == 0x01) {
                    const MarkType type = e.type == 0x05 ? MarkType::Lyric : MarkType::Text;
                    const auto& list = file_->marks(type);
                    const std::uint32_t index = static_cast<std::uint32_t>(
                        std::lower_bound(list.begin(), list.end(), next_ - 1,
                                         [](const SmfMark& m, std::size_t i) { return m.event < i; }) -
                        list.begin());
                    r.cue =
                        RenderCue{type == MarkType::Lyric ? RenderCue::Kind::Lyric : RenderCue::Kind::Text,
                                  index, 0, e.tick, frame_};
                    break;
                }
                continue;
            }
            until = at;
        } else {
            until = endFrame();
            if (frame_ >= until) break;
        }
        const std::uint32_t chunk =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(frames - r.frames, until - frame_));
        float* dst = out + 2 * static_cast<std::size_t>(r.frames);
        if (synth_)
            fluid_synth_write_float(synth_, static_cast<int>(chunk), dst, 0, 2, dst, 1, 2);
        else
            std::memset(dst, 0, sizeof(float) * 2 * chunk);
        frame_ += chunk;
        r.frames += chunk;
    }
    r.ended = !r.cue && ended();
    return r;
}

std::uint32_t MidiRenderer::renderAll(float* out, std::uint32_t frames,
                                      const std::function<void(const RenderCue&)>& onCue) {
    std::uint32_t done = 0;
    while (done < frames) {
        const Result r = render(out + 2 * static_cast<std::size_t>(done), frames - done);
        done += r.frames;
        if (r.cue && onCue) onCue(*r.cue);
        if (r.ended) break;
    }
    return done;
}

} // namespace engine::midi
