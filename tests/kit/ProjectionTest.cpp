#include <ZELKit/ZELProjection.h>
#include <ZELKit/ZELTextureFormat.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Projection, ConstructorsSetTheirFieldAndLeaveTheOthersZero) {
  const auto flat = ZELProjection::flatWithContentGravity(7);
  EXPECT_EQ(flat->type(), 0);
  EXPECT_EQ(flat->contentGravity(), 7);
  EXPECT_EQ(flat->padding(), 0);
  const auto cube = ZELProjection::cubemapWithPadding(16);
  EXPECT_EQ(cube->type(), 2);
  EXPECT_EQ(cube->contentGravity(), 0);
  EXPECT_EQ(cube->padding(), 16);
  EXPECT_EQ(ZELProjection::equirectangular()->type(), 1);
  EXPECT_EQ(ZELProjection::segmentedSphere()->type(), 3);
}

TEST(Projection, NamesAreTheShaderKeys) {
  EXPECT_STREQ(ZELProjectionTypeName(0), "flat");
  EXPECT_STREQ(ZELProjectionTypeName(1), "equirectangular");
  EXPECT_STREQ(ZELProjectionTypeName(2), "cubemap");
  EXPECT_STREQ(ZELProjectionTypeName(3), "segmentedsphere");
  for (const int64_t unknown : {-1, 4}) EXPECT_STREQ(ZELProjectionTypeName(unknown), "unknown");
  EXPECT_STREQ(ZELMetalTextureFormatName(0), "rgb");
  EXPECT_STREQ(ZELMetalTextureFormatName(1), "yuv");
  for (const int64_t unknown : {-1, 2}) EXPECT_STREQ(ZELMetalTextureFormatName(unknown), "unknown");
}

TEST(Projection, ZoomScaleKeepsTheAngleAlongTheLongerSide) {
  const auto sphere = ZELProjection::equirectangular();
  EXPECT_EQ(sphere->zoomScaleForAspectRatio(1.5, true), 1.5 * 0.9);
  EXPECT_EQ(sphere->zoomScaleForAspectRatio(1.5, false), 0.9);
  EXPECT_EQ(ZELProjection::flatWithContentGravity(0)->zoomScaleForAspectRatio(1.5, true), 1.0);
}

struct RectCase {
  const char* what;
  int64_t gravity;
  CGSize content;
  CGSize target;
  CGRect expected;
};

class DisplayRect : public testing::TestWithParam<RectCase> {};

TEST_P(DisplayRect, PlacesTheFrame) {
  const RectCase& c = GetParam();
  const CGRect rect = ZELProjection::flatWithContentGravity(c.gravity)->displayRectForContentSize(c.content, c.target);
  EXPECT_EQ(rect.origin.x, c.expected.origin.x) << c.what;
  EXPECT_EQ(rect.origin.y, c.expected.origin.y) << c.what;
  EXPECT_EQ(rect.size.width, c.expected.size.width) << c.what;
  EXPECT_EQ(rect.size.height, c.expected.size.height) << c.what;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, DisplayRect,
    testing::Values(
        RectCase{"fit, letterbox", 0, {1920, 1080}, {1000, 1000}, {{0, 218.0 / 1000}, {1, 563.0 / 1000}}},
        RectCase{"fill, cropped", 1, {1920, 1080}, {1000, 1000}, {{-389.0 / 1000, 0}, {1778.0 / 1000, 1}}},
        RectCase{"any gravity but 0 fills", -3, {1920, 1080}, {1000, 1000}, {{-389.0 / 1000, 0}, {1778.0 / 1000, 1}}},
        RectCase{"fit, pillarbox", 0, {1000, 2000}, {1000, 1000}, {{250.0 / 1000, 0}, {500.0 / 1000, 1}}},
        // 998 of 1000 wide: the width snaps, the height shrinks by 0.998 and is rounded up: ceil(998.0000…) = 999.
        RectCase{"width snaps and shrinks the height", 0, {998, 1000}, {1000, 1000}, {{0, 0}, {1, 999.0 / 1000}}},
        // 500 of 502 high: the height snaps, the width grows by 502/500 in single precision, to ceil(1003.99995) =
        // 1004.
        RectCase{"height snaps and widens", 0, {2000, 1000}, {1000, 502}, {{-2.0 / 1000, 0}, {1004.0 / 1000, 1}}},
        RectCase{"a miss of 4 stays", 0, {1000, 996}, {1000, 1000}, {{0, 2.0 / 1000}, {1, 996.0 / 1000}}}));

TEST(Projection, SphericalFramesCoverTheTargetAtTheScreensScale) {
  for (const auto& projection :
       {ZELProjection::equirectangular(), ZELProjection::cubemapWithPadding(3), ZELProjection::segmentedSphere()}) {
    EXPECT_TRUE(CGRectEqualToRect(projection->displayRectForContentSize({1, 9}, {0, 0}), CGRectMake(0, 0, 1, 1)));
    EXPECT_EQ(projection->contentScaleForContentSize({1, 9}, {0, 0}, 2.0, 3.0), 3.0);
  }
}

TEST(Projection, ContentScaleFollowsTheContentWithinItsLimits) {
  const auto fit = ZELProjection::flatWithContentGravity(0);
  const auto fill = ZELProjection::flatWithContentGravity(1);
  EXPECT_EQ(fit->contentScaleForContentSize({4096, 2048}, {1024, 768}, 1.0, 2.0), 2.0);
  EXPECT_EQ(fit->contentScaleForContentSize({1200, 300}, {1000, 1000}, 1.0, 9.0), 1.2);
  EXPECT_EQ(fill->contentScaleForContentSize({3000, 1500}, {1000, 1000}, 2.0, 9.0), 3.0);
  EXPECT_EQ(fit->contentScaleForContentSize({10, 10}, {1000, 1000}, 2.0, 9.0), 1.0);
  // 0 / 0 is passed over by minimum and maximum.
  EXPECT_EQ(fit->contentScaleForContentSize({0, 1500}, {0, 1000}, 1.0, 9.0), 1.5);
  EXPECT_EQ(fit->contentScaleForContentSize({kNaN, kNaN}, {1, 1}, 1.0, 9.0), 1.0);
}

}  // namespace
