#include <gtest/gtest.h>

#include <exiv2/exiv2.hpp>

#include <fstream>
#include <map>
#include <string>

#include "apps/zelview/Metadata.h"
#include "apps/zelview/PictureContent.h"
#include "apps/zelview/ProjectionChoice.h"
#include "apps/zelview/ViewerError.h"
#include "tests/zelview/TestFiles.h"

namespace zelview {
namespace {

constexpr Pixel kRed = {255, 0, 0};
constexpr Pixel kBlack = {0, 0, 0};
constexpr size_t kLimit = 4096;

/// A red picture with GPano properties.
std::string writePicture(const ScratchFolder& folder, size_t width, size_t height,
                         const std::map<std::string, std::string>& properties) {
  std::string path = folder.file("picture.png");
  EXPECT_EQ(CGImageWritePNG(*makeImage(width, height, [](size_t, size_t) { return kRed; }), path), "");
  if (!properties.empty()) {
    const auto image = Exiv2::ImageFactory::open(path);
    image->readMetadata();
    for (const auto& [name, value] : properties) image->xmpData()["Xmp.GPano." + name] = value;
    image->writeMetadata();
  }
  return path;
}

std::map<std::string, std::string> crop(int fullWidth, int fullHeight, int left, int top, int width, int height) {
  return {{"ProjectionType", "equirectangular"},
          {"FullPanoWidthPixels", std::to_string(fullWidth)},
          {"FullPanoHeightPixels", std::to_string(fullHeight)},
          {"CroppedAreaLeftPixels", std::to_string(left)},
          {"CroppedAreaTopPixels", std::to_string(top)},
          {"CroppedAreaImageWidthPixels", std::to_string(width)},
          {"CroppedAreaImageHeightPixels", std::to_string(height)}};
}

struct Loaded {
  std::shared_ptr<PictureContent> content;
  std::string out;
  std::string err;
};

Loaded load(const std::string& path, size_t limit = kLimit, std::optional<ZELProjectionType> projection = {}) {
  Options options;
  options.picture = path;
  options.projection = projection;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  Loaded loaded;
  loaded.content = PictureContent::load(options, limit);
  std::fflush(stdout);
  loaded.out = testing::internal::GetCapturedStdout();
  loaded.err = testing::internal::GetCapturedStderr();
  return loaded;
}

TEST(ProjectionChoice, MetadataComeFirstThenTheShape) {
  struct {
    const char* metadata;
    size_t width;
    size_t height;
    ZELProjectionType expected;
  } const cases[] = {
      {"equirectangular", 300, 300, ZELProjectionTypeEquirectangular},
      {"", 200, 100, ZELProjectionTypeEquirectangular},
      {"", 2019, 1000, ZELProjectionTypeEquirectangular},
      {"", 2021, 1000, ZELProjectionTypeFlat},
      {"", 1979, 1000, ZELProjectionTypeFlat},
      {"", 1920, 1080, ZELProjectionTypeFlat},
      {"cylindrical", 300, 100, ZELProjectionTypeFlat},
  };
  for (const auto& c : cases) {
    PanoramaMetadata metadata;
    metadata.projectionType = c.metadata;
    EXPECT_EQ(chooseProjection(metadata, c.width, c.height).projection, c.expected) << c.width << "x" << c.height;
  }
}

TEST(ProjectionChoice, MetadataThatCannotBeReadAreNone) {
  // Lengths beyond the file's, of which the metadata library complains with an error that is not of its own class.
  const ScratchFolder folder;
  std::ofstream(folder.file("broken.webp"), std::ios::binary) << std::string("RIFF\xfe\xff\xff\xffWEBP= \0\xd0+", 17);
  for (const char* name : {"broken.webp", "missing"}) {
    const PanoramaMetadata metadata = readPanoramaMetadata(folder.file(name));
    EXPECT_EQ(metadata.projectionType, "");
    EXPECT_FALSE(metadata.crop);
  }
}

TEST(Picture, DecisionsAreOneLine) {
  const ScratchFolder folder;
  const Loaded flat = load(writePicture(folder, 30, 20, {}));
  EXPECT_EQ(flat.content->projection(), ZELProjectionTypeFlat);
  EXPECT_EQ(flat.out, "projection: flat (no GPano metadata, and 30x20 is not 2:1)\n");
  const Loaded sphere = load(writePicture(folder, 30, 20, {{"ProjectionType", "equirectangular"}}));
  EXPECT_EQ(sphere.content->projection(), ZELProjectionTypeEquirectangular);
  EXPECT_EQ(sphere.out, "projection: equirectangular (its GPano metadata say so)\n");
  EXPECT_EQ(sphere.content->imageFor(ZELProjectionTypeEquirectangular)->width(), 30U);
  const Loaded asked = load(writePicture(folder, 40, 20, {}), kLimit, ZELProjectionTypeCubemap);
  EXPECT_EQ(asked.content->projection(), ZELProjectionTypeCubemap);
  EXPECT_EQ(asked.out, "") << "nothing was decided";
}

TEST(Picture, CroppedPanoramaIsPlacedInTheWholeSphere) {
  const ScratchFolder folder;
  const Loaded loaded = load(writePicture(folder, 40, 20, crop(160, 80, 30, 10, 40, 20)));
  const CGImage& whole = *loaded.content->imageFor(ZELProjectionTypeEquirectangular);
  ASSERT_EQ(whole.width(), 160U);
  ASSERT_EQ(whole.height(), 80U);
  for (size_t y = 0; y < 80; ++y) {
    for (size_t x = 0; x < 160; ++x) {
      const bool inside = x >= 30 && x < 70 && y >= 10 && y < 30;
      ASSERT_EQ(pixelAt(whole, x, y), inside ? kRed : kBlack) << x << " " << y;
    }
  }
  EXPECT_NE(loaded.out.find("for a part of the sphere"), std::string::npos) << loaded.out;
  EXPECT_EQ(loaded.err, "");
}

TEST(Picture, CropsFollowAResizedPictureAndTheTextureLimit) {
  const ScratchFolder folder;
  // The file was halved after its metadata were written.
  const Loaded halved = load(writePicture(folder, 20, 10, crop(160, 80, 30, 10, 40, 20)));
  const CGImage& half = *halved.content->imageFor(ZELProjectionTypeEquirectangular);
  EXPECT_EQ(half.width(), 80U);
  EXPECT_EQ(pixelAt(half, 15, 5), kRed);
  EXPECT_EQ(pixelAt(half, 14, 5), kBlack);
  EXPECT_EQ(pixelAt(half, 35, 5), kBlack);
  // The whole sphere does not fit into a texture of 80.
  const Loaded limited = load(writePicture(folder, 40, 20, crop(160, 80, 30, 10, 40, 20)), 80);
  EXPECT_EQ(limited.content->imageFor(ZELProjectionTypeEquirectangular)->width(), 80U);
  EXPECT_NE(limited.err.find("scaled down"), std::string::npos) << limited.err;
}

TEST(Picture, CropsThatMakeNoSenseAreSaidAndNotUsed) {
  const ScratchFolder folder;
  auto text = crop(160, 80, 30, 10, 40, 20);
  text["CroppedAreaTopPixels"] = "ten";
  const std::map<std::string, std::string> senseless[] = {crop(0, 0, 0, 0, 40, 20), crop(160, 80, 130, 10, 40, 20),
                                                          crop(160, 80, -1, 10, 40, 20), text};
  for (const auto& properties : senseless) {
    const Loaded loaded = load(writePicture(folder, 40, 20, properties));
    EXPECT_EQ(loaded.content->imageFor(ZELProjectionTypeEquirectangular)->width(), 40U);
    EXPECT_EQ(loaded.err, "zelview: The picture's GPano crop lies outside its panorama and is not used.\n");
  }
}

TEST(Picture, TooLargeIsScaledDownWithOneLine) {
  const ScratchFolder folder;
  const Loaded loaded = load(writePicture(folder, 200, 20, {}), 100);
  const CGImage& image = *loaded.content->imageFor(ZELProjectionTypeFlat);
  EXPECT_EQ(image.width(), 100U);
  EXPECT_EQ(image.height(), 10U);
  EXPECT_EQ(std::count(loaded.err.begin(), loaded.err.end(), '\n'), 1) << loaded.err;
  EXPECT_NE(loaded.err.find("from 200x20 to 100x10"), std::string::npos) << loaded.err;
}

TEST(Picture, PaddingMustLeaveSomethingOfTheFaces) {
  const auto image = makeImage(30, 20, [](size_t, size_t) { return kRed; });
  EXPECT_NO_THROW(checkPadding(ZELProjectionTypeCubemap, 9, *image));
  EXPECT_THROW(checkPadding(ZELProjectionTypeCubemap, 10, *image), ViewerError);
  EXPECT_NO_THROW(checkPadding(ZELProjectionTypeFlat, 10, *image));
}

}  // namespace
}  // namespace zelview
