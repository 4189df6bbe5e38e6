#include "apps/zelview/VideoProjection.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

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

/// The path that a file's URL names; of anything else, what was given.
std::string localPath(const std::string& fileOrURL) {
  constexpr std::string_view kScheme = "file://";
  if (!fileOrURL.starts_with(kScheme)) return fileOrURL;
  std::string path;
  for (size_t i = kScheme.size(); i < fileOrURL.size(); ++i) {
    unsigned byte = static_cast<unsigned char>(fileOrURL[i]);
    if (byte == '%' && i + 2 < fileOrURL.size() &&
        std::from_chars(&fileOrURL[i + 1], &fileOrURL[i + 1] + 2, byte, 16).ptr == &fileOrURL[i + 1] + 2) {
      i += 2;
    }
    path.push_back(static_cast<char>(byte));
  }
  return path;
}

std::optional<SphericalMetadata> metadataOf(const std::string& fileOrURL) {
  const std::string path = localPath(fileOrURL);
  std::error_code ignored;
  // Reading anything but a file may wait for ever.
  return std::filesystem::is_regular_file(path, ignored) ? readSphericalMetadata(path) : std::nullopt;
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

ZELProjectionType decideVideoProjection(std::optional<ZELProjectionType> wanted, const std::string& fileOrURL,
                                        size_t width, size_t height) {
  if (wanted) return *wanted;
  const VideoProjectionChoice choice = chooseVideoProjection(metadataOf(fileOrURL), width, height);
  std::printf("projection: %s (%s)\n", ZELProjectionTypeName(choice.projection), choice.reason.c_str());
  for (const std::string& warning : choice.warnings) std::fprintf(stderr, "zelview: %s\n", warning.c_str());
  return choice.projection;
}

}  // namespace zelview
