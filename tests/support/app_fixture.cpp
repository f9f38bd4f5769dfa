#include "support/app_fixture.h"

#include "core/startup.h"
#include "engine/api.h"
#include "engine/testing.h"

#include <QApplication>

#include <atomic>
#include <fstream>
#include <unistd.h>

namespace velvora::testing {

namespace fs = std::filesystem;

void AppFixture::SetUp() {
    engine::testing::useVirtualDevice(true);
}

void AppFixture::TearDown() {
    EXPECT_TRUE(dialogs.unexpected().empty())
        << "a box nobody expected: \"" << dialogs.unexpected().front().text << "\" ("
        << dialogs.unexpected().front().caption << ")";
    window.hide();
    BASS_Free();
    BASS_RecordFree();
    engine::testing::useVirtualDevice(false);
}

void AppFixture::start() {
    ASSERT_TRUE(Form_Initialize(*app));
    Form_Load(*app);
}

void writeTinySoundFont(const fs::path& path, const std::string& name) {
    auto le = [](std::string& s, std::uint32_t v) {
        for (int i = 0; i < 4; ++i) s += static_cast<char>((v >> (8 * i)) & 0xff);
    };
    std::string inam = name + '\0';
    if (inam.size() & 1) inam += '\0';
    std::string info = "INFOINAM";
    le(info, static_cast<std::uint32_t>(inam.size()));
    info += inam;
    std::string sdta = "sdtasmpl";
    le(sdta, 4);
    sdta += std::string(4, '\0');
    std::string body = "sfbkLIST";
    le(body, static_cast<std::uint32_t>(info.size()));
    body += info + "LIST";
    le(body, static_cast<std::uint32_t>(sdta.size()));
    body += sdta;
    std::string file = "RIFF";
    le(file, static_cast<std::uint32_t>(body.size()));
    std::ofstream(path, std::ios::binary) << file << body;
}

} // namespace velvora::testing
