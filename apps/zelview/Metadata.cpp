#include "apps/zelview/Metadata.h"

#include <exiv2/exiv2.hpp>

#include <array>
#include <cmath>
#include <exception>

namespace zelview {
namespace {

std::optional<std::string> property(const Exiv2::XmpData& data, const char* name) {
  const auto found = data.findKey(Exiv2::XmpKey(std::string("Xmp.GPano.") + name));
  if (found == data.end()) return std::nullopt;
  return found->toString();
}

std::optional<PanoramaCrop> readCrop(const Exiv2::XmpData& data) {
  constexpr std::array<const char*, 6> kNames = {"FullPanoWidthPixels",         "FullPanoHeightPixels",
                                                 "CroppedAreaLeftPixels",       "CroppedAreaTopPixels",
                                                 "CroppedAreaImageWidthPixels", "CroppedAreaImageHeightPixels"};
  std::array<double, 6> values{};
  for (size_t i = 0; i < kNames.size(); ++i) {
    const std::optional<std::string> text = property(data, kNames[i]);
    if (!text) return std::nullopt;
    char* end = nullptr;
    values[i] = std::strtod(text->c_str(), &end);
    // What is not a number becomes one that no valid crop has.
    if (end == text->c_str() || *end != '\0' || !std::isfinite(values[i])) values[i] = -1.0;
  }
  return PanoramaCrop{values[0], values[1], values[2], values[3], values[4], values[5]};
}

}  // namespace

bool PanoramaCrop::isValid() const {
  return width >= 1.0 && height >= 1.0 && left >= 0.0 && top >= 0.0 && left + width <= fullWidth &&
         top + height <= fullHeight;
}

bool PanoramaCrop::isWhole() const { return width == fullWidth && height == fullHeight; }

PanoramaMetadata readPanoramaMetadata(const std::string& path) {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  PanoramaMetadata metadata;
  try {
    const auto image = Exiv2::ImageFactory::open(path);
    image->readMetadata();
    const Exiv2::XmpData& data = image->xmpData();
    metadata.projectionType = property(data, "ProjectionType").value_or("");
    metadata.crop = readCrop(data);
  } catch (const std::exception&) {
    // A kind of file that carries no such metadata, or a broken one, of which the library's complaints are of many
    // classes: the decoder says what is wrong with the file.
    return {};
  }
  return metadata;
}

}  // namespace zelview
