#include "apps/zelview/PictureContent.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "apps/zelview/CropPlacement.h"
#include "apps/zelview/Panorama.h"
#include "apps/zelview/ProjectionChoice.h"
#include "apps/zelview/TwoPlanePicture.h"
#include "apps/zelview/ViewerError.h"

namespace zelview {
namespace {

std::string sizeText(size_t width, size_t height) { return std::to_string(width) + "x" + std::to_string(height); }

ViewerError unreadable(const std::string& path, const std::string& reason) {
  return ViewerError("The file \"" + path + "\" cannot be read: " + reason + ".");
}

}  // namespace

void checkReadable(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || access(path.c_str(), R_OK) != 0) {
    throw unreadable(path, std::strerror(errno));
  }
  if (S_ISDIR(status.st_mode)) throw unreadable(path, "it is a directory");
  if (!S_ISREG(status.st_mode)) throw unreadable(path, "it is not a regular file");
}

void checkPadding(ZELProjectionType projection, int64_t padding, const CGImage& image) {
  if (projection != ZELProjectionTypeCubemap || padding * 3 < static_cast<int64_t>(image.width())) return;
  throw ViewerError("A padding of " + std::to_string(padding) + " leaves nothing of the cube's faces (a third of " +
                    std::to_string(image.width()) + " pixels wide).");
}

std::shared_ptr<PictureContent> PictureContent::load(const Options& options, size_t maximumSide) {
  auto content = std::make_shared<PictureContent>();
  content->padding_ = options.padding;
  content->hasTwoPlanes_ = options.superResolution != SuperResolution::Off;
  if (!options.picture.empty()) {
    content->loadFile(options, maximumSide);
  } else if (options.projection) {
    content->projection_ = *options.projection;
  } else {
    std::printf("projection: equirectangular (the built-in panorama)\n");
  }
  if (options.padding > 0)
    checkPadding(content->projection_, options.padding, *content->imageFor(content->projection_));
  return content;
}

void PictureContent::loadFile(const Options& options, size_t maximumSide) {
  checkReadable(options.picture);
  const PanoramaMetadata metadata = readPanoramaMetadata(options.picture);
  const bool mayBePanorama =
      options.projection.value_or(ZELProjectionTypeEquirectangular) == ZELProjectionTypeEquirectangular;
  const bool cropped = mayBePanorama && metadata.projectionType == "equirectangular" && metadata.crop &&
                       metadata.crop->isValid() && !metadata.crop->isWhole();

  CGImageDecodeOptions decoding;
  decoding.maximumSide = cropped ? decodeLimitFor(*metadata.crop, maximumSide) : maximumSide;
  const CGImageDecodeResult decoded = CGImageCreateWithContentsOfFile(options.picture, decoding);
  if (decoded.isOfUnknownKind) throw NotAPicture(decoded.error);
  if (!decoded.image) throw ViewerError(decoded.error);
  name_ = std::filesystem::path(options.picture).filename().string();
  file_ = decoded.image;
  if (file_->width() < decoded.originalWidth || file_->height() < decoded.originalHeight) {
    std::fprintf(stderr, "zelview: The picture is scaled down from %s to %s pixels (the limit is %zu a side%s).\n",
                 sizeText(decoded.originalWidth, decoded.originalHeight).c_str(),
                 sizeText(file_->width(), file_->height()).c_str(), decoding.maximumSide,
                 cropped ? " for this crop" : "");
  }
  decideProjection(options, metadata, decoded.originalWidth, decoded.originalHeight);
  if (!cropped) return;

  if (std::shared_ptr<CGImage> whole = placeCrop(*file_, *metadata.crop, maximumSide)) {
    if (options.verbose) {
      std::fprintf(stderr, "crop: %s pixels placed in a sphere of %s\n",
                   sizeText(file_->width(), file_->height()).c_str(),
                   sizeText(whole->width(), whole->height()).c_str());
    }
    file_ = std::move(whole);
  } else {
    std::fprintf(stderr, "zelview: Memory is short for the whole sphere of this cropped panorama: it is stretched.\n");
  }
}

void PictureContent::decideProjection(const Options& options, const PanoramaMetadata& metadata, size_t width,
                                      size_t height) {
  if (metadata.crop && !metadata.crop->isValid()) {
    std::fprintf(stderr, "zelview: The picture's GPano crop lies outside its panorama and is not used.\n");
  }
  if (options.projection) {
    projection_ = *options.projection;
    return;
  }
  const ProjectionChoice choice = chooseProjection(metadata, width, height);
  projection_ = choice.projection;
  const bool cropped = metadata.crop && metadata.crop->isValid() && !metadata.crop->isWhole();
  std::printf("projection: %s (%s%s)\n", ZELProjectionTypeName(projection_), choice.reason.c_str(),
              cropped && projection_ == ZELProjectionTypeEquirectangular ? ", for a part of the sphere" : "");
}

const std::shared_ptr<CGImage>& PictureContent::imageFor(ZELProjectionType projection) {
  if (file_) return file_;
  // Only the cube differs from the others.
  const bool cube = projection == ZELProjectionTypeCubemap;
  std::shared_ptr<CGImage>& image = cube ? builtInCube_ : builtInSphere_;
  if (!image) image = makePanorama(projection, padding_);
  return image;
}

std::shared_ptr<ZELPixelBufferSource> PictureContent::sourceFor(ZELProjectionType projection) {
  const std::shared_ptr<CGImage>& image = imageFor(projection);
  const bool hasTwoPlanes = hasTwoPlanes_ && projection == ZELProjectionTypeFlat;
  if (image != sourceImage_ || hasTwoPlanes != sourceHasTwoPlanes_) {
    sourceImage_ = image;
    sourceHasTwoPlanes_ = hasTwoPlanes;
    source_ = hasTwoPlanes ? makeTwoPlaneSource(*image) : makeSource(image);
  }
  return source_;
}

std::shared_ptr<ZELProjection> makeProjection(ZELProjectionType type, int64_t gravity, int64_t padding) {
  switch (type) {
    case ZELProjectionTypeFlat:
      return ZELProjection::flatWithContentGravity(gravity);
    case ZELProjectionTypeCubemap:
      return ZELProjection::cubemapWithPadding(padding);
    default:
      return ZELProjection::createWithProjectionType(type);
  }
}

std::shared_ptr<ZELDirectPixelBufferSource> makeSource(const std::shared_ptr<CGImage>& image) {
  // The buffer only reads the bytes; it has no form for memory that may not be written.
  auto* bytes = const_cast<uint8_t*>(image->bytes());
  auto source = ZELDirectPixelBufferSource::create();
  source->updateWithPixelBuffer(
      CVPixelBuffer::createWithBytes(image->width(), image->height(), kCVPixelFormatType_32RGBA, bytes,
                                     image->bytesPerRow(), [image] {}, {.openGLESCompatibility = true}),
      CMTimeMake(0, 1));
  return source;
}

std::shared_ptr<ZELDirectPixelBufferSource> makeTwoPlaneSource(const CGImage& image) {
  CVPixelBufferRef frame = makeTwoPlaneFrame(image);
  if (!frame) throw ViewerError("Memory is short for the picture's planes.");
  auto source = ZELDirectPixelBufferSource::create();
  source->updateWithPixelBuffer(std::move(frame), CMTimeMake(0, 1));
  return source;
}

}  // namespace zelview
