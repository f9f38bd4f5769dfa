#include "core/hooks.h"
#include "support/app_fixture.h"

#include <gmock/gmock.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace velvora {
namespace {

using testing::AppFixture;
using ::testing::IsEmpty;

// The hooks a running program knowingly leaves empty, and why. Wiring one of them means taking
// it off this list; leaving a new one empty means adding it here with its reason.
const std::map<std::string, std::string> kKnowinglyEmpty = {};

class HooksTest : public AppFixture {};

TEST_F(HooksTest, EveryHookOfARunningProgramIsWiredOrKnowinglyEmpty) {
    start();
    std::vector<std::string> silentlyEmpty, wiredButListed;
    std::set<std::string> seen;
    forEachHook(app->hooks, [&](const char* name, const auto& hook) {
        seen.insert(name);
        const bool listed = kKnowinglyEmpty.count(name) != 0;
        if (!hook && !listed) silentlyEmpty.emplace_back(name);
        if (hook && listed) wiredButListed.emplace_back(name);
    });
    EXPECT_THAT(silentlyEmpty, IsEmpty()) << "empty hooks that no one knows of";
    EXPECT_THAT(wiredButListed, IsEmpty()) << "wired now: take them off the list";
    for (const auto& [name, why] : kKnowinglyEmpty)
        EXPECT_TRUE(seen.count(name)) << name << " (" << why << "): no such hook";
}

} // namespace
} // namespace velvora
