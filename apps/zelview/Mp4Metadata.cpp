#include <algorithm>
#include <array>
#include <string_view>

#include "apps/zelview/ByteReading.h"
#include "apps/zelview/PlainText.h"
#include "apps/zelview/SphericalMetadata.h"

namespace zelview {
namespace {

constexpr uint32_t code(std::string_view name) {
  uint32_t value = 0;
  for (const char character : name) value = value << 8 | static_cast<uint8_t>(character);
  return value;
}

/// No file needs more, and a damaged one cannot make the reader walk for ever.
constexpr int kMostBoxes = 4096;
constexpr size_t kMostXml = size_t{64} * 1024;

/// The type of the box with the XML description of version 1.
constexpr std::array<uint8_t, 16> kSphericalUuid = {0xff, 0xcc, 0x82, 0x63, 0xf8, 0x55, 0x4a, 0x93,
                                                    0x88, 0x14, 0x58, 0x7a, 0x02, 0x52, 0x1f, 0xdd};

/// A visual sample entry has this many bytes before its boxes, a full box this many before its fields (ISO/IEC
/// 14496-12).
constexpr uint64_t kSampleEntryFields = 78;
constexpr uint64_t kFullBoxFields = 4;

struct Box {
  uint32_t type = 0;
  ByteRange content;
};

/// Walks over the boxes of a file.
class Mp4Reader {
 public:
  explicit Mp4Reader(ByteSource& bytes) : bytes_(bytes) {}

  std::optional<SphericalMetadata> read() {
    const std::optional<Box> movie = find({0, bytes_.size()}, code("moov"));
    if (!movie) return std::nullopt;
    std::optional<SphericalMetadata> found;
    forEach(movie->content, [&](const Box& box) {
      if (!found && box.type == code("trak")) found = readTrack(box.content);
    });
    return found;
  }

 private:
  /// The box at the range's beginning, which then begins behind it.
  std::optional<Box> next(ByteRange& range) {
    if (++boxes_ > kMostBoxes) return std::nullopt;
    const auto shortSize = readBigEndian(bytes_, range, 0, 4);
    const auto type = readBigEndian(bytes_, range, 4, 4);
    if (!shortSize || !type) return std::nullopt;
    uint64_t size = *shortSize;
    uint64_t header = 8;
    if (size == 1) {
      size = readBigEndian(bytes_, range, 8, 8).value_or(0);
      header = 16;
    } else if (size == 0) {
      size = range.size();
    }
    if (size < header || size > range.size()) return std::nullopt;
    const Box box{static_cast<uint32_t>(*type), {range.begin + header, range.begin + size}};
    range.begin += size;
    return box;
  }

  template <class Visit>
  void forEach(ByteRange range, const Visit& visit) {
    while (const std::optional<Box> box = next(range)) visit(*box);
  }

  std::optional<Box> find(ByteRange range, uint32_t type) {
    while (const std::optional<Box> box = next(range)) {
      if (box->type == type) return box;
    }
    return std::nullopt;
  }

  std::optional<Box> findPath(ByteRange range, std::initializer_list<uint32_t> path) {
    std::optional<Box> box;
    for (const uint32_t type : path) {
      box = find(range, type);
      if (!box) return std::nullopt;
      range = box->content;
    }
    return box;
  }

  std::optional<SphericalMetadata> readTrack(ByteRange track) {
    const auto handler = findPath(track, {code("mdia"), code("hdlr")});
    if (!handler || readBigEndian(bytes_, handler->content, 8, 4) != code("vide")) return std::nullopt;
    if (auto metadata = readSampleEntry(track)) return metadata;
    return readXmlBox(track);
  }

  /// Version 2: boxes in the description of the track's samples.
  std::optional<SphericalMetadata> readSampleEntry(ByteRange track) {
    const auto descriptions = findPath(track, {code("mdia"), code("minf"), code("stbl"), code("stsd")});
    if (!descriptions || descriptions->content.size() < 8) return std::nullopt;
    ByteRange entries = descriptions->content;
    entries.begin += 8;  // version, flags, count
    const std::optional<Box> entry = next(entries);
    if (!entry || entry->content.size() < kSampleEntryFields) return std::nullopt;
    ByteRange boxes = entry->content;
    boxes.begin += kSampleEntryFields;

    const auto projection = findPath(boxes, {code("sv3d"), code("proj")});
    if (!projection) return std::nullopt;
    SphericalMetadata metadata;
    metadata.origin = "its sv3d box";
    forEach(projection->content, [&](const Box& box) { readProjectionBox(box, metadata); });
    if (const auto stereo = find(boxes, code("st3d"))) {
      metadata.stereo = stereoOf(readBigEndian(bytes_, stereo->content, kFullBoxFields, 1).value_or(0));
    }
    return metadata;
  }

  static SphericalMetadata::Stereo stereoOf(uint64_t mode) {
    switch (mode) {
      case 0:
        return SphericalMetadata::Stereo::Mono;
      case 1:
        return SphericalMetadata::Stereo::TopBottom;
      case 2:
        return SphericalMetadata::Stereo::LeftRight;
      default:
        return SphericalMetadata::Stereo::Other;
    }
  }

  uint32_t field(const Box& box, uint64_t index) {
    return static_cast<uint32_t>(readBigEndian(bytes_, box.content, kFullBoxFields + 4 * index, 4).value_or(0));
  }

  /// Degrees in 16.16 fixed point.
  double angle(const Box& box, uint64_t index) { return static_cast<int32_t>(field(box, index)) / 65536.0; }

  void readProjectionBox(const Box& box, SphericalMetadata& metadata) {
    if (box.type == code("prhd")) {
      metadata.yaw = angle(box, 0);
      metadata.pitch = angle(box, 1);
      metadata.roll = angle(box, 2);
    } else if (box.type == code("equi")) {
      metadata.projection = SphericalMetadata::Projection::Equirectangular;
      for (uint64_t bound = 0; bound < 4; ++bound) metadata.isCropped |= field(box, bound) != 0;
    } else if (box.type == code("cbmp")) {
      metadata.projection = SphericalMetadata::Projection::Cubemap;
      metadata.cubemapLayout = field(box, 0);
    } else if (box.type == code("mshp")) {
      metadata.projection = SphericalMetadata::Projection::Mesh;
    }
  }

  /// Version 1: XML in the track.
  std::optional<SphericalMetadata> readXmlBox(ByteRange track) {
    std::optional<SphericalMetadata> found;
    forEach(track, [&](const Box& box) {
      if (found || box.type != code("uuid") || box.content.size() < kSphericalUuid.size()) return;
      std::array<uint8_t, kSphericalUuid.size()> uuid{};
      if (!bytes_.read(box.content.begin, uuid.data(), uuid.size()) || uuid != kSphericalUuid) return;
      found = readXml(readText(bytes_, {box.content.begin + uuid.size(), box.content.end}, kMostXml));
    });
    return found;
  }

  /// The text of an element; the description is flat, so that its names are found as they stand.
  static std::string element(std::string_view xml, std::string_view name) {
    const std::string open = "<GSpherical:" + std::string(name) + ">";
    const size_t begin = xml.find(open);
    if (begin == std::string_view::npos) return {};
    const size_t end = xml.find('<', begin + open.size());
    if (end == std::string_view::npos) return {};
    std::string text(xml.substr(begin + open.size(), end - begin - open.size()));
    text.erase(0, text.find_first_not_of(" \t\r\n"));
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
    return text;
  }

  static std::optional<SphericalMetadata> readXml(std::string_view xml) {
    if (element(xml, "Spherical") != "true") return std::nullopt;
    SphericalMetadata metadata;
    metadata.origin = "the XML of its uuid box";
    metadata.name = plainText(element(xml, "ProjectionType"));
    if (metadata.name == "equirectangular") metadata.projection = SphericalMetadata::Projection::Equirectangular;
    const std::string stereo = element(xml, "StereoMode");
    if (stereo == "top-bottom") {
      metadata.stereo = SphericalMetadata::Stereo::TopBottom;
    } else if (stereo == "left-right") {
      metadata.stereo = SphericalMetadata::Stereo::LeftRight;
    } else if (!stereo.empty() && stereo != "mono") {
      metadata.stereo = SphericalMetadata::Stereo::Other;
    }
    metadata.isCropped = element(xml, "CroppedAreaImageWidthPixels") != element(xml, "FullPanoWidthPixels") ||
                         element(xml, "CroppedAreaImageHeightPixels") != element(xml, "FullPanoHeightPixels");
    return metadata;
  }

  ByteSource& bytes_;
  int boxes_ = 0;
};

}  // namespace

std::optional<SphericalMetadata> readMp4Metadata(ByteSource& bytes) { return Mp4Reader(bytes).read(); }

}  // namespace zelview
