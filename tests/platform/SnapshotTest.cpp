#include <ZELPlatform/UIImage.h>
#include <ZELPlatform/UIView.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <vector>

namespace {

using Colour = std::array<uint8_t, 4>;

constexpr Colour kRed = {255, 0, 0, 255};
constexpr Colour kGreen = {0, 255, 0, 255};
constexpr Colour kClear = {0, 0, 0, 0};

std::shared_ptr<CGImage> fill(Colour colour) {
  std::vector<uint8_t> bytes;
  for (int pixel = 0; pixel < 16; ++pixel) {
    bytes.insert(bytes.end(), colour.begin(), colour.end());
  }
  return CGImage::create(4, 4, 16, CGImageAlphaInfo::PremultipliedLast, std::move(bytes));
}

/// Lays its only subview over the left half.
class HalvedView final : public UIView {
 public:
  explicit HalvedView(Key key) : UIView(key) {}
  static std::shared_ptr<HalvedView> create(CGRect frame) { return createView<HalvedView>(frame); }
  void layoutSubviews() override {
    subviews().front()->setFrame(CGRectMake(0, 0, bounds().size.width / 2, bounds().size.height));
  }
};

class Snapshot : public testing::Test {
 protected:
  Snapshot() {
    view->layer()->setContents(fill(kRed));
    half->layer()->setContents(fill(kGreen));
    view->addSubview(half);
  }

  /// What the view draws into a rectangle of a 20 x 10 point image at scale 2.
  std::shared_ptr<UIImage> draw(CGRect rect, bool afterScreenUpdates) {
    UIGraphicsBeginImageContextWithOptions({20, 10}, false, 2);
    EXPECT_TRUE(view->drawViewHierarchyInRect(rect, afterScreenUpdates));
    auto image = UIGraphicsGetImageFromCurrentImageContext();
    UIGraphicsEndImageContext();
    return image;
  }

  static Colour at(const UIImage& image, size_t x, size_t y) {
    const uint8_t* pixel = image.cgImage()->bytes() + y * image.cgImage()->bytesPerRow() + x * 4;
    return {pixel[0], pixel[1], pixel[2], pixel[3]};
  }

  std::shared_ptr<HalvedView> view = HalvedView::create(CGRectMake(70, 80, 8, 8));
  std::shared_ptr<UIView> half = UIView::create(CGRectMake(0, 0, 8, 8));
};

TEST_F(Snapshot, IsStretchedToTheRectangleAndLaidOutIfAskedTo) {
  const auto before = draw(CGRectMake(0, 0, 20, 10), false);
  EXPECT_EQ(at(*before, 30, 10), kGreen) << "layout is still pending";
  const auto image = draw(CGRectMake(10, 0, 10, 5), true);
  EXPECT_EQ(at(*image, 19, 4), kClear);
  EXPECT_EQ(at(*image, 20, 0), kGreen);
  EXPECT_EQ(at(*image, 29, 9), kGreen);
  EXPECT_EQ(at(*image, 30, 0), kRed);
  EXPECT_EQ(at(*image, 39, 9), kRed);
  EXPECT_EQ(at(*image, 30, 10), kClear);
}

TEST_F(Snapshot, ShowsAlphaButNotOfOpaqueLayersAndNothingHidden) {
  half->layer()->setContents(fill({0, 128, 0, 128}));
  Colour blended = at(*draw(CGRectMake(0, 0, 20, 10), true), 5, 5);
  EXPECT_NEAR(blended[0], 127, 1);
  EXPECT_NEAR(blended[1], 128, 1);
  half->setOpaque(true);
  blended = at(*draw(CGRectMake(0, 0, 20, 10), true), 5, 5);
  EXPECT_EQ(blended[0], 0);
  EXPECT_EQ(blended[1], 128);
  half->setHidden(true);
  EXPECT_EQ(at(*draw(CGRectMake(0, 0, 20, 10), true), 5, 5), kRed);
}

TEST_F(Snapshot, NeedsAnImageContext) { EXPECT_FALSE(view->drawViewHierarchyInRect(view->bounds(), true)); }

}  // namespace
