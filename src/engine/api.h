// The audio engine's published operations. The program calls only these; everything behind them
// (devices, decoding, synthesis, mixing) is private to src/engine.
//
// Threads. Every operation may be called from any thread, including from inside any callback
// below, without deadlock: a sync may free its own channel, a mix-time sync may send events to the
// stream it fired on, a capture callback may stop its own capture. Behind the operations run:
//  - the device's thread, which only mixes what is already decoded (it never calls back);
//  - the update thread, which decodes ahead, runs DSPs, effects and mix-time syncs;
//  - the sync thread, which runs delayed syncs at the moment their audio is heard, and BPM reports;
//  - a capture thread per open input, which runs the capture callbacks.
// A callback runs with no lock of the engine held, but it delays what its thread does next (the
// update thread's decoding, the next sync, the next captured block): keep it short, and never
// touch a window from it; post what the window must show to the window's own thread.
// On the virtual device (testing.h) all of these run on the test's thread, inside advance().
#pragma once

#include <cstdint>

using DWORD = std::uint32_t;
using QWORD = std::uint64_t;
using BOOL = int;
using HSTREAM = DWORD;
using HMUSIC = DWORD;
using HRECORD = DWORD;
using HSYNC = DWORD;
using HDSP = DWORD;
using HFX = DWORD;
using HSOUNDFONT = DWORD;

// Error codes, as BASS_ErrorGetCode reports them.
constexpr int BASS_OK = 0;
constexpr int BASS_ERROR_MEM = 1;
constexpr int BASS_ERROR_FILEOPEN = 2;
constexpr int BASS_ERROR_DRIVER = 3;
constexpr int BASS_ERROR_HANDLE = 5;
constexpr int BASS_ERROR_FORMAT = 6;
constexpr int BASS_ERROR_POSITION = 7;
constexpr int BASS_ERROR_INIT = 8;
constexpr int BASS_ERROR_START = 9;
constexpr int BASS_ERROR_ALREADY = 14;
constexpr int BASS_ERROR_ILLTYPE = 19;
constexpr int BASS_ERROR_ILLPARAM = 20;
constexpr int BASS_ERROR_DEVICE = 23;
constexpr int BASS_ERROR_NOPLAY = 24;
constexpr int BASS_ERROR_NOTFILE = 27;
constexpr int BASS_ERROR_EMPTY = 31;
constexpr int BASS_ERROR_NOFX = 34;
constexpr int BASS_ERROR_NOTAVAIL = 37;
constexpr int BASS_ERROR_DECODE = 38;
constexpr int BASS_ERROR_FILEFORM = 41;
constexpr int BASS_ERROR_CODEC = 44;
constexpr int BASS_ERROR_ENDED = 45;
constexpr int BASS_ERROR_UNKNOWN = -1;

// Configuration options.
constexpr DWORD BASS_CONFIG_FLOATDSP = 9;

// Stream and sample flags.
constexpr DWORD BASS_SAMPLE_8BITS = 0x1;
constexpr DWORD BASS_SAMPLE_LOOP = 0x4;
constexpr DWORD BASS_SAMPLE_FLOAT = 0x100;
constexpr DWORD BASS_STREAM_AUTOFREE = 0x40000;
constexpr DWORD BASS_STREAM_DECODE = 0x200000;
constexpr DWORD BASS_UNICODE = 0x80000000;

// Recording inputs.
constexpr DWORD BASS_INPUT_OFF = 0x10000;
constexpr DWORD BASS_INPUT_ON = 0x20000;
constexpr DWORD BASS_INPUT_TYPE_MASK = 0xff000000;
constexpr DWORD BASS_INPUT_TYPE_LINE = 0x02000000;
constexpr DWORD BASS_INPUT_TYPE_MIC = 0x03000000;
constexpr DWORD BASS_INPUT_TYPE_WAVE = 0x08000000;

// Mixers and tempo streams.
constexpr DWORD BASS_MIXER_END = 0x10000;
constexpr DWORD BASS_MIXER_NONSTOP = 0x20000;
constexpr DWORD BASS_FX_FREESOURCE = 0x10000;

// Channel states (BASS_ChannelIsActive).
constexpr DWORD BASS_ACTIVE_STOPPED = 0;
constexpr DWORD BASS_ACTIVE_PLAYING = 1;
constexpr DWORD BASS_ACTIVE_PAUSED = 3;

// Position modes.
constexpr DWORD BASS_POS_BYTE = 0;
constexpr DWORD BASS_POS_MIDI_TICK = 2;

// Attributes.
constexpr DWORD BASS_ATTRIB_VOL = 2;
constexpr DWORD BASS_ATTRIB_TEMPO = 0x10000;
constexpr DWORD BASS_ATTRIB_TEMPO_PITCH = 0x10001;

// BASS_ChannelGetData length flags.
constexpr DWORD BASS_DATA_FFT2048 = 0x80000003;
constexpr DWORD BASS_DATA_FLOAT = 0x40000000;

// Sync types and flags.
constexpr DWORD BASS_SYNC_END = 2;
constexpr DWORD BASS_SYNC_SETPOS = 11;
constexpr DWORD BASS_SYNC_MIDI_LYRIC = 0x10002;
constexpr DWORD BASS_SYNC_MIDI_TEXT = 0x10003;
constexpr DWORD BASS_SYNC_MIDI_EVENT = 0x10004;
constexpr DWORD BASS_SYNC_ONETIME = 0x80000000;
constexpr DWORD BASS_SYNC_MIXTIME = 0x40000000;

// Channel types reported by BASS_ChannelGetInfo.
constexpr DWORD BASS_CTYPE_STREAM = 0x10000;
constexpr DWORD BASS_CTYPE_STREAM_OGG = 0x10002;
constexpr DWORD BASS_CTYPE_STREAM_MP3 = 0x10005;
constexpr DWORD BASS_CTYPE_STREAM_MIXER = 0x10800;
constexpr DWORD BASS_CTYPE_STREAM_FLAC = 0x10900;
constexpr DWORD BASS_CTYPE_STREAM_TEMPO = 0x1f200;
constexpr DWORD BASS_CTYPE_STREAM_WAV_PCM = 0x50001;
constexpr DWORD BASS_CTYPE_STREAM_WAV_FLOAT = 0x50003;
constexpr DWORD BASS_CTYPE_STREAM_MIDI = 0x10d00;
constexpr DWORD BASS_CTYPE_RECORD = 0x10002;

struct BASS_CHANNELINFO {
    DWORD freq;
    DWORD chans;
    DWORD flags;
    DWORD ctype;
    DWORD origres;
    DWORD plugin;
    DWORD sample;
    const char* filename;
};

// Soundfonts.
struct BASS_MIDI_FONT {
    HSOUNDFONT font;
    int preset;
    int bank;
};

// MIDI events (BASS_MIDI_StreamEvent) and marks (BASS_MIDI_StreamGetMark).
constexpr DWORD MIDI_EVENT_NOTE = 1;
constexpr DWORD MIDI_EVENT_VOLUME = 12;
constexpr DWORD MIDI_EVENT_TEMPO = 62;
constexpr DWORD MIDI_EVENT_TRANSPOSE = 0x10001;
constexpr DWORD BASS_MIDI_MARK_LYRIC = 2;
constexpr DWORD BASS_MIDI_MARK_TEXT = 3;

struct BASS_MIDI_MARK {
    DWORD track;      // the track chunk the event is in, from 0
    DWORD pos;        // byte position of the event
    const char* text; // the event's bytes, zero-terminated; valid while the stream lives
};

// One event of a MIDI stream's file, as BASS_MIDI_StreamGetEvents lists them.
struct BASS_MIDI_EVENT {
    DWORD event; // MIDI_EVENT_NOTE
    DWORD param; // the key in the low byte, the velocity in the next; velocity 0 ends the note
    DWORD chan;  // 0..15
    DWORD tick;  // on the file's merged time line
    DWORD pos;   // byte position of the event
};

struct BASS_MIDI_FONTINFO {
    const char* name;
    const char* copyright;
    const char* comment;
    DWORD presets;
    DWORD samsize; // bytes of sample data in the font
    DWORD samload; // bytes of sample data loaded
    DWORD samtype;
};

// On the capture thread, with each block of about 100 ms; returning false ends the capture.
using RECORDPROC = BOOL(HRECORD handle, const void* buffer, DWORD length, void* user);
// Never called: a user stream is only made to learn whether float streams work.
using STREAMPROC = DWORD(HSTREAM handle, void* buffer, DWORD length, void* user);
// On the update thread at the event for a mix-time sync (BASS_SYNC_MIXTIME), else on the sync
// thread when the event's audio is heard.
using SYNCPROC = void(HSYNC handle, DWORD channel, DWORD data, void* user);

// Library and device.
DWORD BASS_GetVersion();
DWORD BASS_FX_GetVersion();
BOOL BASS_SetConfig(DWORD option, DWORD value);
DWORD BASS_GetConfig(DWORD option);
BOOL BASS_Init(int device, DWORD freq, DWORD flags, void* win, void* clsid);
BOOL BASS_Free();
BOOL BASS_SetVolume(float volume);
float BASS_GetVolume();
int BASS_ErrorGetCode();

// Capture device and its inputs.
BOOL BASS_RecordInit(int device);
BOOL BASS_RecordFree();
const char* BASS_RecordGetInputName(int input);
DWORD BASS_RecordGetInput(int input, float* volume);
BOOL BASS_RecordSetInput(int input, DWORD flags, float volume);

// Streams.
HSTREAM BASS_StreamCreate(DWORD freq, DWORD chans, DWORD flags, STREAMPROC* proc, void* user);
// WAV, MP3, FLAC, Ogg; `file` is a path (wide with BASS_UNICODE) or, with `mem`, the file's bytes.
HSTREAM BASS_StreamCreateFile(BOOL mem, const void* file, QWORD offset, QWORD length, DWORD flags);
BOOL BASS_StreamFree(HSTREAM handle);
// Tracker modules are not supported: always fails with BASS_ERROR_FILEFORM.
HMUSIC BASS_MusicLoad(BOOL mem, const void* file, QWORD offset, QWORD length, DWORD flags, DWORD freq);
BOOL BASS_MusicFree(HMUSIC handle);
HSTREAM BASS_FX_TempoCreate(DWORD chan, DWORD flags);
float BASS_FX_TempoGetRateRatio(DWORD chan);
HSTREAM BASS_Mixer_StreamCreate(DWORD freq, DWORD chans, DWORD flags);
BOOL BASS_Mixer_StreamAddChannel(HSTREAM handle, DWORD channel, DWORD flags);

// Channels.
BOOL BASS_ChannelGetInfo(DWORD handle, BASS_CHANNELINFO* info);
BOOL BASS_ChannelPlay(DWORD handle, BOOL restart);
BOOL BASS_ChannelPause(DWORD handle);
BOOL BASS_ChannelStop(DWORD handle);
DWORD BASS_ChannelIsActive(DWORD handle);
QWORD BASS_ChannelGetLength(DWORD handle, DWORD mode);
QWORD BASS_ChannelGetPosition(DWORD handle, DWORD mode);
BOOL BASS_ChannelSetPosition(DWORD handle, QWORD pos, DWORD mode);
double BASS_ChannelBytes2Seconds(DWORD handle, QWORD pos);
QWORD BASS_ChannelSeconds2Bytes(DWORD handle, double pos);
BOOL BASS_ChannelSetAttribute(DWORD handle, DWORD attrib, float value);
BOOL BASS_ChannelGetAttribute(DWORD handle, DWORD attrib, float* value);
DWORD BASS_ChannelGetLevel(DWORD handle);
DWORD BASS_ChannelGetData(DWORD handle, void* buffer, DWORD length);
HSYNC BASS_ChannelSetSync(DWORD handle, DWORD type, QWORD param, SYNCPROC* proc, void* user);
BOOL BASS_ChannelRemoveSync(DWORD handle, HSYNC sync);

// Soundfonts.
HSOUNDFONT BASS_MIDI_FontInit(const void* file, DWORD flags);
BOOL BASS_MIDI_FontFree(HSOUNDFONT handle);
BOOL BASS_MIDI_FontSetVolume(HSOUNDFONT handle, float volume);
float BASS_MIDI_FontGetVolume(HSOUNDFONT handle);
BOOL BASS_MIDI_FontGetInfo(HSOUNDFONT handle, BASS_MIDI_FONTINFO* info);
BOOL BASS_MIDI_StreamSetFonts(HSTREAM handle, const BASS_MIDI_FONT* fonts, DWORD count);

// MIDI streams. `file` is a path (wide with BASS_UNICODE) or, with `mem`, the file's bytes; `freq` 0
// means 44100. Index -1 to BASS_MIDI_StreamGetMark returns the count of marks of that type.
HSTREAM BASS_MIDI_StreamCreateFile(BOOL mem, const void* file, QWORD offset, QWORD length, DWORD flags,
                                   DWORD freq);
BOOL BASS_MIDI_StreamGetMark(HSTREAM handle, DWORD type, DWORD index, BASS_MIDI_MARK* mark);
BOOL BASS_MIDI_StreamEvent(HSTREAM handle, DWORD chan, DWORD event, DWORD param);
DWORD BASS_MIDI_StreamGetEvent(HSTREAM handle, DWORD chan, DWORD event);
// The events of type `filter` (MIDI_EVENT_NOTE) in the stream's file, in time order, of one track
// chunk or of all (`track` -1). With `events` null, only their count. -1 on failure.
DWORD BASS_MIDI_StreamGetEvents(HSTREAM handle, int track, DWORD filter, BASS_MIDI_EVENT* events);

// ---- Processing: DSP callbacks and effects ----
// DSP and effects share one order: a higher priority runs first; equal priorities run in the order
// they were set. They run on the thread that produces the channel's audio (the update thread for a
// playing channel, the reader for a decoding one), on interleaved float samples, in place.
// On the thread that produces the channel's audio (the update thread, or the caller of
// BASS_ChannelGetData on a decoding channel), on float samples in place.
using DSPPROC = void(HDSP handle, DWORD channel, void* buffer, DWORD length, void* user);

constexpr DWORD BASS_FX_DX8_REVERB = 8;
constexpr DWORD BASS_FX_BFX_VOLUME = 0x10003;
constexpr DWORD BASS_FX_BFX_PEAKEQ = 0x10004;
constexpr DWORD BASS_FX_BFX_COMPRESSOR2 = 0x10011;
// lChannel: -1 (or 0) is every channel; otherwise a bit mask, bit 0 the first channel.
constexpr int BASS_BFX_CHANALL = -1;

// Room reverb. fInGain dB -96..0 (gain on what enters the effect), fReverbMix dB -96..0 (level of
// the reverberation beside the dry signal; -96 is none), fReverbTime ms 0.001..3000 (RT60),
// fHighFreqRTRatio 0.001..0.999 (decay time of the highs against fReverbTime).
struct BASS_DX8_REVERB {
    float fInGain;
    float fReverbMix;
    float fReverbTime;
    float fHighFreqRTRatio;
};
// Gain, 1 = unity; 0..1000.
struct BASS_BFX_VOLUME {
    int lChannel;
    float fVolume;
};
// One band of a peaking equaliser: lBand 0..63, fBandwidth octaves 0..10 (0: use fQ, 0.01..100),
// fCenter Hz (1 up to below half the rate), fGain dB -60..60.
struct BASS_BFX_PEAKEQ {
    int lBand;
    float fBandwidth;
    float fQ;
    float fCenter;
    float fGain;
    int lChannel;
};
// Feed-forward peak compressor: fGain make-up dB -60..60, fThreshold dB -90..0, fRatio 1..1000,
// fAttack ms 0.01..1000, fRelease ms 0.01..5000.
struct BASS_BFX_COMPRESSOR2 {
    float fGain;
    float fThreshold;
    float fRatio;
    float fAttack;
    float fRelease;
    int lChannel;
};

HDSP BASS_ChannelSetDSP(DWORD handle, DSPPROC* proc, void* user, int priority);
BOOL BASS_ChannelRemoveDSP(DWORD handle, HDSP dsp);
HFX BASS_ChannelSetFX(DWORD handle, DWORD type, int priority);
BOOL BASS_ChannelRemoveFX(DWORD handle, HFX fx);
BOOL BASS_FXGetParameters(HFX handle, void* params);
BOOL BASS_FXSetParameters(HFX handle, const void* params);

// ---- Encoder tap: what a channel produces (after its DSP and effects) into a 16-bit PCM WAV ----
constexpr DWORD BASS_ENCODE_FP_16BIT = 0x4;
constexpr DWORD BASS_ENCODE_PCM = 0x40;
using HENCODE = DWORD;
// `cmdline` is the WAV file's path; only PCM (BASS_ENCODE_PCM) is offered; `proc` must be null.
HENCODE BASS_Encode_Start(DWORD handle, const char* cmdline, DWORD flags, void* proc, void* user);
// Takes a channel or an encoder handle; completes the file's header.
BOOL BASS_Encode_Stop(DWORD handle);

// ---- Capture ----
// Starts capturing the input that is on, 16-bit interleaved at `freq` (0: 44100) and `chans`
// (0: 2); `proc` gets blocks on the engine's capture thread, of the milliseconds in the high word
// of `flags` (5 to 1000; 0: 100 ms); a false result ends the capture. BASS_ChannelStop stops and frees a
// capture channel.
HRECORD BASS_RecordStart(DWORD freq, DWORD chans, DWORD flags, RECORDPROC* proc, void* user);
// Where a capture stands against a channel that was played meanwhile, on the output's clock: the
// seconds from the capture's first sample to the moment BASS_ChannelPlay started `chan`
// (`started`), and to the moment the first frame `chan` played was heard (`heard`: `started` and
// the output latency the engine counts). Either pointer may be null. Fails with BASS_ERROR_NOPLAY
// while the capture has no sample yet or `chan` was never played.
BOOL BASS_RecordGetOffset(HRECORD rec, DWORD chan, double* started, double* heard);

// ---- Tempo detection ----
// On the sync thread, once each period of audio heard.
using BPMPROC = void(DWORD chan, float bpm, void* user);
// On the caller's thread, inside BASS_FX_BPM_DecodeGet.
using BPMPROGRESSPROC = void(DWORD chan, float percent, void* user);
// minMaxBPM: the low word the lowest and the high word the highest tempo wanted (0: the usual
// tapping range, 55 to 190). The result is the tempo a person would tap inside that range: the
// detector's figure or the multiple or fraction of it that the onsets support best.
float BASS_FX_BPM_DecodeGet(DWORD chan, double startSec, double endSec, DWORD minMaxBPM, DWORD flags,
                            BPMPROGRESSPROC* proc, void* user);
BOOL BASS_FX_BPM_CallbackSet(DWORD handle, BPMPROC* proc, double periodSec, DWORD minMaxBPM, DWORD flags,
                             void* user);
BOOL BASS_FX_BPM_Free(DWORD handle);
BOOL BASS_FX_BPM_BeatFree(DWORD handle);
