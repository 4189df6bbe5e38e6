#include <ZELKit/ZELProjection.h>

#include <cmath>

namespace {

/// The near plane of spherical content at zoom 1, in units of half the view's longer side.
constexpr double kSphericalZoomScale = 0.9;

/// A side that falls short of the target by less than this is stretched to it, so that no hairline border shows.
constexpr double kSnapDistance = 4.0;

bool isNearMiss(double missing) { return missing > 0.0 && missing < kSnapDistance; }

/// The ratio with the precision of a float, which the snapped sizes are defined with.
double singlePrecisionRatio(double numerator, double denominator) {
  return static_cast<double>(static_cast<float>(numerator / denominator));
}

}  // namespace

const char* ZELProjectionTypeName(ZELProjectionType type) {
  switch (type) {
    case ZELProjectionTypeFlat:
      return "flat";
    case ZELProjectionTypeEquirectangular:
      return "equirectangular";
    case ZELProjectionTypeCubemap:
      return "cubemap";
    case ZELProjectionTypeSegmentedSphere:
      return "segmentedsphere";
    default:
      return "unknown";
  }
}

std::shared_ptr<ZELProjection> ZELProjection::createWithProjectionType(ZELProjectionType type) {
  return std::shared_ptr<ZELProjection>(new ZELProjection(type, 0, 0));
}

std::shared_ptr<ZELProjection> ZELProjection::createWithContentGravity(int64_t contentGravity) {
  return std::shared_ptr<ZELProjection>(new ZELProjection(ZELProjectionTypeFlat, contentGravity, 0));
}

std::shared_ptr<ZELProjection> ZELProjection::createWithCubePadding(int64_t padding) {
  return std::shared_ptr<ZELProjection>(new ZELProjection(ZELProjectionTypeCubemap, 0, padding));
}

std::shared_ptr<ZELProjection> ZELProjection::flatWithContentGravity(int64_t contentGravity) {
  return createWithContentGravity(contentGravity);
}

std::shared_ptr<ZELProjection> ZELProjection::equirectangular() {
  return createWithProjectionType(ZELProjectionTypeEquirectangular);
}

std::shared_ptr<ZELProjection> ZELProjection::cubemapWithPadding(int64_t padding) {
  return createWithCubePadding(padding);
}

std::shared_ptr<ZELProjection> ZELProjection::segmentedSphere() {
  return createWithProjectionType(ZELProjectionTypeSegmentedSphere);
}

double ZELProjection::zoomScaleForAspectRatio(double aspectRatio, bool isLandscape) const {
  if (type_ == ZELProjectionTypeFlat) return 1.0;
  return isLandscape ? aspectRatio * kSphericalZoomScale : kSphericalZoomScale;
}

CGRect ZELProjection::displayRectForContentSize(CGSize contentSize, CGSize targetSize) const {
  if (type_ != ZELProjectionTypeFlat) return CGRectMake(0, 0, 1, 1);

  const double targetWidth = targetSize.width;
  const double targetHeight = targetSize.height;
  const double contentAspect = contentSize.width / contentSize.height;
  const bool wider = contentAspect > targetWidth / targetHeight;
  const bool fit = contentGravity_ == ZELContentGravityFit;

  double width;
  double height;
  if (wider == fit) {
    width = targetWidth;
    height = std::ceil(targetWidth / contentAspect);
  } else {
    height = targetHeight;
    width = std::ceil(targetHeight * contentAspect);
  }

  // The two snaps differ: a snapped width shrinks the height a little, a snapped height widens the width.
  if (isNearMiss(targetWidth - width)) {
    height = std::ceil(height * singlePrecisionRatio(width, targetWidth));
    width = targetWidth;
  } else if (isNearMiss(targetHeight - height)) {
    width = std::ceil(width * singlePrecisionRatio(targetHeight, height));
    height = targetHeight;
  }

  return CGRectMake(std::floor((targetWidth - width) * 0.5) / targetWidth,
                    std::floor((targetHeight - height) * 0.5) / targetHeight, width / targetWidth,
                    height / targetHeight);
}

double ZELProjection::contentScaleForContentSize(CGSize contentSize, CGSize targetSize, double sampleFactor,
                                                 double maxScale) const {
  if (type_ != ZELProjectionTypeFlat) return maxScale;

  // fmin and fmax pass over a NaN, so that an empty size still yields a scale within the limits.
  const double scaleX = contentSize.width / targetSize.width;
  const double scaleY = contentSize.height / targetSize.height;
  const double scale = contentGravity_ == ZELContentGravityFit ? std::fmax(scaleX, scaleY) : std::fmin(scaleX, scaleY);
  return std::fmin(std::fmax(scale * sampleFactor, 1.0), maxScale);
}
