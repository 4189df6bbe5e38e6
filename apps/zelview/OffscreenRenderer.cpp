#include "apps/zelview/OffscreenRenderer.h"

#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIScreen.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "apps/zelview/ViewerError.h"

namespace zelview {
namespace {

constexpr double kTimeLimit = 30.0;
/// A refresh that comes while a picture is being drawn is dropped, so refreshes are repeated at about this pace.
constexpr double kRefreshPause = 0.004;
constexpr double kRefreshPeriod = 1.0 / 60.0;

constexpr size_t kPixelBytes = 4;
/// The line between two halves: a colour that is seldom in pictures.
constexpr size_t kLinePixels = 2;
constexpr std::array<uint8_t, kPixelBytes> kLineColour = {255, 96, 0, 255};

}  // namespace

void checkPictureSize(CGSize size) {
  const double scale = UIScreen::mainScreen().nativeScale();
  const double limit = static_cast<double>(maximumTextureSize());
  const double width = std::ceil(size.width * scale);
  const double height = std::ceil(size.height * scale);
  if (std::max(width, height) <= limit) return;
  throw ViewerError("A picture of " + std::to_string(static_cast<long>(width)) + "x" +
                    std::to_string(static_cast<long>(height)) + " pixels is too large (the limit is " +
                    std::to_string(static_cast<long>(limit)) + " a side).");
}

OffscreenRenderer::OffscreenRenderer(CGSize size, BackEnd backEnd)
    : controller_(std::make_shared<CameraController>(Camera{})) {
  checkPictureSize(size);
  DisplayRefresh::shared().setStepped(true);
  const CGRect frame = CGRectMake(0, 0, size.width, size.height);
  std::string error;
  window_ = UIWindow::create(frame, &error);
  if (!window_) throw ViewerError(error);
  view_ = makeRenderView(frame, backEnd);
  view_->setController(controller_);
  window_->addSubview(view_);
  window_->makeKeyAndVisible();
  window_->layoutIfNeeded();
}

OffscreenRenderer::~OffscreenRenderer() {
  view_->removeFromSuperview();
  window_->close();
}

void OffscreenRenderer::setSuperResolution(SuperResolution mode, int64_t contentType) {
  superResolution_ = mode;
  view_->setSuperResolutionContentType(contentType);
}

std::shared_ptr<CGImage> OffscreenRenderer::render(
    const std::shared_ptr<ZELPixelBufferSource>& source,
    const std::function<std::shared_ptr<ZELProjection>()>& makeProjection, const Camera& camera) {
  frames_ = std::make_shared<RepeatingSource>(source);
  controller_->setCamera(camera);
  view_->setZoom(camera.zoom);
  view_->setSuperResolutionEnabled(superResolution_ == SuperResolution::On);
  std::shared_ptr<CGImage> picture = renderOnce(makeProjection);
  if (superResolution_ != SuperResolution::Split) return picture;
  view_->setSuperResolutionEnabled(true);
  return joinHalves(*picture, *renderOnce(makeProjection));
}

std::shared_ptr<CGImage> OffscreenRenderer::renderOnce(
    const std::function<std::shared_ptr<ZELProjection>()>& makeProjection) {
  draw(makeProjection());
  const double deadline = CACurrentMediaTime() + kTimeLimit;
  while (view_->superResolutionStatus().isPreparing && CACurrentMediaTime() < deadline) draw(makeProjection());
  // A picture is reported between its drawing and its presentation. Pictures follow each other in order, so when the
  // same one is reported once more, the first is what a snapshot sees.
  draw(makeProjection());
  ZELRenderView::flushGPU();
  const std::shared_ptr<UIImage> snapshot = view_->takeSnapshot();
  if (!snapshot || !snapshot->cgImage()) throw ViewerError("The rendered picture cannot be read back.");
  return snapshot->cgImage();
}

void OffscreenRenderer::draw(const std::shared_ptr<ZELProjection>& projection) {
  // A new projection object makes the view draw even if all else is as before; setting the source makes it report.
  view_->setContentProjection(projection);
  view_->setContentSource(frames_);
  // Whether to enlarge is decided when a frame comes.
  frames_->repeat();
  const double deadline = CACurrentMediaTime() + kTimeLimit;
  const auto ready = [this] { return view_->readyForDisplay(); };
  while (!ready()) {
    if (CACurrentMediaTime() > deadline) throw ViewerError("The picture is not drawn after 30 seconds.");
    DisplayRefresh::shared().refresh(CACurrentMediaTime(), kRefreshPeriod);
    NSRunLoop::mainRunLoop().runUntil(ready, kRefreshPause);
  }
}

void reportSuperResolution(const Options& options, const OffscreenRenderer& renderer) {
  if (options.superResolution == SuperResolution::Off) return;
  warnOfMissingSuperResolution(renderer.view());
  if (options.verbose) {
    std::fprintf(stderr, "super-resolution: %s\n", renderer.superResolutionStatus().description.c_str());
  }
}

std::shared_ptr<CGImage> joinHalves(const CGImage& left, const CGImage& right) {
  const size_t rowBytes = right.width() * kPixelBytes;
  const size_t leftBytes = right.width() / 2 * kPixelBytes;
  std::vector<uint8_t> bytes(rowBytes * right.height());
  for (size_t y = 0; y < right.height(); ++y) {
    uint8_t* row = &bytes[y * rowBytes];
    std::memcpy(row, right.bytes() + y * right.bytesPerRow(), rowBytes);
    std::memcpy(row, left.bytes() + y * left.bytesPerRow(), leftBytes);
    for (size_t i = 0; i < kLinePixels && i * kPixelBytes < leftBytes; ++i) {
      std::memcpy(row + leftBytes - (i + 1) * kPixelBytes, kLineColour.data(), kPixelBytes);
    }
  }
  return CGImage::create(right.width(), right.height(), rowBytes, right.alphaInfo(), std::move(bytes));
}

}  // namespace zelview
