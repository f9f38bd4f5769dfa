// The take's way to a package: both WAV files of a take become the two MP3 members in TMPK, then
// the package maker opens. The window owns the encoder and the controls; this routine only works
// on what it is handed.
#pragma once

#include "encoding/lame_encoder.h"
#include "platform/clock.h"

#include <functional>
#include <string>

class QProgressBar;

namespace velvora::encoding {

// The package's encoder values: 256 kbit/s, constant bit rate, plain stereo, 44100 Hz.
void usePackageSettings(cLameEncoder& encoder);

struct Mp3EncJob {
    // The program's folder, holding TKKK (the take) and TMPK (the package's members).
    std::string appFolder;
    cLameEncoder& encoder;
    platform::Clock& clock;
    // The progress bar that steps on timed sleeps; may be null.
    QProgressBar* Pbregg = nullptr;
    // The LRC creator's batch flag; Lrc_batch runs when it is set, and it is cleared.
    bool& lrcBatch;
    std::function<void()> Lrc_batch;
    // Shows the package maker and returns when it is closed.
    std::function<void()> showForm1;
    // The vocal track to encode, a name inside TKKK.
    std::string vocalWav = "vocaltrack.wav";
};

// Encodes the backing track (twice in a row, the second run replacing the first) and the vocal
// track, stepping the bar between them, then shows the package maker. A RaisedError of the
// encoder leaves at once, with the wait cursor still on, and the maker does not open.
void Mp3Enc(Mp3EncJob& job);

} // namespace velvora::encoding
