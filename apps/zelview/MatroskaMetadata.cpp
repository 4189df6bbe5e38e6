#include <algorithm>
#include <bit>
#include <cmath>

#include "apps/zelview/ByteReading.h"
#include "apps/zelview/SphericalMetadata.h"

namespace zelview {
namespace {

// Element identifiers with their length marker, as they stand in the file (RFC 9559).
constexpr uint64_t kEbml = 0x1A45DFA3;
constexpr uint64_t kSegment = 0x18538067;
constexpr uint64_t kCluster = 0x1F43B675;
constexpr uint64_t kTracks = 0x1654AE6B;
constexpr uint64_t kTrackEntry = 0xAE;
constexpr uint64_t kVideo = 0xE0;
constexpr uint64_t kStereoMode = 0x53B8;
constexpr uint64_t kProjection = 0x7670;
constexpr uint64_t kProjectionType = 0x7671;
constexpr uint64_t kProjectionPrivate = 0x7672;
constexpr uint64_t kPoseYaw = 0x7673;
constexpr uint64_t kPosePitch = 0x7674;
constexpr uint64_t kPoseRoll = 0x7675;

constexpr int kMostElements = 4096;
/// The private data are the content of the MP4 box of that projection: version and flags, then its fields.
constexpr uint64_t kPrivateFields = 4;

struct Element {
  uint64_t identifier = 0;
  ByteRange content;
};

class MatroskaReader {
 public:
  explicit MatroskaReader(ByteSource& bytes) : bytes_(bytes) {}

  std::optional<SphericalMetadata> read() {
    const ByteRange file{0, bytes_.size()};
    if (!find(file, kEbml)) return std::nullopt;
    const std::optional<Element> segment = find(file, kSegment);
    if (!segment) return std::nullopt;
    const std::optional<Element> tracks = find(segment->content, kTracks);
    if (!tracks) return std::nullopt;
    std::optional<SphericalMetadata> found;
    forEach(tracks->content, [&](const Element& element) {
      if (!found && element.identifier == kTrackEntry) found = readTrack(element.content);
    });
    return found;
  }

 private:
  /// A number of one to eight bytes whose leading zeros tell its length; `keepMarker` for identifiers.
  std::optional<uint64_t> readVariable(ByteRange& range, bool keepMarker) {
    const auto first = readBigEndian(bytes_, range, 0, 1);
    if (!first || *first == 0) return std::nullopt;
    const auto length = static_cast<size_t>(std::countl_zero(static_cast<uint8_t>(*first))) + 1;
    auto value = readBigEndian(bytes_, range, 0, length);
    if (!value) return std::nullopt;
    range.begin += length;
    if (!keepMarker) {
      const uint64_t mask = (uint64_t{1} << (7 * length)) - 1;
      *value &= mask;
      // All ones: to the end of what is around it.
      if (*value == mask) *value = range.size();
    }
    return value;
  }

  std::optional<Element> next(ByteRange& range) {
    if (++elements_ > kMostElements) return std::nullopt;
    const auto identifier = readVariable(range, true);
    if (!identifier) return std::nullopt;
    const auto size = readVariable(range, false);
    if (!size || *size > range.size()) return std::nullopt;
    const Element element{*identifier, {range.begin, range.begin + *size}};
    range.begin += *size;
    return element;
  }

  template <class Visit>
  void forEach(ByteRange range, const Visit& visit) {
    while (const std::optional<Element> element = next(range)) visit(*element);
  }

  /// Up to the first pictures, behind which no headers are looked for.
  std::optional<Element> find(ByteRange range, uint64_t identifier) {
    while (const std::optional<Element> element = next(range)) {
      if (element->identifier == identifier) return element;
      if (element->identifier == kCluster) return std::nullopt;
    }
    return std::nullopt;
  }

  uint64_t number(const Element& element) {
    return readBigEndian(bytes_, element.content, 0, std::min<uint64_t>(element.content.size(), 8)).value_or(0);
  }

  /// Zero for what is not a finite number.
  double real(const Element& element) {
    double value = 0.0;
    if (element.content.size() == 4) value = std::bit_cast<float>(static_cast<uint32_t>(number(element)));
    if (element.content.size() == 8) value = std::bit_cast<double>(number(element));
    return std::isfinite(value) ? value : 0.0;
  }

  std::optional<SphericalMetadata> readTrack(ByteRange track) {
    const std::optional<Element> video = find(track, kVideo);
    if (!video) return std::nullopt;
    const std::optional<Element> projection = find(video->content, kProjection);
    if (!projection) return std::nullopt;
    SphericalMetadata metadata;
    metadata.origin = "its Projection element";
    metadata.projection = SphericalMetadata::Projection::Rectangular;
    forEach(projection->content, [&](const Element& element) { readField(element, metadata); });
    forEach(projection->content, [&](const Element& element) { readPrivate(element, metadata); });
    if (const auto stereo = find(video->content, kStereoMode)) metadata.stereo = stereoOf(number(*stereo));
    return metadata;
  }

  void readField(const Element& element, SphericalMetadata& metadata) {
    if (element.identifier == kProjectionType) {
      constexpr SphericalMetadata::Projection kTypes[] = {
          SphericalMetadata::Projection::Rectangular, SphericalMetadata::Projection::Equirectangular,
          SphericalMetadata::Projection::Cubemap, SphericalMetadata::Projection::Mesh};
      const uint64_t type = number(element);
      metadata.projection = type < std::size(kTypes) ? kTypes[type] : SphericalMetadata::Projection::Other;
      if (type >= std::size(kTypes)) metadata.name = std::to_string(type);
    } else if (element.identifier == kPoseYaw) {
      metadata.yaw = real(element);
    } else if (element.identifier == kPosePitch) {
      metadata.pitch = real(element);
    } else if (element.identifier == kPoseRoll) {
      metadata.roll = real(element);
    }
  }

  void readPrivate(const Element& element, SphericalMetadata& metadata) {
    if (element.identifier != kProjectionPrivate) return;
    const auto field = [&](uint64_t index) {
      return readBigEndian(bytes_, element.content, kPrivateFields + 4 * index, 4).value_or(0);
    };
    if (metadata.projection == SphericalMetadata::Projection::Cubemap) {
      metadata.cubemapLayout = static_cast<uint32_t>(field(0));
    } else if (metadata.projection == SphericalMetadata::Projection::Equirectangular) {
      for (uint64_t bound = 0; bound < 4; ++bound) metadata.isCropped |= field(bound) != 0;
    }
  }

  /// Matroska counts: 1 and 11 side by side, 2 and 3 top and bottom, either eye first.
  static SphericalMetadata::Stereo stereoOf(uint64_t mode) {
    switch (mode) {
      case 0:
        return SphericalMetadata::Stereo::Mono;
      case 1:
      case 11:
        return SphericalMetadata::Stereo::LeftRight;
      case 2:
      case 3:
        return SphericalMetadata::Stereo::TopBottom;
      default:
        return SphericalMetadata::Stereo::Other;
    }
  }

  ByteSource& bytes_;
  int elements_ = 0;
};

}  // namespace

std::optional<SphericalMetadata> readMatroskaMetadata(ByteSource& bytes) { return MatroskaReader(bytes).read(); }

}  // namespace zelview
