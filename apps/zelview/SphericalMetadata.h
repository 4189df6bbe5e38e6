#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace zelview {

/// Bytes that can be read anywhere: a file, or memory.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  virtual uint64_t size() const = 0;
  /// Copies `count` bytes from `offset` on; false, with nothing promised of `bytes`, when they are not all there.
  virtual bool read(uint64_t offset, void* bytes, size_t count) = 0;
};

/// What a video file says of how its frames lie on the sphere.
///
/// From the "Spherical Video" descriptions, version 1 (XML in a uuid box of MP4) and version 2 (`st3d` and `sv3d` boxes
/// of MP4, `StereoMode` and `Projection` of Matroska), published by Google as RFCs.
struct SphericalMetadata {
  enum class Projection { Equirectangular, Cubemap, Mesh, Rectangular, Other };
  enum class Stereo { Mono, TopBottom, LeftRight, Other };

  Projection projection = Projection::Other;
  /// Where it was found, as a phrase: "its sv3d box".
  std::string origin;
  /// The projection's name as it is written, for `Other`; short, and nothing but printable characters.
  std::string name;
  Stereo stereo = Stereo::Mono;
  /// How the faces of a cube lie: 0 is the only layout that is described.
  uint32_t cubemapLayout = 0;
  /// Whether the frame holds only a part of the sphere.
  bool isCropped = false;
  /// Degrees by which the sphere is turned; finite.
  double yaw = 0.0;
  double pitch = 0.0;
  double roll = 0.0;

  bool isTurned() const { return yaw != 0.0 || pitch != 0.0 || roll != 0.0; }
  bool operator==(const SphericalMetadata&) const = default;
};

/// Reads what an MP4 or Matroska file says; nothing when it says nothing, is of another kind, or is damaged before that
/// place. Reads only headers. Blocks.
std::optional<SphericalMetadata> readSphericalMetadata(const std::string& path);

/// The same of any bytes.
std::optional<SphericalMetadata> readSphericalMetadata(ByteSource& bytes);

/// Of one kind each.
std::optional<SphericalMetadata> readMp4Metadata(ByteSource& bytes);
std::optional<SphericalMetadata> readMatroskaMetadata(ByteSource& bytes);

}  // namespace zelview
