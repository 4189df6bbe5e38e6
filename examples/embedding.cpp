#include <ZELKit/ZELKit.h>
#include <ZELPlatform/UIKit.h>

struct Host : UIWindowDelegate {
  void windowDidRequestClose(UIWindow&) override { NSRunLoop::mainRunLoop().stop(); }
};

int main(int argc, char** argv) {
  const auto picture = CGImageCreateWithContentsOfFile(argc > 1 ? argv[1] : "pano.jpg").image;
  const auto window = UIWindow::create(CGRectMake(0, 0, 1280, 720));
  const auto view = picture && window ? ZELRenderView::create(window->bounds()) : nullptr;
  if (!view) return 1;

  // A frame in memory: here a decoded picture, in a player one frame after the other, from any thread.
  const auto source = ZELDirectPixelBufferSource::create();
  source->updateWithPixelBuffer(
      CVPixelBuffer::createWithBytes(picture->width(), picture->height(), kCVPixelFormatType_32RGBA,
                                     const_cast<uint8_t*>(picture->bytes()), picture->bytesPerRow(), [picture] {}),
      CMTime{});

  view->setContentSource(source);
  view->setContentProjection(ZELProjection::equirectangular());
  const auto controller = ZEL360RelativeMotionController::create();
  controller->attachToView(view);  // drag, fling, and the device's motion if there is a sensor
  view->setController(controller);
  view->setReadyForDisplayObserver([&](bool ready) {
    if (ready) window->makeKeyAndVisible();  // shown with its first picture in it
  });
  window->addSubview(view);

  const auto host = std::make_shared<Host>();
  window->setDelegate(host);
  NSRunLoop::mainRunLoop().run();
}
