#include <gtest/gtest.h>

#include "superres/ZELNetworkLoading.h"

namespace ZELTest {
namespace {

TEST(NetworkLoading, AWholeFrameworkOfThisVersionIsUsed) {
  ZELNetworkFramework* framework = ZELLoadNetworkFramework("whole");
  ASSERT_NE(framework, nullptr);
  EXPECT_TRUE(framework->isInputResolutionSupported({.inputWidth = 11}));
  EXPECT_EQ(ZELLoadNetworkFramework("whole"), framework) << "loaded once";
}

/// Of these no code may run: a framework of another version ends the process when it is entered.
TEST(NetworkLoading, AnythingElseIsLeftAlone) {
  for (const char* name : {"absent", "other_version", "no_version", "no_entry", "unbound", "no_object", ""}) {
    EXPECT_EQ(ZELLoadNetworkFramework(name), nullptr) << name;
  }
}

TEST(NetworkLoading, AFrameworkMayDecline) { EXPECT_EQ(ZELLoadNetworkFramework("declining"), nullptr); }

}  // namespace
}  // namespace ZELTest
