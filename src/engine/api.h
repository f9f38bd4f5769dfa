// The audio engine's published operations. The program calls only these; everything behind them
// (devices, decoding, synthesis, mixing) is private to src/engine.
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

// Channel types reported by BASS_ChannelGetInfo.
constexpr DWORD BASS_CTYPE_STREAM = 0x10000;
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

struct BASS_MIDI_FONTINFO {
    const char* name;
    const char* copyright;
    const char* comment;
    DWORD presets;
    DWORD samsize; // bytes of sample data in the font
    DWORD samload; // bytes of sample data loaded
    DWORD samtype;
};

using RECORDPROC = BOOL(HRECORD handle, const void* buffer, DWORD length, void* user);
using STREAMPROC = DWORD(HSTREAM handle, void* buffer, DWORD length, void* user);

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
BOOL BASS_StreamFree(HSTREAM handle);
BOOL BASS_ChannelGetInfo(DWORD handle, BASS_CHANNELINFO* info);

// Soundfonts.
HSOUNDFONT BASS_MIDI_FontInit(const void* file, DWORD flags);
BOOL BASS_MIDI_FontFree(HSOUNDFONT handle);
BOOL BASS_MIDI_FontSetVolume(HSOUNDFONT handle, float volume);
float BASS_MIDI_FontGetVolume(HSOUNDFONT handle);
BOOL BASS_MIDI_FontGetInfo(HSOUNDFONT handle, BASS_MIDI_FONTINFO* info);
BOOL BASS_MIDI_StreamSetFonts(HSTREAM handle, const BASS_MIDI_FONT* fonts, DWORD count);
