#include "pitch/pitch_guide.h"

#include "core/controller.h"
#include "core/files.h"
#include "core/vb_text.h"
#include "pitch/score.h"
#include "recording/take_score.h"
#include "widgets/pitch_strip.h"

#include <cmath>

namespace velvora::pitch {

namespace {

constexpr const char* kNoMelody = "This song has no melody to sing against: your pitch alone.";
constexpr const char* kNoInput = "No input to listen on: the pitch cannot be shown.";
// The capture's block for the guide: a note shows this soon after it is sung.
constexpr DWORD kCapturePeriodMs = 10;

BOOL listen(HRECORD, const void* buffer, DWORD length, void* user) {
    static_cast<PitchTracker*>(user)->push(static_cast<const std::int16_t*>(buffer), length / 4);
    return 1;
}

bool isMidiSong(const std::string& fileName) {
    const std::string ext = vb::LCase(vb::Ext3(fileName));
    return ext == "mid" || ext == "kar" || ext == "idi";
}

double keyOf(float hz) {
    return hz > 0 ? 69.0 + 12.0 * std::log2(hz / 440.0) : 0.0;
}

} // namespace

PitchGuide::PitchGuide(App& app, widgets::PitchStrip& strip)
    : app_(app), strips_{&strip}, timer_(app.sys.clock.makeTimer(kTickMs, false)) {
    timer_->onTick = [this] { tick(); };
}

void PitchGuide::addStrip(widgets::PitchStrip& strip) {
    const widgets::PitchStripView& shown = strips_.front()->view();
    strip.setNotes(shown.notes);
    strip.setMessage(shown.message);
    strip.setNow(shown.now);
    strips_.push_back(&strip);
}

PitchGuide::~PitchGuide() {
    stopListening();
}

void PitchGuide::setShown(bool shown) {
    shown_ = shown;
    timer_->setEnabled(shown);
    if (!shown)
        stopListening();
    else
        tick();
}

void PitchGuide::songChanged() {
    song_ = app_.s.FileName;
    melody_ = isMidiSong(song_) ? ReadMelody(song_) : Melody{};
    std::vector<widgets::StripNote> notes;
    for (const MelodyNote& n : melody_.notes) notes.push_back({n.start, n.end, n.key});
    const QString message = song_.empty() || melody_.channel >= 0 ? QString() : QString(kNoMelody);
    forStrips([&](widgets::PitchStrip& strip) {
        strip.setNotes(notes);
        strip.clearReadings();
        strip.setMessage(message);
    });
}

double PitchGuide::heardSongSeconds(DWORD chan) const {
    if (melody_.clock.size() >= 2) {
        const QWORD tick = BASS_ChannelGetPosition(chan, BASS_POS_MIDI_TICK);
        if (tick != ~QWORD{0}) return secondsAtTick(melody_.clock, static_cast<double>(tick));
    }
    return BASS_ChannelBytes2Seconds(chan, BASS_ChannelGetPosition(chan, BASS_POS_BYTE));
}

double PitchGuide::songPace() const {
    // A MIDI song's tempo is its written one scaled by the tempo control; audio keeps its clock.
    const double scale = app_.s.temposcale.load();
    return melody_.clock.size() >= 2 && scale > 0 ? 1.0 / scale : 1.0;
}

double PitchGuide::songSecondsAt(double captureSeconds) {
    // Readings come in time order: the looks before the one in force at this reading are done.
    while (looks_.size() > 1 && looks_[1].captureSeconds <= captureSeconds) looks_.pop_front();
    if (looks_.empty()) return captureSeconds;
    const Look& look = looks_.front();
    return look.songSeconds + (captureSeconds - look.captureSeconds) * look.pace;
}

bool PitchGuide::startListening(double heardSeconds) {
    tracker_ = std::make_unique<PitchTracker>(44100);
    capture_ = BASS_RecordStart(44100, 2, kCapturePeriodMs << 16, &listen, tracker_.get());
    if (!capture_) {
        tracker_.reset();
        noInput_ = true;
        forStrips([](widgets::PitchStrip& strip) { strip.setMessage(kNoInput); });
        return false;
    }
    captureStartMs_ = app_.sys.clock.nowMs();
    looks_.assign(1, Look{0, heardSeconds, songPace()});
    takeRecording_ = app_.s.recordArmed && app_.s.capture.recChan != 0;
    sung_.clear();
    return true;
}

void PitchGuide::stopListening() {
    if (capture_) BASS_ChannelStop(capture_);
    capture_ = 0;
    tracker_.reset();
}

void PitchGuide::takeReadings(double heardSeconds) {
    // A reading is late on the song heard by the way from the output to the input.
    const double lag = app_.s.capture.calibration ? app_.s.capture.calibration->inputMs() / 1000.0 : 0.0;
    std::vector<widgets::StripReading> shown;
    for (const PitchFrame& f : tracker_->takeReadings()) {
        const double t = songSecondsAt(f.seconds - lag);
        sung_.push_back({t, f.hz});
        shown.push_back({t, keyOf(f.hz)});
    }
    forStrips([&](widgets::PitchStrip& strip) {
        strip.setNow(heardSeconds);
        strip.addReadings(shown);
    });
}

void PitchGuide::scoreSong() {
    if (melody_.channel < 0 || sung_.empty()) return;
    lastScore_ = scoreTake(melody_, sung_, tracker_->hopSeconds());
    // Kept before the box, which waits for the user.
    if (takeRecording_) recording::keepTakeScore(app_, {lastScore_, GetFileName(song_)});
    app_.sys.dialogs.msgBox("Your score: " + std::to_string(lastScore_) + " of 100", platform::vbInformation,
                            "Velvora");
}

void PitchGuide::tick() {
    if (app_.s.FileName != song_) songChanged();
    if (!shown_) return;
    const DWORD chan = app_.s.chan;
    const bool playing = chan && BASS_ChannelIsActive(chan) == BASS_ACTIVE_PLAYING;
    if (playing) lastHeard_ = heardSongSeconds(chan);
    if (playing && !capture_ && !noInput_) startListening(lastHeard_);
    if (playing && capture_)
        looks_.push_back(
            {static_cast<double>(app_.sys.clock.nowMs() - captureStartMs_) / 1000.0, lastHeard_, songPace()});
    if (capture_) takeReadings(lastHeard_);
    if (!playing && wasPlaying_ && capture_) {
        // The song came to its end or was stopped: what is still in the tracker counts too. It was
        // sung to its end when the melody's last note had been heard.
        tracker_->drain();
        takeReadings(lastHeard_);
        if (!melody_.notes.empty() && lastHeard_ >= melody_.notes.back().end - 0.1) scoreSong();
        stopListening();
    }
    if (!playing) noInput_ = false;
    wasPlaying_ = playing;
}

} // namespace velvora::pitch
