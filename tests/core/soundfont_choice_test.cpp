// Which soundfont start-up loads when the executable and its files live in different folders, as
// they do for an installed program.
#include "core/startup.h"
#include "engine/api.h"
#include "support/app_fixture.h"

#include <filesystem>
#include <fstream>

namespace velvora {
namespace {

namespace fs = std::filesystem;
using testing::AppFixture;

class SoundFontChoiceTest : public AppFixture {
  protected:
    void SetUp() override {
        AppFixture::SetUp();
        fs::create_directories(programFolder);
        fs::create_directories(dataFolder);
        process.setFolders(programFolder.string(), dataFolder.string());
        app->systemSoundFont = (folder.path() / "system" / "default-GM.sf2").string();
        fs::create_directories(folder.path() / "system");
        testing::writeTinySoundFont(app->systemSoundFont, "System");
    }
    std::string loadedName() {
        BASS_MIDI_FONTINFO info{};
        if (!app->s.font || !BASS_MIDI_FontGetInfo(app->s.font, &info)) return "";
        return info.name;
    }
    const fs::path programFolder = folder.path() / "bin";
    const fs::path dataFolder = folder.path() / "data";
};

TEST_F(SoundFontChoiceTest, TheOneBesideTheExecutableComesBeforeTheDataFolders) {
    testing::writeTinySoundFont(programFolder / "chorium.SF2", "Beside");
    testing::writeTinySoundFont(dataFolder / "CHORIUM.sf2", "Data");
    start();
    EXPECT_EQ(loadedName(), "Beside");
    EXPECT_EQ(fs::path(app->s.soundFontPath), programFolder / "chorium.SF2");
}

TEST_F(SoundFontChoiceTest, TheDataFoldersOneInAnyCaseWhenNoneIsBesideTheExecutable) {
    testing::writeTinySoundFont(dataFolder / "CHORIUM.sf2", "Data");
    start();
    EXPECT_EQ(loadedName(), "Data");
    EXPECT_EQ(fs::path(app->s.soundFontPath), dataFolder / "CHORIUM.sf2");
}

TEST_F(SoundFontChoiceTest, TheSystemFontWhenNeitherFolderHasOne) {
    // A file of the name that is no soundfont is passed over like a missing one.
    std::ofstream(programFolder / "chorium.SF2") << "not a soundfont";
    start();
    EXPECT_EQ(loadedName(), "System");
    EXPECT_EQ(app->s.soundFontPath, app->systemSoundFont);
    EXPECT_TRUE(dialogs.shown().empty());
}

} // namespace
} // namespace velvora
