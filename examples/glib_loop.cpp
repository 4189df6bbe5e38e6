// The kit in a program whose main loop is another one's: GLib's, and with it GTK's. One descriptor says when there is
// something to do; Qt's QSocketNotifier or epoll would watch it in the same way.
//
// Usage: example_glib_loop [SECONDS]   turns around in a coloured sphere, for ever or that long, and counts refreshes

#include <ZELKit/ZELKit.h>
#include <ZELPlatform/UIKit.h>
#include <glib-unix.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

/// An equirectangular frame whose red grows to the right and whose green grows upwards.
CVPixelBufferRef makeSphere() {
  constexpr size_t kWidth = 512;
  constexpr size_t kHeight = 256;
  CVPixelBufferRef frame = CVPixelBuffer::create(kWidth, kHeight, kCVPixelFormatType_32RGBA);
  auto* pixel = static_cast<uint8_t*>(frame->baseAddress());
  for (size_t y = 0; y < kHeight; ++y) {
    for (size_t x = 0; x < kWidth; ++x, pixel += 4) {
      pixel[0] = static_cast<uint8_t>(x / 2);
      pixel[1] = static_cast<uint8_t>(kHeight - 1 - y);
      pixel[2] = 128;
      pixel[3] = 255;
    }
  }
  return frame;
}

/// Ends GLib's loop when the person closes the window.
struct Host final : UIWindowDelegate {
  explicit Host(GMainLoop* owner) : loop(owner) {}
  void windowDidRequestClose(UIWindow& /*window*/) override { g_main_loop_quit(loop); }
  GMainLoop* loop;
};

gboolean runPending(gint /*descriptor*/, GIOCondition /*condition*/, gpointer /*context*/) {
  NSRunLoop::mainRunLoop().runPending();
  return G_SOURCE_CONTINUE;
}

gboolean quit(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_REMOVE;
}

}  // namespace

int main(int argc, char** argv) {
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  g_unix_fd_add(NSRunLoop::mainRunLoop().fileDescriptor(), G_IO_IN, runPending, nullptr);
  if (argc > 1) g_timeout_add(static_cast<guint>(std::atof(argv[1]) * 1000.0), quit, loop);

  std::string error;
  const auto window = UIWindow::create(CGRectMake(0, 0, 640, 360), &error);
  const auto view = window ? ZELRenderView::create(window->bounds()) : nullptr;
  if (!view) return std::fprintf(stderr, "there is no window to draw in: %s\n", error.c_str()), 1;

  const auto controller = ZELFixedDirectionController::create();
  const auto source = ZELDirectPixelBufferSource::create();
  source->updateWithPixelBuffer(makeSphere(), CMTime{});
  view->setContentSource(source);
  view->setContentProjection(ZELProjection::equirectangular());
  view->setController(controller);
  view->setReadyForDisplayObserver([&window](bool ready) {
    if (ready) window->makeKeyAndVisible();
  });
  window->addSubview(view);
  const auto host = std::make_shared<Host>(loop);
  window->setDelegate(host);

  int refreshes = 0;
  const auto link = CADisplayLink::create([&refreshes, &controller] {
    constexpr double kRadiansPerRefresh = 0.01;
    controller->setAngle(kRadiansPerRefresh * ++refreshes);
  });
  link->addToMainRunLoop();

  g_main_loop_run(loop);
  link->invalidate();
  g_main_loop_unref(loop);
  std::printf("%d refreshes, picture %s\n", refreshes, view->readyForDisplay() ? "drawn" : "missing");
  return view->readyForDisplay() ? 0 : 1;
}
