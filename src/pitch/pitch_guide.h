// The pitch guide while a song plays: the melody of the song in hand on the strip, the singer's
// pitch read from the input that is on, and a score when the song comes to its end. It watches
// the session on a timer of its own, so the routines that open and play songs need not know it.
//
// The singer's readings come on the capture's clock; each is placed on the song's own clock (the
// melody's) from the song's heard position at the guide's looks, less the measured round trip
// (the voice reaches the input that much after the song was heard). A MIDI song's heard position
// is read as its tick, so that a song whose tempo was moved still meets its melody.
//
// One guide feeds every strip it is given: the one under the lyric page and the singer's screen's.
// When a take was recording over the song, its score is kept with the take.
#pragma once

#include "core/app.h"
#include "pitch/melody.h"
#include "pitch/pitch_tracker.h"

#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace velvora::widgets {
class PitchStrip;
}

namespace velvora::pitch {

class PitchGuide {
  public:
    static constexpr int kTickMs = 40;

    PitchGuide(App& app, widgets::PitchStrip& strip);
    // Another strip that shows what the first one does.
    void addStrip(widgets::PitchStrip& strip);
    ~PitchGuide();
    PitchGuide(const PitchGuide&) = delete;
    PitchGuide& operator=(const PitchGuide&) = delete;

    // The strip's toggle: shown, the guide listens while a song plays; hidden, it does nothing.
    void setShown(bool shown);
    bool shown() const { return shown_; }
    // The score of the last song sung to its end with the guide shown; -1 when there is none.
    int lastScore() const { return lastScore_; }
    const Melody& melody() const { return melody_; }

    // One look at the session; the timer calls it.
    void tick();

  private:
    // A moment the guide looked: the capture's seconds then, and the song's own seconds heard.
    struct Look {
        double captureSeconds = 0;
        double songSeconds = 0;
        double pace = 1; // the song's seconds that pass in one heard second
    };

    void songChanged();
    double heardSongSeconds(DWORD chan) const;
    double songPace() const;
    // The song's own seconds at `captureSeconds` on the capture's clock.
    double songSecondsAt(double captureSeconds);
    template <typename F>
    void forStrips(F f) {
        for (widgets::PitchStrip* strip : strips_) f(*strip);
    }
    bool startListening(double heardSeconds);
    void stopListening();
    void takeReadings(double heardSeconds);
    void scoreSong();

    App& app_;
    std::vector<widgets::PitchStrip*> strips_;
    std::unique_ptr<platform::Timer> timer_;
    bool shown_ = false;
    std::string song_;
    Melody melody_;
    std::unique_ptr<PitchTracker> tracker_;
    HRECORD capture_ = 0;
    long long captureStartMs_ = 0; // the platform clock when the capture began
    std::deque<Look> looks_;       // since the oldest reading not yet placed
    bool takeRecording_ = false;   // a take's capture ran when the guide began to listen
    bool noInput_ = false;
    bool wasPlaying_ = false;
    double lastHeard_ = 0;         // the song's heard position at the last look while it played
    std::vector<PitchFrame> sung_; // this playing's readings, on the song's clock
    int lastScore_ = -1;
};

} // namespace velvora::pitch
