// A folder of the test's own for written MP3 files, and an ID3v2.3 reader over scripted boxes and
// the virtual clock.
#pragma once

#include "platform/scripted/scripted_dialogs.h"
#include "platform/scripted/virtual_clock.h"
#include "support/mp3_bytes.h"
#include "support/offscreen_app.h"
#include "tags/id3v23_reader.h"

#include <gtest/gtest.h>

#include <string>

namespace velvora::testing {

inline std::string realMp3(const std::string& name) {
    return std::string(VELVORA_REALDATA) + "/mp3_tags/" + name;
}

class TagTest : public ::testing::Test {
  protected:
    // Writes `content` as a file of the test's folder and gives its path.
    std::string file(const std::string& content, const std::string& name = "song.mp3") {
        const std::string path = (folder.path() / name).string();
        mp3::write(path, content);
        return path;
    }

    tags::modID3V230Reader& read(const std::string& content, bool skipUnknown = false) {
        reader.ReadID3v23(file(content), skipUnknown, false);
        return reader;
    }

    TempFolder folder;
    platform::ScriptedDialogs dialogs;
    platform::VirtualClock clock;
    tags::modID3V230Reader reader{dialogs, clock};
};

} // namespace velvora::testing
