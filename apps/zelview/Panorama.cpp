#include "apps/zelview/Panorama.h"

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "apps/zelview/Layout.h"
#include "apps/zelview/SpherePainter.h"

namespace zelview {
namespace {

/// Rounded: adding a half and cutting off does it for what is not negative, in less time than a call.
uint8_t toByte(float part) {
  constexpr float kHalf = 0.5F;
  return static_cast<uint8_t>(part * 255.0F + kHalf);
}

void paintRow(const SpherePainter& painter, const Layout& layout, size_t row, uint8_t* pixels) {
  for (size_t column = 0; column < layout.width(); ++column, pixels += 4) {
    const Colour colour = painter.colourAt(layout.pointOfTexel(column, row), layout.footprint());
    pixels[0] = toByte(colour.red);
    pixels[1] = toByte(colour.green);
    pixels[2] = toByte(colour.blue);
    pixels[3] = 255;
  }
}

}  // namespace

std::shared_ptr<CGImage> makePanorama(ZELProjectionType projection, int64_t padding, size_t width, size_t height) {
  const SpherePainter painter;
  const Layout layout(projection, width, height, padding);
  std::vector<uint8_t> bytes(width * height * 4);

  std::atomic<size_t> nextRow{0};
  const auto work = [&] {
    for (size_t row = nextRow++; row < height; row = nextRow++) {
      paintRow(painter, layout, row, bytes.data() + row * width * 4);
    }
  };
  std::vector<std::thread> helpers;
  const unsigned threads = std::clamp(std::thread::hardware_concurrency(), 1U, 8U);
  for (unsigned i = 1; i < threads; ++i) helpers.emplace_back(work);
  work();
  for (std::thread& helper : helpers) helper.join();
  return CGImage::create(width, height, width * 4, CGImageAlphaInfo::NoneSkipLast, std::move(bytes));
}

std::shared_ptr<CGImage> makePanorama(ZELProjectionType projection, int64_t padding) {
  return projection == ZELProjectionTypeCubemap ? makePanorama(projection, padding, 3072, 2048)
                                                : makePanorama(projection, padding, 4096, 2048);
}

}  // namespace zelview
