// The MPEG facts of an audio song, read with the title boxes of the main window filled from them.
#pragma once

#include "core/app.h"
#include "tags/mpeg_info.h"

#include <string>

namespace velvora::tags {

// Empties the Title, Artist, Yizear and GENERE boxes, passes the copyright field through Artist,
// reads the file's end tags and first frame header with `module`, then shows the tag's artist and
// title. Yizear and GENERE stay empty.
Mp3Info ReadMp3Info(App& app, mMP3& module, const std::string& path);

} // namespace velvora::tags
