// The mixdowns: a decode-only mixer pulled by hand in blocks of 20000 bytes, faster than real
// time, into LiveTrack.wav in the program folder, then the offer to save it. AudioMixer joins the
// two files of a fresh take; BtnMix_Click the unpacked tracks of a package at the channel strip's
// levels, cut at 41807080 bytes.
#pragma once

#include "core/app.h"

namespace velvora::recording {

// The "No" answer at the end of a take; does nothing unless a take is armed.
void AudioMixer(App& app);
// The package mixdown button.
void BtnMix_Click(App& app);
// Writes the two sizes into LiveTrack.wav and closes it.
void finishMixFile(App& app);

// A mixdown stops at this many bytes of a package mix: 237 s of stereo 16-bit at 44100 Hz.
constexpr std::int32_t kPackageMixLimit = 41807080;
constexpr DWORD kMixBlockBytes = 20000;

} // namespace velvora::recording
