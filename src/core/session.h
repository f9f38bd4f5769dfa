// The session: every variable the main window's routines share, in one plain struct. Values that
// engine callbacks write from their own threads are atomics.
#pragma once

#include "core/staged_file.h"
#include "core/state/capture_block.h"
#include "core/state/capture_journal.h"
#include "core/state/lrc_state.h"
#include "core/state/lyric_state.h"
#include "core/state/midi_scan_state.h"
#include "engine/api.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velvora {

namespace cdg {
class Decoder;
}

// A boolean of the program: 0 false, -1 true.
using VBool = std::int16_t;
constexpr VBool vbTrue = -1;
constexpr VBool vbFalse = 0;

// One MIDI channel of the channel strip.
struct ChannelInfo {
    std::int16_t first = 0;
    std::int16_t Touched = 0;
    std::int16_t Program = 0;
    std::int16_t ChannelNo = -1;
    std::int16_t Volume = 0;
    std::int16_t Pan = 64;
    std::int16_t Mode = 0;
};

// One timed lyric unit.
struct WordRec {
    double TimeMs = 0;
    double SpanMs = 0;
    std::string Text;
    std::int16_t Length = 0;
    std::int32_t Column = 0;
    std::int16_t LineNo = 0;
};

// The one lyric model that every lyric source fills.
struct WordModel {
    std::vector<WordRec> wordList{WordRec{}};
    std::vector<std::string> lyricLines{std::string()};
    std::vector<std::string> shownLines{std::string()};
    std::int16_t lastLine = 0;
    bool lyricsPresent = false;
    double msPerTick = 0;
};

// State of the capture block (the take in memory). While a capture runs, its callback alone
// touches the block and its length, on the engine's capture thread; the window's thread reads
// them once BASS_ChannelStop has returned (it waits for a running callback) or once the callback
// has cleared `recChan` on its way out.
struct LatencyCalibration {
    double roundTripMs = 0;
    double spreadMs = 0;
    // Of the round trip, the part before the clicks were heard: the output's latency then, which
    // may differ from one play to the next. Negative when not known.
    double outputMs = -1;

    // The part after the sound was heard: the time from the output to the capture (the whole round
    // trip when the output's part is not known).
    double inputMs() const {
        return outputMs >= 0 && outputMs <= roundTripMs ? roundTripMs - outputMs : roundTripMs;
    }
};

struct CaptureState {
    std::int32_t recBufStep = 0;
    CaptureBlock recBuffer; // empty: none
    std::int32_t recLength = 0;
    std::atomic<DWORD> recChan{0};
    int captureRate = 44100;
    int captureChannels = 2;
    int captureBits = 16;
    // The take's journal while a capture runs (set before the capture starts, dropped after it
    // stopped); none when the journal is off or could not be made.
    std::unique_ptr<CaptureJournal> journal;
    bool journalOn = true;
    // The measured round trip from the output to the input (latency.vrk); none: takes are mixed
    // as they were captured.
    std::optional<LatencyCalibration> calibration;
    // What the engine reported for the last take, in milliseconds from the capture's first sample:
    // to the moment the song was started, and to the moment its first sample was heard. None when
    // the engine could not tell (no song played during the capture).
    struct TakeOffset {
        double startedMs = 0;
        double heardMs = 0;
    };
    std::optional<TakeOffset> takeOffset;
};

// The mixdowns: where the render stands, the running flag of each of the two, and the output file
// they share (the one file a mixdown has open).
struct MixState {
    std::int32_t mixPosition = 0;
    DWORD liveStream = 0;
    std::int32_t mixRate = 0;
    std::array<bool, 2> mixRunning{}; // 0: the take's mix, 1: the package's
    BASS_CHANNELINFO mixInfo{};
    StagedFile file1;
};

// The digital recorder's counter.
struct DigitalRecorderState {
    std::int16_t digSeconds = 0;
    std::int16_t digMinutes = 0;
    std::int16_t digRemainder = 0;
};

// The effect panel: the handles of its effects and what its routines keep between calls.
struct EffectsState {
    DWORD fxReverb = 0;
    DWORD fxEq = 0;
    DWORD fxGain = 0;
    DWORD fxCompressor = 0;
    DWORD fxRemoverDSP = 0;
    VBool eqOn = vbFalse;
    std::int16_t reverbLevel = 0;
    // The channel the vocal remover's click read last; kept when a later read fails.
    BASS_CHANNELINFO chanInfo{};
    // The equaliser presets as Equalizer.txt gave them.
    std::array<std::int16_t, 7> eqSaved{};
    std::int16_t eqPreset1 = 0;
    std::int16_t eqPreset2 = 0;
    bool eqLocked = false;
};

// The lyric page's drawing state.
struct PainterState {
    int pictureWidth = 0;
    int pictureHeight = 0;
    int paintLeft = 0, paintTop = 0, paintRight = 0, paintBottom = 0;
    std::uint32_t sungColour = 0;
    std::uint32_t nextPairColour = 0;
    std::uint32_t lineColour = 0;
    std::int32_t lyricSizeClass = 0;
    std::int16_t lyricLayoutMode = 0;
    std::int16_t currentLine = 0;
    // The word and column of the page painted last, to paint it again after a resize, and the
    // texts of its four slots as they were drawn.
    std::string pageWord;
    std::int32_t pageColumn = -1;
    std::array<std::string, 4> pageSlots;
};

// The spectrum image's palette and mode.
struct SpectrumState {
    static constexpr int width = 368;
    static constexpr int height = 140;
    std::array<std::uint32_t, 256> palette{}; // 0xRRGGBB
    std::int32_t specMode = 0;
};

// Saved application settings.
struct ConfigState {
    std::string configState;
    std::uint8_t configByte = 0;
    bool configFlag = false;
    std::int16_t configWord = 0;
    std::int16_t recordingValue = 0;
};

// The tempo measure of an audio song.
struct BpmState {
    // A decoding stream of the song made only for measuring; the measure frees it.
    DWORD bpmChan = 0;
    // The last tempo measured, in beats a minute.
    float bpmValue = 0;
};

// The open package's unpacking: the folder of its members, the member being looked at, and the
// eight items of its information text (1 to 8; 0 unused).
struct PackageState {
    std::string nvkFolder;
    std::string scanName;
    bool scanStarted = false;
    std::array<std::string, 9> nvkInfo{};
    bool nvkValid = false;
};

struct Session {
    // Song in hand and its engine objects.
    std::string FileName;
    std::string packageFile;
    // Read by the end callback on an engine thread.
    std::atomic<DWORD> chan{0};
    DWORD chan2 = 0;
    std::array<DWORD, 3> stems{};
    std::int16_t stemCount = 0;
    // Member names of the open package in TMPK, in the order its unpacking found them (the
    // tracks of `stems` first).
    std::array<std::string, 21> trackFile{};
    PackageState package;
    DWORD font = 0;
    std::string soundFontPath;

    // Playback state; the atomics are written by engine callbacks.
    std::atomic<std::int32_t> miditempo{0};
    // Read by the tempo callback on an engine thread.
    std::atomic<float> temposcale{0.0f};
    bool midiActive = false;
    bool levelsTouched = false;
    bool midiStreamStale = false;
    std::atomic<bool> songEnded{false};
    std::atomic<std::int32_t> lyricTick{0};
    std::string lyrics;
    std::int32_t lyricPos = 0;
    bool hasTagLyrics = false;
    // A CD+G song's graphics, and the packet count of the frame on the lyric page (-1: none yet).
    std::shared_ptr<cdg::Decoder> cdgGraphics;
    std::int64_t cdgShownPacket = -1;
    bool explorerOpen = false;
    std::int32_t inputIndex = -1;

    // Window-level song state.
    bool songFresh = false;
    std::string songTitle;
    // The encoding of the song's texts (iconv's name): the user's choice for the song, or what its
    // texts together tell when it is opened.
    std::string textEncoding;
    std::string customName;
    // The ZIP file the song in hand was unpacked from; empty for a song opened where it lies. Its
    // path, not the unpacked one, names the song's own settings.
    std::string songArchive;
    bool recordArmed = false;
    bool pauseUsed = false;
    bool pausedNow = false;
    bool midiLoaded = false;
    bool playStarted = false;
    bool syltPending = false;
    // Set by arming a take over a MIDI song: the take's flow writes the song's LRC file on its way
    // to a package.
    bool lrcBatch = false;
    // Marks of a song that was started and of its end, raised by play and the end callback.
    bool songStartedMark = false;
    std::atomic<int> endMarker{0};
    std::int32_t songSeconds = 0;
    float stretchedSeconds = 0;
    std::int16_t posSeconds = 0, posMin = 0, posSec = 0;
    std::int16_t midiChannel = 0;
    std::int16_t midiChannelVolume = 0;
    bool tempoPresetApplied = false;
    std::array<ChannelInfo, 16> channelStrip{};
    DWORD floatFlag = 0;
    DWORD sampleRate = 0;
    std::int16_t answer = 0;
    int cancelFlag = 0;
    // Blinks of the recording mark during a take.
    int recordBlink = 0;
    // Passes of the song timer, for reading the soundfont's state every second pass.
    int fontInfoCounter = 0;

    WordModel words;
    MidiScanState scan;
    LyricTimingState timing;
    LrcCreatorState lrc;
    CaptureState capture;
    MixState mix;
    DigitalRecorderState digital;
    EffectsState effects;
    PainterState painter;
    SpectrumState spectrum;
    ConfigState config;
    BpmState bpm;

    // The file dialog's folder after its last success, and its last file name.
    std::string dialogFolder;
    std::string dialogFileName;
};

} // namespace velvora
