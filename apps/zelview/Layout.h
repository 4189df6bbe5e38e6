#pragma once

#include <ZELKit/ZELProjectionType.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "apps/zelview/SpherePoint.h"

namespace zelview {

/// Where the texels of a projection's layout look: the inverse of how the projection samples it.
///
/// Flat pictures and segmented spheres, which the OpenGL ES back end draws flat, carry the sphere as an
/// equirectangular picture does.
class Layout {
 public:
  /// `padding`: texels at each border of each cube face that the projection does not sample. They continue the face's
  /// plane. A padding that leaves nothing of a face counts as none.
  Layout(ZELProjectionType projection, size_t width, size_t height, int64_t padding);

  size_t width() const { return width_; }
  size_t height() const { return height_; }

  /// The point that the middle of a texel shows.
  SpherePoint pointOfTexel(size_t column, size_t row) const;

  /// The angle in radians that a texel spans near that point: its shorter side.
  float footprint() const { return footprint_; }

 private:
  SpherePoint pointOnCube(size_t column, size_t row) const;

  struct SineCosine {
    float angle;
    float sine;
    float cosine;
  };

  bool cube_;
  size_t width_;
  size_t height_;
  /// The part of a face's half side that is sampled.
  double sampledPart_ = 1.0;
  float footprint_;
  /// Of an equirectangular layout's columns and rows.
  std::vector<SineCosine> longitudes_;
  std::vector<SineCosine> latitudes_;
};

}  // namespace zelview
