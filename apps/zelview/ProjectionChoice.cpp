#include "apps/zelview/ProjectionChoice.h"

#include <cmath>

#include "apps/zelview/PlainText.h"

namespace zelview {

ProjectionChoice chooseProjection(const PanoramaMetadata& metadata, size_t width, size_t height) {
  if (metadata.projectionType == "equirectangular") {
    return {ZELProjectionTypeEquirectangular, "its GPano metadata say so"};
  }
  constexpr double kTolerance = 0.01;
  const std::string size = std::to_string(width) + "x" + std::to_string(height);
  const double shape = height == 0 ? 0.0 : static_cast<double>(width) / static_cast<double>(height);
  const std::string metadataPart = metadata.projectionType.empty()
                                       ? "no GPano metadata"
                                       : "GPano projection '" + plainText(metadata.projectionType) + "' is not known";
  if (std::abs(shape / 2.0 - 1.0) <= kTolerance) {
    return {ZELProjectionTypeEquirectangular, metadataPart + ", and " + size + " is 2:1"};
  }
  return {ZELProjectionTypeFlat, metadataPart + ", and " + size + " is not 2:1"};
}

}  // namespace zelview
