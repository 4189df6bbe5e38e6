// Renders one view of a 360-degree picture into a PNG file on a machine without a display: a thumbnailer, a test.
//
// Usage: example_headless PICTURE OUT.png [YAW_IN_DEGREES]

#include <ZELKit/ZELKit.h>
#include <ZELPlatform/EAGL.h>
#include <ZELPlatform/UIKit.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

int fail(const std::string& reason) {
  std::fprintf(stderr, "%s\n", reason.c_str());
  return 1;
}

/// The picture as a frame, without a copy: the frame keeps the picture alive.
CVPixelBufferRef frameOf(const std::shared_ptr<CGImage>& picture) {
  return CVPixelBuffer::createWithBytes(picture->width(), picture->height(), kCVPixelFormatType_32RGBA,
                                        const_cast<uint8_t*>(picture->bytes()), picture->bytesPerRow(), [picture] {});
}

/// Refreshes the display by hand until the view has drawn, so that nothing depends on how fast the machine is.
bool drawFirstPicture(const ZELRenderView& view) {
  constexpr double kPeriod = 1.0 / 60.0;
  constexpr int kRounds = 600;
  DisplayRefresh::shared().setStepped(true);
  for (int round = 0; round < kRounds && !view.readyForDisplay(); ++round) {
    DisplayRefresh::shared().refresh(CACurrentMediaTime(), kPeriod);
    NSRunLoop::mainRunLoop().runUntil([&view] { return view.readyForDisplay(); }, kPeriod);
  }
  return view.readyForDisplay();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return fail("usage: example_headless PICTURE OUT.png [YAW_IN_DEGREES]"), 2;

  UIApplicationOptions options;
  options.displayDriver = "offscreen";
  options.offscreenSize = {1280, 720};
  if (const std::string error = UIApplication::start(options); !error.empty()) return fail(error);

  const CGImageDecodeResult decoded =
      CGImageCreateWithContentsOfFile(argv[1], {static_cast<size_t>(EAGLContext::maximumTextureSize())});
  if (!decoded.image) return fail(decoded.error);

  std::string error;
  const auto window = UIWindow::create(UIScreen::mainScreen().bounds(), &error);
  if (!window) return fail(error);
  const auto view = ZELRenderView::create(window->bounds());
  if (!view) return fail("the view cannot be made");

  const auto controller = ZELFixedDirectionController::create();
  controller->setAngle(argc > 3 ? std::atof(argv[3]) * 3.14159265358979323846 / 180.0 : 0.0);
  const auto source = ZELDirectPixelBufferSource::create();
  source->updateWithPixelBuffer(frameOf(decoded.image), CMTime{});
  view->setContentSource(source);
  view->setContentProjection(ZELProjection::equirectangular());
  view->setController(controller);
  window->addSubview(view);
  window->makeKeyAndVisible();

  if (!drawFirstPicture(*view)) return fail("nothing was drawn: " + EAGLContext::unavailableReason());
  const auto snapshot = view->takeSnapshot();
  if (!snapshot) return fail("the view has no picture");
  if (const std::string problem = CGImageWritePNG(*snapshot->cgImage(), argv[2]); !problem.empty())
    return fail(problem);
  return 0;
}
