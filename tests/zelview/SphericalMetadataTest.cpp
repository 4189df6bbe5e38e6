#include "apps/zelview/SphericalMetadata.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>

namespace zelview {
namespace {

using Projection = SphericalMetadata::Projection;
using Stereo = SphericalMetadata::Stereo;

class MemoryBytes final : public ByteSource {
 public:
  explicit MemoryBytes(std::string bytes) : bytes_(std::move(bytes)) {}
  uint64_t size() const override { return bytes_.size(); }
  bool read(uint64_t offset, void* bytes, size_t count) override {
    if (offset > bytes_.size() || bytes_.size() - offset < count) return false;
    std::memcpy(bytes, bytes_.data() + offset, count);
    return true;
  }

 private:
  std::string bytes_;
};

std::optional<SphericalMetadata> read(const std::string& bytes) {
  MemoryBytes source(bytes);
  return readSphericalMetadata(source);
}

std::string bigEndian(uint64_t value, int count) {
  std::string bytes;
  for (int i = count - 1; i >= 0; --i) bytes += static_cast<char>(value >> (8 * i) & 0xFF);
  return bytes;
}

// MP4.

std::string box(std::string_view type, const std::string& content) {
  return bigEndian(content.size() + 8, 4) + std::string(type) + content;
}

std::string fullBox(std::string_view type, const std::string& fields) { return box(type, bigEndian(0, 4) + fields); }

std::string track(std::string_view handler, const std::string& sampleBoxes, const std::string& trackBoxes = {}) {
  const std::string entry = box("avc1", std::string(78, '\0') + sampleBoxes);
  const std::string table = box("stbl", fullBox("stsd", bigEndian(1, 4) + entry));
  const std::string media =
      box("mdia", fullBox("hdlr", bigEndian(0, 4) + std::string(handler) + std::string(13, '\0')) + box("minf", table));
  return box("trak", media + trackBoxes);
}

std::string movie(const std::string& tracks) {
  // The header comes after the pictures, as recorders write it; the pictures' box has the long form of size.
  const std::string pictures = bigEndian(1, 4) + "mdat" + bigEndian(16 + 100, 8) + std::string(100, 'x');
  return box("ftyp", "isom") + pictures + box("moov", fullBox("mvhd", std::string(96, '\0')) + tracks);
}

std::string sphere(const std::string& projection, double yaw = 0.0) {
  const auto fixed = static_cast<uint32_t>(static_cast<int32_t>(yaw * 65536));
  const std::string turn = fullBox("prhd", bigEndian(fixed, 4) + bigEndian(0, 8));
  return box("sv3d", fullBox("svhd", std::string("tool\0", 5)) + box("proj", turn + projection));
}

std::string xmlBox(const std::string& elements) {
  const std::string uuid("\xff\xcc\x82\x63\xf8\x55\x4a\x93\x88\x14\x58\x7a\x02\x52\x1f\xdd", 16);
  return box("uuid",
             uuid + "<?xml version=\"1.0\"?><rdf:SphericalVideo><GSpherical:Spherical>true</GSpherical:Spherical>" +
                 elements + "</rdf:SphericalVideo>");
}

TEST(SphericalMetadata, ReadsTheBoxesOfMp4) {
  const std::string whole = fullBox("equi", std::string(16, '\0'));
  auto found = read(movie(track("soun", {}) + track("vide", sphere(whole, -30.5))));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->projection, Projection::Equirectangular);
  EXPECT_EQ(found->origin, "its sv3d box");
  EXPECT_EQ(found->stereo, Stereo::Mono);
  EXPECT_FALSE(found->isCropped);
  EXPECT_EQ(found->yaw, -30.5);

  found = read(movie(
      track("vide", fullBox("st3d", bigEndian(1, 1)) + sphere(fullBox("equi", bigEndian(0, 8) + bigEndian(1, 8))))));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->stereo, Stereo::TopBottom);
  EXPECT_TRUE(found->isCropped);

  found = read(movie(track("vide", sphere(fullBox("cbmp", bigEndian(7, 4) + bigEndian(2, 4))))));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->projection, Projection::Cubemap);
  EXPECT_EQ(found->cubemapLayout, 7U);

  found = read(movie(track("vide", sphere(fullBox("mshp", std::string(40, 'm'))))));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->projection, Projection::Mesh);
}

TEST(SphericalMetadata, ReadsTheXmlOfMp4) {
  auto found = read(movie(track("vide", {},
                                xmlBox("<GSpherical:ProjectionType>equirectangular</GSpherical:ProjectionType>"
                                       "<GSpherical:StereoMode> left-right\n</GSpherical:StereoMode>"))));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->projection, Projection::Equirectangular);
  EXPECT_EQ(found->origin, "the XML of its uuid box");
  EXPECT_EQ(found->stereo, Stereo::LeftRight);

  found = read(movie(track("vide", {}, xmlBox("<GSpherical:ProjectionType>fisheye</GSpherical:ProjectionType>"))));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->projection, Projection::Other);
  EXPECT_EQ(found->name, "fisheye");

  EXPECT_FALSE(read(movie(track("vide", {}))));
  EXPECT_FALSE(read(movie(track("soun", sphere(fullBox("equi", std::string(16, '\0')))))));
}

// Matroska.

std::string element(uint64_t identifier, const std::string& content) {
  int length = 1;
  while (identifier >> (8 * length) != 0) ++length;
  return bigEndian(identifier, length) + bigEndian(uint64_t{1} << 56 | content.size(), 8) + content;
}

std::string matroska(const std::string& video) {
  const std::string tracks = element(0x1654AE6B, element(0xAE, element(0xE0, video)));
  // A segment of unknown length, as a live recording has.
  return element(0x1A45DFA3, "x") + bigEndian(0x18538067, 4) + bigEndian(0x01FFFFFFFFFFFFFF, 8) +
         element(0x1549A966, "information") + tracks + element(0x1F43B675, "pictures");
}

TEST(SphericalMetadata, ReadsTheProjectionOfMatroska) {
  const std::string pose = element(0x7673, bigEndian(0x42340000, 4));  // 45 as a float
  auto found =
      read(matroska(element(0x53B8, bigEndian(3, 1)) +
                    element(0x7670, element(0x7671, bigEndian(1, 1)) + element(0x7672, std::string(20, '\0')) + pose)));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->projection, Projection::Equirectangular);
  EXPECT_EQ(found->origin, "its Projection element");
  EXPECT_EQ(found->stereo, Stereo::TopBottom);
  EXPECT_EQ(found->yaw, 45.0);
  EXPECT_FALSE(found->isCropped);

  found = read(matroska(element(0x7670, element(0x7671, bigEndian(9, 1)))));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->projection, Projection::Other);
  EXPECT_EQ(found->name, "9");
  EXPECT_FALSE(read(matroska(element(0xB0, bigEndian(640, 2)))));
}

TEST(SphericalMetadata, FindsNothingBeforeTheHeadersAreWhole) {
  const std::string mp4 = movie(track("vide", sphere(fullBox("equi", std::string(16, '\0')))));
  for (size_t length = 0; length < mp4.size(); ++length) EXPECT_FALSE(read(mp4.substr(0, length))) << length;
  EXPECT_TRUE(read(mp4));

  const std::string live = matroska(element(0x7670, element(0x7671, bigEndian(1, 1))));
  const size_t headers = live.find(bigEndian(0x1F43B675, 4));
  for (size_t length = 0; length <= live.size(); ++length) {
    EXPECT_EQ(read(live.substr(0, length)).has_value(), length >= headers) << length;
  }
  EXPECT_FALSE(readSphericalMetadata("/no/such/file.mp4"));
}

TEST(SphericalMetadata, TellsNumbersAndPlainText) {
  const std::string pose =
      element(0x7673, bigEndian(0x7FC00000, 4)) + element(0x7674, bigEndian(0xFFF0000000000000, 8));
  auto found = read(matroska(element(0x7670, element(0x7671, bigEndian(1, 1)) + pose)));
  ASSERT_TRUE(found);
  EXPECT_FALSE(found->isTurned());

  const std::string name = "fish\x1b[2J\xc2\x9b\xff\xc3\xbc";
  found = read(movie(track("vide", {}, xmlBox("<GSpherical:ProjectionType>" + name + "</GSpherical:ProjectionType>"))));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->name, "fish?[2J???\xc3\xbc");
}

}  // namespace
}  // namespace zelview
