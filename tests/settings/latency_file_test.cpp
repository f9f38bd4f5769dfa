#include "settings/latency_file.h"
#include "support/app_fixture.h"

#include <filesystem>
#include <fstream>

namespace velvora {
namespace {

using testing::AppFixture;

class LatencyFileTest : public AppFixture {
  protected:
    void write(const std::string& text) {
        std::ofstream(folder.path() / "latency.vrk", std::ios::binary) << text;
    }
};

TEST_F(LatencyFileTest, AMeasurementIsKeptBesideTheOtherSettingsAndComesBackAtStart) {
    start();
    EXPECT_FALSE(app->s.capture.calibration) << "no file: no calibration";
    app->s.capture.calibration = LatencyCalibration{87.25, 0.5, 60.5};
    EXPECT_TRUE(settings::latencySave(*app).empty());
    EXPECT_TRUE(std::filesystem::exists(folder.path() / "latency.vrk"));
    app->s.capture.calibration.reset();
    call(app->hooks.confload); // the start-up step that reads the program's settings
    ASSERT_TRUE(app->s.capture.calibration);
    EXPECT_DOUBLE_EQ(app->s.capture.calibration->roundTripMs, 87.25);
    EXPECT_DOUBLE_EQ(app->s.capture.calibration->spreadMs, 0.5);
    EXPECT_DOUBLE_EQ(app->s.capture.calibration->outputMs, 60.5);
    EXPECT_DOUBLE_EQ(app->s.capture.calibration->inputMs(), 26.75);
    // Forgetting it removes the file.
    app->s.capture.calibration.reset();
    EXPECT_TRUE(settings::latencySave(*app).empty());
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "latency.vrk"));
}

TEST_F(LatencyFileTest, ADamagedFileGivesNoCalibration) {
    start();
    for (const std::string& bad :
         {std::string(), std::string("87"), std::string("-3 1"), std::string("87 1 2 3"),
          std::string("87 1 90"), std::string("87 1 x"), std::string("1e3 1"), std::string("5000 1"),
          std::string("87.5.1 1"), std::string("87 1\r\nmore"), std::string("\x00\x01", 2),
          std::string(100000, '7') + " 1"}) {
        write(bad);
        app->s.capture.calibration = LatencyCalibration{40, 1};
        settings::latencyLoad(*app);
        EXPECT_FALSE(app->s.capture.calibration) << "file: " << bad.substr(0, 20);
    }
    // A measurement of before the output's part was kept: the whole round trip counts as the input's.
    write("120.00 0.25\r\n");
    settings::latencyLoad(*app);
    ASSERT_TRUE(app->s.capture.calibration);
    EXPECT_DOUBLE_EQ(app->s.capture.calibration->roundTripMs, 120.0);
    EXPECT_LT(app->s.capture.calibration->outputMs, 0);
    EXPECT_DOUBLE_EQ(app->s.capture.calibration->inputMs(), 120.0);
}

TEST_F(LatencyFileTest, AnUnwritableFileIsReportedInWords) {
    start();
    std::filesystem::create_directories(folder.path() / "latency.vrk");
    app->s.capture.calibration = LatencyCalibration{50, 1};
    EXPECT_FALSE(settings::latencySave(*app).empty());
}

} // namespace
} // namespace velvora
