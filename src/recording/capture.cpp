#include "recording/capture.h"

#include "core/files.h"
#include "core/staged_file.h"
#include "core/startup.h"
#include "recording/take_journal.h"
#include "recording/take_score.h"
#include "recording/wav_header.h"
#include "widgets/main_controls.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <limits>

namespace velvora::recording {

namespace {

// A block never grows past what the 32-bit length can count.
constexpr double kMaxBlock = std::numeric_limits<std::int32_t>::max();

constexpr char kJournalFolder[] = "TakeJournal";

// Tells the user, on the window's thread, that the take is kept in memory only.
void tellNoJournal(App& app, const char* text) {
    app.sys.clock.post([&app, text] { app.sys.dialogs.msgBox(text, platform::vbExclamation, "Velvora"); });
}

// The journal of the take about to start, or none when it is off or its files cannot be made.
void openJournal(App& app) {
    CaptureState& c = app.s.capture;
    c.journal.reset();
    if (!c.journalOn) return;
    // An earlier take that was not saved keeps its journal: the new take does not write over it.
    if (journalLeft(app)) {
        tellNoJournal(app, kJournalWaitingText);
        return;
    }
    std::error_code ec;
    std::filesystem::create_directories(journalFolder(app), ec);
    JournalHeader header;
    header.song = GetFileName(app.s.FileName);
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%d %H:%M", &local);
    header.date = date;
    // Only a take over a song has a backing track; the digital recorder's capture has none.
    TakeJournal::Paths paths{journalVoicePath(app), journalBackingPath(app),
                             app.s.recordArmed ? joinPath(takeFolder(app), "BackingTrack.WAV")
                                               : std::string()};
    c.journal = TakeJournal::open(paths, header, header, [&app] { tellNoJournal(app, kJournalStoppedText); });
    if (!c.journal) tellNoJournal(app, kJournalStoppedText);
}

// Stops the journal's writer; the journal stays the take's, its files on disk for a recovery,
// until the take is written.
void stopJournal(App& app) {
    if (auto* j = dynamic_cast<TakeJournal*>(app.s.capture.journal.get())) j->close();
}

} // namespace

std::string journalFolder(App& app) {
    return resolveCaseInsensitive(app.appFolder, kJournalFolder);
}

std::string journalVoicePath(App& app) {
    return joinPath(journalFolder(app), "voice.journal");
}

std::string journalBackingPath(App& app) {
    return joinPath(journalFolder(app), "backing.journal");
}

bool journalLeft(App& app) {
    return FileExists(journalVoicePath(app));
}

void removeJournal(App& app) {
    std::remove(journalVoicePath(app).c_str());
    std::remove(journalBackingPath(app).c_str());
}

std::string takeFolder(App& app) {
    return resolveCaseInsensitive(app.appFolder, "TKKK");
}

std::string vocalTrackPath(App& app) {
    return resolveCaseInsensitive(app.appFolder, "TKKK/vocaltrack.wav");
}

std::string backingTrackPath(App& app) {
    return resolveCaseInsensitive(app.appFolder, "TKKK/BackingTrack.WAV");
}

void StartCapture(App& app) {
    CaptureState& c = app.s.capture;
    if (!c.recBuffer.empty()) {
        // A finished take was neither written nor forgotten: the main stream goes with it,
        // whatever it is playing now.
        BASS_StreamFree(app.s.chan);
        c.recBuffer.clear();
    }
    const std::int32_t step = std::max<std::int32_t>(c.recBufStep, kWavHeaderBytes);
    if (!c.recBuffer.allocate(static_cast<std::size_t>(step))) return;
    c.recLength = kWavHeaderBytes;
    c.takeOffset.reset();
    // The voice in the take folder is about to be another: the last take's score is not its.
    forgetTakeScore(app);
    const auto header = headerBytes(WavRiffHeader{}, pcmFormat(2, 44100, 16), WavDataHeader{});
    std::copy(header.begin(), header.end(), c.recBuffer.data());
    openJournal(app);
    c.recChan = BASS_RecordStart(44100, 2, 0, &CaptureProc, &c);
    if (!c.recChan) {
        c.recBuffer.clear();
        c.journal.reset();
        removeJournal(app);
    }
}

BOOL CaptureProc(HRECORD, const void* buffer, DWORD length, void* user) {
    auto& c = *static_cast<CaptureState*>(user);
    if (c.recBuffer.empty() || !buffer) {
        c.recChan = 0;
        return 0;
    }
    const double step = std::max<std::int32_t>(c.recBufStep, 1);
    const double wanted = static_cast<double>(c.recLength) + length;
    if (wanted > kMaxBlock) {
        // The 32-bit length would overflow: the take ends here, whole up to this block.
        c.recChan = 0;
        return 0;
    }
    if (std::fmod(c.recLength, step) + length >= step || wanted > static_cast<double>(c.recBuffer.size())) {
        const double size = std::round((wanted / step + 1) * step);
        if (!c.recBuffer.grow(static_cast<std::size_t>(size))) {
            c.recChan = 0;
            return 0;
        }
    }
    std::memcpy(c.recBuffer.data() + c.recLength, buffer, length);
    c.recLength += static_cast<std::int32_t>(length);
    if (c.journal) c.journal->append(buffer, length);
    return 1;
}

void StopCapture(App& app) {
    CaptureState& c = app.s.capture;
    BASS_ChannelStop(c.recChan);
    c.recChan = 0;
    stopJournal(app);
    if (c.recBuffer.empty() || c.recLength < kWavHeaderBytes) return;
    putLE32(c.recBuffer.data() + kRiffSizeOffset, static_cast<std::uint32_t>(c.recLength - 8));
    putLE32(c.recBuffer.data() + kDataSizeOffset, static_cast<std::uint32_t>(c.recLength - kWavHeaderBytes));
}

void WriteCapture(App& app) {
    CaptureState& c = app.s.capture;
    StagedFile file;
    if (!file.open(joinPath(takeFolder(app), "vocaltrack.wav"))) {
        Error_(app, "Can't create the file");
        return;
    }
    // A block lost to a failed growth leaves nothing to write; an earlier take's file stays.
    if (c.recBuffer.empty()) return;
    const auto bytes = static_cast<std::size_t>(std::max(0, c.recLength));
    if (!file.write(c.recBuffer.data(), std::min(bytes, c.recBuffer.size())) || !file.commit()) {
        Error_(app, "Can't create the file");
        return;
    }
    // The take is on disk as a whole: its journal, if it had one, is no longer needed.
    if (c.journal) {
        c.journal.reset();
        removeJournal(app);
    }
}

std::string InputTypeName(DWORD inputFlags) {
    switch (inputFlags & BASS_INPUT_TYPE_MASK) {
    case 0x01000000:
        return "digital";
    case 0x02000000:
        return "line-in";
    case 0x03000000:
        return "microphone";
    case 0x04000000:
        return "midi synth";
    case 0x05000000:
        return "analog cd";
    case 0x06000000:
        return "telephone";
    case 0x07000000:
        return "pc speaker";
    case 0x08000000:
        return "wave/pcm";
    case 0x09000000:
        return "aux";
    case 0x0A000000:
        return "analog";
    default:
        return "undefined";
    }
}

std::string InputTypeName(App& app) {
    return InputTypeName(BASS_RecordGetInput(app.s.inputIndex, nullptr));
}

void cmbInput_Click(App& app) {
    Session& s = app.s;
    auto* list = app.ui.cmbInput;
    if (!list) return;
    if (s.inputIndex > -1) {
        s.inputIndex = list->currentIndex();
        for (int i = 0; i < list->count(); ++i) BASS_RecordSetInput(i, BASS_INPUT_OFF, -1.0f);
        BASS_RecordSetInput(s.inputIndex, BASS_INPUT_ON, -1.0f);
    }
    list->setVisible(false);
}

void releaseCaptureBuffer(App& app) {
    CaptureState& c = app.s.capture;
    BASS_ChannelStop(c.recChan);
    c.recChan = 0;
    // A take still running at exit was never saved: its journal stays to be offered back.
    stopJournal(app);
    c.journal.reset();
    c.recBuffer.clear();
    c.recLength = 0;
}

} // namespace velvora::recording
