#include "settings/app_settings.h"
#include "support/app_fixture.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace velvora {
namespace {

using testing::AppFixture;

std::string readAll(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// A text literal taken whole, zero bytes inside it included.
template <std::size_t N>
std::string withNul(const char (&text)[N]) {
    return std::string(text, N - 1);
}

class AppSettingsTest : public AppFixture {};

TEST_F(AppSettingsTest, AFreshSaveWritesTheOneLineAndTheNextStartReadsOk) {
    start();
    EXPECT_TRUE(app->s.config.configState.empty());
    EXPECT_TRUE(settings::confsave(*app).empty());
    EXPECT_EQ(readAll(folder.path() / "config.vrk"), "\"OK\",0,,,,,,,#FALSE#,,,0\r\n");
    settings::confload(*app);
    EXPECT_EQ(app->s.config.configState, "OK");
}

TEST_F(AppSettingsTest, StoredValuesComeBackAsTheyWere) {
    start();
    app->s.config.configByte = 200;
    app->s.config.configFlag = true;
    app->s.config.configWord = -1234;
    settings::confsave(*app);
    app->s.config = ConfigState{};
    settings::confload(*app);
    EXPECT_EQ(app->s.config.configByte, 200);
    EXPECT_TRUE(app->s.config.configFlag);
    EXPECT_EQ(app->s.config.configWord, -1234);
}

TEST_F(AppSettingsTest, TheSaveMenuEntryWritesTheFile) {
    start();
    app->ui.SaveC->trigger();
    EXPECT_TRUE(std::filesystem::exists(folder.path() / "config.vrk"));
}

TEST_F(AppSettingsTest, AnUnwritableFolderIsReportedNotFatal) {
    start();
    std::filesystem::create_directories(folder.path() / "config.vrk"); // a folder where the file goes
    dialogs.answer(platform::vbOK);
    app->ui.SaveC->trigger();
    ASSERT_EQ(dialogs.shown().size(), 1u);
    EXPECT_NE(dialogs.shown()[0].text.find("config.vrk"), std::string::npos);
}

TEST_F(AppSettingsTest, DamagedEmptyBinaryOrHugeFilesChangeNothing) {
    start();
    app->s.config.configState = "before";
    app->s.config.configWord = 7;
    const auto path = folder.path() / "config.vrk";
    const std::string cases[] = {
        "",
        "\"OK\",0,,,",
        "\"OK\",999,,,,,,,#FALSE#,,,0\r\n",
        "\"OK\",0,,,,,,,#MAYBE#,,,0\r\n",
        "\"OK\",0,,,,,,,#FALSE#,,,99999\r\n",
        withNul("\"OK\",0\0,,,,,,#FALSE#,,,0"),
        withNul("\x89PNG\r\n\x1a\n\0\0\0\rIHDR"),
        std::string(1 << 20, 'A'),
    };
    for (const std::string& c : cases) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << c;
        settings::confload(*app);
        EXPECT_EQ(app->s.config.configState, "before") << c.substr(0, 30);
        EXPECT_EQ(app->s.config.configWord, 7);
    }
    EXPECT_TRUE(dialogs.shown().empty());
}

TEST_F(AppSettingsTest, RecordingValueReadsOneNumberAndIgnoresAnythingElse) {
    start();
    const auto path = folder.path() / "recording.vrk";
    settings::visionLoad(*app); // no file: nothing
    EXPECT_EQ(app->s.config.recordingValue, 0);
    std::ofstream(path, std::ios::trunc) << " 42 \r\n";
    settings::visionLoad(*app);
    EXPECT_EQ(app->s.config.recordingValue, 42);
    for (const std::string& bad :
         std::vector<std::string>{"", "forty", "70000", withNul("\0\1\2"), std::string(100000, '9')}) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bad;
        settings::visionLoad(*app);
        EXPECT_EQ(app->s.config.recordingValue, 42);
    }
}

TEST_F(AppSettingsTest, ASavedConfigurationIsReadAgainAtTheEndOfTheStart) {
    std::ofstream(folder.path() / "config.vrk") << "\"OK\",3,,,,,,,#TRUE#,,,-2\r\n";
    start();
    EXPECT_EQ(app->s.config.configState, "OK");
    EXPECT_EQ(app->s.config.configByte, 3);
    EXPECT_TRUE(app->s.config.configFlag);
    EXPECT_EQ(app->s.config.configWord, -2);
}

} // namespace
} // namespace velvora
