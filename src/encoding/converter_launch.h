// The menu entry "Wav to Mp3": the converter is a program of its own, installed beside velvora.
#pragma once

#include "core/app.h"

namespace velvora::encoding {

// Starts `mp3enc` from the executable's folder and does not wait for it. When it cannot be
// started, a box says so.
void wavp3_Click(App& app);

} // namespace velvora::encoding
