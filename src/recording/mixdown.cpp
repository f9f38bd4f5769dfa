#include "recording/mixdown.h"

#include "core/controls.h"
#include "core/files.h"
#include "core/mod_bass.h"
#include "core/startup.h"
#include "core/vb_text.h"
#include "recording/capture.h"
#include "recording/latency_calibration.h"
#include "recording/take_session.h"
#include "recording/wav_header.h"
#include "widgets/main_controls.h"

#include <QApplication>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <vector>

namespace velvora::recording {

namespace {

namespace fs = std::filesystem;

enum Mix { TakeMix = 0, PackageMix = 1 };

constexpr DWORD kDecodeFloat = BASS_STREAM_DECODE | BASS_SAMPLE_FLOAT;
constexpr DWORD kDecodeMixerUntilEnd = BASS_STREAM_DECODE | BASS_MIXER_END;

bool toggleRunning(App& app, Mix which) {
    bool& flag = app.s.mix.mixRunning[which];
    flag = !flag;
    return flag;
}

// The shared core: the header from the mixer's format, then blocks until the mixer ends, the
// flag is cleared by a second entry, or a package mix reaches its limit.
void render(App& app, HSTREAM mixer, Mix which) {
    MixState& m = app.s.mix;
    auto& ui = app.ui;
    m.mixInfo = BASS_CHANNELINFO{};
    BASS_ChannelGetInfo(mixer, &m.mixInfo);
    const auto bits = static_cast<std::uint16_t>((m.mixInfo.flags & BASS_SAMPLE_8BITS) ? 8 : 16);
    const WavFmtHeader fmt = pcmFormat(static_cast<std::uint16_t>(m.mixInfo.chans), m.mixInfo.freq, bits);
    const std::string path = RPP(app.appFolder) + "LiveTrack.wav";
    std::error_code ec;
    if (FileExists(path)) fs::remove(path, ec);
    m.file1.open(path);
    const auto header = headerBytes(WavRiffHeader{}, fmt, WavDataHeader{});
    m.file1.write(header.data(), header.size());
    std::vector<std::uint8_t> mixBuffer(kMixBlockBytes);
    if (which == PackageMix) setShown(ui.Pbregg, true);
    while (BASS_ChannelIsActive(mixer) != BASS_ACTIVE_STOPPED && m.mixRunning[which]) {
        // The count is not looked at: a short last read leaves older samples at the block's end,
        // which go to the file behind the data chunk, outside the sizes in the header.
        BASS_ChannelGetData(mixer, mixBuffer.data(), kMixBlockBytes);
        m.file1.write(mixBuffer.data(), mixBuffer.size());
        m.mixPosition = static_cast<std::int32_t>(
            std::min<QWORD>(BASS_ChannelGetPosition(mixer, BASS_POS_BYTE), 0x7fffffff));
        if (which == PackageMix) {
            setCaption(ui.lblPos, "Pos: " + std::to_string(m.mixPosition));
            if (m.mixPosition >= kPackageMixLimit) break;
            ui.Pbregg->setValue(static_cast<int>(std::lround(m.mixPosition / 1000000.0)));
        }
        app.sys.clock.doEvents();
    }
}

void fatto(App& app) {
    app.sys.dialogs.msgBox("Fatto!", platform::vbQuestion, "Velvora");
}

} // namespace

void finishMixFile(App& app) {
    MixState& m = app.s.mix;
    if (!m.file1.isOpen()) return;
    const auto data = static_cast<std::uint32_t>(std::max(0, m.mixPosition));
    m.file1.patch32(kRiffSizeOffset, data + kWavHeaderBytes - 8);
    m.file1.patch32(kDataSizeOffset, data);
    m.file1.commit();
}

void AudioMixer(App& app) {
    Session& s = app.s;
    MixState& m = s.mix;
    auto& ui = app.ui;
    if (!s.recordArmed) return;
    setShown(ui.lblPos, true);
    setEnabled(ui.CmdRec, false);
    setEnabled(ui.Cmd_play, false);
    setEnabled(ui.CmdPlw, false);
    setShown(ui.LblTm[0], false);
    setShown(ui.Picture2, false);
    m.file1.discard();
    app.tmr.tmrMidiTest->setEnabled(false);
    app.sys.process.setCurrentFolder(app.appFolder);
    m.mixRate = 44100;
    m.liveStream = BASS_Mixer_StreamCreate(44100, 2, kDecodeMixerUntilEnd);
    // A track that does not open is left out; the mix goes on with what there is.
    const HSTREAM backing = modBass::StreamCreateFile(backingTrackPath(app), kDecodeFloat);
    BASS_Mixer_StreamAddChannel(m.liveStream, backing, 0);
    const HSTREAM voice = modBass::StreamCreateFile(vocalTrackPath(app), kDecodeFloat);
    // The voice came back the measured round trip after the backing was heard: read it that
    // much earlier.
    if (const std::uint32_t shift = voiceShiftFrames(app); shift && voice)
        BASS_ChannelSetPosition(voice, BASS_ChannelSeconds2Bytes(voice, shift / 44100.0), BASS_POS_BYTE);
    BASS_Mixer_StreamAddChannel(m.liveStream, voice, 0);
    if (toggleRunning(app, TakeMix)) render(app, m.liveStream, TakeMix);
    m.mixRunning[TakeMix] = false;
    finishMixFile(app);
    for (HSTREAM h : {m.liveStream, backing, voice}) BASS_StreamFree(h);
    m.liveStream = 0;
    m.mixPosition = 0;
    QApplication::restoreOverrideCursor();
    ui.Sldposition->setValue(0);
    s.posSeconds = 0;
    fatto(app);
    setShown(ui.lblPos, false);
    SaveWave(app);
}

void BtnMix_Click(App& app) {
    Session& s = app.s;
    MixState& m = s.mix;
    auto& ui = app.ui;
    s.stemCount = 0;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    setEnabled(ui.BtnMix, false);
    app.tmr.tmrMidiTest->setEnabled(false);
    m.mixRate = 44100;
    app.sys.process.setCurrentFolder(app.appFolder);
    s.chan = BASS_Mixer_StreamCreate(44100, 2, kDecodeMixerUntilEnd);
    const std::string nvkFolder = joinPath(app.appFolder, "TMPK");

    // The plain files of TMPK in name order; the information text and the lyric are not tracks.
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(nvkFolder, ec))
        if (entry.is_regular_file(ec)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        const std::string ext = vb::Right(name, 3);
        if (ext == "txt" || ext == "LRC") continue;
        // The mixer has three places for tracks; further ones stay out of the mix.
        if (s.stemCount >= static_cast<std::int16_t>(s.stems.size())) break;
        const auto i = static_cast<std::size_t>(s.stemCount);
        setEnabled(ui.Check1[i], true);
        ui.Check1[i]->setChecked(true);
        const HSTREAM file = modBass::StreamCreateFile(joinPath(nvkFolder, s.trackFile[i]), kDecodeFloat);
        s.stems[i] = BASS_FX_TempoCreate(file, BASS_FX_FREESOURCE | BASS_STREAM_DECODE);
        BASS_Mixer_StreamAddChannel(s.chan, s.stems[i], 0);
        ++s.stemCount;
    }
    if (FileExists(resolveCaseInsensitive(app.appFolder, "SongCustom/" + GetFileName(s.FileName) + ".txt")))
        call(app.hooks.ModMulti);
    // The strip is a reversed attenuator: 0 is full level, 127 silence.
    for (int i = 0; i < s.stemCount; ++i)
        BASS_ChannelSetAttribute(s.stems[static_cast<std::size_t>(i)], BASS_ATTRIB_VOL,
                                 static_cast<float>(127 - ui.Slider2[static_cast<std::size_t>(i)]->value()) /
                                     127.0f);
    if (toggleRunning(app, PackageMix)) {
        render(app, s.chan, PackageMix);
        ui.Pbregg->setValue(100);
        m.mixRunning[PackageMix] = false;
        finishMixFile(app);
        setShown(ui.Pbregg, false);
        m.mixPosition = 0;
        QApplication::restoreOverrideCursor();
        fatto(app);
        SaveWave(app);
    } else {
        QApplication::restoreOverrideCursor(); // the running mixdown keeps its own
    }
    BASS_Free();
    deleteFiles(nvkFolder, "*.*");
    PerPausa(app);
}

} // namespace velvora::recording
