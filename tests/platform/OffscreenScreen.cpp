#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIScreen.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

/// Opens the off-screen display for every test of this program, whatever the machine has.
class OffscreenScreen final : public testing::Environment {
 public:
  void SetUp() override {
    UIApplicationOptions options;
    options.displayDriver = "paper";
    EXPECT_THAT(UIApplication::start(options), testing::StartsWith("There is no display driver named \"paper\""));
    options.displayDriver = "offscreen";
    options.offscreenScale = 0;
    EXPECT_EQ(UIApplication::start(options),
              "The off-screen display needs a size, scale and rate above 0 (1280 x 720 points, scale 0, 60 Hz).");
    EXPECT_EQ(UIApplication::sharedApplication().displayDriverName(), "");

    options.offscreenSize = {400, 800};
    options.offscreenScale = 1.5;
    options.offscreenRefreshRate = 100;
    ASSERT_EQ(UIApplication::start(options), "");
    EXPECT_EQ(UIApplication::sharedApplication().displayDriverName(), "offscreen");
    EXPECT_EQ(UIApplication::sharedApplication().statusBarOrientation(), UIInterfaceOrientationPortrait);
    const UIScreen& screen = UIScreen::mainScreen();
    EXPECT_TRUE(CGRectEqualToRect(screen.bounds(), CGRectMake(0, 0, 400, 800)));
    EXPECT_EQ(screen.nativeScale(), 1.5);
    EXPECT_EQ(screen.maximumFramesPerSecond(), 100);
  }
};

[[maybe_unused]] const testing::Environment* const kScreen = testing::AddGlobalTestEnvironment(new OffscreenScreen);

}  // namespace
