// Linked into a program of tests, this has Vulkan's validation layer look at all that its views draw: the process's
// device is the validated one, and what the layer says fails the test that runs.

#include "metal/MetalSupport.h"
#include "platform/metal/MetalDriver.h"

namespace metaltest {
namespace {

class MessagesFailTests final : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo&) override {
    for (const std::string& message : takeValidationMessages()) ADD_FAILURE() << message;
  }
};

class WatchedViews final : public testing::Environment {
  void SetUp() override {
    std::string reason;
    if (!validatedDevice(&reason)) return;
    ZELPlatform::replaceMetalDevice([] {
      std::string unused;
      return validatedDevice(&unused);
    });
    testing::UnitTest::GetInstance()->listeners().Append(new MessagesFailTests);
  }
  void TearDown() override { ZELPlatform::replaceMetalDevice(nullptr); }
};

[[maybe_unused]] testing::Environment* const watchedViews = testing::AddGlobalTestEnvironment(new WatchedViews);

TEST(WatchedViews, AreDrawnByTheValidatedDevice) {
  std::string reason;
  const auto device = validatedDevice(&reason);
  if (!device) GTEST_SKIP() << reason;
  EXPECT_EQ(MTLCreateSystemDefaultDevice(), device);
}

}  // namespace
}  // namespace metaltest
