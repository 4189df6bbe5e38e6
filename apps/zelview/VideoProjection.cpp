#include "apps/zelview/VideoProjection.h"

#include <cmath>

namespace zelview {
namespace {

using Projection = SphericalMetadata::Projection;
using Stereo = SphericalMetadata::Stereo;

/// What the metadata call the layout.
std::string layoutName(const SphericalMetadata& metadata) {
  switch (metadata.projection) {
    case Projection::Equirectangular:
      return "equirectangular";
    case Projection::Cubemap:
      return "cubemap layout " + std::to_string(metadata.cubemapLayout);
    case Projection::Mesh:
      return "mesh";
    case Projection::Rectangular:
      return "rectangular";
    default:
      return metadata.name.empty() ? "unknown" : "'" + metadata.name + "'";
  }
}

void nameTheRest(const SphericalMetadata& metadata, std::vector<std::string>& warnings) {
  if (metadata.stereo == Stereo::TopBottom || metadata.stereo == Stereo::LeftRight) {
    const std::string arrangement = metadata.stereo == Stereo::TopBottom ? "top and bottom" : "left and right";
    warnings.push_back("The video is stereoscopic (" + arrangement + "): both eyes' pictures are shown as one.");
  } else if (metadata.stereo == Stereo::Other) {
    warnings.push_back("The video is stereoscopic in a way that is not known: it is shown as one picture.");
  }
  if (metadata.isCropped) warnings.push_back("The video holds a part of the sphere: it is stretched over the whole.");
  if (metadata.isTurned()) warnings.push_back("The video's metadata turn the sphere: it is shown without that turn.");
}

}  // namespace

VideoProjectionChoice chooseVideoProjection(const std::optional<SphericalMetadata>& metadata, size_t width,
                                            size_t height) {
  VideoProjectionChoice choice;
  if (!metadata) {
    constexpr double kTolerance = 0.01;
    const std::string size = std::to_string(width) + "x" + std::to_string(height);
    const bool wide =
        height > 0 && std::abs(static_cast<double>(width) / static_cast<double>(height) / 2.0 - 1.0) <= kTolerance;
    choice.projection = wide ? ZELProjectionTypeEquirectangular : ZELProjectionTypeFlat;
    choice.reason = "no spherical metadata, and " + size + (wide ? " is 2:1" : " is not 2:1");
    return choice;
  }
  nameTheRest(*metadata, choice.warnings);
  choice.reason = metadata->origin + " says " + layoutName(*metadata);
  if (metadata->projection == Projection::Equirectangular) {
    choice.projection = ZELProjectionTypeEquirectangular;
  } else if (metadata->projection != Projection::Rectangular) {
    choice.warnings.push_back("The video's projection (" + layoutName(*metadata) +
                              ") cannot be shown as a sphere: it is shown flat (see --projection).");
  }
  return choice;
}

}  // namespace zelview
