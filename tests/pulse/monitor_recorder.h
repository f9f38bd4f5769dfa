// Records a PulseAudio source (a null sink's monitor) in this process, through libpulse, so that a
// test hears what the server played.
//
// The recorder can itself lose audio: when it does not read in time, the server drops what did not
// fit and says so. Each such overflow is counted, and a test that sees one must not blame the
// player. Reads come in small fragments (2 ms, which also keeps a null sink rendering in small
// blocks, so that what the monitor delivers is close to when it plays) and each is stamped with
// the steady clock on arrival. Sample s of the recording was at the monitor no later than the
// arrival of the read that holds it, so over a stretch of reads the least (arrival - s / rate)
// tells when the stretch's samples were heard (late by the server's smallest delivery delay, a few
// ms). That is worked out every ten seconds and joined up, because a sink's clock may run a little
// off 44100 samples a second (a null sink rounds each block to whole microseconds).
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace pulsetest {

class MonitorRecorder {
  public:
    using SteadyClock = std::chrono::steady_clock;
    static constexpr unsigned kRate = 44100;

    MonitorRecorder();
    ~MonitorRecorder();
    MonitorRecorder(const MonitorRecorder&) = delete;
    MonitorRecorder& operator=(const MonitorRecorder&) = delete;

    // Starts recording `source` (e.g. "velvora_test.monitor") as 16-bit stereo at 44100 Hz, into
    // a buffer of `reserveSeconds` made ahead so that no allocation happens while recording (with
    // `keep` false, nothing is kept but the count of frames). False when the server or the source
    // is not there.
    bool start(const std::string& source, double reserveSeconds = 60, bool keep = true);
    // Waits until `frames` frames have arrived in all; false when `timeout` ran out first.
    bool waitForFrames(std::size_t frames, std::chrono::milliseconds timeout);
    void stop();

    // Interleaved stereo samples recorded so far.
    std::vector<std::int16_t> samples() const;
    std::size_t frames() const;
    // Times the server dropped audio that the recorder had not read in time.
    unsigned overflows() const;
    // True when the connection to the server broke while recording.
    bool broken() const;
    // When frame `frame` of the recording was heard, by the estimate above.
    SteadyClock::time_point heardAt(std::size_t frame) const;
    SteadyClock::time_point startTime() const { return heardAt(0); }
    // When the sink played frame `frame`, by the server's own timing: a monitor delivers a block
    // of the sink as soon as it is rendered, up to a block before the sink plays it, so for a
    // moment of playing rather than of arrival this is the figure. The median over the reads of a
    // recording of seconds (not minutes: the clocks drift apart).
    SteadyClock::time_point playedAt(std::size_t frame) const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace pulsetest
