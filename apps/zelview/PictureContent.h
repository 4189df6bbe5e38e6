#pragma once

#include <ZELKit/ZELDirectPixelBufferSource.h>
#include <ZELKit/ZELProjection.h>
#include <ZELPlatform/CoreGraphics.h>

#include <cstddef>
#include <memory>
#include <string>

#include "apps/zelview/Metadata.h"
#include "apps/zelview/Options.h"
#include "apps/zelview/ViewerContent.h"
#include "apps/zelview/ViewerError.h"

namespace zelview {

/// A file is there and of no kind of picture that is known.
class NotAPicture : public ViewerError {
 public:
  using ViewerError::ViewerError;
};

/// A picture from a file, or the built-in panorama in the layout of whatever projection is asked for.
class PictureContent final : public ViewerContent {
 public:
  /// Decodes the picture, if one is named, no side larger than `maximumSide`. Prints the decision of an automatic
  /// projection on standard output, and on standard error when something had to be changed. Throws `ViewerError`, of
  /// which `NotAPicture` is one.
  static std::shared_ptr<PictureContent> load(const Options& options, size_t maximumSide);

  bool isBuiltIn() const { return file_ == nullptr; }

  std::string name() const override { return name_; }
  ZELProjectionType projection() const override { return projection_; }
  std::shared_ptr<ZELPixelBufferSource> sourceFor(ZELProjectionType projection) override;
  void useTwoPlanes() override { hasTwoPlanes_ = true; }

  /// The picture for that projection. The built-in one is made on first use.
  const std::shared_ptr<CGImage>& imageFor(ZELProjectionType projection);

 private:
  void loadFile(const Options& options, size_t maximumSide);
  void decideProjection(const Options& options, const PanoramaMetadata& metadata, size_t width, size_t height);

  std::string name_ = "built-in panorama";
  std::shared_ptr<CGImage> file_;
  ZELProjectionType projection_ = ZELProjectionTypeEquirectangular;
  int64_t padding_ = 0;
  std::shared_ptr<CGImage> builtInSphere_;
  std::shared_ptr<CGImage> builtInCube_;
  /// The source that was given last, and its image.
  std::shared_ptr<ZELPixelBufferSource> source_;
  std::shared_ptr<CGImage> sourceImage_;
  bool hasTwoPlanes_ = false;
  /// The source that was given last is of two planes.
  bool sourceHasTwoPlanes_ = false;
};

/// Throws `ViewerError` unless the path names a file that can be opened.
void checkReadable(const std::string& path);

/// Throws `ViewerError` when the padding leaves nothing of a cube's faces in that picture.
void checkPadding(ZELProjectionType projection, int64_t padding, const CGImage& image);

/// The projection object for a type with the options' gravity and padding.
std::shared_ptr<ZELProjection> makeProjection(ZELProjectionType type, int64_t gravity, int64_t padding);

/// A source that holds the image, without a copy of its bytes.
std::shared_ptr<ZELDirectPixelBufferSource> makeSource(const std::shared_ptr<CGImage>& image);

/// A source that holds the image as a frame of video. Throws `ViewerError` when memory is short.
std::shared_ptr<ZELDirectPixelBufferSource> makeTwoPlaneSource(const CGImage& image);

}  // namespace zelview
