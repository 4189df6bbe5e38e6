#pragma once

#include <ZELKit/ZELExport.h>
#include <ZELKit/ZELProjectionType.h>
#include <ZELPlatform/CGGeometry.h>

#include <cstdint>
#include <memory>

/// How a flat frame meets the view: 0 fits it whole, anything else fills the view and crops the frame.
enum : int64_t {
  ZELContentGravityFit = 0,
  ZELContentGravityFill = 1,
};

/// An immutable description of how a frame maps onto the screen: flat, or wrapped around the viewer.
///
/// Any thread. Two projections are the same only if they are the same object: handing a view an equal new one makes it
/// draw once more.
class ZELKIT_EXPORT ZELProjection {
 public:
  static std::shared_ptr<ZELProjection> createWithProjectionType(ZELProjectionType type);
  static std::shared_ptr<ZELProjection> createWithContentGravity(int64_t contentGravity);
  static std::shared_ptr<ZELProjection> createWithCubePadding(int64_t padding);

  static std::shared_ptr<ZELProjection> flatWithContentGravity(int64_t contentGravity);
  static std::shared_ptr<ZELProjection> equirectangular();
  /// `padding`: pixels at each border of each face that are not to be sampled.
  static std::shared_ptr<ZELProjection> cubemapWithPadding(int64_t padding);
  static std::shared_ptr<ZELProjection> segmentedSphere();

  ZELProjectionType type() const { return type_; }
  int64_t contentGravity() const { return contentGravity_; }
  int64_t padding() const { return padding_; }

  /// The near-plane distance at zoom 1: 1 for flat content, 0.9 along the longer side of the view otherwise, so that
  /// the angle of view along that side is 2 atan(1 / 0.9), about 96 degrees. `aspectRatio` is width divided by height.
  double zoomScaleForAspectRatio(double aspectRatio, bool isLandscape) const;

  /// Where a frame lands in the target, in units of the target (0 to 1 on each axis; outside that when it is cropped).
  /// Sizes in any one unit. Spherical frames cover the whole target.
  ///
  /// A side that misses the target's by less than 4 is snapped to it.
  CGRect displayRectForContentSize(CGSize contentSize, CGSize targetSize) const;

  /// Pixels per point at which a back end sizes its drawable: `maxScale` for spherical frames, else the frame's own
  /// resolution times `sampleFactor`, at least 1 and at most `maxScale`. Content size in pixels, target size in points.
  double contentScaleForContentSize(CGSize contentSize, CGSize targetSize, double sampleFactor, double maxScale) const;

 private:
  ZELProjection(ZELProjectionType type, int64_t contentGravity, int64_t padding)
      : type_(type), contentGravity_(contentGravity), padding_(padding) {}

  ZELProjectionType type_;
  int64_t contentGravity_;
  int64_t padding_;
};
