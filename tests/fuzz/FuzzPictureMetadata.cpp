// The panorama properties of pictures, and what is computed from them.
//
// An input that begins with '<' is a whole packet of metadata; of any other the lines are the properties' values, which
// this target puts into a packet, so that few inputs fail before the values are looked at.

#include <ZELPlatform/CoreGraphics.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "apps/zelview/CropPlacement.h"
#include "apps/zelview/Metadata.h"
#include "apps/zelview/ProjectionChoice.h"
#include "tests/fuzz/Promises.h"

namespace {

using zelfuzz::require;

constexpr const char* kProperties[] = {
    "ProjectionType",       "FullPanoWidthPixels",         "FullPanoHeightPixels",        "CroppedAreaLeftPixels",
    "CroppedAreaTopPixels", "CroppedAreaImageWidthPixels", "CroppedAreaImageHeightPixels"};

std::string escaped(std::string_view value) {
  std::string text;
  for (const char c : value) {
    if (c == '<' || c == '&' || c == '"') {
      text += "&#" + std::to_string(c) + ";";
    } else {
      text += c;
    }
  }
  return text;
}

std::string packetOf(std::string_view values) {
  std::string packet =
      "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
      "<rdf:Description rdf:about=\"\" xmlns:GPano=\"http://ns.google.com/photos/1.0/panorama/\"";
  for (const char* property : kProperties) {
    const std::string_view value = values.substr(0, values.find('\n'));
    values.remove_prefix(std::min(value.size() + 1, values.size()));
    if (!value.empty()) packet += " GPano:" + std::string(property) + "=\"" + escaped(value) + "\"";
  }
  return packet + "/></rdf:RDF></x:xmpmeta>";
}

/// A JPEG file with the packet and no picture.
std::string pictureWith(const std::string& packet) {
  const std::string content = std::string("http://ns.adobe.com/xap/1.0/\0", 29) + packet;
  const size_t length = content.size() + 2;
  return std::string("\xff\xd8\xff\xe1") + static_cast<char>(length >> 8) + static_cast<char>(length & 0xff) + content +
         "\xff\xd9";
}

/// A file in memory that has a path.
class MemoryFile {
 public:
  MemoryFile() : file_(memfd_create("picture", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(file_)) {}
  void write(const std::string& bytes) const {
    require(ftruncate(file_, 0) == 0 && pwrite(file_, bytes.data(), bytes.size(), 0) == std::ssize(bytes),
            "there is memory for the file");
  }
  const std::string& path() const { return path_; }

 private:
  int file_;
  std::string path_;
};

/// The picture as a decoder would give it at that size of the longer side.
std::shared_ptr<CGImage> decoded(const zelview::PanoramaCrop& crop, size_t side) {
  const double scale = static_cast<double>(side) / std::max(crop.width, crop.height);
  const auto width = static_cast<size_t>(std::max(1.0, std::round(crop.width * scale)));
  const auto height = static_cast<size_t>(std::max(1.0, std::round(crop.height * scale)));
  return CGImage::create(width, height, width * 4, CGImageAlphaInfo::NoneSkipLast,
                         std::vector<uint8_t>(width * height * 4, 0xff));
}

void checkPlacement(const zelview::PanoramaCrop& crop) {
  for (const size_t maximumSide : {size_t{1}, size_t{64}}) {
    const size_t side = zelview::decodeLimitFor(crop, maximumSide);
    require(side >= 1 && side <= maximumSide, "a picture is decoded within the limit");
    const std::shared_ptr<CGImage> image = decoded(crop, side);
    const std::shared_ptr<CGImage> whole = zelview::placeCrop(*image, crop, maximumSide);
    if (!whole) continue;
    require(std::max(whole->width(), whole->height()) <= maximumSide, "the sphere's picture is within the limit");
    const auto inside = std::count(whole->bytes(), whole->bytes() + whole->width() * whole->height() * 4, 0xff);
    require(static_cast<size_t>(inside) == image->width() * image->height() * 4,
            "the whole picture is in the sphere's");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const MemoryFile file;
  // What a segment of the file can hold, with the names around the values.
  constexpr size_t kLongestInput = 8192;
  if (size > kLongestInput) return -1;
  const std::string_view text = zelfuzz::textOf(data, size);
  file.write(pictureWith(text.starts_with('<') ? std::string(text) : packetOf(text)));
  const zelview::PanoramaMetadata metadata = zelview::readPanoramaMetadata(file.path());
  for (const size_t width : {200U, 300U}) {
    const std::string reason = zelview::chooseProjection(metadata, width, 100).reason;
    require(zelfuzz::isPlainLine(reason) && reason.size() < 240, "a reason is one line that a terminal may be shown");
  }
  if (metadata.crop && metadata.crop->isValid()) checkPlacement(*metadata.crop);
  return 0;
}
