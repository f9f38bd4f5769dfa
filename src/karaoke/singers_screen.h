// The singer's screen behind the Karaoke button: the full-screen lyric window, which shows the page
// of Picture3 in large type on every word step.
#pragma once

#include "core/app.h"

namespace velvora::karaoke {

// Shows the full-screen lyric window when it is hidden, hides it when it is shown. Hiding it never
// touches the song.
void CmdKara_Click(App& app);
// Paints the page of the last word step again when the singer's screen is shown and the main page
// shows a page: after the window is shown or resized, which clears it.
void RepaintSingersScreen(App& app);

} // namespace velvora::karaoke
