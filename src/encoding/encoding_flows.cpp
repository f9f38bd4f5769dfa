#include "encoding/encoding_flows.h"

#include "core/files.h"

#include <QApplication>
#include <QProgressBar>

#include <initializer_list>

namespace velvora::encoding {

namespace {

// Shows the bar, moves it to each value a second apart, hides it.
void timedSteps(Mp3EncJob& job, std::initializer_list<int> values) {
    if (job.Pbregg) job.Pbregg->setVisible(true);
    for (int value : values) {
        job.clock.sleep(1000);
        if (job.Pbregg) job.Pbregg->setValue(value);
    }
    if (job.Pbregg) job.Pbregg->setVisible(false);
}

void encodeTrack(Mp3EncJob& job, const std::string& wav, const std::string& mp3, int times) {
    job.encoder.WavFile(resolveCaseInsensitive(job.appFolder, "TKKK/" + wav));
    job.encoder.Mp3File(joinPath(job.appFolder, "TMPK/" + mp3));
    usePackageSettings(job.encoder);
    for (int i = 0; i < times; ++i) job.encoder.Encode();
}

} // namespace

void usePackageSettings(cLameEncoder& encoder) {
    encoder.EncodingPreset(kPresetCbr);
    encoder.BitRate(256);
    encoder.OutputMode(kModeStereo);
    encoder.SampleRate(44100);
}

void Mp3Enc(Mp3EncJob& job) {
    QApplication::setOverrideCursor(Qt::WaitCursor);
    timedSteps(job, {20, 40, 60, 100});
    encodeTrack(job, "BackingTrack.wav", "BackingTrack.MP3", 2);
    timedSteps(job, {30, 60, 100});
    encodeTrack(job, job.vocalWav, "vocaltrack.MP3", 1);
    timedSteps(job, {30, 60, 100});
    if (job.lrcBatch && job.Lrc_batch) job.Lrc_batch();
    job.lrcBatch = false;
    QApplication::restoreOverrideCursor();
    if (job.showForm1) job.showForm1();
}

} // namespace velvora::encoding
