#pragma once

#include <optional>
#include <string>

namespace zelview {

/// Where a cropped panorama lies in the whole sphere's equirectangular picture, in pixels of that.
struct PanoramaCrop {
  double fullWidth = 0.0;
  double fullHeight = 0.0;
  double left = 0.0;
  double top = 0.0;
  double width = 0.0;
  double height = 0.0;

  /// Whether the part lies within the whole and neither is empty.
  bool isValid() const;

  /// Whether the part is the whole.
  bool isWhole() const;
};

/// What a picture file says of itself as a panorama.
struct PanoramaMetadata {
  /// GPano's ProjectionType as it is written; empty without one.
  std::string projectionType;
  /// As it is written, valid or not; none unless all six numbers are there.
  std::optional<PanoramaCrop> crop;
};

/// Reads the GPano properties of a picture's XMP packet. Nothing readable means no metadata. Blocks.
PanoramaMetadata readPanoramaMetadata(const std::string& path);

}  // namespace zelview
