#pragma once

#include <ZELKit/ZELPixelBufferSource.h>
#include <ZELPlatform/UIImage.h>

#include <memory>

/// A source that shows one still image, handed out once.
///
/// The buffer has the image's size in points, its scale ignored. Its bytes are red, green, blue, unused, although it
/// declares blue, green, red, alpha: red and blue appear exchanged. A host that wants the picture's own colours pushes
/// it through a `ZELDirectPixelBufferSource` instead. Created on any thread, then used by one back end only.
class ZELKIT_EXPORT ZELImagePixelBufferSource final : public ZELPixelBufferSource {
 public:
  /// An absent or empty image makes a source that never has a frame.
  static std::shared_ptr<ZELImagePixelBufferSource> createWithImage(const std::shared_ptr<UIImage>& image);

  bool hasNewPixelBufferForTime(double time) override;
  CVPixelBufferRef copyPixelBufferForTime(double time) override;

  /// Does nothing.
  void notifyDisplaySizeChanged(CGSize size) override;

 private:
  explicit ZELImagePixelBufferSource(CVPixelBufferRef pixelBuffer) : pixelBuffer_(std::move(pixelBuffer)) {}

  CVPixelBufferRef pixelBuffer_;
  bool readOnce_ = false;
};
